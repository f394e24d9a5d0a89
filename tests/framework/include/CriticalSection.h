#pragma once

#include "Semaphore.h"

class CriticalSection {
public:
    explicit CriticalSection(Semaphore& lock);
    ~CriticalSection();

private:
    bool m_held;
    Semaphore* m_lock;
};
