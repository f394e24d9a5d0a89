#pragma once

#include <gmock/gmock.h>
#include <pty.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <utility>

#include "Program.h"

const inline std::string PROMPT = "deskphone> ";

/// The program on a terminal of its own, which shows what was printed since the last time.
class Terminal {
public:
    Terminal(const std::string& kind, const fs::path& folder, const std::string& arguments = "--log 0")
    {
        m_child = ::forkpty(&m_terminal, nullptr, nullptr, nullptr);
        if (m_child == 0) {
            ::setenv("TERM", kind.c_str(), 1);
            ::setenv("LC_ALL", "C.UTF-8", 1);
            ::setenv("NO_COLOR", "1", 1);
            ::setenv("XDG_CACHE_HOME", folder.c_str(), 1);
            ::execl("/bin/sh", "sh", "-c", ("exec " DESKPHONE_COMMAND " " + arguments).c_str(), nullptr);
            ::_exit(127);
        }
    }
    ~Terminal() { ::close(m_terminal); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void type(const std::string& keys) const
    {
        EXPECT_EQ(::write(m_terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    /// What is printed up to this text.
    std::string until(const std::string& text)
    {
        for (char c = 0; m_printed.find(text) == std::string::npos;) {
            if (::read(m_terminal, &c, 1) != 1) {
                ADD_FAILURE() << "the terminal closed before " << text << " after " << m_printed;
                break;
            }
            m_printed += c;
        }
        return std::exchange(m_printed, "");
    }
    /// What is printed for a line up to the next prompt.
    std::string answerTo(const std::string& line)
    {
        type(line + '\n');
        until("\r\n");
        return until(PROMPT);
    }
    /// The exit status; to be asked for when the program is about to end.
    int status() const
    {
        for (char c = 0; ::read(m_terminal, &c, 1) == 1;) {
        }
        int status = 0;
        ::waitpid(m_child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    int m_terminal = -1;
    pid_t m_child = -1;
    std::string m_printed;
};
