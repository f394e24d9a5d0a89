#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "Commands.h"
#include "Printers.h"
#include "Sequence.h"

namespace {

constexpr std::size_t NARROWEST = 80;
constexpr std::size_t WITHOUT_TERMINAL = 100;
constexpr std::size_t ROWS_TO_NEXT_HEADER = 40;
constexpr std::size_t THREAD_WIDTH = 11;

constexpr std::array<const char*, NUMBER_OF_PARTIES> names{"user",  "service", "framework", "management",
                                                           "calls", "media",   "comms",     "lamp"};
constexpr std::array<const char*, 7> colours{"", "", "1;32", "1;37;41", "1", "31", "33"};  // by kind of happening

}  // namespace

std::size_t terminalWidth()
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

Ladder::Ladder(std::size_t width, bool coloured) : m_width(width), m_coloured(coloured)
{
    // The names stand two blanks apart; what is left of the width is shared out evenly.
    std::size_t needed = THREAD_WIDTH;
    for (const char* const name : names) {
        needed += std::string(name).size() + 2;
    }
    const std::size_t more = width > needed ? (width - needed) / names.size() : 0;
    std::size_t left = THREAD_WIDTH;
    for (const char* const name : names) {
        const std::size_t column = std::string(name).size() + 2 + more;
        m_columns.push_back(left + column / 2);
        left += column;
    }
}

std::string Ladder::operator()(const Step& step)
{
    std::string text;
    if (m_rows == 0 || m_rows > ROWS_TO_NEXT_HEADER) {
        m_rows = 0;
        Row header(m_width, " ");
        for (std::size_t party = 0; party < names.size(); ++party) {
            const Words name = charactersOf(names[party]);
            write(header, m_columns[party] - name.size() / 2, name, "1");
        }
        text = finished(header);
    }
    m_lampOn = step.lampWasOn;
    text += written(Row(m_width, " "), 0, headingOf(step), "1");
    for (const Happening& happening : happenings(step)) {
        text += drawn(happening);
    }
    return text;
}

std::string Ladder::drawn(const Happening& happening)
{
    const char* const colour = colours[happening.kind];
    const std::size_t from = m_columns[happening.from];
    const std::size_t to = m_columns[happening.to];
    Row row = emptyRow();
    write(row, 0, charactersOf(threadNames[happening.thread]), threadColours[happening.thread]);
    switch (happening.kind) {
        case Happening::LAMP_ON:
        case Happening::LAMP_OFF:
            m_lampOn = happening.kind == Happening::LAMP_ON;
            return written(row, to - happening.text.size() - 1, happening.text, colour);
        case Happening::STATE: row[from] = '*'; return written(row, from + 2, happening.text, colour);
        case Happening::ERROR:
        case Happening::WARNING: row[from] = '!'; return written(row, from + 2, happening.text, colour);
        default: break;
    }

    // The text of an arrow stands in it, or above it where it is too long.
    const auto [left, right] = std::minmax(from, to);
    const std::size_t length = charactersOf(happening.text).size();
    const bool within = length + 6 <= right - left;
    const std::string above = within ? "" : written(row, left + 2, happening.text, colour);
    row = within ? row : emptyRow();
    for (std::size_t at = left + 1; at < right; ++at) {
        row[at] = happening.kind == Happening::ANSWER ? "╌" : "─";
    }
    row[from < to ? right - 1 : left + 1] = from < to ? '>' : '<';
    return above + (within ? written(row, left + (right - left - length) / 2, ' ' + happening.text + ' ', colour)
                           : finished(row));
}

Ladder::Row Ladder::emptyRow() const
{
    Row row(m_width, " ");
    for (std::size_t party = 0; party < names.size(); ++party) {
        row[m_columns[party]] = party == KEY_LAMP && m_lampOn ? "┃" : "│";
    }
    return row;
}

void Ladder::write(Row& row, std::size_t at, const Words& characters, const std::string& colour) const
{
    std::copy(characters.begin(), characters.end(), row.begin() + static_cast<std::ptrdiff_t>(at));
    if (m_coloured && !colour.empty() && !characters.empty()) {
        row[at].insert(0, "\x1b[" + colour + 'm');
        row[at + characters.size() - 1] += "\x1b[0m";
    }
}

/// The row with the text, which goes on in further rows where it has no room.
std::string Ladder::written(Row row, std::size_t at, const std::string& text, const std::string& colour)
{
    std::string rows;
    for (const Words& line : linesOf(text, m_width - at)) {
        write(row, at, line, colour);
        rows += finished(row);
        row = emptyRow();
    }
    return rows;
}

std::string Ladder::finished(const Row& row)
{
    ++m_rows;
    std::string text;
    for (const std::string& cell : row) {
        text += cell;
    }
    return text.erase(text.find_last_not_of(' ') + 1) + '\n';
}
