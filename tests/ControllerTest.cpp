#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <regex>

#include "Fakes.h"
#include "Logging.h"
#include "MediaRecordingHelper.h"
#include "RecordingConfigManager.h"
#include "RecordingController.h"
#include "RecordingStateMachine.h"

using testing::ElementsAre;
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

/// The controller's records at these levels as "LEVEL text", addresses masked; of a dump only that there was one.
Lines steps(LogCapture& log, const std::string& levels)
{
    const std::regex own("(.) RecordingController: ([^]*)"), address("0x[0-9a-f]+"), dump("^. dumpState[^]*");
    Lines texts;
    std::smatch match;
    for (const std::string& line : log.take()) {
        if (std::regex_match(line, match, own)) {
            const std::string text = std::regex_replace(match.str(1) + " " + match.str(2), address, "ADDRESS");
            if (levels.find(text[0]) != std::string::npos || std::regex_match(text, dump)) {
                texts.push_back(std::regex_replace(text, dump, "dump"));
            }
        }
    }
    return texts;
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

TEST(RecordingController, LogsEveryStepAtItsLevel)
{
    Core core("manual");
    core.eventLayer.onLamp = [] { logApp("RecordingController", "", 6, 0, "lamp"); };
    LogCapture log(6);
    core->activateRecording(L1);
    core->LMSCreateSession(L2, 7);
    core->LMSEventAttached(1, 5, 9);
    core->LMSEventStreaming(1, 6, 10);
    core->LMSEventNotStreaming(1);
    core->LMSEventErrorStatus(1, CODE);
    core->LMSDestroySession(1);
    core->setOriginatingLine(L2);
    core->setOriginatingLine(L1);
    core->setLineStatus(L1, SELECTED, 8, "sip:r");
    core.machine(L3);
    core.store->setDataItem(CALL_RECORDING_MODE, "allcalls");
    core->deactivateRecording(L3);
    core->setCallRecMode("x");
    EXPECT_THAT(
        steps(log, "23456"),
        ElementsAre(
            "5 activateRecording(lineURI=sip:1)", "5 getCallRecordingUserControllable(line = sip:1)",
            "3 getCallRecordingUserControllable: machine (= m_stateMachines[line==sip:1]) == NULLcouldn't inCall = "
            "machine->getSessionInCall(); using default value 'false'",
            "6 getCallRecordingUserControllable(): m_recordingMode = manual; inCall = 0", "6 lamp",
            "6 activateRecording(lineURI = sip:1): m_stateMachines[lineURI=sip:1] not found, instantiating new state "
            "machine.",
            "dump", "5 LMSCreateSession(lineURI=sip:2, callID=7)",
            "6 sessionCreated(mrsID = 1): m_stateMachines[lineURI=sip:2] not found, instantiating new state machine.",
            "5 getCallRecordingAutostarts(lineURI = sip:2)", "5 getCallRecordingActivated(lineURI = sip:2)", "6 lamp",
            "dump", "5 LMSEventAttached(recordingSessionHandle=1, mediaSessionHandle=5, recordedCallID=9)", "dump",
            "5 LMSEventStreaming(recordingSessionHandle=1, mediaSessionHandle=6, recordedCallID=10)", "dump",
            "5 LMSEventNotStreaming(recordingSessionHandle=1)", "dump",
            "5 LMSEventErrorStatus(mrsID = 1, LMSErrorCode=4)", "dump", "5 LMSDestroySession(recordingSessionHandle=1)",
            "6 LMSDestroySession: m_recSessionController->getSession(recordingSessionHandle);",
            "6 LMSDestroySession: session=ADDRESS", "6 lamp", "dump", "5 setOriginatingLine( uri = \"sip:2\" )",
            "6 setting m_originatingLine == \n", "5 setOriginatingLine( uri = \"sip:1\" )",
            "6 setting m_originatingLine == sip:2\n",
            "5 setLineStatus(uri = \"sip:1\", state = 11, callid=8, remoteURI=sip:r)", "6 lamp", "dump",
            "5 getRecordingStateMachineCreateNewIfNeeded(lineURI = \"sip:3\")",
            "6 getRecordingStateMachineCreateNewIfNeeded(lineURI = sip:3): m_stateMachines[lineURI=sip:3] not found, "
            "instantiating new state machine.",
            "6 machine = m_stateMachines[lineURI==sip:3] == ADDRESS", "5 deactivateRecording(lineURI=sip:3)",
            "5 getCallRecordingUserControllable(line = sip:3)",
            "6 getCallRecordingUserControllable(): m_recordingMode = allcalls; inCall = 0",
            "5 deactivateRecording(): getCallRecordingUserControllable()==false, request IGNORED",
            "6 setCallRecMode(): mode = x"));
    EXPECT_THAT(log.sources(), testing::Contains("./src/RecordingController"));
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
    EXPECT_EQ(std::regex_replace(log.take().back(), std::regex("0x[0-9a-f]+"), "ADDRESS"),
              "6 RecordingController: dumpStateMachines()\n\tstateMachines[sip:]==(nil), in state: \n"
              "\tstateMachines[sip:1]==ADDRESS, in state: [ cSTA=MRS_STA_IDLE; pEVT=; pSTA=MRS_STA_IDLE; mrsID=0]\n"
              "\tstateMachines[" +
                  longLine + "]==(nil), in state: \n");
}

TEST(RecordingController, WhatIsMissingIsLoggedAndOnlySomeOfItDumps)
{
    Core core("manual");
    LogCapture log(6);
    core->LMSEventAttached(9, 1, 2);
    core->LMSEventStreaming(9, 1, 2);
    core->LMSEventNotStreaming(9);
    core->LMSEventErrorStatus(9, CODE);
    core->setLineStatus(L3, ELineState{5}, 0, "");
    core->setLineStatus(L3, SELECTED, 0, "");
    core.journal.take();
    core->LMSDestroySession(9);
    EXPECT_THAT(core.journal.take(), ElementsAre("lamp()"));
    EXPECT_THAT(
        steps(log, "23"),
        ElementsAre(
            "2 LMSEventAttached(): m_recSessionController->getSession(recordingSessionHandle=9) returned NULL", "dump",
            "2 LMSEventStreaming: m_recSessionController->getSession(recordingSessionHandle=9) returned NULL",
            "2 LMSEventNotStreaming(): m_recSessionController->getSession(recordingSessionHandle=9) returned NULL",
            "3 LMSEventErrorStatus(): m_recSessionController->getSession(recordingSessionHandle=9) returned NULL; "
            "Couldn't process LMSEventErrorStatus. This is either en error, or the session doesn't exist any more, in "
            "which case the event is validly ignored.",
            "3 m_stateMachines[uri==sip:3] == NULL", "dump",
            "3 machine = m_stateMachines[m_selectedLine==sip:3] == (nil)", "dump",
            "2 LMSDestroySession: session with handle==9 not found. Couldn't call destroySession.", "dump"));
    core->deactivateRecording(L3);
    EXPECT_THAT(core.journal.take(), ElementsAre(published("sip:3;false"), "lamp()"));
    EXPECT_THAT(steps(log, "2"), ElementsAre("2 Cannot make call to  m_stateMachines[lineURI=\"sip:3\"]->"
                                             "EVT_deactivate(). State machine associated with lineURI equals NULL!",
                                             "dump"));
    EXPECT_FALSE(Core(NO_STORE)->getCallRecordingActivated(L1));
    EXPECT_THAT(steps(log, "3"), ElementsAre("3 getCallRecordingActivated: m_configManager == NULL couldn't "
                                             "m_configManager->getRecordingActivation(lineURI); trying to behave, "
                                             "therefore returning default value 'false'"));
}

TEST(RecordingController, FullTableStillPutsTheLineInCall)
{
    Core core(NO_STORE);
    while (core->LMSCreateSession(L1, 0) != 0) {
    }
    LogCapture log(2);
    EXPECT_EQ(core->LMSCreateSession(L2, 7), 0);
    EXPECT_THAT(steps(log, "2"),
                ElementsAre("2 LMSCreateSession: session==NULL. Session parameters (lineURI, callID) not set."));
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
