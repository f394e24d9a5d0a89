#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <thread>

#include "Activity.h"
#include "Fakes.h"
#include "LMSEventDispatcher.h"
#include "Threads.h"
#include "WorkerAccess.h"

using testing::ElementsAre;

namespace {

/// Writes down what is delivered; the first delivery then does what the test asks for.
struct FakeObserver : LMSEventObserverIfc {
    int LMSCreateSession(const std::string& lineURI, int callID) override
    {
        journal.call("create", lineURI, callID);
        return 4711;
    }
    void LMSDestroySession(int session) override { delivered("destroy", session); }
    void LMSEventAttached(int session, int media, int call) override { delivered("attached", session, media, call); }
    void LMSEventStreaming(int session, int media, int call) override { delivered("streaming", session, media, call); }
    void LMSEventNotStreaming(int session) override { delivered("not streaming", session); }
    void LMSEventErrorStatus(int session, LMSErrorCode code) override { delivered("error", session, code); }

    template <typename... Arguments>
    void delivered(const std::string& name, Arguments... arguments)
    {
        journal.call(name, arguments...);
        thread = runtime::currentThreadable();
        if (const auto hook = std::exchange(onDelivery, nullptr)) {
            hook();
        }
    }

    Journal journal;
    std::function<void()> onDelivery;
    Threadable* thread = nullptr;
};

/// Makes a call wait until the test opens it.
struct Gate {
    void enter()
    {
        entered.give();
        opened.take(-1);
    }
    Semaphore entered{0, 1, false}, opened{0, 1, false};
};

TEST(LMSEventDispatcher, DeliversEveryKindWithItsFieldsOnItsOwnThreadInOrder)
{
    FakeObserver observer;
    LMSEventDispatcher dispatcher(&observer);
    LogCapture log(6);
    Gate gate;
    observer.onDelivery = [&] {
        gate.enter();
        dispatcher.LMSDestroySession(13);
    };
    dispatcher.LMSEventAttached(1, 2, 3);
    gate.entered.take(-1);
    dispatcher.LMSEventStreaming(4, 5, 6);
    dispatcher.LMSEventNotStreaming(7);
    const auto unknownKind = static_cast<LMSEventDispatcher::LMSEventType>(5);
    dispatcher.process(new LMSEventDispatcher::LMSEventData{8, 8, 8, LMSErrorCode{2}, unknownKind});
    dispatcher.LMSEventErrorStatus(9, LMSErrorCode{10});
    dispatcher.LMSDestroySession(11);
    EXPECT_THAT(log.take(), ElementsAre());
    dispatcher.LMSEventErrorStatus(LMSErrorCode{3});
    EXPECT_THAT(log.take(),
                ElementsAre("2 LMSEventDispatcher: LMSEventErrorStatus(errCode=3): method should't be called"));
    EXPECT_THAT(log.sources(), ElementsAre("./src/LMSEventDispatcher"));
    // A creation waits for none of them.
    EXPECT_EQ(dispatcher.LMSCreateSession("sip:1", 12), 4711);
    EXPECT_THAT(observer.journal.take(), ElementsAre("attached(1, 2, 3)", "create(sip:1, 12)"));
    gate.opened.give();
    runtime::waitUntilIdle();
    EXPECT_THAT(observer.journal.take(),
                ElementsAre("streaming(4, 5, 6)", "not streaming(7)", "error(9, 10)", "destroy(11)", "destroy(13)"));
    EXPECT_EQ(observer.thread, &dispatcher);
}

TEST(LMSEventDispatcher, DestructionFinishesTheDeliveryAndDropsTheRest)
{
    const Lines all = {"destroy(1)", "finished()", "destroy(2)", "destroy(3)", "destroy(4)"};
    bool dropped = false;
    for (int round = 0; round < 50; ++round) {
        FakeObserver observer;
        Gate gate;
        auto dispatcher = std::make_unique<LMSEventDispatcher>(&observer);
        observer.onDelivery = [&] {
            gate.enter();
            observer.journal.call("finished");
        };
        dispatcher->LMSDestroySession(1);
        gate.entered.take(-1);
        for (const int session : {2, 3, 4}) {
            dispatcher->LMSDestroySession(session);
        }
        gate.opened.give();
        dispatcher.reset();
        // How many were still delivered depends on which thread was faster; nearly always it is this one.
        const Lines delivered = observer.journal.take();
        ASSERT_GE(delivered.size(), 2U);
        EXPECT_THAT(delivered, testing::ElementsAreArray(all.data(), delivered.size()));
        dropped = dropped || delivered.size() == 2;
    }
    EXPECT_TRUE(dropped);
}

void queue(AsynchronousEventData request)
{
    AsynchronousEventThread::instance()->process(request);
    request.recUri = "the worker has a copy";
}

TEST(AsynchronousEventThread, PerformsCopiesOfRequestsInOrderAndStopsForGood)
{
    forgetWorker();
    EXPECT_EQ(AsynchronousEventThread::instance(), nullptr);
    Journal journal;
    FakeCallControl callControl(journal), other(journal);
    AsynchronousEventThread::init(&callControl);
    AsynchronousEventThread* const worker = AsynchronousEventThread::instance();
    AsynchronousEventThread::init(&other);
    EXPECT_EQ(AsynchronousEventThread::instance(), worker);
    Gate gate;
    callControl.onRequest = [&] {
        gate.enter();
        journal.call("finished", runtime::currentThreadable() == worker);
    };
    other.onRequest = [] { FAIL(); };

    queue(AsynchronousEventData("rec@a", 1));
    gate.entered.take(-1);
    queue(AsynchronousEventData(1));
    queue(AsynchronousEventData("rec@b", 2));
    queue(AsynchronousEventData(2));
    for (int opened = 0; opened < 3; ++opened) {
        gate.opened.give();
        gate.entered.take(-1);
    }
    std::thread opener([&] { gate.opened.give(); });
    worker->terminate();
    EXPECT_THAT(journal.take(), ElementsAre("attach(1, rec@a)", "finished(1)", "detach(1)", "finished(1)",
                                            "attach(2, rec@b)", "finished(1)", "detach(2)", "finished(1)"));
    opener.join();

    AsynchronousEventThread::init(&other);
    EXPECT_EQ(AsynchronousEventThread::instance(), worker);
    queue(AsynchronousEventData(4));
    runtime::waitUntilIdle();
    worker->terminate();
    EXPECT_THAT(journal.take(), ElementsAre());
}

}  // namespace
