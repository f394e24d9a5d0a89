// What it costs to bring an event from one thread to another, and to start and stop the threads that do.

#include <sched.h>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "Activity.h"
#include "BareQueues.h"
#include "MediaRecordingService.h"
#include "SideBySide.h"
#include "SilentTelephone.h"
#include "WorkerAccess.h"

namespace {

/// Keeps this thread, and those that it starts meanwhile, on one processor of those that it may use.
class OnProcessor {
public:
    explicit OnProcessor(int which)
    {
        ::sched_getaffinity(0, sizeof m_before, &m_before);
        int left = which;
        std::size_t processor = 0;
        while (!CPU_ISSET(processor, &m_before) || left-- > 0) {
            ++processor;
        }
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(processor, &one);
        ::sched_setaffinity(0, sizeof one, &one);
    }
    ~OnProcessor() { ::sched_setaffinity(0, sizeof m_before, &m_before); }
    OnProcessor(const OnProcessor&) = delete;
    OnProcessor& operator=(const OnProcessor&) = delete;

private:
    cpu_set_t m_before{};
};

/// What asking for the time costs by itself, which weighs in short backlogs.
const double CLOCK_COST = costOfEach(10000, [](int) { benchmark::DoNotOptimize(threadTime()); });

/// Receives events and does nothing with most of them.
struct Receiver : LMSEventObserverIfc {
    // Sessions whose events mean something here.
    static constexpr int HOLD = 1;   // keeps the thread until the gate is opened
    static constexpr int LAST = 2;   // gives `last`
    static constexpr int OTHER = 3;  // nothing

    int LMSCreateSession(const std::string&, int) override { return OTHER; }
    void LMSDestroySession(int) override {}
    void LMSEventAttached(int, int, int) override {}
    void LMSEventStreaming(int, int, int) override {}
    void LMSEventNotStreaming(int session) override
    {
        if (session == HOLD) {
            held.give();
            gate.take(-1);
            opened = threadTime();
        } else if (session == LAST) {
            arrived = wallTime();
            spent = threadTime() - opened - CLOCK_COST;
            last.give();
        } else if (behind != nullptr) {
            behind->LMSEventNotStreaming(session);
        }
    }
    void LMSEventErrorStatus(int, LMSErrorCode) override {}

    LMSEventObserverIfc* behind = nullptr;  // handles the other events, if set
    double opened = 0;
    double arrived = 0;  // when the last event was delivered
    double spent = 0;    // the delivering thread's processor time since the gate was opened

    Semaphore held{0, 1, false};
    Semaphore gate{0, 1, false};
    Semaphore last{0, 1, false};
};

struct Costs {
    double posting;
    double delivering;
};

/// Of one event, with so many of them queued while the delivering thread is held.
template <typename Post>
Costs backlogged(Receiver& receiver, int events, Post post)
{
    post(Receiver::HOLD);
    receiver.held.take(-1);
    const double posting = costOfEach(events, [&](int) { post(Receiver::OTHER); });
    post(Receiver::LAST);
    receiver.gate.give();
    receiver.last.take(-1);
    return {posting, receiver.spent / (events + 1)};
}

void posting(benchmark::State& state)
{
    const OnProcessor first(0);
    Receiver receiver;
    LMSEventDispatcher dispatcher(&receiver);
    StandardQueue standard(receiver);
    LMSEventObserverIfc& observer = dispatcher;
    const auto post = [&](int session) { observer.LMSEventNotStreaming(session); };
    const auto postStandard = [&](int session) { standard.post(session); };
    sideBySide(state, {{"plugin", [&] { return backlogged(receiver, 1000, post).posting; }},
                       {"bare", [&] { return backlogged(receiver, 1000, postStandard).posting; }}});
}
BENCHMARK(posting);

void backlog(benchmark::State& state, bool handled)
{
    const OnProcessor first(0);
    Core core("disabled");
    for (int i = 0; i < Receiver::OTHER; ++i) {
        core.controller.LMSCreateSession(lineURI(i), 7);
    }
    Receiver receiver;
    receiver.behind = handled ? &core.controller : nullptr;
    LMSEventDispatcher dispatcher(&receiver);
    LMSEventObserverIfc& observer = dispatcher;
    const auto delivering = [&](int events) {
        return [&, events] {
            const auto post = [&](int session) { observer.LMSEventNotStreaming(session); };
            // As many events for the shorter backlogs as for the others.
            double sum = 0;
            const int rounds = std::max(1, 1000 / events);
            for (int i = 0; i < rounds; ++i) {
                sum += backlogged(receiver, events, post).delivering;
            }
            return sum / rounds;
        };
    };
    sideBySide(
        state,
        {{"10", delivering(10)}, {"100", delivering(100)}, {"1000", delivering(1000)}, {"10000", delivering(10000)}});
}
BENCHMARK_CAPTURE(backlog, delivered, false);
BENCHMARK_CAPTURE(backlog, handled, true);

/// The way of one event to a thread that waits for it.
template <typename Post>
double handOver(Receiver& receiver, Post post)
{
    // The thread that had the last event has to fall asleep first.
    std::this_thread::sleep_for(std::chrono::microseconds(100));
    const double start = wallTime();
    post(Receiver::LAST);
    receiver.last.take(-1);
    return receiver.arrived - start;
}

/// With both threads on the first processor, or the waiting one on the second.
void oneWay(benchmark::State& state, int processor)
{
    cpu_set_t usable;
    ::sched_getaffinity(0, sizeof usable, &usable);
    if (processor >= CPU_COUNT(&usable)) {
        state.SkipWithError("there is one processor only");
        return;
    }
    Receiver receiver;
    std::optional<OnProcessor> there(processor);
    LMSEventDispatcher dispatcher(&receiver);
    FutexHandOver bare(receiver);
    there.reset();
    const OnProcessor first(0);
    LMSEventObserverIfc& observer = dispatcher;
    const auto post = [&](int session) { observer.LMSEventNotStreaming(session); };
    const auto postBare = [&](int session) { bare.post(session); };
    sideBySide(state, {{"plugin", [&] { return handOver(receiver, post); }},
                       {"bare", [&] { return handOver(receiver, postBare); }}});
}
BENCHMARK_CAPTURE(oneWay, sameProcessor, 0);
BENCHMARK_CAPTURE(oneWay, otherProcessor, 1);

constexpr int CALLS = 200;

/// Wall time of one of many calls, each on a line of its own, made by so many threads: from the first call's beginning
/// until all are handled.
template <typename Call>
double calls(int threads, Call call)
{
    std::vector<std::string> lines;
    lines.reserve(CALLS);
    for (int i = 0; i < CALLS; ++i) {
        lines.push_back(lineURI(i));
    }
    std::promise<void> start;
    const std::shared_future<void> started = start.get_future();
    Semaphore ready(0, threads, false);
    std::once_flag first;
    double begin = 0;
    std::vector<std::thread> callers;
    callers.reserve(static_cast<std::size_t>(threads));
    for (int i = 0; i < threads; ++i) {
        callers.emplace_back([&, i] {
            ready.give();
            started.wait();
            std::call_once(first, [&] { begin = wallTime(); });
            for (int n = i; n < CALLS; n += threads) {
                call(lines[static_cast<std::size_t>(n)]);
            }
        });
    }
    for (int i = 0; i < threads; ++i) {
        ready.take(-1);
    }
    start.set_value();
    for (std::thread& caller : callers) {
        caller.join();
    }
    runtime::waitUntilIdle();
    return (wallTime() - begin) / CALLS;
}

struct RunningService {
    RunningService()
    {
        service->init(telephone, &telephone, nullptr);
        std::string ignored;
        service->setRecordingModeConfig("allcalls", ignored);
        service->setRecorderAddressConfig("sip:recorder@office.test", ignored);
    }
    ~RunningService()
    {
        service.reset();
        forgetWorker();
    }

    SilentTelephone telephone;
    std::unique_ptr<MediaRecordingService> service{createMediaRecordingService()};
};

void wholeCalls(benchmark::State& state)
{
    const OnProcessor first(0);
    const int threads = static_cast<int>(state.range(0));
    RunningService running;

    // The core alone, without the platform's adapters and the worker.
    Core core("allcalls");
    LMSEventDispatcher dispatcher(&core.controller);

    Receiver receiver;
    MinimalDispatcher minimal(receiver);
    const auto minimalCall = [&](const std::string& line) {
        const int session = receiver.LMSCreateSession(line, 7);
        for (int i = 0; i < 5; ++i) {
            minimal.post(session);
        }
    };
    const auto coreCall = [&dispatcher](const std::string& line) { playCall(dispatcher, line); };
    LMSEventObserverIfc* const observer = running.telephone.observer;
    const auto serviceCall = [observer](const std::string& line) { playCall(*observer, line); };
    sideBySide(state, {{"plugin", [&] { return calls(threads, coreCall); }},
                       {"bare", [&] { return calls(threads, minimalCall); }},
                       {"service", [&] { return calls(threads, serviceCall); }}});
}
BENCHMARK(wholeCalls)->Arg(1)->Arg(2)->Arg(4);

// What starting and stopping the service costs.
struct Lifetime {
    double ready;
    double gone;
};

Lifetime service(SilentTelephone& telephone)
{
    const double start = wallTime();
    MediaRecordingService* const made = createMediaRecordingService();
    made->init(telephone, &telephone, nullptr);
    const double ready = wallTime();
    delete made;
    const double gone = wallTime();
    forgetWorker();
    return {ready - start, gone - ready};
}

Lifetime twoThreads()
{
    Semaphore firstEnd(0, 1, false);
    Semaphore secondEnd(0, 1, false);
    const double start = wallTime();
    std::thread first([&firstEnd] { firstEnd.take(-1); });
    std::thread second([&secondEnd] { secondEnd.take(-1); });
    const double ready = wallTime();
    firstEnd.give();
    first.join();
    secondEnd.give();
    second.join();
    return {ready - start, wallTime() - ready};
}

void toReady(benchmark::State& state)
{
    SilentTelephone telephone;
    sideBySide(state,
               {{"plugin", [&] { return service(telephone).ready; }}, {"bare", [] { return twoThreads().ready; }}});
}
BENCHMARK(toReady);

void toGone(benchmark::State& state)
{
    SilentTelephone telephone;
    sideBySide(state,
               {{"plugin", [&] { return service(telephone).gone; }}, {"bare", [] { return twoThreads().gone; }}});
}
BENCHMARK(toGone);

}  // namespace

BENCHMARK_MAIN();
