#pragma once

#include <string>
#include <vector>

namespace deskphone {

/// A row of the plug-in's transition table; the names as in MachineEvent.
struct Transition {
    std::string from;
    std::string event;
    std::string to;
};

/// The tables of the plug-in that is loaded: the transitions, state by state; the actions; a new machine's state.
std::vector<Transition> transitionTable();
std::vector<std::string> actionNames();
std::string initialState();

}  // namespace deskphone
