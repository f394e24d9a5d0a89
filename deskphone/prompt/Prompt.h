#pragma once

#include <cstdio>
#include <string>

#include "scenario/Source.h"
#include "telephone/Step.h"

namespace deskphone {

/// Knows the words that can follow others.
class Completer {
public:
    virtual ~Completer() = default;

    /// The words that can follow these, as they stand in a line; those that do not begin with `begun` count for
    /// nothing.
    virtual Words completions(const Words& words, const std::string& begun) const = 0;
};

/// The prompt for a person at a terminal: line editing, completion, and the history, which is kept over sessions in the
/// user's cache folder where there is one. Where there is no library for that, a plain prompt.
///
/// One at a time. It writes to the standard output, or to the standard error when that is the terminal, so that output
/// for a program holds nothing of it.
class Prompt {
public:
    /// The completer is not owned, nor what it waits for the person with, which may be empty.
    Prompt(const Completer& completer, const Wait& wait);

    /// The next line; false when the person has ended the input. Ctrl-C drops what was typed.
    bool next(std::string& line);
    void show(const std::string& text);

private:
    std::FILE* m_screen;
    std::string m_history;  // the file; empty: none
};

}  // namespace deskphone
