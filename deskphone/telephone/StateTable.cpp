#include "telephone/StateTable.h"

#include <algorithm>
#include <cctype>

#include "RecordingStateMachine.h"
#include "telephone/MachineLog.h"

namespace deskphone {

namespace {

std::string stateName(int state)
{
    return shortName(RecordingStateMachine::stateName(state));
}

}  // namespace

std::vector<Transition> transitionTable()
{
    std::vector<Transition> table;
    for (int state = 0; state < NUMBER_OF_RECORDING_STATES; ++state) {
        for (int event = 0; event < NUMBER_OF_RECORDING_EVENTS; ++event) {
            const int next = RecordingStateMachine::nextState(state, event);
            if (next != ILLEGAL_STATE) {
                table.push_back(
                    {stateName(state), shortName(RecordingStateMachine::eventName(event)), stateName(next)});
            }
        }
    }
    return table;
}

std::vector<std::string> actionNames()
{
    std::vector<std::string> names{"ACT_no_action"};
    for (int state = ILLEGAL_STATE + 1; state < NUMBER_OF_RECORDING_STATES; ++state) {
        std::string name = stateName(state);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        names.push_back("ACT_" + name);
    }
    return names;
}

std::string initialState()
{
    return stateName(RecordingStateMachine(nullptr, nullptr, nullptr).getState());
}

}  // namespace deskphone
