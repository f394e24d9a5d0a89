// The runtime with chosen orders, and the plug-in's own binary on it.

#include "Orders.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>

#include "Activity.h"
#include "CSfi.h"
#include "CallControl.h"
#include "CommunicationsServiceEventIfc.h"
#include "Context.h"
#include "Executable.h"
#include "LMSEventObserverIfc.h"
#include "LocalMgmtIfc.h"
#include "MediaControlServiceIfc.h"
#include "MediaRecordingService.h"
#include "PhysicalInterfaceServiceIfc.h"
#include "Semaphore.h"
#include "SfiRecordingController.h"
#include "Threader.h"

namespace {

using namespace runtime::orders;
using ::testing::HasSubstr;

struct Body : Threadable {
    explicit Body(std::function<void()> all) : doing(std::move(all)) {}
    void run() override { doing(); }

    std::function<void()> doing;
};

void start(Body& body, const char* name = "")
{
    ThreadId id = 0;
    EXPECT_TRUE(Threader().spawn(id, &body, name, THREAD_PRIORITY_NORMAL, 0));
}

void join(Body& body)
{
    Threader().waitForThreadCompletion(body.threadId());
}

Outcome play(const std::function<void()>& first, const Code& code = {})
{
    GivenOrder order(code);
    Body body(first);
    return runtime::orders::play(body, order, 1000);
}

/// The outcomes of all orders.
std::vector<Outcome> playAll(unsigned preemptions, const std::function<void()>& first)
{
    std::vector<Outcome> outcomes;
    Exploration all(preemptions);
    for (Code code; all.next(code);) {
        outcomes.push_back(play(first, code));
        all.played(outcomes.back());
        EXPECT_EQ(outcomes.back().code, code);
        EXPECT_EQ(outcomes.back().preemptions, all.preemptions());
    }
    return outcomes;
}

/// Two threads of three pieces each: "MMMAAA" or another order of these letters.
std::string twoThreads(Schedule& order, Outcome& outcome)
{
    std::string pieces;
    const auto work = [&pieces](char name) {
        pieces += name;
        point();
        pieces += name;
        point();
        pieces += name;
    };
    Body other([&] { work('A'); });
    Body first([&] {
        start(other);
        work('M');
    });
    outcome = runtime::orders::play(first, order);
    return pieces;
}

TEST(Exploration, PlaysEachOrderOfTwoThreadsOnce)
{
    // Of six pieces three are the first thread's: 20 orders. Without a preemption there is one; with one, the first
    // thread is interrupted before one of its pieces; with two, the other also before its second or third piece.
    for (const auto& [preemptions, expected] : {std::pair(0U, 1U), {1U, 1U + 3U}, {2U, 4U + 3U * 2U}, {9U, 20U}}) {
        std::vector<std::string> orders;
        Exploration all(preemptions);
        for (Code code; all.next(code);) {
            Outcome outcome;
            GivenOrder order(code);
            orders.push_back(twoThreads(order, outcome));
            all.played(outcome);
        }
        EXPECT_EQ(orders.size(), expected);
        EXPECT_EQ(orders.front(), "MMMAAA");
        std::sort(orders.begin(), orders.end());
        EXPECT_EQ(std::unique(orders.begin(), orders.end()), orders.end());
    }
}

/// Those outcomes that are findings.
std::vector<Outcome> found(std::vector<Outcome> outcomes)
{
    outcomes.erase(std::remove_if(outcomes.begin(), outcomes.end(), [](const Outcome& o) { return o.finding.empty(); }),
                   outcomes.end());
    return outcomes;
}

TEST(Exploration, FollowsEachThreadThatCanGoOnWhenAnotherEnds)
{
    Body bodies[3] = {Body([] {}), Body([] {}), Body([] {})};
    const std::vector<Outcome> outcomes = playAll(0, [&] {
        for (Body& body : bodies) {
            start(body);
        }
    });
    EXPECT_EQ(outcomes.size(), 3U * 2U);
}

TEST(Exploration, FindsTheDeadlockOfTwoMutexes)
{
    const auto run = [] {
        std::mutex one;
        std::mutex two;
        const auto both = [](std::mutex& first, std::mutex& second) {
            const std::lock_guard<std::mutex> outer(first);
            const std::lock_guard<std::mutex> inner(second);
        };
        Body other([&] { both(two, one); });
        start(other, "other");
        both(one, two);
        join(other);
    };
    EXPECT_EQ(found(playAll(0, run)).size(), 0U);
    const std::vector<Outcome> deadlocks = found(playAll(1, run));
    ASSERT_EQ(deadlocks.size(), 1U);
    EXPECT_EQ(deadlocks[0].finding,
              "deadlock: thread 0 waits for a mutex that thread 1 holds; "
              "thread 1 (other) waits for a mutex that thread 0 holds");
    const Outcome again = play(run, deadlocks[0].code);
    EXPECT_EQ(again.finding, deadlocks[0].finding);
    EXPECT_EQ(again.points, deadlocks[0].points);
}

TEST(Exploration, FindsTheSignalThatIsLost)
{
    // Two records, each with a signal of its own, but only one signal is remembered.
    const auto run = [] {
        Semaphore signal(0, 1, false);
        Body taker([&] {
            signal.take(-1);
            signal.take(-1);
        });
        start(taker);
        signal.give();
        signal.give();
        join(taker);
    };
    const std::vector<Outcome> all = playAll(1, run);
    const std::vector<Outcome> lost = found(all);
    ASSERT_GT(lost.size(), 0U);
    EXPECT_LT(lost.size(), all.size());
    EXPECT_EQ(lost[0].finding, "deadlock: thread 0 waits for the end of thread 1; thread 1 waits for a semaphore");
}

/// The services around the plug-in. Each of its calls is a point.
struct Telephone : Context,
                   Executable,
                   LocalMgmtIfc,
                   MediaControlServiceIfc,
                   CommunicationsServiceEventIfc,
                   PhysicalInterfaceServiceIfc,
                   CSfi,
                   SfiRecordingController {
    Telephone() { runtime::setCallControl(this); }
    ~Telephone() override { runtime::setCallControl(nullptr); }
    Telephone(const Telephone&) = delete;
    Telephone& operator=(const Telephone&) = delete;

    Executable* getService(const std::string& /*name*/) override { return answer(this); }
    int subscribeData(std::list<std::string>& /*tags*/, MgmtAgentIfc* /*agent*/) override { return answer(1); }
    int publishData(ManageableData& /*record*/) override { return answer(1); }
    bool setDirection(int, int, MediaDirection) override { return answer(true); }
    void callRecordingStatus(const std::string&, int, const std::string&) override { point(); }
    void setFPKLamp(PhysDefs::keyFunctionType, PhysDefs::lampStateType state, int, int) override
    {
        lampOn = answer(state) == PhysDefs::LAMP_ON;
    }
    void attachRecSession(int, const std::string&) override { attached += answer(1); }
    void detachRecSession(int) override { detached += answer(1); }
    void registerLMSEventObserver(LMSEventObserverIfc* registered) override { observer = answer(registered); }
    SfiRecordingController* getSfiRecordingController() override { return answer(this); }
    void setCallRecMode(std::string) override { point(); }

    template <typename Answer>
    static Answer answer(Answer given)
    {
        point();
        return given;
    }

    LMSEventObserverIfc* observer = nullptr;
    bool lampOn = false;
    int attached = 0;
    int detached = 0;
};

TEST(Order, EndsWithWhatIsWrong)
{
    const auto finding = [](const std::function<void()>& first) { return play(first).finding; };
    EXPECT_THAT(finding([] {
                    for (;;) {
                        point();
                    }
                }),
                HasSubstr("goes on for ever: thread 0"));
    EXPECT_EQ(finding([] {
                  auto signal = std::make_unique<Semaphore>(0, 2, false);
                  Body other([&used = *signal] { used.give(); });
                  start(other);
                  signal.reset();
                  join(other);
              }),
              "use of a semaphore that was released");
    EXPECT_EQ(finding([] {
                  auto lock = std::make_unique<std::recursive_mutex>();
                  Body other([&used = *lock] { used.lock(); });
                  start(other);
                  lock.reset();
                  join(other);
              }),
              "deadlock: thread 0 waits for the end of thread 1; thread 1 waits for a mutex that was released");
    EXPECT_EQ(finding([] {
                  auto body = std::make_unique<Body>([] {});
                  start(*body);
              }),
              "the body of thread 1 is destroyed while it runs");
    EXPECT_EQ(finding([] {
                  auto context = std::make_unique<Telephone>();
                  Body other([&used = static_cast<Context&>(*context)] { used.getService(""); });
                  start(other);
                  context.reset();
                  join(other);
              }),
              "released or missing memory is used");
    EXPECT_EQ(finding([] {
                  auto* const text = new std::string(100, 'x');
                  Body other([text] { delete text; });
                  start(other);
                  join(other);
                  operator delete(text);
              }),
              "memory is released twice");
    Semaphore kept(1, 1, false);
    EXPECT_EQ(finding([&] { kept.take(-1); }), "thread 0 ends with a lock that it has not given back");
    EXPECT_EQ(finding([] { throw std::runtime_error("no reason"); }), "thread 0 ends with an exception: no reason");
    EXPECT_EQ(play([] {}, {{1, 1}}).code, Code());
}

TEST(Order, KeepsEachThreadsExceptionsApart)
{
    const auto fail = [](const std::string& name) {
        try {
            throw std::runtime_error(name);
        } catch (const std::exception&) {
            point();
            try {
                throw;
            } catch (const std::exception& own) {
                EXPECT_EQ(own.what(), name);
            }
        }
    };
    playAll(3, [&] {
        Body other([&] { fail("B"); });
        start(other);
        fail("A");
        join(other);
    });
}

TEST(RandomOrder, IsTheSameForTheSameSeed)
{
    std::vector<std::string> orders;
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        Outcome outcomes[3];
        std::string pieces[3];
        for (int i : {0, 1}) {
            RandomOrder order(seed, 2, 8);
            pieces[i] = twoThreads(order, outcomes[i]);
        }
        GivenOrder given(outcomes[0].code);
        pieces[2] = twoThreads(given, outcomes[2]);
        EXPECT_EQ(pieces[0], pieces[1]);
        EXPECT_EQ(pieces[0], pieces[2]);
        orders.push_back(pieces[0]);
    }
    std::sort(orders.begin(), orders.end());
    // Either thread first, and the running one interrupted at up to two points.
    EXPECT_GT(std::unique(orders.begin(), orders.end()) - orders.begin(), 8);
}

/// A service is started, records a call while the user turns to another line and a key gets its lamp, and is stopped.
void recordACall()
{
    Telephone telephone;
    std::unique_ptr<MediaRecordingService> service(createMediaRecordingService());
    service->init(telephone, nullptr, nullptr);
    std::string unused;
    service->setRecordingModeConfig("manual", unused);
    service->activateRecording("sip:100@office");
    runtime::waitUntilIdle();
    Body user([&] { service->deactivateRecording("sip:200@office"); });
    Body keys([&] { service->featureKeyDefinitionChanged(1, PhysDefs::KEY_FUNCTION_CALL_RECORDING, false); });
    start(user);
    start(keys);
    const int session = telephone.observer->LMSCreateSession("sip:100@office", 7);
    telephone.observer->LMSEventAttached(session, 12, 7);
    telephone.observer->LMSDestroySession(session);
    join(user);
    join(keys);
    runtime::waitUntilIdle();
    EXPECT_EQ(telephone.attached, 1);
    EXPECT_EQ(telephone.detached, 1);
    EXPECT_EQ(telephone.lampOn, service->getSelectedLineRecordingOn());
}

TEST(Plugin, RecordsACallInEveryOrderWithOnePreemption)
{
    const StaticData plugin(reinterpret_cast<void*>(&createMediaRecordingService));
    Body body(recordACall);
    unsigned orders = 0;
    unsigned points = 0;
    Exploration all(1);
    const auto begin = std::chrono::steady_clock::now();
    for (Code code; all.next(code) && !HasFailure(); ++orders) {
        GivenOrder order(code);
        const Outcome outcome = runtime::orders::play(body, order);
        EXPECT_EQ(outcome.finding, "");
        EXPECT_EQ(outcome.code, code);
        points += outcome.points;
        all.played(outcome);
        plugin.restore();
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    EXPECT_GT(orders, points / orders);
    std::printf("%u orders of %u points, %.0f a second\n", orders, points / orders, orders / seconds.count());
}

}  // namespace
