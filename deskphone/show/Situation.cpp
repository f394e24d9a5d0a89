#include "show/Situation.h"

#include "scenario/Words.h"

namespace deskphone {

namespace {

constexpr std::size_t LONGEST_CHARACTER = 4;  // in bytes

}  // namespace

void Situation::add(const MachineEvent& event)
{
    if (!event.to.empty()) {
        m_states[event.line] = event.to;
    }
}

void Situation::add(const Step& step)
{
    for (const auto& ofThread : step.records) {
        for (const Record& record : ofThread) {
            if (const auto* const event = std::get_if<MachineEvent>(&record)) {
                add(*event);
            }
        }
    }
    endStep(step);
}

void Situation::endStep(const Step& step)
{
    if (!step.serviceRuns) {
        m_states.clear();
    }
}

std::string Situation::text(bool lampOn, std::size_t length) const
{
    if (!lampOn && m_states.empty()) {
        return "";
    }
    std::string text = lampOn ? "before: lamp on" : "before: lamp off";
    for (auto state = m_states.begin(); state != m_states.end() && text.size() <= LONGEST_CHARACTER * length; ++state) {
        text += ", " + asWord(state->first) + ' ' + state->second;
    }
    return text;
}

}  // namespace deskphone
