#include <algorithm>

#include "Logging.h"
#include "PhysDefs.h"
#include "scenario/Scenario.h"
#include "show/Printers.h"
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
constexpr std::size_t KIND_WIDTH = 10;
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
    if (call.name == "PhysicalInterfaceServiceIfc.setFPKLamp") {
        const int state = std::get<int>(call.arguments[1]);
        if (state == PhysDefs::LAMP_ON) {
            return {"lamp on", LAMP_LIT, PLAIN};
        }
        if (state == PhysDefs::LAMP_OFF) {
            return {"lamp off", BOLD, PLAIN};
        }
    }
    return {"call", BOLD, PLAIN};
}

Kind kindOf(const MachineEvent& /*event*/)
{
    return {"state", GREEN, GREEN};
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
    return call.name + '(' + ToText().separated(call.arguments) + ')';
}

std::string textOf(const MachineEvent& event)
{
    return changeOf(event);
}

/// The lines of a log text stand below each other; a newline at its end is left out.
std::string textOf(const LogLine& log)
{
    static const std::string nextLine = '\n' + std::string(INDENT + THREAD_WIDTH + KIND_WIDTH, ' ');
    std::string text = log.component + ": ";
    for (std::size_t at = 0; at < log.text.size(); ++at) {
        const char c = log.text[at];
        if (c != '\n') {
            text += c == '\t' ? std::string{c} : visible(c);
        } else if (at + 1 < log.text.size()) {
            text += nextLine;
        }
    }
    return text;
}

}  // namespace

std::string printText(const Step& step, bool coloured)
{
    const auto paint = [coloured](const std::string& text, const std::string& colour, std::size_t width = 0) {
        const std::string padding(width - std::min(width, text.size()), ' ');
        return coloured && !colour.empty() ? "\x1b[" + colour + 'm' + text + "\x1b[0m" + padding : text + padding;
    };
    std::string command;
    for (const std::string& word : step.command) {
        command += ' ' + asWord(word);
    }
    const std::string indent(INDENT, ' ');
    std::string text = paint(std::to_string(step.number), DIM) + paint(command, BOLD) + '\n';
    for (std::size_t thread = 0; thread < NUMBER_OF_THREADS; ++thread) {
        for (const Record& record : step.records[thread]) {
            const auto* const event = std::get_if<MachineEvent>(&record);
            if (event != nullptr && event->to.empty()) {
                continue;
            }
            const Kind kind = std::visit([](const auto& any) { return kindOf(any); }, record);
            const std::string what = std::visit([](const auto& any) { return textOf(any); }, record);
            text += indent + paint(threadNames[thread], threadColours[thread], THREAD_WIDTH) +
                    paint(kind.name, kind.colour, KIND_WIDTH) + paint(what, kind.textColour) + '\n';
        }
    }
    if (!std::holds_alternative<std::monostate>(step.result)) {
        text += indent + paint("result", BOLD, THREAD_WIDTH) + std::visit(ToText(), step.result) + '\n';
    }
    const bool lampIsOn = lampIsOnAfter(step);
    if (step.lampWasOn || lampIsOn) {
        text += indent + paint("lamp", BOLD, THREAD_WIDTH) +
                paint(lampIsOn ? "● on" : "○ off", lampIsOn ? LAMP_LIT : PLAIN) + '\n';
    }
    return text;
}

}  // namespace deskphone
