// What an event costs in the recording core, and what its traces cost.

#include <algorithm>
#include <random>
#include <vector>

#include "BareTelephone.h"
#include "Log.h"
#include "LogSink.h"
#include "SideBySide.h"
#include "SilentTelephone.h"

namespace {

constexpr int EVENTS = 20000;
constexpr const char* COMPONENT = "EventBench";
constexpr const char* SOURCE = "./bench/EventBench";

/// Both telephones with the same lines, each with a session of a call that is not recorded, and the order in which
/// events reach them. Streaming then changes nothing on the line and asks nothing of the outside.
struct Telephones {
    explicit Telephones(int lines) : core("disabled")
    {
        for (int i = 0; i < lines; ++i) {
            const std::string line = lineURI(i);
            const int handle = core.controller.LMSCreateSession(line, 7);
            bare.addLine(handle, line);
            order.push_back(handle);
        }
        std::shuffle(order.begin(), order.end(), std::mt19937(1));
        for (const int handle : order) {
            uris.push_back(lineURI(handle - 1));
        }
    }

    std::size_t at(int event) const { return static_cast<std::size_t>(event) % order.size(); }

    double event()
    {
        LMSEventObserverIfc& observer = core.controller;
        return costOfEach(EVENTS, [&](int i) { observer.LMSEventStreaming(order[at(i)], 12, 7); });
    }
    double parts()
    {
        return costOfEach(EVENTS, [&](int i) { bare.streaming(order[at(i)], 12, 7); });
    }
    double partsWithLock()
    {
        return costOfEach(EVENTS, [&](int i) { bare.streamingAlone(order[at(i)], 12, 7); });
    }
    double partsUnnamed()
    {
        return costOfEach(EVENTS, [&](int i) { bare.streamingUnnamed(order[at(i)], 12, 7); });
    }
    double lookUp()
    {
        return costOfEach(EVENTS, [&](int i) { bare.findLine(uris[at(i)]); });
    }

    Core core;
    BareTelephone bare;
    std::vector<int> order;
    std::vector<std::string> uris;
};

void event(benchmark::State& state)
{
    Telephones all(static_cast<int>(state.range(0)));
    sideBySide(state, {{"plugin", [&] { return all.event(); }},
                       {"bare", [&] { return all.parts(); }},
                       {"bareWithLock", [&] { return all.partsWithLock(); }},
                       {"bareUnnamed", [&] { return all.partsUnnamed(); }}});
}
BENCHMARK(event)->RangeMultiplier(10)->Range(1, 1000);
BENCHMARK(event)->Arg(10000)->MinTime(1);  // a turn takes long, and there should be several

void growth(benchmark::State& state)
{
    Telephones one(1);
    Telephones many(10000);
    sideBySide(state, {{"pluginMany", [&] { return many.event(); }},
                       {"pluginOne", [&] { return one.event(); }},
                       {"bareMany", [&] { return many.lookUp(); }},
                       {"bareOne", [&] { return one.lookUp(); }}});
}
BENCHMARK(growth);

void levelTest(benchmark::State& state)
{
    int computed = 0;
    sideBySide(state, {{"plugin",
                        [&] { return costOfEach(EVENTS, [&](int) { MRS_LOG(LOG_LEVEL_DETAIL, "%d", ++computed); }); }},
                       {"bare", [&] {
                            return costOfEach(EVENTS, [&](int) {
                                if (emptyCall(COMPONENT, LOG_LEVEL_DETAIL)) {
                                    ++computed;
                                }
                            });
                        }}});
    state.counters["argumentsComputed"] = computed;
}
BENCHMARK(levelTest);

struct DroppingSink : runtime::LogSink {
    void log(const char*, const char*, int, int, const std::string&) override {}
};

/// A whole call and a dump among so many lines, with every trace going into a sink that drops it.
void allTraces(benchmark::State& state)
{
    Core core("allcalls");
    for (int i = 0; i < state.range(0); ++i) {
        playCall(core.controller, lineURI(i));
    }
    DroppingSink sink;
    runtime::setLogSink(&sink);
    const auto traced = [](auto operation) {
        runtime::setLogLevel(LOG_LEVEL_DETAIL);
        const double cost = costOfEach(20, [&](int) { operation(); });
        runtime::setLogLevel(0);
        return cost;
    };
    const std::string line = lineURI(0);
    const auto call = [&] { playCall(core.controller, line); };
    sideBySide(state, {{"plugin", [&] { return traced(call); }},
                       {"bare", [&] { return costOfEach(200, [&](int) { call(); }); }},
                       {"dump", [&] { return traced([&] { core.controller.dumpStateMachines(); }); }}});
    runtime::setLogSink(nullptr);
}
BENCHMARK(allTraces)->RangeMultiplier(10)->Range(1, 100);

}  // namespace

BENCHMARK_MAIN();
