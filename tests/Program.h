#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

const inline fs::path SCENARIOS = SCENARIO_FOLDER;

inline std::string contentOf(const fs::path& file)
{
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

/// A file that lives as long as the test.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& content = "")
        : m_path(fs::temp_directory_path() /
                 ("deskphone-test-" + std::to_string(::getpid()) + "-" + std::to_string(++m_number)))
    {
        std::ofstream(m_path, std::ios::binary) << content;
    }
    ~TemporaryFile() { fs::remove(m_path); }

    std::string name() const { return m_path.string(); }
    std::string content() const { return contentOf(m_path); }

private:
    static inline int m_number = 0;
    fs::path m_path;
};

struct Played {
    int status;
    std::string output;
    std::string errors;
};

/// Runs deskphone with these arguments of a shell command line, and what stands before it there.
inline Played deskphone(const std::string& arguments, const std::string& input = "", const std::string& before = "")
{
    const TemporaryFile in(input);
    const TemporaryFile out;
    const TemporaryFile err;
    const std::string command =
        before + DESKPHONE_COMMAND " " + arguments + " <" + in.name() + " >" + out.name() + " 2>" + err.name();
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out.content(), err.content()};
}

/// Addresses differ from run to run.
inline std::string withoutAddresses(const std::string& text)
{
    return std::regex_replace(text, std::regex("0x[0-9a-f]+"), "0xADDRESS");
}
