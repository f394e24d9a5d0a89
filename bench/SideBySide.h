#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
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
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Lets the contenders take turns, a chunk each, so that whatever else the machine does meets all of them alike, and
/// reports each one's median under its name. A chunk of its own before each warms the caches: none finds there what
/// another left or drove out. The first one takes part twice: "control", the ratio of the two, tells how much of a
/// ratio is noise.
inline void sideBySide(benchmark::State& state, std::vector<Contender> contenders)
{
    contenders.push_back(contenders.front());
    std::vector<std::vector<double>> costs(contenders.size());
    std::size_t turn = 0;
    for ([[maybe_unused]] const auto iteration : state) {
        // Each turn begins with another one: no contender always follows the same neighbour's work.
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            const std::size_t next = (turn + i) % contenders.size();
            contenders[next].run();
            costs[next].push_back(contenders[next].run());
        }
        ++turn;
    }
    const double again = medianOf(costs.back());
    for (std::size_t i = 0; i + 1 < contenders.size(); ++i) {
        state.counters[contenders[i].name] = medianOf(costs[i]);
    }
    state.counters["control"] = medianOf(costs.front()) / again;
}

inline double nanoseconds(clockid_t clock)
{
    timespec now{};
    ::clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// The processor time of the calling thread alone: while it is not running, nothing counts.
inline double threadTime()
{
    return nanoseconds(CLOCK_THREAD_CPUTIME_ID);
}

inline double wallTime()
{
    return nanoseconds(CLOCK_MONOTONIC);
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
