#include "show/TextShow.h"

#include <algorithm>

#include "scenario/Words.h"
#include "show/Sequence.h"

namespace deskphone {

namespace {

// Colours of a terminal, as parameters of its escape sequence.
constexpr const char* PLAIN = "";
constexpr const char* BOLD = "1";
constexpr const char* DIM = "2";
constexpr const char* RED = "31";
constexpr const char* GREEN = "1;32";
constexpr const char* YELLOW = "33";
constexpr const char* LAMP_LIT = "1;37;41";

constexpr std::size_t THREAD_WIDTH = 12;
constexpr std::size_t KIND_WIDTH = 9;
constexpr std::size_t INDENT = 4;

struct ToText {
    std::string operator()(std::monostate /*nothing*/) const { return "nothing"; }
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(int value) const { return std::to_string(value); }
    std::string operator()(const std::string& value) const { return quoted(value); }
    std::string operator()(const List& list) const { return '[' + separated(list) + ']'; }

    std::string separated(const List& list) const
    {
        std::string text;
        for (const Value& value : list) {
            text += (text.empty() ? "" : ", ") + std::visit(*this, value);
        }
        return text;
    }
};

/// What stands in the column between the thread and the text of a record.
struct Kind {
    std::string name;
    const char* colour;
    const char* textColour;
};

Kind kindOf(const Call& call)
{
    if (call.refused) {
        return {"refused", YELLOW, PLAIN};
    }
    const std::optional<bool> lamp = lampSetBy(call);
    return !lamp ? Kind{"call", BOLD, PLAIN} : *lamp ? Kind{"lamp on", LAMP_LIT, PLAIN} : Kind{"lamp off", BOLD, PLAIN};
}

Kind kindOf(const MachineEvent& event)
{
    return event.to.empty() ? Kind{"ignored", YELLOW, PLAIN} : Kind{"state", GREEN, GREEN};
}

Kind kindOf(const Refusal& /*refusal*/)
{
    return {"refused", YELLOW, PLAIN};
}

Kind kindOf(const LogLine& log)
{
    switch (log.level) {
        case LOG_LEVEL_ERROR: return {"error", RED, RED};
        case LOG_LEVEL_WARNING: return {"warning", YELLOW, YELLOW};
        case LOG_LEVEL_INFO: return {"info", DIM, PLAIN};
        case LOG_LEVEL_TRACE: return {"trace", DIM, DIM};
        case LOG_LEVEL_DETAIL: return {"detail", DIM, DIM};
        default: return {"level " + std::to_string(log.level), DIM, DIM};
    }
}

std::string textOf(const Call& call)
{
    return asText(call);
}

/// Tabs are left as they are.
std::string shownWhole(const std::string& text)
{
    std::string shown;
    for (const char c : text) {
        shown += c == '\t' ? std::string{c} : visible(c);
    }
    return shown;
}

/// The lines of a log text stand below each other; a newline at its end is left out.
std::string textOf(const LogLine& log)
{
    static const std::string nextLine = '\n' + std::string(INDENT + THREAD_WIDTH + KIND_WIDTH, ' ');
    std::string text = log.component + ": ";
    for (std::size_t at = 0; at < log.text.size();) {
        const std::size_t end = std::min(log.text.find('\n', at), log.text.size());
        text += (at == 0 ? "" : nextLine) + shownWhole(log.text.substr(at, end - at));
        at = end + 1;
    }
    return text;
}

}  // namespace

std::string asText(const Value& value)
{
    return std::visit(ToText(), value);
}

std::string asText(const Call& call)
{
    return call.name + '(' + ToText().separated(call.arguments) + ')';
}

void TextShow::addComments(const std::vector<std::string>& comments)
{
    for (const std::string& comment : comments) {
        m_screen.print(m_screen.painted(shownWhole(comment), DIM) + '\n');
    }
}

void TextShow::add(const Step& step)
{
    addComments(step.comments);
    std::string text =
        m_screen.painted(std::to_string(step.number), DIM) + m_screen.painted(asWords(step.command), BOLD) + '\n';
    for (std::size_t thread = 0; thread < NUMBER_OF_THREADS; ++thread) {
        for (const Record& record : step.records[thread]) {
            const Kind kind = std::visit([](const auto& any) { return kindOf(any); }, record);
            const std::string what = std::visit([](const auto& any) { return textOf(any); }, record);
            text += row(threadNames[thread], threadColours[thread],
                        column(kind.name, kind.colour, KIND_WIDTH) + m_screen.painted(what, kind.textColour));
        }
    }
    if (!std::holds_alternative<std::monostate>(step.result)) {
        text += row("result", BOLD, std::visit(ToText(), step.result));
    }
    const bool lampIsOn = lampIsOnAfter(step);
    if (step.lampWasOn || lampIsOn) {
        text += row("lamp", BOLD, m_screen.painted(lampIsOn ? "● on" : "○ off", lampIsOn ? LAMP_LIT : PLAIN));
    }
    m_screen.print(text);
}

/// The text in a column of this width.
std::string TextShow::column(const std::string& text, const std::string& colour, std::size_t width) const
{
    return m_screen.painted(text, colour) + std::string(width - std::min(width, text.size()), ' ');
}

/// A row below a command.
std::string TextShow::row(const std::string& head, const std::string& colour, const std::string& text) const
{
    return std::string(INDENT, ' ') + column(head, colour, THREAD_WIDTH) + text + '\n';
}

}  // namespace deskphone
