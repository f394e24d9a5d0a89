#include "Scheduler.h"

#include <malloc.h>
#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "Activity.h"
#include "Threadable.h"
#include "Threads.h"

namespace runtime::orders {

namespace {

thread_local Scheduler* playing = nullptr;

std::string threadName(unsigned number)
{
    return "thread " + std::to_string(number);
}

/// Released memory holds no address: who follows one into it ends here, on a stack of its own.
void onFault(int signal)
{
    if (playing != nullptr) {
        playing->fail("released or missing memory is used");
    }
    ::signal(signal, SIG_DFL);  // what did it does it again
}

}  // namespace

Scheduler* Scheduler::current()
{
    return playing;
}

Scheduler& Scheduler::own()
{
    // Never destroyed: bodies may be destroyed after all else.
    static thread_local auto* const scheduler = new Scheduler;
    return *scheduler;
}

void Scheduler::catchFaults()
{
    m_faultStack.resize(std::size_t{64} * 1024);
    stack_t stack{};
    stack.ss_sp = m_faultStack.data();
    stack.ss_size = m_faultStack.size();
    ::sigaltstack(&stack, nullptr);
    struct sigaction action = {};
    action.sa_handler = onFault;
    action.sa_flags = SA_ONSTACK | SA_NODEFER;  // it is left by a jump
    ::sigaction(SIGSEGV, &action, nullptr);
}

Outcome Scheduler::play(Threadable& first, Schedule& schedule, unsigned mostPoints)
{
    if (m_faultStack.empty()) {
        catchFaults();
    }
    m_schedule = &schedule;
    m_mostPoints = mostPoints;
    m_outcome = Outcome();
    m_threads.clear();
    m_threads.reserve(MOST_THREADS);
    m_running = 0;
    spawn(first, "");
    m_bodies.clear();  // the first one is the caller's
    playing = this;
    m_home.switchTo(*m_fibers[0]);
    playing = nullptr;
    for (std::size_t i = 0; i < m_threads.size(); ++i) {
        if (!m_threads[i].ended) {
            m_fibers[i]->restart();
            m_bodies.clear();
        }
    }
    freeReleased();
    return std::move(m_outcome);
}

unsigned Scheduler::spawn(Threadable& body, const char* name)
{
    const auto number = static_cast<unsigned>(m_threads.size());
    if (number == MOST_THREADS) {
        return 0;
    }
    std::string fullName = threadName(number);
    if (*name != '\0') {
        fullName.append(" (").append(name).append(")");
    }
    m_threads.push_back({&body, std::move(fullName), {}});
    m_bodies.push_back(&body);
    if (m_fibers.size() < m_threads.size()) {
        m_fibers.push_back(std::make_unique<Fiber>(&Scheduler::runThreads));
    }
    return number;
}

/// A fiber's whole life: a thread of one order, then one of the next.
void Scheduler::runThreads()
{
    for (;;) {
        playing->runThread();
    }
}

void Scheduler::runThread()
{
    Thread& self = m_threads[m_running];
    try {
        self.body->run();
    } catch (const std::exception& failure) {
        fail(self.name + " ends with an exception: " + failure.what());
    } catch (...) {
        fail(self.name + " ends with an exception");
    }
    if (self.held != 0) {
        fail(self.name + " ends with a lock that it has not given back");
    }
    self.ended = true;
    goOn();
}

void Scheduler::meet(const Wait& wait)
{
    m_threads[m_running].wait = wait;
    goOn();
}

void Scheduler::goOn()
{
    if (++m_outcome.points > m_mostPoints) {
        fail("goes on for ever: " + m_threads[m_running].name + " runs after " + std::to_string(m_mostPoints) +
             " points; " + waiting());
    }
    Fiber& from = *m_fibers[m_running];
    const ThreadSet threads = able();
    if (threads == 0) {
        if (!std::all_of(m_threads.begin(), m_threads.end(), [](const Thread& thread) { return thread.ended; })) {
            fail("deadlock: " + waiting());
        }
        from.switchTo(m_home);
        return;
    }
    const unsigned next = choose(threads);
    if (next != m_running) {
        m_running = next;
        from.switchTo(*m_fibers[next]);
    }
}

ThreadSet Scheduler::able() const
{
    ThreadSet now = 0;
    ThreadSet late = 0;  // when no other thread is able
    for (unsigned i = 0; i < m_threads.size(); ++i) {
        const Thread& thread = m_threads[i];
        if (thread.ended) {
            continue;
        }
        bool goesOn = false;
        switch (thread.wait.kind) {
            case Wait::NOTHING: goesOn = true; break;
            case Wait::PERMIT: goesOn = *thread.wait.permits > 0; break;
            case Wait::PERMIT_OR_TIME:
                goesOn = *thread.wait.permits > 0;
                late |= only(i);
                break;
            case Wait::MUTEX: goesOn = thread.wait.mutex->__data.__owner == 0; break;
            case Wait::END_OF_THREAD: goesOn = m_threads[thread.wait.thread].ended; break;
            case Wait::IDLE: late |= only(i); break;
        }
        now |= goesOn ? only(i) : 0;
    }
    return now != 0 ? now : late;
}

unsigned Scheduler::choose(ThreadSet able)
{
    Branch branch{m_outcome.points, m_running, able, m_threads[m_running].held > 0, 0};
    const unsigned usual = branch.usual();
    if (able == only(usual)) {
        return usual;
    }
    branch.chosen = m_schedule->choose(branch);
    if (branch.chosen >= m_threads.size() || (able & only(branch.chosen)) == 0) {
        fail("the order does not fit: no such choice at point " + std::to_string(branch.point));
    }
    if (branch.chosen != usual) {
        m_outcome.code.push_back({branch.point, branch.chosen});
    }
    if (branch.preemptible() && branch.chosen != m_running) {
        ++m_outcome.preemptions;
    }
    m_outcome.branches.push_back(branch);
    return branch.chosen;
}

void Scheduler::fail(const std::string& finding)
{
    m_outcome.finding = finding;
    m_fibers[m_running]->switchTo(m_home);
    std::abort();  // a thread of a broken order never goes on
}

std::string Scheduler::waiting() const
{
    std::string text;
    for (const Thread& thread : m_threads) {
        if (!thread.ended) {
            text.append(text.empty() ? "" : "; ").append(thread.name).append(" ").append(waiting(thread));
        }
    }
    return text;
}

std::string Scheduler::waiting(const Thread& thread) const
{
    int holder = 0;
    std::string text;
    switch (thread.wait.kind) {
        case Wait::NOTHING: return "can go on";
        case Wait::IDLE: return "waits for the others";
        case Wait::END_OF_THREAD: return "waits for the end of " + m_threads[thread.wait.thread].name;
        case Wait::MUTEX:
            text = "waits for a mutex";
            holder = thread.wait.mutex->__data.__owner;
            break;
        case Wait::PERMIT:
        case Wait::PERMIT_OR_TIME:
            text = "waits for a semaphore";
            holder = *thread.wait.holder;
            break;
    }
    if (holder == POISON) {
        return text + " that was released";
    }
    return holder > 0 ? text + " that " + threadName(static_cast<unsigned>(holder) - 1) + " holds" : text;
}

void Scheduler::destroyed(Threadable& body)
{
    if (playing == this) {
        for (const Thread& thread : m_threads) {
            if (thread.body == &body && !thread.ended) {
                fail("the body of " + thread.name + " is destroyed while it runs");
            }
        }
    }
    m_bodies.erase(std::remove(m_bodies.begin(), m_bodies.end(), &body), m_bodies.end());
}

void Scheduler::deleteBodies(const void* begin, const void* end)
{
    const std::vector<Threadable*> bodies = m_bodies;
    for (Threadable* const body : bodies) {
        // The first thing in an object with virtual operations is the address of its type's table.
        const void* const type = *reinterpret_cast<const void**>(body);
        if (!std::less<>()(type, begin) && std::less<>()(type, end)) {
            delete body;
        }
    }
}

void Scheduler::release(void* memory) noexcept
{
    // Only what looks released is searched for: there are many.
    if (std::memcmp(memory, &POISON, sizeof POISON) == 0 &&
        std::find(m_released, m_released + m_releasedBlocks, memory) != m_released + m_releasedBlocks) {
        fail("memory is released twice");
    }
    if (m_releasedBlocks == m_releasedRoom) {
        m_releasedRoom = 2 * m_releasedRoom + 1000;
        m_released = static_cast<void**>(std::realloc(m_released, m_releasedRoom * sizeof(void*)));
    }
    std::memset(memory, POISON & 0xFF, ::malloc_usable_size(memory));
    m_released[m_releasedBlocks++] = memory;
}

void Scheduler::freeReleased()
{
    std::for_each(m_released, m_released + m_releasedBlocks, std::free);
    m_releasedBlocks = 0;
}

Outcome play(Threadable& first, Schedule& schedule, unsigned mostPoints)
{
    return Scheduler::own().play(first, schedule, mostPoints);
}

void point()
{
    if (playing != nullptr) {
        playing->meet({});
    }
}

bool isOnStack(const void* address)
{
    return playing != nullptr && playing->isOnStack(address);
}

}  // namespace runtime::orders

namespace runtime {

void waitUntilIdle()
{
    if (orders::playing != nullptr) {
        orders::playing->meet({orders::Wait::IDLE});
    }
}

Threadable* currentThreadable()
{
    return orders::playing != nullptr ? orders::playing->runningBody() : nullptr;
}

}  // namespace runtime
