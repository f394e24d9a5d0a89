#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
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
    explicit MinimalDispatcher(LMSEventObserverIfc& receiver) : observer(receiver)
    {
        ThreadId ignored = 0;
        Threader().spawn(ignored, this, "", THREAD_PRIORITY_NORMAL, 0);
    }
    ~MinimalDispatcher() override
    {
        running = false;
        signal.give();
        Threader().waitForThreadCompletion(threadId());
    }

    void post(int session)
    {
        Record* const record = newRecord(session);
        const CriticalSection guard(lock);
        records.push_back(record);
        signal.give();
    }
    void run() override
    {
        while (running) {
            signal.take(-1);
            Record* oldest = nullptr;
            {
                const CriticalSection guard(lock);
                if (records.empty()) {
                    continue;
                }
                oldest = records.front();
                records.erase(records.begin());
                if (!records.empty()) {
                    signal.give();
                }
            }
            observer.LMSEventNotStreaming(oldest->recordingSessionHandle);
            delete oldest;
        }
    }

private:
    LMSEventObserverIfc& observer;
    Semaphore lock{1, 1, false};
    std::vector<Record*> records;
    Semaphore signal{0, 1, false};
    std::atomic<bool> running{true};
};

/// The queue that one writes without thinking: a mutex, a condition variable and a deque.
class StandardQueue {
public:
    explicit StandardQueue(LMSEventObserverIfc& receiver) : observer(receiver) {}
    ~StandardQueue()
    {
        post(STOP);
        thread.join();
    }

    void post(int session)
    {
        Record* const record = newRecord(session);
        const std::lock_guard<std::mutex> guard(lock);
        records.push_back(record);
        signal.notify_one();
    }

private:
    void run()
    {
        for (int session = 0; session != STOP;) {
            Record* oldest = nullptr;
            {
                std::unique_lock<std::mutex> guard(lock);
                signal.wait(guard, [this] { return !records.empty(); });
                oldest = records.front();
                records.pop_front();
            }
            session = oldest->recordingSessionHandle;
            observer.LMSEventNotStreaming(session);
            delete oldest;
        }
    }

    LMSEventObserverIfc& observer;
    std::mutex lock;
    std::condition_variable signal;
    std::deque<Record*> records;
    std::thread thread{[this] { run(); }};
};

/// Hands a number to another thread with a futex and nothing else.
class FutexHandOver {
public:
    explicit FutexHandOver(LMSEventObserverIfc& receiver) : observer(receiver) {}
    ~FutexHandOver()
    {
        post(STOP);
        thread.join();
    }

    void post(int session)
    {
        word.store(session, std::memory_order_release);
        runtime::futexWake(word, 1);
    }

private:
    void run()
    {
        for (int session = 0; session != STOP; session = word.exchange(0, std::memory_order_acquire)) {
            if (session == 0) {
                runtime::futexWait(word, 0, -1);
            } else {
                observer.LMSEventNotStreaming(session);
            }
        }
    }

    LMSEventObserverIfc& observer;
    runtime::FutexWord word{0};
    std::thread thread{[this] { run(); }};
};
