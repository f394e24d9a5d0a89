#include "Semaphore.h"

#include "Activity.h"
#include "Futex.h"

Semaphore::Semaphore(int count, int maximum, bool /*unused*/) : m_value(count), m_maximum(maximum) {}

bool Semaphore::take(int timeoutMs)
{
    int value = m_value.load(std::memory_order_relaxed);
    do {
        if (value <= 0 && timeoutMs == 0) {
            return false;
        }
    } while (!m_value.compare_exchange_weak(value, value - 1, std::memory_order_acquire, std::memory_order_relaxed));
    return value > 0 || awaitGrant(timeoutMs);
}

void Semaphore::give()
{
    int value = m_value.load(std::memory_order_relaxed);
    do {
        if (value >= m_maximum) {
            return;
        }
    } while (!m_value.compare_exchange_weak(value, value + 1, std::memory_order_release, std::memory_order_relaxed));
    if (value < 0) {
        runtime::activity::granting();
        m_grants.fetch_add(1, std::memory_order_release);
        runtime::futexWake(m_grants, 1);
    }
}

bool Semaphore::awaitGrant(int timeoutMs)
{
    using namespace runtime;
    std::int64_t deadline = timeoutMs < 0 ? -1 : monotonicNs() + timeoutMs * std::int64_t{1'000'000};
    activity::waits();
    while (!tryGrant()) {
        if (futexWait(m_grants, 0, deadline)) {
            continue;
        }
        // Out of time: leave the ranks of the waiting, unless a permit is on its way to this thread already.
        int value = m_value.load(std::memory_order_relaxed);
        while (value < 0) {
            if (m_value.compare_exchange_weak(value, value + 1, std::memory_order_relaxed)) {
                activity::goesOn();
                return false;
            }
        }
        deadline = -1;
    }
    activity::granted();
    return true;
}

bool Semaphore::tryGrant()
{
    int grants = m_grants.load(std::memory_order_relaxed);
    while (grants > 0) {
        if (m_grants.compare_exchange_weak(grants, grants - 1, std::memory_order_acquire, std::memory_order_relaxed)) {
            return true;
        }
    }
    return false;
}
