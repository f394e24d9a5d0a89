#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "CriticalSection.h"
#include "Threader.h"

/// What the two queue threads have in common: how a record is appended, delivered and how the thread starts and stops.
/// A view of the members of the class that owns them.
///
/// The signal does not count records: it wakes the thread, which signals itself again while records remain.
template <typename Record>
struct RecordQueue {
    Semaphore& lock;
    std::vector<Record*>& records;
    Semaphore& signal;
    std::atomic<bool>& running;

    /// Any thread. Waits for nothing but the lock, which is held for the append and the signal alone.
    void append(std::unique_ptr<Record> record)
    {
        const CriticalSection guard(lock);
        records.push_back(record.get());
        static_cast<void>(record.release());
        signal.give();
    }

    void start(Threadable& body)
    {
        ThreadId ignored = 0;
        Threader().spawn(ignored, &body, "", THREAD_PRIORITY_NORMAL, 0);
    }

    /// The thread's body: hands each record to `use`, outside the lock, oldest first, until stop().
    template <typename Use>
    void deliver(Use use)
    {
        while (running) {
            signal.take(-1);
            if (!running) {
                return;
            }
            std::size_t waiting = 0;
            std::unique_ptr<Record> oldest;
            {
                const CriticalSection guard(lock);
                waiting = records.size();
                if (waiting == 0) {
                    continue;
                }
                oldest.reset(records.front());
                records.erase(records.begin());
            }
            use(*oldest);
            oldest.reset();
            if (waiting > 1) {
                signal.give();
            }
        }
    }

    /// Returns once the thread has ended; a record being used is finished, those still queued stay.
    void stop(const Threadable& body)
    {
        running = false;
        signal.give();
        Threader().waitForThreadCompletion(body.threadId());
    }

    void release()
    {
        for (const Record* record : records) {
            delete record;
        }
        records.clear();
    }
};
