#include "RecordingSessionController.h"

#include <gmock/gmock.h>

#include <atomic>

#include "Activity.h"
#include "Fakes.h"
#include "Logging.h"
#include "Threader.h"

using testing::ElementsAre;

namespace {

struct SessionTable : testing::Test {
    Journal journal;
    FakeEventLayer eventLayer{journal};
    RecordingSessionController sessions{&eventLayer};
};

/// While a direction changes, tries something else with the table on a thread of its own.
struct TryMeanwhile : FakeEventLayer, Threadable {
    using FakeEventLayer::FakeEventLayer;
    bool setDirection(int, MediaControlServiceIfc::MediaDirection) override
    {
        Threader().spawn(thread, this, "", THREAD_PRIORITY_NORMAL, 0);
        runtime::waitUntilIdle();
        return done;
    }
    void run() override
    {
        something();
        done = true;
    }

    std::function<void()> something;
    ThreadId thread = 0;
    std::atomic<bool> done{false};
};

TEST_F(SessionTable, HandsOutEmptySessionsAndReplacesNone)
{
    const int handle = sessions.createSession();
    RecordingSession* const session = sessions.getSession(handle);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(std::tie(session->callID, session->lineURI, session->mediaSessionHandle), std::make_tuple(-1, "", -1));
    RecordingSession late;
    sessions.storeSession(handle, late);
    EXPECT_EQ(sessions.getSessionThreadUnsafe(handle), session);
    sessions.emergencyTidyUp();
    EXPECT_EQ(sessions.numberOfSessions(), 1);
    EXPECT_TRUE(sessions.destroySession(handle));
    EXPECT_FALSE(sessions.destroySession(handle));
    EXPECT_EQ(sessions.getSession(handle), nullptr);
}

TEST_F(SessionTable, PassesTwoDirectionsOnAndRefusesTheRest)
{
    const int handle = sessions.createSession();
    EXPECT_TRUE(sessions.setDirection(handle, "inactive"));
    sessions.getSession(handle)->mediaSessionHandle = 12;
    EXPECT_TRUE(sessions.setDirection(handle, "sendonly"));
    eventLayer.directionAnswer = false;
    EXPECT_FALSE(sessions.setDirection(handle, "inactive"));
    EXPECT_FALSE(sessions.setDirection(handle, "sendonly"));
    eventLayer.directionAnswer = true;
    LogCapture log(LOG_LEVEL_WARNING);
    for (const char* refused : {"sendrecv", "", "Sendonly", "inactive "}) {
        EXPECT_FALSE(sessions.setDirection(handle, refused)) << refused;
    }
    EXPECT_FALSE(sessions.setDirection(handle + 1, "sendonly"));
    EXPECT_EQ(log.take(), Lines(5, "2 RecordingSessionController: invalid session or direction"));
    EXPECT_THAT(journal.take(), ElementsAre("setDirection(-1, 2)", "setDirection(12, 3)", "setDirection(12, 2)",
                                            "setDirection(12, 3)"));
}

TEST_F(SessionTable, KeepsOthersOutWhileADirectionChanges)
{
    void (*const others[])(RecordingSessionController&) = {
        [](auto& table) { EXPECT_NE(table.getSession(1), nullptr); },
        [](auto& table) { EXPECT_EQ(table.createSession(), 2); },
        [](auto& table) { EXPECT_TRUE(table.destroySession(1)); },
        [](auto& table) { table.emergencyTidyUp(); },
    };
    for (const auto other : others) {
        TryMeanwhile meanwhile(journal);
        RecordingSessionController table(&meanwhile);
        meanwhile.something = [&table, other] { other(table); };
        EXPECT_FALSE(table.setDirection(table.createSession(), "sendonly")) << "done before the change was made";
        Threader().waitForThreadCompletion(meanwhile.thread);
        EXPECT_TRUE(meanwhile.done);
    }
}

TEST_F(SessionTable, RefusesASessionWhenEveryHandleIsInUseAndNeverHandsOutZero)
{
    for (int handle = 1; handle <= 999998; ++handle) {
        ASSERT_EQ(sessions.createSession(), handle);
        if (handle == 2) {
            sessions.destroySession(2);
        }
    }
    EXPECT_EQ(sessions.createSession(), 2) << "past 0 and the used 1";
    LogCapture log(LOG_LEVEL_WARNING);
    EXPECT_EQ(sessions.createSession(), 0);
    EXPECT_THAT(log.take(),
                ElementsAre("2 RecordingSessionController: Create session: failed - Max Media Sessions reached"));
    sessions.destroySession(1);
    sessions.destroySession(7);
    EXPECT_EQ(sessions.createSession(), 7) << "on from 3, which is in use";
    EXPECT_EQ(sessions.createSession(), 1) << "round once more";
    EXPECT_EQ(sessions.numberOfSessions(), 999998);
}

}  // namespace
