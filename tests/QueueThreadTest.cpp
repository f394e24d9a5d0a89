#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <thread>

#include "Activity.h"
#include "Fakes.h"
#include "LMSEventDispatcher.h"
#include "Threads.h"
#include "WorkerAccess.h"

using testing::Each;
using testing::ElementsAre;

namespace {

constexpr int POSTERS = 3;
constexpr int POSTS = 500;

/// Posts from several threads at once; each post has its poster's number and its own.
template <typename Post>
void postFromManyThreads(Post post)
{
    std::array<std::thread, POSTERS> threads;
    for (int poster = 0; poster < POSTERS; ++poster) {
        threads.at(static_cast<std::size_t>(poster)) = std::thread([=] {
            for (int number = 0; number < POSTS; ++number) {
                post(poster, number);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    runtime::waitUntilIdle();
}

/// How many posts of each poster have arrived, which must be in its order; `arrived` is the line of a post.
template <typename Arrived>
std::vector<int> arrivedInOrder(const Lines& lines, Arrived arrived)
{
    std::vector<int> next(POSTERS);
    for (const std::string& line : lines) {
        bool expected = false;
        for (int poster = 0; poster < POSTERS && !expected; ++poster) {
            int& number = next[static_cast<std::size_t>(poster)];
            expected = line == arrived(poster, number);
            number += expected ? 1 : 0;
        }
        EXPECT_TRUE(expected) << line;
    }
    return next;
}

TEST(LMSEventDispatcher, DeliversEveryKindWithItsFieldsOnItsOwnThreadInOrder)
{
    Journal journal;
    FakeObserver observer(journal);
    LMSEventDispatcher dispatcher(&observer);
    LogCapture log(6);
    Gate gate;
    journal.onCall = [&](const std::string& called) {
        if (called == "attached") {
            EXPECT_EQ(runtime::currentThreadable(), &dispatcher);
            gate.enter();
            dispatcher.LMSDestroySession(13);
        }
    };
    dispatcher.LMSEventAttached(1, 2, 3);
    gate.entered.take(-1);
    dispatcher.LMSEventStreaming(4, 5, 6);
    dispatcher.LMSEventNotStreaming(7);
    const auto unknownKind = static_cast<LMSEventDispatcher::LMSEventType>(5);
    dispatcher.process(new LMSEventDispatcher::LMSEventData{8, 8, 8, LMSErrorCode{2}, unknownKind});
    dispatcher.process(nullptr);
    dispatcher.LMSEventErrorStatus(9, LMSErrorCode{10});
    dispatcher.LMSDestroySession(11);
    EXPECT_THAT(log.take(), ElementsAre());
    dispatcher.LMSEventErrorStatus(LMSErrorCode{3});
    EXPECT_THAT(log.take(),
                ElementsAre("2 LMSEventDispatcher: LMSEventErrorStatus(errCode=3): method should't be called"));
    // A creation waits for none of them.
    EXPECT_EQ(dispatcher.LMSCreateSession("sip:1", 12), 4711);
    EXPECT_THAT(journal.take(), ElementsAre("attached(1, 2, 3)", "create(sip:1, 12)"));
    gate.opened.give();
    runtime::waitUntilIdle();
    EXPECT_THAT(journal.take(),
                ElementsAre("streaming(4, 5, 6)", "not streaming(7)", "error(9, 10)", "destroy(11)", "destroy(13)"));
}

TEST(LMSEventDispatcher, DeliversWhatManyThreadsPostOnceAndInTheOrderOfEach)
{
    Journal journal;
    FakeObserver observer(journal);
    LMSEventDispatcher dispatcher(&observer);
    postFromManyThreads([&](int poster, int number) { dispatcher.LMSEventStreaming(poster, number, 0); });
    const auto arrived = [](int poster, int number) {
        return "streaming(" + std::to_string(poster) + ", " + std::to_string(number) + ", 0)";
    };
    EXPECT_THAT(arrivedInOrder(journal.take(), arrived), Each(POSTS));
}

struct Worker : testing::Test {
    Worker()
    {
        forgetWorker();
        EXPECT_EQ(AsynchronousEventThread::instance(), nullptr);
        AsynchronousEventThread::init(&callControl);
        worker = AsynchronousEventThread::instance();
    }

    void request(AsynchronousEventData request)
    {
        worker->process(request);
        request.recUri = "the worker has a copy";
    }

    Journal journal;
    FakeCallControl callControl{journal};
    AsynchronousEventThread* worker;
};

TEST_F(Worker, PerformsCopiesOfRequestsInOrderAndStopsForGood)
{
    FakeCallControl other(journal);
    AsynchronousEventThread::init(&other);
    EXPECT_EQ(AsynchronousEventThread::instance(), worker);
    Gate gate;
    journal.onCall = [&](const std::string& called) {
        if (called != "finished") {
            gate.enter();
            journal.call("finished", runtime::currentThreadable() == worker);
        }
    };
    request(AsynchronousEventData("rec@a", 1));
    gate.entered.take(-1);
    request(AsynchronousEventData(1));
    request(AsynchronousEventData("rec@b", 2));
    request(AsynchronousEventData(2));
    for (int finished = 0; finished < 3; ++finished) {
        gate.opened.give();
        gate.entered.take(-1);
    }
    std::thread opener([&] { gate.opened.give(); });
    worker->terminate();
    opener.join();
    EXPECT_THAT(journal.take(), ElementsAre("attach(1, rec@a)", "finished(1)", "detach(1)", "finished(1)",
                                            "attach(2, rec@b)", "finished(1)", "detach(2)", "finished(1)"));

    EXPECT_FALSE(WorkerAccess::hasCallControl());
    AsynchronousEventThread::init(&other);
    EXPECT_EQ(AsynchronousEventThread::instance(), worker);
    request(AsynchronousEventData(4));
    runtime::waitUntilIdle();
    EXPECT_THAT(journal.take(), ElementsAre());
}

TEST_F(Worker, PerformsWhatManyThreadsRequestOnceAndInTheOrderOfEachUntilItStops)
{
    const auto requestAll = [this] {
        postFromManyThreads([this](int poster, int number) { request({std::to_string(poster), number}); });
    };
    const auto arrived = [](int poster, int number) {
        return "attach(" + std::to_string(number) + ", " + std::to_string(poster) + ")";
    };
    requestAll();
    EXPECT_THAT(arrivedInOrder(journal.take(), arrived), Each(POSTS));
    std::thread stopper([this] { worker->terminate(); });
    requestAll();
    stopper.join();
    EXPECT_THAT(arrivedInOrder(journal.take(), arrived), Each(testing::Le(POSTS)));
}

}  // namespace
