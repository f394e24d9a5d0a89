#include "RecordingController.h"

#include <gmock/gmock.h>

#include <memory>

#include "Fakes.h"
#include "Logging.h"
#include "RecordingStateMachine.h"

using testing::ElementsAre;
using testing::EndsWith;

namespace {

constexpr const char* L1 = "sip:1";
constexpr const char* L2 = "sip:2";
constexpr const char* NO_STORE = nullptr;
constexpr ELineState SELECTED{11};

/// A controller on a real store in the given recording mode. What goes out is in one journal.
struct Core : FakeTelephone {
    explicit Core(const char* mode)
    {
        if (mode != NO_STORE) {
            store = std::make_unique<RecordingConfigManager>(&context);
            store->setDataItem(CALL_RECORDING_MODE_CONFIG, mode);
        }
        controller = std::make_unique<RecordingController>(&eventLayer, store.get());
        journal.take();
    }

    RecordingController* operator->() { return controller.get(); }
    int stateOf(const char* line) { return controller->getRecordingStateMachineCreateNewIfNeeded(line)->getState(); }

    FakeEventLayer eventLayer{journal};
    std::unique_ptr<RecordingConfigManager> store;
    std::unique_ptr<RecordingController> controller;
};

TEST(RecordingController, ModeDecidesWhatTheUserMayDoAndWhatStartsByItself)
{
    struct Row {
        const char* mode;
        bool userWithoutCall, userInCall, startsByItself, startsWhenActivated;
    };
    constexpr bool YES = true;
    constexpr bool NO = false;
    for (const Row& row : {Row{"disabled", NO, NO, NO, NO}, Row{"manual", YES, YES, NO, YES},
                           Row{"autostart", NO, YES, YES, YES}, Row{"allcalls", NO, NO, YES, YES},
                           Row{"Manual", NO, NO, NO, NO}, Row{"", NO, NO, NO, NO}, Row{NO_STORE, NO, NO, NO, NO}}) {
        for (const bool activated : {false, true}) {
            SCOPED_TRACE(testing::Message() << (row.mode != NO_STORE ? row.mode : "no store") << activated);
            Core core(row.mode);
            if (core.store != nullptr) {
                core.store->setRecordingActivation(L1, activated);
            }
            EXPECT_EQ(core->getCallRecordingUserControllable(L1), row.userWithoutCall);
            const bool starts = activated ? row.startsWhenActivated : row.startsByItself;
            EXPECT_EQ(core->getCallRecordingAutostarts(L1), starts);

            const int session = core->LMSCreateSession(L1, 7);
            EXPECT_EQ(core.stateOf(L1), starts ? MRS_STA_ATTACH_REQUESTED : MRS_STA_IN_CALL);
            EXPECT_TRUE(core->isInCall(L1));
            EXPECT_EQ(core->getCallRecordingUserControllable(L1), row.userInCall);
            const bool activation = core.store != nullptr && (activated || starts);
            EXPECT_EQ(core->getCallRecordingActivated(L1), activation);

            core.journal.take();
            core->LMSDestroySession(session);
            EXPECT_EQ(
                core.journal.take().front() == "publish(call-recording-active, call-recording-active, sip:1;false)",
                activation);
            EXPECT_FALSE(core->isInCall(L1));
        }
    }
}

TEST(RecordingController, OnlyFourLineStatesSelectOrReleaseALine)
{
    for (int state = 0; state < 20; ++state) {
        Core core("manual");
        core->setOriginatingLine(L1);
        core->isInCall("a line without a machine");
        core->setLineStatus(L2, ELineState{state}, 0, "");
        const bool selects = state == 11 || state == 16;
        const bool releases = state == 1 || state == 5;
        EXPECT_EQ(core->getSelectedLine(), selects ? L2 : releases ? L1 : "") << state;
        EXPECT_EQ(core.journal.take(), selects || releases ? Lines{"lamp()"} : Lines()) << state;
    }
}

TEST(RecordingController, DumpIsNeverCut)
{
    Core core("manual");
    const std::string longLine(2000, 'x');
    core->isInCall(longLine);
    LogCapture log(6);
    core->dumpStateMachines();
    EXPECT_THAT(log.take().back(), EndsWith("\tstateMachines[" + longLine + "]==(nil), in state: \n"));
}

TEST(RecordingController, ClosedItTouchesNothingAndSaysNothing)
{
    Core core("manual");
    core->LMSCreateSession(L1, 7);
    core->close();
    core.journal.take();
    LogCapture log(6);
    core->activateRecording(L1);
    core->deactivateRecording(L1);
    core->setCallRecMode("manual");
    core->setLineStatus(L1, SELECTED, 0, "");
    core->setOriginatingLine(L1);
    core->LMSEventAttached(1, 1, 1);
    core->LMSEventStreaming(1, 1, 1);
    core->LMSEventNotStreaming(1);
    core->LMSEventErrorStatus(1, LMSErrorCode{4});
    core->LMSDestroySession(1);
    core->dumpStateMachines();
    EXPECT_EQ(core->LMSCreateSession(L2, 7), 0);
    EXPECT_TRUE(core->getSelectedLine().empty() && !core->isInCall(L1) && !core->getCallRecordingActivated(L1));
    EXPECT_FALSE(core->getCallRecordingAutostarts(L1) || core->getCallRecordingUserControllable(L1));
    EXPECT_EQ(core->getRecordingStateMachineCreateNewIfNeeded(L1), nullptr);
    EXPECT_THAT(log.take(), ElementsAre());
    EXPECT_THAT(core.journal.take(), ElementsAre());
}

}  // namespace
