#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "CriticalSection.h"
#include "Threader.h"

/// What the two queue threads have in common: how a record is appended, delivered and how the thread starts and stops.
/// It holds nothing itself: a view of the members of the class that owns the queue.
///
/// The signal does not count records: it wakes the thread, which signals itself again while records remain.
template <typename Record>
class RecordQueueView {
public:
    RecordQueueView(Semaphore& lock, std::vector<Record*>& records, Semaphore& signal, std::atomic<bool>& running)
        : m_lock(lock), m_records(records), m_signal(signal), m_running(running)
    {
    }

    void start(Threadable& body)
    {
        ThreadId ignored = 0;
        Threader().spawn(ignored, &body, "", THREAD_PRIORITY_NORMAL, 0);
    }

    /// Any thread. Waits for nothing but the lock, which is held for the append and the signal alone. Once the thread
    /// is to stop, the record is dropped.
    void append(std::unique_ptr<Record> record)
    {
        const CriticalSection guard(m_lock);
        if (m_running) {
            m_records.push_back(record.get());
            static_cast<void>(record.release());
            m_signal.give();
        }
    }

    /// The thread's body: hands each record to `use`, outside the lock, oldest first, until stop().
    template <typename Use>
    void deliver(Use use)
    {
        while (m_running) {
            m_signal.take(-1);
            if (m_running) {
                deliverOldest(use);
            }
        }
    }

    /// Returns once the thread has ended; at once when it was stopped before. A record being used is finished, those
    /// still queued are dropped.
    void stop(Threadable& body)
    {
        if (m_running.exchange(false)) {
            m_signal.give();
            Threader().waitForThreadCompletion(body.threadId());
        }
        const CriticalSection guard(m_lock);
        for (const Record* record : m_records) {
            delete record;
        }
        m_records.clear();
    }

private:
    template <typename Use>
    void deliverOldest(Use use)
    {
        std::unique_ptr<Record> oldest;
        bool more = false;
        {
            const CriticalSection guard(m_lock);
            if (!m_records.empty()) {
                oldest.reset(m_records.front());
                m_records.erase(m_records.begin());
                more = !m_records.empty();
            }
        }
        if (oldest != nullptr) {
            use(*oldest);
            oldest.reset();
        }
        if (more) {
            m_signal.give();
        }
    }

    Semaphore& m_lock;
    std::vector<Record*>& m_records;
    Semaphore& m_signal;
    std::atomic<bool>& m_running;
};
