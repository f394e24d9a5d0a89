#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Activity.h"
#include "Fakes.h"
#include "Logging.h"
#include "Semaphore.h"
#include "Serializer.h"
#include "Threader.h"
#include "Threads.h"

using testing::ElementsAre;

namespace {

constexpr int ROUNDS = 300;

/// Waits for its turn, works, and passes the turn on.
struct Runner : Threadable {
    Runner(Semaphore& mine, Semaphore& others) : turn(mine), next(others) {}
    void run() override
    {
        EXPECT_EQ(runtime::currentThreadable(), this);
        for (int round = 0; round < ROUNDS && turn.take(-1); ++round) {
            std::this_thread::yield();
            ++worked;
            next.give();
        }
    }

    Semaphore &turn, &next;
    std::atomic<int> worked{0};
};

TEST(Idle, ComesOnceAChainOfThreadsHasFinishedItsWork)
{
    Semaphore first(0, 1, false), second(0, 1, false), end(0, ROUNDS, false);
    Runner a(first, second), b(second, end);
    ThreadId ids[2] = {};
    EXPECT_TRUE(Threader().spawn(ids[0], &a, "", THREAD_PRIORITY_NORMAL, 0));
    EXPECT_TRUE(Threader().spawn(ids[1], &b, "", THREAD_PRIORITY_NORMAL, 0));
    for (int round = 1; round <= ROUNDS; ++round) {
        first.give();
        runtime::waitUntilIdle();
        ASSERT_EQ(b.worked, round);
    }
    for (const ThreadId id : {a.threadId(), b.threadId(), ids[0], ids[1]}) {
        Threader().waitForThreadCompletion(id);
    }
    runtime::waitUntilIdle();
    EXPECT_EQ(runtime::currentThreadable(), nullptr);
}

TEST(Logging, LetsThroughMoreOfAComponentWithALevelOfItsOwn)
{
    LogCapture log(3);
    runtime::setLogLevel("Chatty", 5);
    for (const char* const component : {"Chatty", "Quiet"}) {
        for (const int level : {3, 5, 6}) {
            logApp(component, "source", level, 1, "asked %d", loggingOnApp(component, level));
        }
    }
    runtime::setLogLevel("Chatty", 0);
    EXPECT_FALSE(loggingOnApp("Chatty", 5));
    EXPECT_THAT(log.take(), ElementsAre("3 Chatty: asked 1", "5 Chatty: asked 1", "3 Quiet: asked 1"));
}

TEST(Logging, LetsThroughWhatIsUpToTheLevelAndCutsNoText)
{
    logApp("C", "s", 2, 1, "nobody listens");
    LogCapture log(4);
    for (const int level : {2, 4, 5}) {
        EXPECT_EQ(loggingOnApp("C", level), level <= 4);
        logApp("C", "s", level, 1, "text");
    }
    EXPECT_THAT(log.take(), ElementsAre("2 C: text", "4 C: text"));
    for (const std::size_t length : {0U, 510U, 511U, 512U, 100000U}) {
        const std::string text(length, 'x');
        logApp("C", "s", 4, 1, "%s%d", text.c_str(), 7);
        EXPECT_THAT(log.take(), ElementsAre("4 C: " + text + "7"));
    }
}

TEST(ManagementRecord, ListsIdsAsNamedAndReadsTheFirstValueGiven)
{
    runtime::ManagementRecord record;
    record.name("b");
    record.give("a", "1");
    record.give("a", "2");
    record.populate("b", "other key", "3");
    Lines ids = {"old"};
    record.getRootIds(ids);
    EXPECT_THAT(ids, ElementsAre("b", "a", "a"));
    std::string value = "kept";
    EXPECT_TRUE(!record.interogate("b", "b", value) && value == "kept");
    EXPECT_TRUE(record.interogate("a", "a", value) && value == "1");
}

TEST(Serializer, DecodesALengthAColonAndThatManyBytes)
{
    const auto decoded = [](std::string in) {
        std::string out = "kept";
        return (Serializer::deserialize(in, out, false) ? "+" : "-") + out;
    };
    EXPECT_EQ(decoded("5:sip:1") + decoded("0:"), "+sip:1+");
    for (const char* wrong : {"", ":x", "5", "sip:1", "4:sip:1", "6:sip:1", "-1:x", " 1:x", "18446744073709551617:x"}) {
        EXPECT_EQ(decoded(wrong), "-kept") << wrong;
    }
}

}  // namespace
