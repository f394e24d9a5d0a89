#pragma once

#include <map>
#include <string>
#include <utility>

#include "telephone/Step.h"

namespace deskphone {

/// Counts how often each transition of the machines was made, and each action run.
class Reached {
public:
    void add(const Step& step);

    int transitions(const std::string& from, const std::string& event) const;
    int actions(const std::string& name) const;

private:
    std::map<std::pair<std::string, std::string>, int> m_transitions;  // by state and event
    std::map<std::string, int> m_actions;
};

}  // namespace deskphone
