#include "scenario/WholeFile.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace deskphone {

namespace {

std::system_error failure(const std::string& name)
{
    return {errno, std::generic_category(), name};
}

}  // namespace

std::string readFile(const std::string& name)
{
    std::ifstream file(name, std::ios::binary);
    std::ostringstream content;
    if (!file || (file.peek() != std::ifstream::traits_type::eof() && !(content << file.rdbuf())) || file.bad()) {
        throw failure(name);
    }
    return content.str();
}

void replaceFile(const std::string& name, const std::string& content)
{
    const std::string beside = name + ".new";
    std::ofstream file(beside, std::ios::binary | std::ios::trunc);
    if (!file) {
        throw failure(name);
    }
    file << content;
    file.close();
    std::error_code error(errno, std::generic_category());
    if (file) {
        std::filesystem::rename(beside, name, error);
    }
    if (!file || error) {
        std::error_code ignored;
        std::filesystem::remove(beside, ignored);
        throw std::system_error(error, name);
    }
}

}  // namespace deskphone
