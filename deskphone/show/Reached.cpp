#include "show/Reached.h"

namespace deskphone {

namespace {

template <typename Key>
int countOf(const std::map<Key, int>& counts, const Key& key)
{
    const auto found = counts.find(key);
    return found == counts.end() ? 0 : found->second;
}

}  // namespace

void Reached::add(const Step& step)
{
    for (const auto& records : step.records) {
        for (const Record& record : records) {
            if (const auto* const event = std::get_if<MachineEvent>(&record)) {
                ++m_actions[event->action];
                if (!event->to.empty()) {
                    ++m_transitions[{event->from, event->event}];
                }
            }
        }
    }
}

int Reached::transitions(const std::string& from, const std::string& event) const
{
    return countOf(m_transitions, {from, event});
}

int Reached::actions(const std::string& name) const
{
    return countOf(m_actions, name);
}

}  // namespace deskphone
