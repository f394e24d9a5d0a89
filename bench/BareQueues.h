#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "CriticalSection.h"
#include "Futex.h"
#include "LMSEventDispatcher.h"
#include "Threader.h"

using Record = LMSEventDispatcher::LMSEventData;

constexpr int STOP = -1;  // as a session: ends the thread

inline Record* newRecord(int session)
{
    return new Record{session, -1, -1, LMSErrorCode{2}, LMSEventDispatcher::LMS_EVENT_NOT_STREAMING};
}

/// A dispatcher of the plug-in's design and nothing more: a lock, a vector, a signal and a thread, one kind of event.
class MinimalDispatcher : public Threadable {
public:
    explicit MinimalDispatcher(LMSEventObserverIfc& receiver) : m_observer(receiver)
    {
        ThreadId ignored = 0;
        Threader().spawn(ignored, this, "", THREAD_PRIORITY_NORMAL, 0);
    }
    ~MinimalDispatcher() override
    {
        m_running = false;
        m_signal.give();
        Threader().waitForThreadCompletion(threadId());
    }

    void post(int session)
    {
        Record* const record = newRecord(session);
        const CriticalSection guard(m_lock);
        m_records.push_back(record);
        m_signal.give();
    }
    void run() override
    {
        while (m_running) {
            m_signal.take(-1);
            std::size_t waiting = 0;
            Record* oldest = nullptr;
            {
                const CriticalSection guard(m_lock);
                if (m_records.empty()) {
                    continue;
                }
                waiting = m_records.size();
                oldest = m_records.front();
                m_records.erase(m_records.begin());
            }
            m_observer.LMSEventNotStreaming(oldest->recordingSessionHandle);
            delete oldest;
            if (waiting > 1) {
                m_signal.give();
            }
        }
    }

private:
    LMSEventObserverIfc& m_observer;
    Semaphore m_lock{1, 1, false};
    std::vector<Record*> m_records;
    Semaphore m_signal{0, 1, false};
    std::atomic<bool> m_running{true};
};

/// The queue that one writes without thinking: a mutex, a condition variable and a deque.
class StandardQueue {
public:
    explicit StandardQueue(LMSEventObserverIfc& receiver) : m_observer(receiver) {}
    ~StandardQueue()
    {
        post(STOP);
        m_thread.join();
    }

    void post(int session)
    {
        Record* const record = newRecord(session);
        const std::lock_guard<std::mutex> guard(m_lock);
        m_records.push_back(record);
        m_signal.notify_one();
    }

private:
    void run()
    {
        for (int session = 0; session != STOP;) {
            Record* oldest = nullptr;
            {
                std::unique_lock<std::mutex> guard(m_lock);
                m_signal.wait(guard, [this] { return !m_records.empty(); });
                oldest = m_records.front();
                m_records.pop_front();
            }
            session = oldest->recordingSessionHandle;
            m_observer.LMSEventNotStreaming(session);
            delete oldest;
        }
    }

    LMSEventObserverIfc& m_observer;
    std::mutex m_lock;
    std::condition_variable m_signal;
    std::deque<Record*> m_records;
    std::thread m_thread{[this] { run(); }};
};

/// Hands a number to another thread with a futex and nothing else.
class FutexHandOver {
public:
    explicit FutexHandOver(LMSEventObserverIfc& receiver) : m_observer(receiver) {}
    ~FutexHandOver()
    {
        post(STOP);
        m_thread.join();
    }

    void post(int session)
    {
        m_word.store(session, std::memory_order_release);
        runtime::futexWake(m_word, 1);
    }

private:
    void run()
    {
        for (int session = 0; session != STOP; session = m_word.exchange(0, std::memory_order_acquire)) {
            if (session == 0) {
                runtime::futexWait(m_word, 0, -1);
            } else {
                m_observer.LMSEventNotStreaming(session);
            }
        }
    }

    LMSEventObserverIfc& m_observer;
    runtime::FutexWord m_word{0};
    std::thread m_thread{[this] { run(); }};
};
