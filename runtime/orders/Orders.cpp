#include "Orders.h"

#include <algorithm>
#include <functional>

namespace runtime::orders {

unsigned Branch::usual() const
{
    return preemptible() ? running : static_cast<unsigned>(__builtin_ctzll(able));
}

GivenOrder::GivenOrder(const Code& code) : m_code(code) {}

unsigned GivenOrder::choose(const Branch& branch)
{
    if (m_next == m_code.size() || branch.point < m_code[m_next].point) {
        return branch.usual();
    }
    const Deviation& deviation = m_code[m_next++];
    return branch.point == deviation.point ? deviation.thread : MOST_THREADS;
}

RandomOrder::RandomOrder(std::uint64_t seed, unsigned changes, unsigned points) : m_state(seed)
{
    for (std::uint64_t& priority : m_priorities) {
        priority = changes + random() / 2;
    }
    for (unsigned i = 0; i < changes; ++i) {
        m_changes.push_back(static_cast<unsigned>(random() % points));
    }
    std::sort(m_changes.begin(), m_changes.end(), std::greater<>());
}

unsigned RandomOrder::choose(const Branch& branch)
{
    while (!m_changes.empty() && m_changes.back() <= branch.point) {
        m_changes.pop_back();
        m_priorities[branch.running] = m_changes.size();
    }
    unsigned highest = static_cast<unsigned>(__builtin_ctzll(branch.able));
    for (unsigned thread = highest; thread < MOST_THREADS; ++thread) {
        if ((branch.able & only(thread)) != 0 && m_priorities[thread] > m_priorities[highest]) {
            highest = thread;
        }
    }
    return highest;
}

/// The next number of a sequence whose members differ in half their bits, also those of neighbouring seeds.
std::uint64_t RandomOrder::random()
{
    m_state += 0x9E3779B97F4A7C15;
    std::uint64_t mixed = m_state;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return mixed ^ (mixed >> 31);
}

Exploration::Exploration(unsigned preemptions) : m_waiting(preemptions + 1)
{
    m_waiting[0].emplace_back();
}

bool Exploration::next(Code& code)
{
    while (m_waiting[m_preemptions].empty()) {
        if (m_preemptions + 1 == m_waiting.size()) {
            return false;
        }
        ++m_preemptions;
    }
    std::vector<Code>& waiting = m_waiting[m_preemptions];
    code = std::move(waiting.back());
    waiting.pop_back();
    return true;
}

// An order is followed by those that go its way up to a point behind its last deviation and deviate there. So each one
// is reached from one other only.
void Exploration::played(const Outcome& outcome)
{
    const unsigned from = outcome.code.empty() ? 0 : outcome.code.back().point + 1;
    for (const Branch& branch : outcome.branches) {
        const unsigned preemptions = m_preemptions + (branch.preemptible() ? 1 : 0);
        if (branch.point < from || preemptions == m_waiting.size()) {
            continue;
        }
        for (ThreadSet others = branch.able & ~only(branch.chosen); others != 0; others &= others - 1) {
            Code code = outcome.code;
            code.push_back({branch.point, static_cast<unsigned>(__builtin_ctzll(others))});
            m_waiting[preemptions].push_back(std::move(code));
        }
    }
}

}  // namespace runtime::orders
