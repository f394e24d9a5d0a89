#include "Semaphore.h"

#include "Scheduler.h"

using runtime::orders::Scheduler;
using runtime::orders::Wait;

namespace {

// What m_grants says of a semaphore that is used as a lock (one permit, free at the start): nobody holds it, or the
// holder's number + 1; and of any other.
constexpr int FREE = 0;
constexpr int NO_LOCK = -1;

void beAlive(Scheduler& scheduler, int maximum)
{
    if (maximum == Scheduler::POISON) {
        scheduler.fail("use of a semaphore that was released");
    }
}

}  // namespace

Semaphore::Semaphore(int count, int maximum, bool /*unused*/)
    : m_value(count), m_grants(count == 1 && maximum == 1 ? FREE : NO_LOCK), m_maximum(maximum)
{
}

bool Semaphore::take(int timeoutMs)
{
    Scheduler* const scheduler = Scheduler::current();
    if (scheduler != nullptr) {
        const Wait::Kind kind = timeoutMs < 0 ? Wait::PERMIT : timeoutMs > 0 ? Wait::PERMIT_OR_TIME : Wait::NOTHING;
        scheduler->meet({kind, &m_value, &m_grants});
        beAlive(*scheduler, m_maximum);
    }
    if (m_value <= 0) {
        return false;
    }
    --m_value;
    if (scheduler != nullptr && m_grants == FREE) {
        m_grants = static_cast<int>(scheduler->running()) + 1;
        scheduler->holds(scheduler->running(), 1);
    }
    return true;
}

void Semaphore::give()
{
    Scheduler* const scheduler = Scheduler::current();
    if (scheduler != nullptr) {
        scheduler->meet({});
        beAlive(*scheduler, m_maximum);
        if (m_grants > FREE) {
            scheduler->holds(static_cast<unsigned>(m_grants) - 1, -1);
            m_grants = FREE;
        } else if (m_grants == FREE) {
            scheduler->fail("a lock is given back that nobody has taken");
        }
    }
    if (m_value < m_maximum) {
        ++m_value;
    }
}
