#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "Fakes.h"
#include "Logging.h"
#include "MediaRecordingHelper.h"
#include "RecordingConfigManager.h"
#include "RecordingController.h"
#include "RecordingStateMachine.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

constexpr const char* L1 = "sip:1";
constexpr const char* L2 = "sip:2";
constexpr const char* L3 = "sip:3";
constexpr const char* NO_STORE = nullptr;
constexpr ELineState SELECTED{11};
constexpr LMSErrorCode CODE{4};

/// A controller on a real store in the given recording mode. What goes out is in one journal.
struct Core {
    explicit Core(const char* mode)
    {
        MediaRecordingHelper::reset();
        context.services["LocalMgmtIfc"] = &management;
        if (mode != NO_STORE) {
            store = std::make_unique<RecordingConfigManager>(&context);
            store->setDataItem(CALL_RECORDER_ADDRESS_CONFIG, "rec");
            store->setDataItem(CALL_RECORDING_MODE_CONFIG, mode);
        }
        controller = std::make_unique<RecordingController>(&eventLayer, store.get());
        journal.take();
    }
    ~Core() { MediaRecordingHelper::reset(); }

    RecordingController* operator->() { return controller.get(); }
    RecordingStateMachine& machine(const char* line)
    {
        return *controller->getRecordingStateMachineCreateNewIfNeeded(line);
    }
    /// A streaming recording with this session handle, media handle and call id; from now on the lamp tells its line.
    void record(const char* line, int handle)
    {
        store->setRecordingActivation(line, true);
        EXPECT_EQ(controller->LMSCreateSession(line, handle), handle);
        controller->LMSEventAttached(handle, handle, handle);
        eventLayer.onLamp = [this] { journal.call("shows", controller->getSelectedLine()); };
        journal.take();
    }

    Journal journal;
    FakeManagement management{journal};
    FakeContext context{journal};
    FakeEventLayer eventLayer{journal};
    std::unique_ptr<RecordingConfigManager> store;
    std::unique_ptr<RecordingController> controller;
};

std::string published(const std::string& activation)
{
    return "publish(call-recording-active, call-recording-active, " + activation + ")";
}

TEST(RecordingController, ModeDecidesWhatTheUserMayDoAndWhatStartsByItself)
{
    // May the user out of a call, and in one? Does a new session start by itself when not activated, and when
    // activated?
    const std::pair<const char*, const char*> rows[] = {{"disabled", "0000"}, {"manual", "1101"}, {"autostart", "0111"},
                                                        {"allcalls", "0011"}, {"Manual", "0000"}, {"manual ", "0000"},
                                                        {"", "0000"},         {NO_STORE, "0000"}};
    for (const auto& [mode, answers] : rows) {
        Core core(mode);
        std::string user = std::to_string(core->getCallRecordingUserControllable(L1)), itself;
        for (const bool activated : {false, true}) {
            if (core.store != nullptr) {
                core.store->setRecordingActivation(L1, activated);
            }
            const bool starts = core->getCallRecordingAutostarts(L1);
            itself += std::to_string(starts);
            const int session = core->LMSCreateSession(L1, 7);
            EXPECT_EQ(core.machine(L1).getState(), starts ? MRS_STA_ATTACH_REQUESTED : MRS_STA_IN_CALL);
            EXPECT_TRUE(core->isInCall(L1));
            user += activated ? "" : std::to_string(core->getCallRecordingUserControllable(L1));
            core.journal.take();
            EXPECT_EQ(core->getCallRecordingActivated(L1), core.store != nullptr && (activated || starts));
            core->LMSDestroySession(session);
            EXPECT_EQ(core.journal.take().front() == published("sip:1;false"), core.store && (activated || starts));
            EXPECT_FALSE(core->isInCall(L1));
        }
        EXPECT_EQ(user + itself, answers) << mode;
    }
}

TEST(RecordingController, StartAndStopStoreAndShowBeforeTheMachineActs)
{
    Core core("autostart");
    core.record(L1, 1);
    core.record(L2, 2);
    core->deactivateRecording(L1);
    EXPECT_THAT(core.journal.take(), ElementsAre(published("sip:1;false"), "lamp()", "shows(sip:1)", "detach(1)",
                                                 "status(sip:1, 1, content_feature_off)"));
    core.record(L3, 3);
    core->activateRecording(L1);
    EXPECT_THAT(core.journal.take(), ElementsAre(published("sip:1;true"), "lamp()", "shows(sip:1)", "attach(1, rec)"));
}

TEST(RecordingController, RefusedRequestLeavesEverythingAsItWas)
{
    for (const char* mode : {"allcalls", "autostart", "disabled", NO_STORE}) {
        Core core(mode);
        core.machine(L1).EVT_activate();
        core->activateRecording(L2);
        core->deactivateRecording(L1);
        EXPECT_THAT(core.journal.take(), ElementsAre());
        EXPECT_EQ(core->getSelectedLine(), "");
        EXPECT_EQ(core.machine(L1).getState(), MRS_STA_ACTIVATED);
        EXPECT_EQ(core.machine(L2).getState(), MRS_STA_IDLE);
    }
}

TEST(RecordingController, SelectingALineDeselectsEveryOtherAfterTheLamp)
{
    Core core("allcalls");
    core->isInCall("sip:0");
    core.record(L1, 1);
    core.record(L2, 2);
    core.record(L3, 3);
    core->setLineStatus(L2, SELECTED, 0, "");
    EXPECT_THAT(core.journal.take(),
                ElementsAre("lamp()", "shows(sip:2)", "setDirection(1, 2)", "status(sip:1, 1, content_feature_off)",
                            "setDirection(3, 2)", "status(sip:3, 3, content_feature_off)"));
    EXPECT_THAT(core.machine(L2).dump(), HasSubstr("STREAMING; pEVT=MRS_EVT_LINE_SELECTED"));
    core->setLineStatus(L3, ELineState{16}, 0, "");
    EXPECT_THAT(core.journal.take(),
                ElementsAre("lamp()", "shows(sip:3)", "setDirection(2, 2)", "status(sip:2, 2, content_feature_off)",
                            "setDirection(3, 3)", "status(sip:3, 3, content_feature_on)"));
}

TEST(RecordingController, ReleaseFallsBackToTheOriginatingLine)
{
    for (const ELineState released : {ELineState{1}, ELineState{5}}) {
        Core core("allcalls");
        core.record(L1, 1);
        core.record(L2, 2);
        core->setLineStatus(L2, released, 0, "");
        EXPECT_THAT(core.journal.take(),
                    ElementsAre("setDirection(2, 2)", "status(sip:2, 2, content_feature_off)", "lamp()", "shows()"));
        for (const char* line : {L1, "non-keyset", "failure"}) {
            core->setOriginatingLine(line);
        }
        for (const int other : {0, 2, 4, 6, 10, 12, 15, 17}) {
            core->setLineStatus(L1, ELineState{other}, 0, "");
        }
        EXPECT_THAT(core.journal.take(), ElementsAre());
        core->setLineStatus(L2, released, 0, "");
        EXPECT_THAT(core.journal.take(), ElementsAre("lamp()", "shows(sip:1)"));
        EXPECT_THAT(core.machine(L1).dump(), HasSubstr("cSTA=MRS_STA_STREAMING; pEVT=MRS_EVT_ATTACHED"));
    }
}

TEST(RecordingController, ManualModeStopsEveryLineThatHasAMachineInOrder)
{
    Core core("manual");
    core->isInCall("sip:0");
    core->activateRecording(L2);
    core->activateRecording(L1);
    core.journal.take();
    for (const char* mode : {"Manual", "autostart", "allcalls", "disabled", ""}) {
        core->setCallRecMode(mode);
    }
    EXPECT_THAT(core.journal.take(), ElementsAre());
    core->setCallRecMode("manual");
    EXPECT_THAT(core.journal.take(),
                ElementsAre(published("sip:1;false"), "lamp()", published("sip:2;false"), "lamp()"));
    EXPECT_EQ(core->getSelectedLine(), L2);
    EXPECT_EQ(core.machine(L1).getState(), MRS_STA_IDLE);
    core.store->setDataItem(CALL_RECORDING_MODE, "allcalls");  // the store's mode is the gate, not the argument
    core.journal.take();
    core->setCallRecMode("manual");
    EXPECT_THAT(core.journal.take(), ElementsAre());
}

TEST(RecordingController, SessionIsUpToDateWhenTheMachineActsOnItsEvents)
{
    Core core("allcalls");
    core.eventLayer.onLamp = [&] { core.journal.call("shows", core->getSelectedLine(), core->isInCall(L1)); };
    EXPECT_EQ(core->LMSCreateSession(L1, 7), 1);
    EXPECT_THAT(core.journal.take(),
                ElementsAre(published("sip:1;true"), "attach(1, rec)", "lamp()", "shows(sip:1, 1)"));
    EXPECT_THAT(core.machine(L1).dump(), HasSubstr("mrsID=1; lURI=sip:1; cID=7; msID=-1]"));
    core->LMSEventAttached(1, 5, 9);
    core->LMSEventNotStreaming(1);
    core->LMSEventStreaming(1, 6, 10);
    core->LMSEventErrorStatus(1, CODE);
    EXPECT_THAT(core.journal.take(),
                ElementsAre("setDirection(5, 3)", "status(sip:1, 9, content_callrecording_OnFirstTime)",
                            "setDirection(5, 2)", "status(sip:1, 9, content_feature_off)", "setDirection(6, 3)",
                            "status(sip:1, 10, content_feature_on)", "setDirection(6, 2)", "detach(1)",
                            "status(sip:1, 10, content_feature_off)", "status(sip:1, 10, content_common_failed)"));
    core.machine(L1).EVT_deactivate();
    core.journal.take();
    EXPECT_EQ(core->LMSCreateSession(L1, 8), 2);
    EXPECT_THAT(core.journal.take(),
                ElementsAre(published("sip:1;true"), "attach(1, rec)", "lamp()", "shows(sip:1, 1)"));
    core->LMSDestroySession(2);
    EXPECT_THAT(core.journal.take(), ElementsAre(published("sip:1;false"), "detach(2)",
                                                 "status(sip:1, 8, content_feature_off)", "lamp()", "shows(sip:1, 0)"));
    EXPECT_THAT(core.machine(L1).dump(), HasSubstr("mrsID=2]"));
}

TEST(RecordingController, DumpListsEveryLineLookedUpAlsoWithoutAMachine)
{
    Core core("manual");
    const std::string longLine(2000, 'x');
    core->isInCall(longLine);
    core->isInCall("sip:");
    core.machine(L1);
    LogCapture log(5);
    core->dumpStateMachines();
    EXPECT_EQ(log.take().size(), 2U);  // the session table traces that it is asked
    runtime::setLogLevel(6);
    core->dumpStateMachines();
    EXPECT_THAT(log.take().back(), EndsWith(", in state: [ cSTA=MRS_STA_IDLE; pEVT=; pSTA=MRS_STA_IDLE; mrsID=0]\n"
                                            "\tstateMachines[" +
                                            longLine + "]==(nil), in state: \n"));
}

TEST(RecordingController, FullTableStillPutsTheLineInCall)
{
    Core core(NO_STORE);
    while (core->LMSCreateSession(L1, 0) != 0) {
    }
    LogCapture log(2);
    EXPECT_EQ(core->LMSCreateSession(L2, 7), 0);
    EXPECT_THAT(log.take(),
                ElementsAre("2 RecordingSessionController: Create session: failed - Max Media Sessions reached",
                            "2 RecordingController: LMSCreateSession: session==NULL. Session parameters "
                            "(lineURI, callID) not set."));
    EXPECT_TRUE(core->isInCall(L2));
    EXPECT_EQ(core->getSelectedLine(), L2);
}

TEST(RecordingController, ClosedItTouchesNothingAndSaysNothing)
{
    Core core("manual");
    core.record(L1, 1);
    core->close();
    LogCapture log(6);
    core->activateRecording(L1);
    core->deactivateRecording(L1);
    core->setCallRecMode("manual");
    core->setLineStatus(L1, SELECTED, 0, "");
    core->setOriginatingLine(L1);
    core->LMSEventAttached(1, 1, 1);
    core->LMSEventStreaming(1, 1, 1);
    core->LMSEventNotStreaming(1);
    core->LMSEventErrorStatus(1, CODE);
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
