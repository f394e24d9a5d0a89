#pragma once

#include <cstdint>
#include <string>
#include <vector>

class Threadable;

/// The runtime with chosen orders: the names of the runtime, with one thread running at a time. Wherever threads meet
/// (a point) a schedule says which one goes on, so that an order of events can be chosen, told and played again.
///
/// Points are: a semaphore is taken or given, a mutex locked or unlocked (not again by its holder), a thread started,
/// waited for or ended, and each call of point(). Outside play() there are no threads: a take() that would wait returns
/// false, spawn() gives none, and mutexes are the system's.
namespace runtime::orders {

constexpr unsigned MOST_THREADS = 64;

/// Threads of an order by number, a bit each. Number 0 is the first thread, the others follow as they are spawned.
using ThreadSet = std::uint64_t;

constexpr ThreadSet only(unsigned thread)
{
    return ThreadSet{1} << thread;
}

/// A point at which more than one thread can go on.
struct Branch {
    /// Whether the running thread could go on itself: then to choose another is a preemption.
    bool preemptible() const { return (able & only(running)) != 0; }
    /// What is chosen where nothing else is said: the running thread, or else the first one that can go on.
    unsigned usual() const;

    unsigned point;
    unsigned running;
    ThreadSet able;
    bool holdsLock;  // the running thread
    unsigned chosen;
};

/// At this point this thread goes on instead of the usual one.
struct Deviation {
    unsigned point;
    unsigned thread;

    bool operator==(const Deviation& other) const { return point == other.point && thread == other.thread; }
};

/// An order, in full: what is unusual in it, by rising points.
using Code = std::vector<Deviation>;

/// Chooses. Called on the thread that plays, between two threads' doings.
class Schedule {
public:
    virtual ~Schedule() = default;

    /// One of the threads that are able; any other ends the order with a finding. Branch::chosen says nothing yet.
    virtual unsigned choose(const Branch& branch) = 0;
};

/// Plays what a code says.
class GivenOrder : public Schedule {
public:
    explicit GivenOrder(const Code& code);
    unsigned choose(const Branch& branch) override;

private:
    const Code& m_code;
    std::size_t m_next = 0;
};

/// Random with few preemptions: each thread has a random priority, the highest one that is able goes on, and at
/// `changes` random points out of the first `points` the running thread's priority falls below all others.
/// An error that needs d such choices among n threads is met with a probability of at least 1 / (n * points^(d-1)).
class RandomOrder : public Schedule {
public:
    RandomOrder(std::uint64_t seed, unsigned changes, unsigned points);
    unsigned choose(const Branch& branch) override;

private:
    std::uint64_t random();

    std::uint64_t m_state;
    std::vector<unsigned> m_changes;  // the last one comes first
    std::uint64_t m_priorities[MOST_THREADS];
};

/// How an order went.
struct Outcome {
    /// Empty, or what ended the order: a deadlock with who waits for what, a thread that goes on for ever, a use of
    /// what was released, a lock that is not given back, a body destroyed while its thread runs, a code that does not
    /// fit.
    std::string finding;
    Code code;  // of what was played: another than the given one where that did not fit
    unsigned points = 0;
    unsigned preemptions = 0;
    std::vector<Branch> branches;
};

/// Runs `first` and the threads that it spawns, until all of them have ended. Nothing that they delete is used again
/// before that. After a finding the threads stay for ever where they stood, and what they hold is lost.
/// More than `mostPoints` points count as going on for ever. Not from within an order. SIGSEGV is caught from the first
/// order on, and ends the process as ever when it comes outside of one.
Outcome play(Threadable& first, Schedule& schedule, unsigned mostPoints = 100'000);

/// A point: the calling thread is about to do something that others may notice. Nothing outside an order.
void point();

/// Whether that lies on the calling thread's own stack in an order, where it is nobody else's.
bool isOnStack(const void* address);

/// All orders with up to so many preemptions, each once, those with fewer first. Switches that a waiting thread makes
/// necessary are no preemptions.
class Exploration {
public:
    explicit Exploration(unsigned preemptions);

    /// The next order to play; false when there is none left.
    bool next(Code& code);
    /// What became of the order that next() gave.
    void played(const Outcome& outcome);
    /// How many preemptions the order that next() gave has.
    unsigned preemptions() const { return m_preemptions; }

private:
    std::vector<std::vector<Code>> m_waiting;  // by the number of preemptions
    unsigned m_preemptions = 0;
};

/// The static data of a loaded library, put back after each order as it was at first, so that the library begins
/// anew without being loaded again. Best loaded with RTLD_NOW: what was bound later is bound anew after each order.
class StaticData {
public:
    /// Of the library that holds this address. Throws std::runtime_error when none does.
    explicit StaticData(void* address);

    /// Puts the data back, and deletes the thread bodies of the library that were left over. Not within an order.
    void restore() const;

private:
    struct Piece {
        char* begin;
        std::vector<char> bytes;
    };

    std::vector<Piece> m_writable;
    char* m_begin = nullptr;
    char* m_end = nullptr;
};

}  // namespace runtime::orders
