#include "show/StateChart.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "telephone/StateTable.h"

namespace deskphone {

/// To keep the number of arrows readable, the states that most events leave for the same states are drawn in a box, and
/// such an event is one arrow from the box. Mermaid lays the diagram out by the order of its lines: where the box leads
/// to comes first, everything else from the table's end on, else arrows lie on top of each other.
void StateChart::finish()
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
    const auto times = [this](const std::string& from, const std::string& event) {
        const int count = m_reached.transitions(from, event);
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
    m_screen.print("stateDiagram-v2\n" + targets + "    state \"any of these\" as box {\n" + inside + "    }\n" +
                   outside + "    [*] --> " + initialState() + '\n');
}

}  // namespace deskphone
