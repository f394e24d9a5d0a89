#pragma once

#include <condition_variable>
#include <mutex>

class Semaphore {
public:
    Semaphore(int count, int maximum, bool);
    ~Semaphore();

    bool take(int timeoutMs);
    void give();

private:
    std::mutex m_mutex;
    std::condition_variable m_given;
    int m_count;
    int m_maximum;
};
