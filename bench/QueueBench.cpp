// What it costs to bring an event from one thread to another, and to start and stop the threads that do.

#include <atomic>
#include <chrono>
#include <thread>

#include "BareParts.h"
#include "Futex.h"
#include "MediaRecordingService.h"
#include "SideBySide.h"
#include "WorkerAccess.h"

namespace {

constexpr int FIRST = 0;
const bool onFirstProcessor = stayOnProcessor(FIRST);

/// What asking for the time costs by itself, which weighs in short backlogs.
const double CLOCK_COST = costOfEach(10000, [](int) { benchmark::DoNotOptimize(threadTime()); });

/// A controller whose event "not streaming" means something more for some sessions.
struct Receiver final : RecordingController {
    static constexpr int HOLD = -1;  // keeps the delivering thread until the gate is opened
    static constexpr int LAST = -2;  // gives `last`

    explicit Receiver(Core& core) : RecordingController(&core.eventLayer, &core.store)
    {
        LMSCreateSession(lineURI(0), 7);
    }

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
        } else {
            RecordingController::LMSEventNotStreaming(session);
        }
    }

    double opened = 0;
    double arrived = 0;  // when the last event was delivered
    double spent = 0;    // the delivering thread's processor time since the gate was opened

    Semaphore held{0, 1, false};
    Semaphore gate{0, 1, false};
    Semaphore last{0, 1, false};
};

/// Posts to a receiver through the plug-in's dispatcher.
struct Plugin {
    void operator()(int session) { dispatcher.LMSEventNotStreaming(session); }

    Core core{"disabled"};
    Receiver receiver{core};
    LMSEventDispatcher dispatcher{&receiver};
};

/// What posting costs, of one of so many events that queue up while the delivering thread is held.
template <typename Post>
double backlogged(Receiver& receiver, int events, Post& post)
{
    const int session = 1;
    post(Receiver::HOLD);
    receiver.held.take(-1);
    const double cost = costOfEach(events, [&](int) { post(session); });
    post(Receiver::LAST);
    receiver.gate.give();
    receiver.last.take(-1);
    return cost;
}

void posting(benchmark::State& state)
{
    Plugin plugin;
    Receiver& receiver = plugin.receiver;
    StandardQueue queue([&](const Event& event) { receiver.LMSEventNotStreaming(event.recordingSessionHandle); });
    const auto bare = [&](int session) {
        queue.post({session, -1, -1, LMSErrorCode{2}, LMSEventDispatcher::LMS_EVENT_NOT_STREAMING});
    };
    sideBySide(state, {{"plugin", [&] { return backlogged(receiver, 1000, plugin); }},
                       {"bare", [&] { return backlogged(receiver, 1000, bare); }}});
}
BENCHMARK(posting);

/// What delivering one of so many queued events costs, with the controller's handling.
void backlog(benchmark::State& state)
{
    Plugin plugin;
    std::vector<Contender> lengths;
    for (const int events : {10, 100, 1000}) {
        lengths.push_back({std::to_string(events), [&plugin, events] {
                               backlogged(plugin.receiver, events, plugin);
                               return plugin.receiver.spent / (events + 1);
                           }});
    }
    sideBySide(state, std::move(lengths));
}
BENCHMARK(backlog);

/// The way of one event to a thread that waits for it, on that processor: beside the dispatcher, a futex that hands
/// over a number and nothing else.
void oneWay(benchmark::State& state, int processor)
{
    if (!stayOnProcessor(processor)) {
        state.SkipWithError("there is one processor only");
        return;
    }
    Plugin plugin;
    Receiver& receiver = plugin.receiver;
    constexpr int STOP = -3;
    runtime::FutexWord word{0};
    std::thread bareThread([&] {
        for (int session = 0; session != STOP; session = word.exchange(0, std::memory_order_acquire)) {
            if (session == 0) {
                runtime::futexWait(word, 0, -1);
            } else {
                receiver.LMSEventNotStreaming(session);
            }
        }
    });
    stayOnProcessor(FIRST);
    const auto bare = [&](int session) {
        word.store(session, std::memory_order_release);
        runtime::futexWake(word, 1);
    };
    const auto handOver = [&](auto& post) {
        // The thread that had the last event has to fall asleep first.
        std::this_thread::sleep_for(std::chrono::microseconds(100));
        const double start = wallTime();
        post(Receiver::LAST);
        receiver.last.take(-1);
        return receiver.arrived - start;
    };
    sideBySide(state, {{"plugin", [&] { return handOver(plugin); }}, {"bare", [&] { return handOver(bare); }}});
    bare(STOP);
    bareThread.join();
}
BENCHMARK_CAPTURE(oneWay, sameProcessor, FIRST);
BENCHMARK_CAPTURE(oneWay, otherProcessor, FIRST + 1);

/// Starting and stopping the service, beside two threads.
void lifetime(benchmark::State& state)
{
    SilentTelephone telephone;
    const auto plugin = [&] {
        const double begin = wallTime();
        MediaRecordingService* const service = createMediaRecordingService();
        service->init(telephone, &telephone, nullptr);
        delete service;
        const double cost = wallTime() - begin;
        forgetWorker();
        return cost;
    };
    const auto bare = [] {
        const double begin = wallTime();
        Semaphore end(0, 2, false);
        std::thread first([&] { end.take(-1); });
        std::thread second([&] { end.take(-1); });
        end.give();
        end.give();
        first.join();
        second.join();
        return wallTime() - begin;
    };
    sideBySide(state, {{"plugin", plugin}, {"bare", bare}});
}
BENCHMARK(lifetime);

}  // namespace

BENCHMARK_MAIN();
