#include "telephone/Machines.h"

#include <algorithm>
#include <cctype>
#include <regex>
#include <set>

#include "RecordingStateMachine.h"

namespace deskphone {

namespace {

/// MRS_STA_IDLE is known as IDLE, MRS_EVT_STREAM as STREAM.
std::string shortName(const std::string& name)
{
    return name.compare(0, 4, "MRS_") == 0 ? name.substr(8) : name;
}

std::string actionOf(const std::string& state)
{
    std::string action = "ACT_" + state;
    std::transform(action.begin() + 4, action.end(), action.begin() + 4,
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return action;
}

struct Transition {
    std::string from;
    std::string event;
    std::string to;
};

/// The transition table, state by state.
std::vector<Transition> transitionTable()
{
    std::vector<Transition> table;
    for (int state = 0; state < NUMBER_OF_RECORDING_STATES; ++state) {
        for (int event = 0; event < NUMBER_OF_RECORDING_EVENTS; ++event) {
            const int next = RecordingStateMachine::nextState(state, event);
            if (next != ILLEGAL_STATE) {
                table.push_back({shortName(RecordingStateMachine::stateName(state)),
                                 shortName(RecordingStateMachine::eventName(event)),
                                 shortName(RecordingStateMachine::stateName(next))});
            }
        }
    }
    return table;
}

template <typename Key>
int countOf(const std::map<Key, int>& counts, const Key& key)
{
    const auto found = counts.find(key);
    return found == counts.end() ? 0 : found->second;
}

}  // namespace

// dumpStateMachines()
//     stateMachines[LINE]==ADDRESS, in state: [ cSTA=STATE; ...; mrsID=N; lURI=LINE; cID=N; msID=N]
// A line URI may hold anything, so an entry is read from its ends.
std::vector<Machine> machinesIn(const std::string& dump)
{
    static const std::string start = "\n\tstateMachines[";
    static const std::string state = ", in state: [ cSTA=MRS_STA_";
    std::vector<Machine> machines;
    std::size_t next = dump.find(start);
    while (next != std::string::npos) {
        const std::size_t begin = next + start.size();
        next = dump.find(start, begin);
        const std::string entry = dump.substr(begin, next == std::string::npos ? next : next - begin);
        const std::size_t described = entry.find(state);
        if (described == std::string::npos) {
            continue;
        }
        const std::size_t address = entry.rfind("]==", described) + 3;
        const std::size_t name = described + state.size();
        Machine machine{entry.substr(0, address - 3), entry.substr(address, described - address),
                        entry.substr(name, entry.find(';', name) - name), ""};
        const std::size_t session = entry.find("; mrsID=", name) + 8;
        const std::size_t line = entry.find_first_of(";]", session);
        if (entry.compare(line, 7, "; lURI=") == 0) {
            const std::size_t call = entry.rfind("; cID=") + 6;
            const std::size_t media = entry.rfind("; msID=") + 7;
            machine.session = entry.substr(session, line - session) + " (call " + entry.substr(call, media - 7 - call) +
                              ", media " + entry.substr(media, entry.rfind(']') - media) + ')';
        }
        machines.push_back(machine);
    }
    return machines;
}

bool readMachineEvent(const std::string& text, MachineEvent& event)
{
    static const std::regex pattern(
        R"(RecordingStateMachine\(this=(\w+), .*\)::ExecuteAction\(event=(\w+)\): current state = (\w+)(; new state = (\w+))?.*)");
    std::smatch parts;
    if (!std::regex_match(text, parts, pattern)) {
        return false;
    }
    event = {parts[1], "", shortName(parts[2]), shortName(parts[3]), shortName(parts[5]), ""};
    if (event.to == RecordingStateMachine::stateName(ILLEGAL_STATE)) {
        event.to.clear();
    }
    return true;
}

void Reached::add(const Step& step)
{
    for (const auto& records : step.records) {
        for (const Record& record : records) {
            if (const auto* const event = std::get_if<MachineEvent>(&record)) {
                ++actions[event->action];
                if (!event->to.empty()) {
                    ++transitions[{event->from, event->event}];
                }
            }
        }
    }
}

/// To keep the number of arrows readable, the states that most events leave for the same states are drawn in a box, and
/// such an event is one arrow from the box. Mermaid lays the diagram out by the order of its lines: where the box leads
/// to comes first, everything else from the table's end on, else arrows lie on top of each other.
std::string drawStates(const Reached& reached)
{
    std::vector<Transition> table = transitionTable();
    std::reverse(table.begin(), table.end());
    std::map<std::pair<std::string, std::string>, std::set<std::string>> sources;  // of an event and where it leads
    for (const Transition& transition : table) {
        sources[{transition.event, transition.to}].insert(transition.from);
    }
    std::set<std::string> box;
    for (const auto& [arrow, states] : sources) {
        if (states.size() > box.size() && states.count(arrow.second) == 0) {
            box = states;
        }
    }
    const auto times = [&reached](const std::string& from, const std::string& event) {
        const int count = countOf(reached.transitions, {from, event});
        return count == 0 ? "" : " ×" + std::to_string(count);
    };

    std::string targets;
    std::string inside;
    std::string outside;
    for (const auto& [from, event, to] : table) {
        if (sources[{event, to}] != box) {
            const bool within = box.count(from) > 0 && box.count(to) > 0;
            (within ? inside.append("    ") : outside) +=
                "    " + from + " --> " + to + ": " + event + times(from, event) + '\n';
        }
    }
    for (const auto& [arrow, states] : sources) {
        const auto& [event, to] = arrow;
        if (states == box) {
            targets.insert(0, "    " + to + '\n');
            outside += "    box --> " + to + ": " + event;
            for (const std::string& from : states) {
                const std::string count = times(from, event);
                outside += count.empty() ? "" : "<br/>" + from + count;
            }
            outside += '\n';
        }
    }
    // A new machine's state comes from the plug-in, too.
    const int initial = RecordingStateMachine(nullptr, nullptr, nullptr).getState();
    return "stateDiagram-v2\n" + targets + "    state \"any of these\" as box {\n" + inside + "    }\n" + outside +
           "    [*] --> " + shortName(RecordingStateMachine::stateName(initial)) + '\n';
}

std::string printCoverage(const Reached& reached)
{
    const auto padded = [](std::string text, std::size_t width) {
        text.resize(std::max(width, text.size() + 1), ' ');
        return text;
    };
    const auto rest = [](int count) { return (count == 0 ? "not reached" : std::to_string(count)) + '\n'; };
    std::string text = "Transitions: ";
    std::string lines;
    int all = 0;
    int some = 0;
    for (const auto& [from, event, to] : transitionTable()) {
        const int count = countOf(reached.transitions, {from, event});
        ++all;
        some += count > 0 ? 1 : 0;
        lines += "    " + padded(from, 18) + padded(event, 17) + "-> " + padded(to, 18) + rest(count);
    }
    text += std::to_string(some) + " of " + std::to_string(all) + " reached\n" + lines + "Actions: ";
    lines.clear();
    some = 0;
    for (int state = 0; state < NUMBER_OF_RECORDING_STATES; ++state) {
        const std::string action =
            state == ILLEGAL_STATE ? "ACT_no_action" : actionOf(shortName(RecordingStateMachine::stateName(state)));
        const int count = countOf(reached.actions, action);
        some += count > 0 ? 1 : 0;
        lines += "    " + padded(action, 56) + rest(count);
    }
    return text + std::to_string(some) + " of " + std::to_string(NUMBER_OF_RECORDING_STATES) + " reached\n" + lines;
}

}  // namespace deskphone
