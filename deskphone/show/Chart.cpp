#include "show/Chart.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <iostream>
#include <system_error>

#include "scenario/Words.h"

namespace deskphone {

namespace {

// A chart is cut before the next step from so many rows on, and in any case at so many rows or bytes; viewers refuse
// 50000 bytes.
constexpr std::size_t ROWS_TO_READ = 40;
constexpr std::size_t MOST_ROWS = 120;
constexpr std::size_t MOST_BYTES = 40000;

constexpr int MOST_CHARTS = 20;  // that are made without a word

constexpr std::size_t ARROW_WIDTH = 48;
constexpr std::size_t NOTE_WIDTH = 60;
constexpr std::size_t HEADING_WIDTH = 84;
constexpr std::size_t LONGEST_TEXT = 240;
constexpr std::size_t COMMENTS_IN_A_NOTE = 10;

constexpr const char* ACTIVATE_LAMP = "    activate lamp\n";
constexpr const char* DEACTIVATE_LAMP = "    deactivate lamp\n";

// In a row: the columns from the first to the last one that take part, which are known when the chart is written.
constexpr char ALL_COLUMNS = '\0';

struct Column {
    const char* name;
    const char* declaration;
};
constexpr std::array<Column, NUMBER_OF_PARTIES> columns{{
    {"user", "participant user"},
    {"service", "participant service as recording service"},
    {"framework", "participant framework"},
    {"management", "participant management"},
    {"calls", "participant calls as call control"},
    {"media", "participant media as media control"},
    {"comms", "participant comms as communications"},
    {"lamp", "participant lamp as key lamp"},
}};

/// Adds the character as it may stand anywhere in a text of Mermaid: what is no letter, digit or harmless sign goes by
/// its number. A colon is not harmless: together with it Mermaid looks for words of its own in any text.
void addEncoded(std::string& text, std::string_view character)
{
    static constexpr std::string_view harmless = " .,()[]=/@+-_!?*'";
    const auto first = static_cast<unsigned char>(character.front());
    if (character.size() == 1 &&
        (std::isalnum(first) != 0 || harmless.find(character.front()) != std::string_view::npos)) {
        text.push_back(character.front());
        return;
    }
    unsigned number = character.size() == 1 ? first : first & (0x7fU >> character.size());
    for (std::size_t at = 1; at < character.size(); ++at) {
        number = number << 6U | (static_cast<unsigned char>(character[at]) & 0x3fU);
    }
    text.append("#").append(std::to_string(number)).append(";");
}

/// The text as Mermaid takes it: no longer than is useful, in lines of about this width.
std::string label(const std::string& text, std::size_t width)
{
    std::string result;
    // Most texts are short and plain, and a long run has many.
    if (text.size() <= width && std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; })) {
        for (const char& c : text) {
            addEncoded(result, {&c, 1});
        }
        return result.erase(result.find_last_not_of(' ') + 1);
    }
    const std::string useful = shortened(text, LONGEST_TEXT);
    for (const Characters& line : linesOf(useful, width)) {
        result += result.empty() ? "" : "<br/>";
        for (const std::string_view character : line) {
            addEncoded(result, character);
        }
        result.erase(result.find_last_not_of(' ') + 1);
    }
    return result;
}

template <typename Columns>
std::string note(const Columns& over, const std::string& text)
{
    return std::string("    Note over ") + over + ": " + text + '\n';
}

std::string marked(const std::string& colour, const std::string& row)
{
    return "    rect rgb(" + colour + ")\n" + row + "    end\n";
}

}  // namespace

Chart::Chart(const std::string& file, std::ostream& notices) : m_name(file), m_notices(notices)
{
    if (!isOnOutput()) {
        m_file.open(file, std::ios::trunc);
        write();
    }
}

void Chart::add(const Step& step)
{
    if (m_rows >= ROWS_TO_READ) {
        cut();
    }
    if (m_lampOn != step.lampWasOn) {  // it changed in steps that are not shown
        if (m_rows > 0) {
            addRow(step, step.lampWasOn ? ACTIVATE_LAMP : DEACTIVATE_LAMP);
            m_takesPart[KEY_LAMP] = true;
        }
        m_lampOn = step.lampWasOn;
    }
    m_firstStep = m_rows == 0 ? step.number : m_firstStep;
    m_lastStep = step.number;
    m_thread = CALLER;
    addComments(step);
    addHeading(step, headingOf(step));
    for (const Happening& happening : happenings(step)) {
        show(step, happening);
    }
    m_situation.endStep(step);
    if (!isOnOutput()) {
        write();
    }
}

void Chart::addComments(const std::vector<std::string>& comments)
{
    addComments(Step{m_lastStep, {}, comments});
    if (!isOnOutput()) {
        write();
    }
}

void Chart::finish()
{
    if (isOnOutput()) {
        write();
    }
    if (m_charts > MOST_CHARTS) {
        m_notices << "deskphone: " << m_name << " holds " << m_charts
                  << " charts; --steps, --line and --only choose what is drawn" << std::endl;
    }
}

void Chart::addRow(const Step& step, const std::string& row)
{
    if (m_rows >= MOST_ROWS || m_body.size() + row.size() > MOST_BYTES) {
        cut();
        m_firstStep = step.number;
        addHeading(step, headingOf(step) + " (goes on)");
    }
    m_body += row;
    ++m_rows;
}

/// A chart begins with what holds then.
void Chart::begin(const Step& step)
{
    if (m_rows > 0) {
        return;
    }
    if (const std::string before = m_situation.text(m_lampOn, LONGEST_TEXT); !before.empty()) {
        addRow(step, note(ALL_COLUMNS, label(before, HEADING_WIDTH)));
        if (m_lampOn) {
            addRow(step, ACTIVATE_LAMP);
            m_takesPart[KEY_LAMP] = true;
        }
    }
}

void Chart::addComments(const Step& step)
{
    std::string text;
    std::size_t number = 0;
    for (const std::string& comment : step.comments) {
        const std::string line = label(bareComment(comment), HEADING_WIDTH);
        text += text.empty() || line.empty() ? line : "<br/>" + line;
        if (++number % COMMENTS_IN_A_NOTE != 0 && number != step.comments.size()) {
            continue;
        }
        if (!text.empty()) {
            begin(step);
            addRow(step, note(ALL_COLUMNS, text));
            text.clear();
        }
    }
}

void Chart::addHeading(const Step& step, const std::string& text)
{
    begin(step);
    addRow(step, note(ALL_COLUMNS, label(text, HEADING_WIDTH)));
}

void Chart::show(const Step& step, const Happening& happening)
{
    if (happening.thread != m_thread) {
        m_thread = happening.thread;
        addRow(step, note(columns[RECORDING_SERVICE].name,
                          label(std::string("thread: ") + threadNames[m_thread], NOTE_WIDTH)));
    }
    const std::string from = columns[happening.from].name;
    const bool arrow = happening.kind == Happening::ARROW || happening.kind == Happening::ANSWER;
    const std::string text = label(happening.text, arrow ? ARROW_WIDTH : NOTE_WIDTH);
    switch (happening.kind) {
        case Happening::ARROW:
        case Happening::ANSWER:
            addRow(step, "    " + from + (happening.kind == Happening::ARROW ? "->>" : "-->>") +
                             columns[happening.to].name + ": " + text + '\n');
            break;
        case Happening::STATE:
            addRow(step, marked("215, 240, 215", note(from, text)));
            m_situation.add(*happening.event);
            break;
        case Happening::LAMP_ON:
        case Happening::LAMP_OFF:
            addRow(step, (m_lampOn ? DEACTIVATE_LAMP : ACTIVATE_LAMP) + note(from, text));
            m_lampOn = happening.kind == Happening::LAMP_ON;
            break;
        case Happening::ERROR: addRow(step, marked("255, 200, 200", note(from, text))); break;
        case Happening::IGNORED: addRow(step, marked("235, 235, 235", note(from, text))); break;
        case Happening::WARNING:
        case Happening::REFUSED: addRow(step, marked("255, 230, 180", note(from, text))); break;
    }
    m_takesPart[happening.from] = true;
    m_takesPart[happening.to] = true;
}

/// Finishes the chart; what is shown next begins another.
void Chart::cut()
{
    m_title = "## Steps ";
    write();
    ++m_charts;
    m_start = isOnOutput() ? std::streampos() : m_file.tellp();
    m_body.clear();
    m_rows = 0;
    m_takesPart = {};
}

std::string Chart::drawn() const
{
    std::string text = "sequenceDiagram\n";
    std::string first = columns[RECORDING_SERVICE].name;
    std::string last;
    for (std::size_t party = 0; party < NUMBER_OF_PARTIES; ++party) {
        if (m_takesPart[party] || party == RECORDING_SERVICE) {
            text += std::string("    ") + columns[party].declaration + '\n';
            first = party == USER ? columns[party].name : first;
            last = columns[party].name;
        }
    }
    const std::string all = first == last ? first : first + ',' + last;
    for (std::size_t from = 0; from < m_body.size();) {
        const std::size_t place = m_body.find(ALL_COLUMNS, from);
        text.append(m_body, from, place - from);
        if (place == std::string::npos) {
            break;
        }
        text += all;
        from = place + 1;
    }
    return text + (m_lampOn ? DEACTIVATE_LAMP : "");
}

void Chart::write()
{
    std::string text;
    if (!m_title.empty()) {
        text = m_title + std::to_string(m_firstStep) + " to " + std::to_string(m_lastStep) + "\n\n";
    }
    text += "```mermaid\n" + drawn() + "```\n" + (m_title.empty() ? "" : "\n");
    std::ostream& output = isOnOutput() ? std::cout : m_file;
    if (!isOnOutput()) {
        m_file.seekp(m_start);
    }
    output << text << std::flush;
    if (!output) {
        throw std::system_error(errno, std::generic_category(), isOnOutput() ? "standard output" : m_name);
    }
}

}  // namespace deskphone
