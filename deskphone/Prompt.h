#pragma once

#include <cstdio>
#include <string>

/// The prompt for a person at a terminal: line editing, the session's history, completion of the fixed words.
///
/// One at a time. It writes to the standard output, or to the standard error when that is the terminal, so that output
/// for a program holds nothing of it.
class Prompt {
public:
    /// A word of the prompt beside the commands: `help` lists them, `help COMMAND` tells about one.
    static constexpr const char* HELP = "help";

    Prompt();

    /// The next line; false when the person has ended the input.
    bool next(std::string& line);
    void show(const std::string& text);

private:
    std::FILE* m_screen;
};
