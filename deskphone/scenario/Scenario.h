#pragma once

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "telephone/Step.h"

namespace deskphone {

/// What is wrong with a line of a scenario, naming the word at fault.
class Mistake : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The words of a line, decoded; none in a blank line or a comment. Throws Mistake.
Words splitLine(const std::string& line);

/// A text in double quotes, and a word as it stands in a line: quoted where it must be. Control characters that the
/// language has no escape for are made visible.
std::string quoted(const std::string& text);
std::string asWord(const std::string& word);
/// A control character as \xNN, any other as it is.
std::string visible(char c);

/// Reads a scenario line by line. Opening and reading throw std::system_error, with the name, when they fail.
class ScenarioFile {
public:
    /// "-" is standard input.
    explicit ScenarioFile(const std::string& name);

    /// False at the end. A line may hold any bytes and be of any length; the last one needs no newline.
    bool next(std::string& line);

private:
    struct Close {
        void operator()(std::FILE* file) const;
    };

    std::string m_name;
    std::unique_ptr<std::FILE, Close> m_file;
};

}  // namespace deskphone
