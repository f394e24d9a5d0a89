#pragma once

#include <cstdio>
#include <functional>
#include <string>

#include "telephone/Step.h"

namespace deskphone {

/// The prompt for a person at a terminal: line editing, completion, and the history, which is kept over sessions in the
/// user's cache folder where there is one.
///
/// One at a time. It writes to the standard output, or to the standard error when that is the terminal, so that output
/// for a program holds nothing of it.
class Prompt {
public:
    /// The words that can follow these.
    using Completion = std::function<Words(const Words&)>;

    explicit Prompt(Completion completion);

    /// The next line; false when the person has ended the input.
    bool next(std::string& line);
    void show(const std::string& text);

private:
    std::FILE* m_screen;
    std::string m_history;  // the file; empty: none
};

}  // namespace deskphone
