#pragma once

#include <map>
#include <string>

#include "telephone/Step.h"

namespace deskphone {

/// What holds between two steps, for charts that begin in the middle of a run: the states of the lines' machines.
class Situation {
public:
    void add(const MachineEvent& event);
    /// A whole step, its events included.
    void add(const Step& step);
    /// Without the service there are no machines.
    void endStep(const Step& step);

    /// The lamp and the states, more than `length` characters where there is as much; "" when nothing was ever done.
    std::string text(bool lampOn, std::size_t length) const;

private:
    std::map<std::string, std::string> m_states;  // by line
};

}  // namespace deskphone
