#include "orders/Playing.h"

#include <cstring>
#include <memory>

#include "orders/Outcomes.h"
#include "orders/WholeOperations.h"

namespace deskphone {

using namespace runtime::orders;

namespace {

class Followed : public Schedule {
public:
    Followed(Schedule& schedule, Trail& trail) : m_schedule(schedule), m_trail(trail) { m_trail = Trail(); }

    unsigned choose(const Branch& branch) override
    {
        const unsigned chosen = m_schedule.choose(branch);
        m_trail.point = branch.point;
        m_trail.preemptions += branch.preemptible() && chosen != branch.running ? 1 : 0;
        if (chosen != branch.usual()) {
            m_code.push_back({branch.point, chosen});
            std::strncpy(m_trail.code, codeText(m_code).c_str(), sizeof m_trail.code - 1);
        }
        return chosen;
    }

private:
    Schedule& m_schedule;
    Trail& m_trail;
    Code m_code;
};

}  // namespace

Playing::Playing(const Script& script, const Plugin& plugin, int logLevel)
    : m_script(script),
      m_plugin(plugin),
      m_logLevel(logLevel),
      m_staticData(reinterpret_cast<void*>(plugin.createService))
{
}

void Playing::explain()
{
    if (m_script.allowed.count(Judge::SEQUENTIAL) == 0) {
        m_explained = outcomesOfWholeOperations([this](Schedule& schedule) { return play(schedule).facts; });
    }
}

Played Playing::play(Schedule& schedule, const Kept& kept)
{
    Trail unasked;
    Followed followed(schedule, m_trail == nullptr ? unasked : *m_trail);
    auto run = std::make_unique<OrderedRun>(m_script, m_plugin, m_logLevel, kept);
    Played played{run->play(followed), run->facts(), run->failures(), run->steps()};
    run.reset();
    m_staticData.restore();
    if (played.failures.empty() && !m_explained.empty() && m_explained.count(lasting(played.facts)) == 0) {
        played.failures.insert("no order of whole operations leads to these states and stored values");
    }
    return played;
}

}  // namespace deskphone
