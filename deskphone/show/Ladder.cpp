#include "show/Ladder.h"

#include <algorithm>
#include <array>

#include "scenario/Words.h"
#include "show/Sequence.h"

namespace deskphone {

namespace {

constexpr std::size_t ROWS_TO_NEXT_HEADER = 40;
constexpr std::size_t THREAD_WIDTH = 11;

constexpr std::array<const char*, 9> colours{"",   "",   "1;32", "1;37;41", "1",
                                             "31", "33", "33",   "33"};  // by kind of happening

}  // namespace

Ladder::Ladder(const Screen& screen) : m_screen(screen)
{
    // The names stand two blanks apart; what is left of the width is shared out evenly.
    std::size_t needed = THREAD_WIDTH;
    for (const std::string_view name : partyNames) {
        needed += name.size() + 2;
    }
    const std::size_t more = m_screen.width > needed ? (m_screen.width - needed) / partyNames.size() : 0;
    std::size_t left = THREAD_WIDTH;
    for (const std::string_view name : partyNames) {
        const std::size_t column = name.size() + 2 + more;
        m_columns.push_back(left + column / 2);
        left += column;
    }
}

void Ladder::addComments(const std::vector<std::string>& comments)
{
    for (const std::string& comment : comments) {
        m_screen.print(acrossColumns(comment, "2"));
    }
}

void Ladder::add(const Step& step)
{
    std::string text;
    if (m_rows == 0 || m_rows > ROWS_TO_NEXT_HEADER) {
        m_rows = 0;
        Row header = blankRow();
        for (std::size_t party = 0; party < partyNames.size(); ++party) {
            write(header, m_columns[party] - partyNames[party].size() / 2, charactersOf(partyNames[party]), "1");
        }
        text = finished(header);
    }
    m_lampOn = step.lampWasOn;
    for (const std::string& comment : step.comments) {
        text += acrossColumns(comment, "2");
    }
    text += acrossColumns(headingOf(step), "1");
    for (const Happening& happening : happenings(step)) {
        text += drawn(happening);
    }
    m_screen.print(text);
}

std::string Ladder::drawn(const Happening& happening)
{
    const char* const colour = colours[happening.kind];
    const std::size_t from = m_columns[happening.from];
    const std::size_t to = m_columns[happening.to];
    Row row = emptyRow();
    write(row, 0, charactersOf(std::string_view(threadNames[happening.thread])), threadColours[happening.thread]);
    switch (happening.kind) {
        case Happening::LAMP_ON:
        case Happening::LAMP_OFF:
            m_lampOn = happening.kind == Happening::LAMP_ON;
            return written(row, to - happening.text.size() - 1, happening.text, colour);
        case Happening::STATE: row.cells[from] = "*"; return written(row, from + 2, happening.text, colour);
        case Happening::IGNORED: row.cells[from] = "-"; return written(row, from + 2, happening.text, colour);
        case Happening::ERROR:
        case Happening::WARNING:
        case Happening::REFUSED: row.cells[from] = "!"; return written(row, from + 2, happening.text, colour);
        default: break;
    }

    // The text of an arrow stands in it, or above it where it is too long.
    const auto [left, right] = std::minmax(from, to);
    const std::size_t length = charactersOf(happening.text).size();
    const bool within = length + 6 <= right - left;
    const std::string above = within ? "" : written(row, left + 2, happening.text, colour);
    row = within ? row : emptyRow();
    for (std::size_t at = left + 1; at < right; ++at) {
        row.cells[at] = happening.kind == Happening::ANSWER ? "╌" : "─";
    }
    row.cells[from < to ? right - 1 : left + 1] = from < to ? ">" : "<";
    return above + (within ? written(row, left + (right - left - length) / 2, ' ' + happening.text + ' ', colour)
                           : finished(row));
}

Ladder::Row Ladder::emptyRow() const
{
    Row row = blankRow();
    for (std::size_t party = 0; party < partyNames.size(); ++party) {
        row.cells[m_columns[party]] = party == KEY_LAMP && m_lampOn ? "┃" : "│";
    }
    return row;
}

/// The text in rows that show no columns.
std::string Ladder::acrossColumns(const std::string& text, const char* colour)
{
    std::string rows;
    for (const Characters& line : linesOf(text, m_screen.width)) {
        Row row = blankRow();
        write(row, 0, line, colour);
        rows += finished(row);
    }
    return rows;
}

/// What is written into a row stands behind what was written into it before.
void Ladder::write(Row& row, std::size_t at, const Characters& characters, const char* colour)
{
    std::copy(characters.begin(), characters.end(), row.cells.begin() + static_cast<std::ptrdiff_t>(at));
    if (*colour != '\0' && !characters.empty()) {
        row.painted.push_back({at, at + characters.size() - 1, colour});
    }
}

/// The row with the text, which goes on in further rows where it has no room.
std::string Ladder::written(Row row, std::size_t at, const std::string& text, const char* colour)
{
    std::string rows;
    for (const Characters& line : linesOf(text, m_screen.width - at)) {
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
    text.reserve(2 * m_screen.width);
    auto painted = m_screen.coloured ? row.painted.begin() : row.painted.end();
    for (std::size_t at = 0; at < row.cells.size(); ++at) {
        if (painted != row.painted.end() && painted->first == at) {
            text.append("\x1b[").append(painted->colour).append("m");
        }
        addCharacter(text, row.cells[at]);
        if (painted != row.painted.end() && painted->last == at) {
            text += "\x1b[0m";
            ++painted;
        }
    }
    return text.erase(text.find_last_not_of(' ') + 1) + '\n';
}

}  // namespace deskphone
