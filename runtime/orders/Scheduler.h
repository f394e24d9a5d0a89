#pragma once

#include <pthread.h>

#include <atomic>
#include <memory>

#include "Fiber.h"
#include "Orders.h"

class Threadable;

namespace runtime::orders {

/// What a thread waits for before it goes on.
struct Wait {
    enum Kind { NOTHING, PERMIT, PERMIT_OR_TIME, MUTEX, END_OF_THREAD, IDLE };

    Kind kind = NOTHING;
    const std::atomic<int>* permits = nullptr;
    const std::atomic<int>* holder = nullptr;  // of a semaphore used as a lock: the thread's number + 1
    const pthread_mutex_t* mutex = nullptr;
    unsigned thread = 0;
};

/// Plays orders, on one thread of the system. The runtime's operations come here when they are called within an order.
class Scheduler {
public:
    /// The one that plays an order on the calling thread of the system, null outside orders.
    static Scheduler* current();
    /// The calling thread's.
    static Scheduler& own();

    Outcome play(Threadable& first, Schedule& schedule, unsigned mostPoints);

    /// A point of the running thread: returns when it is chosen to go on, which it is only when it need not wait.
    void meet(const Wait& wait);
    /// Ends the order with a finding.
    [[noreturn]] void fail(const std::string& finding);

    unsigned running() const { return m_running; }
    Threadable* runningBody() const { return m_threads[m_running].body; }
    bool isOnStack(const void* address) const { return m_fibers[m_running]->isOnStack(address); }
    /// The new thread's number; 0 when there are as many threads as can be.
    unsigned spawn(Threadable& body, const char* name);
    /// Whether there is such a thread.
    bool isThread(unsigned thread) const { return thread < m_threads.size(); }
    /// What a thread holds at its end was not given back.
    void holds(unsigned thread, int more) { m_threads[thread].held += more; }

    void destroyed(Threadable& body);
    /// Deletes the bodies whose type lies in this piece of memory. Not within an order.
    void deleteBodies(const void* begin, const void* end);

    /// Fills deleted memory with POISON and keeps it until the order has ended.
    void release(void* memory) noexcept;
    static constexpr int POISON = static_cast<int>(0xDDDDDDDD);

private:
    struct Thread {
        Threadable* body;
        std::string name;
        Wait wait;
        int held = 0;
        bool ended = false;
    };

    void catchFaults();
    static void runThreads();
    void runThread();
    void goOn();
    ThreadSet able() const;
    unsigned choose(ThreadSet able);
    std::string waiting() const;
    std::string waiting(const Thread& thread) const;
    void freeReleased();

    Fiber m_home;
    std::vector<char> m_faultStack;
    std::vector<std::unique_ptr<Fiber>> m_fibers;  // by the thread's number; kept from order to order
    std::vector<Thread> m_threads;
    std::vector<Threadable*> m_bodies;  // that were spawned and live
    unsigned m_running = 0;
    Schedule* m_schedule = nullptr;
    unsigned m_mostPoints = 0;
    Outcome m_outcome;
    // The blocks deleted. No vector, which would delete memory itself.
    void** m_released = nullptr;
    std::size_t m_releasedBlocks = 0;
    std::size_t m_releasedRoom = 0;
};

}  // namespace runtime::orders
