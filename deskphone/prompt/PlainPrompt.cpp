// The prompt where no library for line editing is to be had, as when building for the telephone itself.

#include <unistd.h>

#include <iostream>

#include "prompt/Prompt.h"

namespace deskphone {

Prompt::Prompt(Completion /*completion*/) : m_screen(::isatty(STDOUT_FILENO) != 0 ? stdout : stderr) {}

bool Prompt::next(std::string& line)
{
    show("deskphone> ");
    return static_cast<bool>(std::getline(std::cin, line));
}

void Prompt::show(const std::string& text)
{
    std::fputs(text.c_str(), m_screen);
    std::fflush(m_screen);
}

}  // namespace deskphone
