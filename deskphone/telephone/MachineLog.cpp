#include "telephone/MachineLog.h"

#include <cstdlib>
#include <utility>

namespace deskphone {

namespace {

constexpr std::string_view LIST = "dumpStateMachines()\n";
constexpr std::string_view REFUSED = "(): getCallRecordingUserControllable()==false, request IGNORED";
constexpr std::string_view ENTRY = "\n\tstateMachines[";

bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

/// The text up to `end`, all of it where there is none.
std::string_view upTo(std::string_view text, std::string_view end)
{
    return text.substr(0, text.find(end));
}

/// What follows the first `start`, up to the next `end`; empty when there is no `start`.
std::string_view behindFirst(std::string_view text, std::string_view start, std::string_view end)
{
    const std::size_t found = text.find(start);
    return found == std::string_view::npos ? "" : upTo(text.substr(found + start.size()), end);
}

/// The same for the last `start`.
std::string_view behindLast(std::string_view text, std::string_view start, std::string_view end)
{
    const std::size_t found = text.rfind(start);
    return found == std::string_view::npos ? "" : upTo(text.substr(found + start.size()), end);
}

/// What stands between the start of the text and the last `end`; nothing when the text does not start so.
std::optional<std::string> enclosed(std::string_view text, std::string_view start, std::string_view end)
{
    const std::size_t last = text.rfind(end);
    if (!startsWith(text, start) || last == std::string_view::npos || last < start.size()) {
        return std::nullopt;
    }
    return std::string(text.substr(start.size(), last - start.size()));
}

/// RecordingStateMachine(this=ADDRESS, mrsID=N)::ExecuteAction(event=EVENT): current state = STATE; new state = STATE
/// It ends in "no transition made" where it makes none.
std::optional<MachineEvent> eventIn(std::string_view text)
{
    const std::string_view event = behindFirst(text, "::ExecuteAction(event=", ")");
    if (event.empty()) {
        return std::nullopt;
    }
    const bool ignored = text.find("no transition made") != std::string_view::npos;
    return MachineEvent{std::string(behindFirst(text, "(this=", ",")),
                        "",
                        shortName(event),
                        shortName(behindFirst(text, "current state = ", ";")),
                        ignored ? "" : shortName(behindFirst(text, "new state = ", ";")),
                        "",
                        std::atoi(std::string(behindFirst(text, "mrsID=", ")")).c_str())};
}

MachineEvent* lastEventIn(std::vector<Record>& records)
{
    for (auto record = records.rbegin(); record != records.rend(); ++record) {
        if (auto* const event = std::get_if<MachineEvent>(&*record)) {
            return event;
        }
    }
    return nullptr;
}

/// Notes the line that the controller begins to operate on, none where the operation names a handle or goes over
/// several lines. A text that begins no operation which gives machines events changes nothing.
void noteOperation(std::string_view text, std::optional<std::string>& line)
{
    std::optional<std::string> named = enclosed(text, "LMSCreateSession(lineURI=", ", callID=");
    for (const char* const operation : {"activateRecording(lineURI=", "deactivateRecording(lineURI="}) {
        named = named ? named : enclosed(text, operation, ")");
    }
    if (named || startsWith(text, "LMS") || startsWith(text, "setLineStatus(")) {
        line = named;
    }
}

/// LINE]==ADDRESS, in state: [ cSTA=STATE; pEVT=EVENT; pSTA=STATE; mrsID=N; lURI=LINE; cID=N; msID=N]
/// The last three are missing where there is no session, and the state where there is no machine.
std::optional<Machine> machineIn(std::string_view entry)
{
    constexpr std::string_view behindLine = "]==";
    const std::size_t description = entry.find(", in state: [ ");
    const std::size_t line = entry.substr(0, description).rfind(behindLine);
    if (description == std::string_view::npos || line == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t address = line + behindLine.size();
    Machine machine{std::string(entry.substr(0, line)), std::string(entry.substr(address, description - address)), "",
                    ""};
    entry.remove_prefix(description);
    machine.state = shortName(behindFirst(entry, "cSTA=", ";"));
    if (entry.find("; lURI=") != std::string_view::npos) {
        machine.session.append(behindFirst(entry, "mrsID=", ";"))
            .append(" (call ")
            .append(behindLast(entry, "; cID=", ";"))
            .append(", media ")
            .append(behindLast(entry, "; msID=", "]"))
            .append(")");
    }
    return machine;
}

}  // namespace

std::string shortName(std::string_view name)
{
    constexpr std::string_view anyPrefix = "MRS_STA_";
    return std::string(startsWith(name, "MRS_") ? name.substr(anyPrefix.size()) : name);
}

void MachineLog::read(std::string_view component, const std::string& text, RecordThread thread,
                      std::vector<Record>& records)
{
    if (component == CONTROLLER) {
        if (startsWith(text, LIST)) {
            m_list = text;
        } else if (const auto mode =
                       enclosed(text, "getCallRecordingUserControllable(): m_recordingMode = ", "; inCall = ")) {
            m_mode = *mode;
        } else if (const std::string_view request = upTo(text, "(");
                   std::string_view(text).substr(request.size()) == REFUSED) {
            records.emplace_back(Refusal{std::string(request), m_operatedLines[thread].value_or(""), ""});
        } else {
            noteOperation(text, m_operatedLines[thread]);
        }
    } else if (component == MACHINE && startsWith(text, "ACT_")) {
        if (MachineEvent* const event = lastEventIn(records)) {
            event->action = text;
        }
    } else if (component == MACHINE) {
        if (std::optional<MachineEvent> event = eventIn(text)) {
            m_hasReadEvents = true;
            if (const std::optional<std::string>& line = m_operatedLines[thread]) {
                m_lines.try_emplace(event->machine, *line);
            }
            const auto known = m_lines.find(event->machine);
            m_missesLines = m_missesLines || known == m_lines.end();
            event->line = known == m_lines.end() ? "" : known->second;
            records.emplace_back(std::move(*event));
        }
    }
}

void MachineLog::nameLines(Records& records)
{
    for (const Machine& machine : listed()) {
        know(machine.address, machine.line);
    }
    m_missesLines = false;
    for (auto& ofThread : records) {
        for (Record& record : ofThread) {
            if (auto* const event = std::get_if<MachineEvent>(&record)) {
                event->line = m_lines[event->machine];
            }
        }
    }
}

std::vector<Machine> MachineLog::listed() const
{
    std::vector<Machine> machines;
    const std::string_view list = m_list;
    for (std::size_t next = list.find(ENTRY); next != std::string_view::npos;) {
        const std::size_t begin = next + ENTRY.size();
        next = list.find(ENTRY, begin);
        if (std::optional<Machine> machine = machineIn(list.substr(begin, next - begin))) {
            machines.push_back(std::move(*machine));
        }
    }
    return machines;
}

void MachineLog::forgetMachines()
{
    m_lines.clear();
    m_list.clear();
}

}  // namespace deskphone
