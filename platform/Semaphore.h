#pragma once

#include <atomic>

/// A counting semaphore of the platform; any thread may take and give.
class Semaphore {
public:
    /// `count` of at most `maximum` permits are free at the start.
    Semaphore(int count, int maximum, bool);
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    /// Takes a permit, waiting up to `timeoutMs` milliseconds for it, -1 without limit. False when the time ran out.
    bool take(int timeoutMs);
    /// Frees a permit; does nothing while `maximum` permits are free.
    void give();

private:
    bool awaitGrant(int timeoutMs);
    bool tryGrant();

    std::atomic<int> m_value;  // free permits, or minus the number of waiting threads that nothing is granted yet
    std::atomic<int> m_grants{0};
    const int m_maximum;
};
