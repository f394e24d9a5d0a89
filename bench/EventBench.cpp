// What an event and a whole call cost.

#include <algorithm>
#include <random>
#include <vector>

#include "BareParts.h"
#include "Log.h"
#include "SideBySide.h"
#include "Threadable.h"

namespace {

constexpr const char* COMPONENT = "EventBench";
constexpr const char* SOURCE = "./bench/EventBench";

template <typename Operation>
Contender manyTimes(const char* name, Operation operation)
{
    return {name, [operation] { return costOfEach(20000, operation); }};
}

Event eventOf(int session, LMSEventDispatcher::LMSEventType type)
{
    return {session, 12, 7, LMSErrorCode{2}, type};
}

/// Each line has a session of a call that is not recorded: streaming changes nothing on the line and asks nothing of
/// the outside. The events reach the sessions in no order.
void event(benchmark::State& state)
{
    Core core("disabled");
    LMSEventObserverIfc& plugin = core.controller;
    const LMSEventDispatcher idle(&plugin);  // where there are threads, as in a telephone, locks cost more
    BareTelephone bare(core.eventLayer, core.telephone, "disabled");
    std::vector<int> order;
    for (int i = 0; i < state.range(0); ++i) {
        order.push_back(plugin.LMSCreateSession(lineURI(i), 7));
        bare.create(lineURI(i), 7);
    }
    std::shuffle(order.begin(), order.end(), std::mt19937(1));
    std::vector<std::string> lines(order.size());
    std::transform(order.begin(), order.end(), lines.begin(), [](int i) { return lineURI(i - 1); });
    const auto at = [&](int i) { return static_cast<std::size_t>(i) % order.size(); };
    const auto streaming = [&](int i) { return eventOf(order[at(i)], LMSEventDispatcher::LMS_EVENT_STREAMING); };
    sideBySide(state, {manyTimes("plugin", [&](int i) { plugin.LMSEventStreaming(order[at(i)], 12, 7); }),
                       manyTimes("bare", [&](int i) { bare.handle(streaming(i)); }),
                       manyTimes("bareUnlocked", [&](int i) { bare.handleUnlocked(streaming(i)); }),
                       manyTimes("lookUp", [&](int i) { benchmark::DoNotOptimize(bare.stateOf(lines[at(i)])); })});
}
BENCHMARK(event)->RangeMultiplier(10)->Range(1, 1000);
BENCHMARK(event)->Arg(10000)->MinTime(1);  // a turn takes long, and there should be several

constexpr int CALLS = 200;

/// Says when call control was asked to detach from the last of the calls.
struct CallsEnd final : SilentEventLayer {
    void callDetachSession(int) override
    {
        if (++detached % CALLS == 0) {
            last.give();
        }
    }

    int detached = 0;
    Semaphore last{0, 1, false};
};

/// Wall time of a call of many, each on a line of its own, made as fast as the events can be posted.
void call(benchmark::State& state)
{
    using Dispatcher = LMSEventDispatcher;

    Core core("allcalls");
    CallsEnd end;
    RecordingController controller(&end, &core.store);
    Dispatcher plugin(&controller);
    BareTelephone bare(end, core.telephone, "allcalls");
    StandardQueue queue([&](const Event& event) { bare.handle(event); });

    std::vector<std::string> lines(CALLS);
    std::generate(lines.begin(), lines.end(), [i = 0]() mutable { return lineURI(i++); });
    const auto costOf = [&](auto play) {
        const double start = wallTime();
        for (const std::string& line : lines) {
            play(line);
        }
        end.last.take(-1);
        return (wallTime() - start) / CALLS;
    };
    const auto playBare = [&](const std::string& line) {
        const int session = bare.create(line, 7);
        for (const auto type :
             {Dispatcher::LMS_EVENT_ATTACHED, Dispatcher::LMS_EVENT_STREAMING, Dispatcher::LMS_EVENT_NOT_STREAMING,
              Dispatcher::LMS_EVENT_STREAMING, Dispatcher::LMS_DESTROY_SESSION}) {
            queue.post(eventOf(session, type));
        }
    };
    sideBySide(state, {{"plugin", [&] { return costOf([&](const std::string& line) { playCall(plugin, line); }); }},
                       {"bare", [&] { return costOf(playBare); }}});
}
BENCHMARK(call);

/// Beside it an empty function of the same library.
void levelTest(benchmark::State& state)
{
    struct : Threadable {
        void run() override {}
    } body;
    int computed = 0;
    sideBySide(state, {manyTimes("plugin", [&](int) { MRS_LOG(LOG_LEVEL_DETAIL, "%d", ++computed); }),
                       manyTimes("bare", [&](int) { benchmark::DoNotOptimize(body.Threadable::type()); })});
    state.counters["argumentsComputed"] = computed;
}
BENCHMARK(levelTest);

}  // namespace
