#include "show/Screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <system_error>

#include "scenario/Words.h"

namespace deskphone {

namespace {

constexpr std::size_t NARROWEST = 80;
constexpr std::size_t WITHOUT_TERMINAL = 100;

std::size_t widthOfTerminal()
{
    winsize window{};
    int columns = 0;
    const char* const given = std::getenv("COLUMNS");
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0) {
        return std::max<std::size_t>(window.ws_col, NARROWEST);
    }
    return given != nullptr && readNumber(given, columns) && columns > 0
               ? std::max<std::size_t>(static_cast<std::size_t>(columns), NARROWEST)
               : WITHOUT_TERMINAL;
}

}  // namespace

void Screen::print(const std::string& text) const
{
    stream << text << std::flush;
    if (!stream) {
        throw std::system_error(errno, std::generic_category(), "standard output");
    }
}

std::string Screen::painted(const std::string& text, const std::string& colour) const
{
    return coloured && !colour.empty() && !text.empty() ? "\x1b[" + colour + 'm' + text + "\x1b[0m" : text;
}

Screen standardOutput()
{
    const char* const noColor = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    const bool coloured = ::isatty(STDOUT_FILENO) != 0 && (noColor == nullptr || *noColor == '\0') &&
                          (terminal == nullptr || std::strcmp(terminal, "dumb") != 0);
    return {std::cout, coloured, widthOfTerminal()};
}

}  // namespace deskphone
