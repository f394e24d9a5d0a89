#include "show/Picture.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <vector>

#include "scenario/Words.h"

namespace deskphone {

namespace {

// All in pixels, y downwards. A picture ends before the next step from one height on, within a step at another.
constexpr int WIDTH = 900;
constexpr int HEIGHT_TO_READ = 15000;
constexpr int MOST_HEIGHT = 30000;
constexpr int HEIGHT_TO_NEXT_HEADER = 1000;
constexpr int MOST_PICTURES = 20;

constexpr int FIRST_COLUMN = 130;
constexpr int NEXT_COLUMN = 103;
constexpr int GUTTER = 12;  // of the threads' names
constexpr int LINE_HEIGHT = 15;
constexpr int CHARACTER_WIDTH_IN_TENTHS = 73;
constexpr int PADDING = 6;
constexpr std::size_t LONGEST_SITUATION = 400;

constexpr const char* NARROW = "--steps, --line and --only choose what is drawn";
constexpr std::string_view SUFFIX = ".svg";
constexpr std::size_t START_SIZE = 128;

constexpr std::array<const char*, 9> kinds{"", "", "state", "on", "off", "error", "warning", "ignored", "refused"};

// The light colours are also those of viewers that know no colour schemes.
constexpr const char* STYLE = R"(<style>
text{font:12px ui-monospace,Menlo,Consolas,"DejaVu Sans Mono",monospace;white-space:pre;paint-order:stroke;stroke-width:4px;stroke-linejoin:round;fill:#1f2328;stroke:#fff}
line{stroke:#d0d7de}
path{fill:none;stroke:#57606a;stroke-width:1.3;marker-end:url(#head)}
path.answer{stroke-dasharray:5 4}
#head path{fill:#57606a;stroke:none;marker-end:none}
rect{fill:#fff}
rect.step{fill:#e6eaef}
rect.state{fill:#d3f5dc}
rect.error{fill:#ffd9d4}
rect.warning,rect.refused{fill:#fff0bd}
rect.ignored{fill:#eaecef}
rect.lit{fill:#cf222e}
text.name,text.step,text.on{font-weight:bold}
text.step,text.state,text.error,text.warning,text.refused,text.ignored{stroke:none}
text.comment{font-style:italic;fill:#57606a}
text.end{fill:#57606a}
text.on{fill:#cf222e}
.caller{fill:#0a6c85}
.dispatcher{fill:#8250df}
.worker{fill:#0757ba}
@media(prefers-color-scheme:dark){
text{fill:#e6edf3;stroke:#0d1117}
line{stroke:#343b44}
path{stroke:#9aa4af}
#head path{fill:#9aa4af}
rect{fill:#0d1117}
rect.step{fill:#262d36}
rect.state{fill:#133a20}
rect.error{fill:#5a1a1a}
rect.warning,rect.refused{fill:#453400}
rect.ignored{fill:#2b323b}
rect.lit{fill:#ff6a61}
text.comment,text.end{fill:#9aa4af}
text.on{fill:#ff7b72}
.caller{fill:#56c8dc}
.dispatcher{fill:#c9a5ff}
.worker{fill:#79b8ff}
}
</style>
<marker id="head" viewBox="0 0 8 8" refX="8" refY="4" markerWidth="7" markerHeight="7" orient="auto"><path d="M0 0L8 4L0 8z"/></marker>
)";

constexpr int columnOf(Party party)
{
    return FIRST_COLUMN + static_cast<int>(party) * NEXT_COLUMN;
}

/// Texts end before the lamp's line.
constexpr int RIGHT = columnOf(KEY_LAMP) - PADDING;

/// The first thing in the file, always of the same length, so that it can be written again when the picture has grown.
std::string startOf(int height)
{
    const std::string size = std::to_string(height);
    std::string start = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"900\" height=\"" + size +
                        "\" viewBox=\"0 0 900 " + size + '"';
    start.resize(START_SIZE - 2, ' ');
    return start + ">\n";
}

std::string background()
{
    std::string text = std::string(STYLE) + "<rect width=\"100%\" height=\"100%\"/>\n";
    for (std::size_t party = 0; party < NUMBER_OF_PARTIES; ++party) {
        const std::string x = std::to_string(columnOf(static_cast<Party>(party)));
        text += "<line x1=\"" + x + "\" x2=\"" + x + "\" y1=\"20\" y2=\"100%\"/>\n";
    }
    return text;
}

/// As XML takes it, which knows two of the characters of UTF-8 as little as bytes that are none.
std::string escaped(const Characters& characters)
{
    std::string text;
    for (const std::string_view character : characters) {
        text += character == "&"                                 ? "&amp;"
                : character == "<"                               ? "&lt;"
                : character == ">"                               ? "&gt;"
                : character == "\uFFFE" || character == "\uFFFF" ? "\uFFFD"
                                                                 : character;
    }
    return text;
}

std::string rectangle(int x, int y, int width, int height, const char* kind)
{
    return "<rect class=\"" + std::string(kind) + "\" x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) +
           "\" width=\"" + std::to_string(width) + "\" height=\"" + std::to_string(height) + "\" rx=\"3\"/>\n";
}

/// `anchor` is where the text is at x: its start, middle or end.
std::string written(int x, int y, const char* kind, const char* anchor, const Characters& characters)
{
    return "<text class=\"" + std::string(kind) + "\" x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) +
           "\" text-anchor=\"" + anchor + "\">" + escaped(characters) + "</text>\n";
}

int widthOf(std::size_t characters)
{
    return static_cast<int>(characters) * CHARACTER_WIDTH_IN_TENTHS / 10;
}

std::size_t charactersIn(int width)
{
    return static_cast<std::size_t>(width * 10 / CHARACTER_WIDTH_IN_TENTHS);
}

}  // namespace

Picture::Picture(std::string file, std::ostream& notices)
    : m_name(file.erase(file.size() - SUFFIX.size())), m_notices(notices)
{
    open();
}

void Picture::add(const Step& step)
{
    if (m_full || (m_y >= HEIGHT_TO_READ && !turn(step))) {
        return;
    }
    if (m_lampOn != step.lampWasOn) {  // it changed in steps that are not shown
        setLamp(step.lampWasOn);
    }
    begin(step);
    drawComments(step.comments);
    drawHeading(headingOf(step));
    for (const Happening& happening : happenings(step)) {
        if (m_y >= MOST_HEIGHT) {
            if (!turn(step)) {
                return;
            }
            begin(step);
            drawHeading(headingOf(step) + " (goes on)");
        }
        draw(happening);
    }
    m_situation.endStep(step);
    write();
}

void Picture::addComments(const std::vector<std::string>& comments)
{
    if (!m_full) {
        drawComments(comments);
        write();
    }
}

void Picture::finish()
{
    if (m_picture == 1 && !m_full) {
        return;
    }
    m_notices << "deskphone: " << nameOf(1) << " holds the steps to " << m_endOfFirst << "; the run goes on in "
              << nameOf(2) << (m_picture > 2 ? " to " + nameOf(m_picture) : "");
    if (m_full) {
        m_notices << ", and behind step " << m_lastDrawn << " is not drawn; " << NARROW;
    }
    m_notices << std::endl;
}

void Picture::open()
{
    m_file = std::ofstream(nameOf(m_picture), std::ios::trunc);
    m_end = 0;
    m_rows = startOf(0) + background();
    m_y = 0;
    m_lampFrom = 0;
    drawHeader();
    m_firstStep = 0;
    write();
}

/// Ends the picture before the step, or within it, and begins the next; false when there is to be none.
bool Picture::turn(const Step& step)
{
    m_full = m_picture == MOST_PICTURES;
    m_endOfFirst = m_picture == 1 ? m_lastDrawn : m_endOfFirst;
    const std::string end =
        "Steps " + std::to_string(m_firstStep) + " to " + std::to_string(m_lastDrawn) + ". " +
        (m_full ? std::string("What follows is not drawn; ") + NARROW
                : "Step " + std::to_string(step.number) + (step.number == m_lastDrawn ? " goes on" : " follows") +
                      " in " + std::filesystem::path(nameOf(m_picture + 1)).filename().string());
    drawLines(end, GUTTER, "end");
    write();
    if (!m_full) {
        ++m_picture;
        open();
    }
    return !m_full;
}

void Picture::begin(const Step& step)
{
    if (m_firstStep == 0) {
        m_firstStep = step.number;
        drawLines(shortened(m_situation.text(m_lampOn, LONGEST_SITUATION), LONGEST_SITUATION), GUTTER, "end");
    } else if (m_y - m_headerY > HEIGHT_TO_NEXT_HEADER) {
        drawHeader();
    }
    m_lastDrawn = step.number;
    m_thread = NUMBER_OF_THREADS;
}

void Picture::drawHeader()
{
    m_rows += lampSoFar();
    m_y += PADDING;
    for (std::size_t party = 0; party < NUMBER_OF_PARTIES; ++party) {
        m_rows += written(columnOf(static_cast<Party>(party)), m_y + LINE_HEIGHT, "name", "middle",
                          charactersOf(partyNames[party]));
    }
    m_y += LINE_HEIGHT + PADDING;
    m_headerY = m_y;
    m_lampFrom = m_y;
}

void Picture::drawComments(const std::vector<std::string>& comments)
{
    m_y += PADDING / 2;
    for (const std::string& comment : comments) {
        drawLines(bareComment(comment), GUTTER, "comment");
    }
}

void Picture::drawHeading(const std::string& text)
{
    const std::vector<Characters> lines = linesOf(text, charactersIn(RIGHT - GUTTER));
    const int height = static_cast<int>(lines.size()) * LINE_HEIGHT + PADDING;
    m_y += PADDING;
    m_rows += rectangle(PADDING, m_y, WIDTH - 2 * PADDING, height, "step");
    const int below = m_y + height;
    drawLines(text, GUTTER, "step");
    m_y = below + PADDING / 2;
}

void Picture::draw(const Happening& happening)
{
    if (happening.thread != m_thread) {
        m_thread = happening.thread;
        const std::string_view name = threadNames[m_thread];
        m_rows += written(GUTTER, m_y + LINE_HEIGHT, threadNames[m_thread], "start", charactersOf(name));
    }
    switch (happening.kind) {
        case Happening::ARROW:
        case Happening::ANSWER: drawArrow(happening); break;
        case Happening::LAMP_ON:
        case Happening::LAMP_OFF:
            m_rows += written(RIGHT, m_y + LINE_HEIGHT, kinds[happening.kind], "end", charactersOf(happening.text));
            setLamp(happening.kind == Happening::LAMP_ON);
            m_y += LINE_HEIGHT + PADDING;
            break;
        case Happening::STATE: m_situation.add(*happening.event); [[fallthrough]];
        default: drawNote(happening); break;
    }
}

/// The text stands above the arrow: in its middle where it is no longer than that, else as far as the lamp's line.
void Picture::drawArrow(const Happening& happening)
{
    const int from = columnOf(happening.from);
    const int to = columnOf(happening.to);
    const auto [left, right] = std::minmax(from, to);
    const Characters characters = charactersOf(happening.text);
    if (widthOf(characters.size()) + 2 * PADDING <= right - left) {
        m_rows += written((left + right) / 2, m_y + LINE_HEIGHT, "", "middle", characters);
        m_y += LINE_HEIGHT;
    } else {
        drawLines(happening.text, left + PADDING, "");
    }
    m_y += PADDING + 2;
    m_rows += std::string("<path") + (happening.kind == Happening::ANSWER ? " class=\"answer\"" : "") + " d=\"M" +
              std::to_string(from) + ' ' + std::to_string(m_y) + 'H' + std::to_string(to) + "\"/>\n";
    m_y += PADDING;
}

void Picture::drawNote(const Happening& happening)
{
    const int left = columnOf(happening.from) + 2 * PADDING;
    const std::vector<Characters> lines = linesOf(happening.text, charactersIn(RIGHT - left));
    std::size_t longest = 0;
    for (const Characters& line : lines) {
        longest = std::max(longest, line.size());
    }
    const int below = m_y + static_cast<int>(lines.size()) * LINE_HEIGHT + PADDING;
    const char* const kind = kinds[happening.kind];
    m_rows +=
        rectangle(left - PADDING, m_y + PADDING / 2, widthOf(longest) + 2 * PADDING, below - m_y - PADDING / 2, kind);
    drawLines(happening.text, left, kind);
    m_y = below + PADDING / 2;
}

/// The lamp's line is thick while it is on.
void Picture::setLamp(bool on)
{
    m_rows += lampSoFar();
    m_lampOn = on;
    m_lampFrom = m_y;
}

std::string Picture::lampSoFar() const
{
    return m_lampOn ? rectangle(columnOf(KEY_LAMP) - 2, m_lampFrom, 5, m_y - m_lampFrom, "lit") : "";
}

void Picture::drawLines(const std::string& text, int left, const char* kind)
{
    if (text.empty()) {
        return;
    }
    for (const Characters& line : linesOf(text, charactersIn(RIGHT - left))) {
        m_y += LINE_HEIGHT;
        m_rows += written(left, m_y, kind, "start", line);
    }
}

/// What comes behind the rows is written again each time, and so is the picture's height.
void Picture::write()
{
    m_file.seekp(m_end);
    m_file << m_rows;
    m_rows.clear();
    m_end = m_file.tellp();
    m_file << lampSoFar() << "</svg>\n";
    m_file.seekp(0);
    m_file << startOf(m_y + 2 * PADDING) << std::flush;
    if (!m_file) {
        throw std::system_error(errno, std::generic_category(), nameOf(m_picture));
    }
}

std::string Picture::nameOf(int picture) const
{
    return m_name + (picture == 1 ? "" : '-' + std::to_string(picture)) + std::string(SUFFIX);
}

}  // namespace deskphone
