#include "orders/WholeOperations.h"

#include <vector>

#include "LMSEventObserverIfc.h"
#include "Threadable.h"
#include "Threads.h"

namespace deskphone {

namespace {

using namespace runtime::orders;

/// Lets another thread go on only where the running one is between two operations; of these orders it plays the one
/// that its choices so far tell, and at each further point the first.
class WholeOperations : public Schedule {
public:
    unsigned choose(const Branch& branch) override
    {
        const Threadable* const body = runtime::currentThreadable();
        const bool isCaller = dynamic_cast<const Caller*>(body) != nullptr;
        const bool isDispatcher = dynamic_cast<const LMSEventObserverIfc*>(body) != nullptr;
        m_workers |= isCaller || isDispatcher ? 0 : only(branch.running);
        if (branch.preemptible() && (!isDispatcher || branch.holdsLock)) {
            return branch.running;
        }
        // What the worker does changes nothing for the others.
        const ThreadSet others = branch.able & ~m_workers;
        const ThreadSet able = others != 0 ? others : branch.able;
        if (m_next == m_choices.size()) {
            m_choices.push_back(able);
        }
        return static_cast<unsigned>(__builtin_ctzll(m_choices[m_next++]));
    }

    /// Goes on to the next order; false when there is none left.
    bool next()
    {
        m_next = 0;
        while (!m_choices.empty()) {
            m_choices.back() &= m_choices.back() - 1;
            if (m_choices.back() != 0) {
                return true;
            }
            m_choices.pop_back();
        }
        return false;
    }

private:
    std::vector<ThreadSet> m_choices;  // what is left at each point, the one that is played first
    std::size_t m_next = 0;
    ThreadSet m_workers = 0;
};

/// The activation that was last set, on whichever line: no state, but what came before it.
constexpr const char* LAST_ACTIVATION = "stored call-recording-active";

}  // namespace

Facts lasting(const Facts& facts)
{
    Facts lasting;
    for (const auto& [name, value] : facts) {
        if (name.compare(0, 5, "line ") == 0 || name == "sessions" || name == "lamp" || name == "selected line" ||
            (name.compare(0, 7, "stored ") == 0 && name != LAST_ACTIVATION)) {
            lasting.insert({name, value});
        }
    }
    return lasting;
}

std::set<Facts> outcomesOfWholeOperations(const std::function<Facts(Schedule&)>& play)
{
    std::set<Facts> outcomes;
    WholeOperations orders;
    do {
        outcomes.insert(lasting(play(orders)));
    } while (orders.next());
    return outcomes;
}

}  // namespace deskphone
