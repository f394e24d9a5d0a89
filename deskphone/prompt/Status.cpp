#include "prompt/Status.h"

#include <algorithm>

#include "scenario/Words.h"

namespace deskphone {

std::string describe(const Status& status)
{
    const std::string lamp = status.lampOn ? "lamp ● on" : "lamp ○ off";
    if (!status.running) {
        return "the service does not run   " + lamp + '\n';
    }
    std::string text = "mode " + asWord(status.mode) + (status.hasStore ? "" : " (no store)") + "   selected " +
                       asWord(status.selectedLine) + "   " + lamp + '\n';
    std::size_t longest = 0;
    for (const Machine& machine : status.machines) {
        const std::string line = asWord(machine.line);
        longest = std::max(longest, charactersOf(line).size());
    }
    for (const Machine& machine : status.machines) {
        const std::string line = asWord(machine.line);
        text += "  " + line + std::string(longest - charactersOf(line).size() + 2, ' ') + machine.state;
        text += machine.session.empty() ? "\n" : "  session " + machine.session + '\n';
    }
    return text;
}

}  // namespace deskphone
