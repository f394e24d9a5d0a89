#include "RecordingSessionController.h"

#include <gmock/gmock.h>

#include "Activity.h"
#include "Fakes.h"
#include "Logging.h"
#include "Threader.h"

using testing::ElementsAre;

namespace {

struct Table {
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

}  // namespace

TEST(RecordingSessionController, HandsOutRisingHandlesForEmptySessionsAndNotTheDestroyedOnesAgain)
{
    Table table;
    for (const int handle : {1, 2, 3}) {
        EXPECT_EQ(table.sessions.createSession(), handle);
    }
    EXPECT_TRUE(table.sessions.destroySession(2));
    EXPECT_FALSE(table.sessions.destroySession(2));
    table.sessions.emergencyTidyUp();
    EXPECT_EQ(table.sessions.numberOfSessions(), 2);
    EXPECT_EQ(table.sessions.createSession(), 4);
    EXPECT_EQ(table.sessions.getSession(2), nullptr);

    RecordingSession* const session = table.sessions.getSession(4);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(std::tie(session->callID, session->lineURI, session->mediaSessionHandle), std::make_tuple(-1, "", -1));
    RecordingSession late;
    table.sessions.storeSession(4, late);
    EXPECT_EQ(table.sessions.getSessionThreadUnsafe(4), session) << "an existing entry is not replaced";
}

TEST(RecordingSessionController, PassesTwoDirectionsOnAndRefusesTheRest)
{
    Journal journal;
    FakeEventLayer eventLayer(journal);
    {
        RecordingSessionController sessions(&eventLayer);
        const int handle = sessions.createSession();
        EXPECT_TRUE(sessions.setDirection(handle, "inactive"));
        sessions.getSession(handle)->mediaSessionHandle = 12;
        EXPECT_TRUE(sessions.setDirection(handle, "sendonly"));
        eventLayer.directionAnswer = false;
        EXPECT_FALSE(sessions.setDirection(handle, "inactive"));
        EXPECT_FALSE(sessions.setDirection(handle, "sendonly"));
        EXPECT_THAT(journal.take(), ElementsAre("setDirection(-1, 2)", "setDirection(12, 3)", "setDirection(12, 2)",
                                                "setDirection(12, 3)"));
        eventLayer.directionAnswer = true;
        LogCapture log(LOG_LEVEL_WARNING);
        for (const char* refused : {"sendrecv", "", "Sendonly", "inactive "}) {
            EXPECT_FALSE(sessions.setDirection(handle, refused)) << refused;
        }
        EXPECT_FALSE(sessions.setDirection(handle + 1, "sendonly"));
        EXPECT_EQ(log.take(), Lines(5, "2 RecordingSessionController: invalid session or direction"));
    }
    EXPECT_THAT(journal.take(), ElementsAre()) << "neither a refused direction nor the table's end reaches it";
}

TEST(RecordingSessionController, KeepsOthersOutWhileADirectionChanges)
{
    void (*const others[])(RecordingSessionController&) = {
        [](auto& sessions) { EXPECT_NE(sessions.getSession(1), nullptr); },
        [](auto& sessions) { EXPECT_EQ(sessions.createSession(), 2); },
        [](auto& sessions) { EXPECT_TRUE(sessions.destroySession(1)); },
        [](auto& sessions) { sessions.emergencyTidyUp(); },
    };
    for (const auto other : others) {
        Journal journal;
        TryMeanwhile eventLayer(journal);
        RecordingSessionController sessions(&eventLayer);
        eventLayer.something = [&sessions, other] { other(sessions); };
        EXPECT_FALSE(sessions.setDirection(sessions.createSession(), "sendonly")) << "done before the change was made";
        Threader().waitForThreadCompletion(eventLayer.thread);
        EXPECT_TRUE(eventLayer.done);
    }
}

TEST(RecordingSessionController, RefusesASessionWhenEveryHandleIsInUseAndNeverHandsOutZero)
{
    Table table;
    for (int handle = 1; handle <= 999998; ++handle) {
        ASSERT_EQ(table.sessions.createSession(), handle);
    }
    LogCapture log(LOG_LEVEL_WARNING);
    EXPECT_EQ(table.sessions.createSession(), 0);
    EXPECT_EQ(table.sessions.numberOfSessions(), 999998);
    EXPECT_THAT(log.take(),
                ElementsAre("2 RecordingSessionController: Create session: failed - Max Media Sessions reached"));
    table.sessions.destroySession(5);
    EXPECT_EQ(table.sessions.createSession(), 5) << "past 0 and the used 1 to 4";
    table.sessions.destroySession(3);
    table.sessions.destroySession(7);
    EXPECT_EQ(table.sessions.createSession(), 7) << "on from 6, which is in use";
    EXPECT_EQ(table.sessions.createSession(), 3) << "round once more";
    EXPECT_THAT(log.take(), ElementsAre());
}
