#pragma once

#include <benchmark/benchmark.h>
#include <sched.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

/// What is measured: `run` performs one chunk of work and returns what one operation of it cost, in nanoseconds.
struct Contender {
    std::string name;
    std::function<double()> run;
};

inline double medianOf(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// Lets the contenders take turns, a chunk each, so that whatever else the machine does meets all of them alike, and
/// reports each one's median under its name. A chunk of its own before each warms the caches: none finds there what
/// another left or drove out. The first one takes part twice: "control", the ratio of the two, tells how much of a
/// ratio is noise.
inline void sideBySide(benchmark::State& state, std::vector<Contender> contenders)
{
    contenders.push_back({"control", contenders.front().run});
    std::vector<std::vector<double>> costs(contenders.size());
    std::size_t first = 0;  // another one each turn: no contender always follows the same neighbour's work
    for ([[maybe_unused]] const auto turn : state) {
        for (std::size_t i = first; i < first + contenders.size(); ++i) {
            const std::size_t next = i % contenders.size();
            contenders[next].run();
            costs[next].push_back(contenders[next].run());
        }
        ++first;
    }
    for (std::size_t i = 0; i < contenders.size(); ++i) {
        state.counters[contenders[i].name] = medianOf(costs[i]);
    }
    state.counters["control"] = medianOf(costs.front()) / medianOf(costs.back());
}

inline double timeOf(clockid_t clock)
{
    timespec now{};
    ::clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// The processor time of the calling thread alone: while it is not running, nothing counts.
inline double threadTime()
{
    return timeOf(CLOCK_THREAD_CPUTIME_ID);
}

inline double wallTime()
{
    return timeOf(CLOCK_MONOTONIC);
}

/// Processor time of one of `times` operations on the calling thread.
template <typename Operation>
double costOfEach(int times, Operation operation)
{
    const double start = threadTime();
    for (int i = 0; i < times; ++i) {
        operation(i);
    }
    return (threadTime() - start) / times;
}

/// Keeps the calling thread, and those that it starts from now on, on one of the processors that the process may use.
/// False if it has fewer.
inline bool stayOnProcessor(int which)
{
    static const cpu_set_t usable = [] {
        cpu_set_t all;
        ::sched_getaffinity(0, sizeof all, &all);
        return all;
    }();
    cpu_set_t one;
    CPU_ZERO(&one);
    for (std::size_t i = 0; i < CPU_SETSIZE; ++i) {
        if (CPU_ISSET(i, &usable) && which-- == 0) {
            CPU_SET(i, &one);
        }
    }
    return ::sched_setaffinity(0, sizeof one, &one) == 0;
}
