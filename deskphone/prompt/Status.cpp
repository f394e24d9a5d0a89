#include "prompt/Status.h"

#include <algorithm>

#include "RecordingController.h"
#include "scenario/Scenario.h"
#include "show/Sequence.h"
#include "telephone/Recorder.h"
#include "telephone/Telephone.h"

namespace deskphone {

std::string describeTelephone(Telephone& telephone, Recorder& recorder)
{
    const std::string lamp = telephone.lampOn() ? "lamp ● on" : "lamp ○ off";
    if (!telephone.running()) {
        return "the service does not run   " + lamp + '\n';
    }
    const bool watched = recorder.watchMachines(true);
    const std::string mode = telephone.service()->getRecordingMode();
    const std::string selected = telephone.controller()->getSelectedLine();
    telephone.controller()->dumpStateMachines();
    recorder.take();  // what the questions left there
    recorder.watchMachines(watched);

    std::string text = "mode " + asWord(mode) + (telephone.store() == nullptr ? " (no store)" : "") + "   selected " +
                       asWord(selected) + "   " + lamp + '\n';
    const std::vector<Machine> machines = recorder.machines();
    std::size_t longest = 0;
    for (const Machine& machine : machines) {
        longest = std::max(longest, charactersOf(asWord(machine.line)).size());
    }
    for (const Machine& machine : machines) {
        const std::string line = asWord(machine.line);
        text += "  " + line + std::string(longest - charactersOf(line).size() + 2, ' ') + machine.state;
        text += machine.session.empty() ? "\n" : "  session " + machine.session + '\n';
    }
    return text;
}

}  // namespace deskphone
