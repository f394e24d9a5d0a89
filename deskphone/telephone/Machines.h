#pragma once

#include <array>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "telephone/Step.h"

namespace deskphone {

/// A line's machine as the controller lists it in its log.
struct Machine {
    std::string line;
    std::string address;
    std::string state;
    std::string session;  // empty: none
};

/// The machines in the controller's record of them, by line; lines without a machine are left out.
std::vector<Machine> machinesIn(const std::string& dump);

/// Whether this record of the machine tells of an event; `event` is filled but for the line and the action.
bool readMachineEvent(const std::string& text, MachineEvent& event);

/// How often a run made each transition, from a state by an event, and ran each action.
struct Reached {
    std::map<std::pair<std::string, std::string>, int> transitions;
    std::map<std::string, int> actions;

    void add(const Step& step);
};

/// The plug-in's state machine as a Mermaid state diagram; the transitions that were reached are marked with how often.
std::string drawStates(const Reached& reached);
/// Every transition and action of the plug-in's tables with how often it was reached.
std::string printCoverage(const Reached& reached);

}  // namespace deskphone
