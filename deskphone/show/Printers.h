#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "telephone/Step.h"

namespace deskphone {

struct Happening;

/// Colours of a terminal, as parameters of its escape sequence.
constexpr std::array<const char*, NUMBER_OF_THREADS> threadColours{"36", "35", "34"};

/// Turns a finished step into what is printed for it, whole lines.
using Printer = std::function<std::string(const Step&)>;

/// For programs: one JSON object a line.
std::string printJson(const Step& step);
/// For people: the command, then what it caused, thread by thread.
std::string printText(const Step& step, bool coloured);

/// The terminal's width in columns; without a terminal as $COLUMNS says.
std::size_t terminalWidth();

/// For people: the run as a ladder of arrows between the telephone's services, as wide as the terminal. What is too
/// long for it is cut. The lamp's column is a thick line while the lamp is on.
class Ladder {
public:
    Ladder(std::size_t width, bool coloured);
    std::string operator()(const Step& step);

private:
    using Row = std::vector<std::string>;  // by column of the terminal

    std::string drawn(const Happening& happening);
    Row emptyRow() const;
    void write(Row& row, std::size_t at, const Words& characters, const std::string& colour) const;
    std::string written(Row row, std::size_t at, const std::string& text, const std::string& colour);
    std::string finished(const Row& row);

    std::size_t m_width;
    bool m_coloured;
    std::vector<std::size_t> m_columns;  // of the parties
    bool m_lampOn = false;
    std::size_t m_rows = 0;  // since the last header
};

}  // namespace deskphone
