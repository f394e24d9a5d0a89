#pragma once

#include "Semaphore.h"

/// Holds a semaphore that is used as a lock for the length of a scope.
class CriticalSection {
public:
    explicit CriticalSection(Semaphore& lock) : m_lock(lock) { m_lock.take(-1); }
    ~CriticalSection() { m_lock.give(); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

private:
    Semaphore& m_lock;
};
