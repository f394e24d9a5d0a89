// What the program reads of the lines' machines in the plug-in's log.

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "telephone/MachineLog.h"

namespace deskphone {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct MachineLogTest : ::testing::Test {
    void controllerLogs(const std::string& text, RecordThread thread = CALLER)
    {
        log.read("RecordingController", text, thread, records[thread]);
    }
    void machineLogs(const std::string& text, RecordThread thread = CALLER)
    {
        log.read("RecordingStateMachine", text, thread, records[thread]);
    }
    void machineIsActivated(const std::string& address, RecordThread thread = CALLER)
    {
        machineLogs("RecordingStateMachine(this=" + address +
                        ", mrsID=0)::ExecuteAction(event=MRS_EVT_ACTIVATE): current state = MRS_STA_IDLE; "
                        "new state = MRS_STA_ACTIVATED",
                    thread);
    }

    std::vector<MachineEvent> events(RecordThread thread = CALLER) const
    {
        std::vector<MachineEvent> found;
        for (const Record& record : records[thread]) {
            found.push_back(std::get<MachineEvent>(record));
        }
        return found;
    }
    std::vector<std::string> lines(RecordThread thread = CALLER) const
    {
        std::vector<std::string> found;
        for (const MachineEvent& event : events(thread)) {
            found.push_back(event.line);
        }
        return found;
    }

    MachineLog log;
    Records records;
};

TEST_F(MachineLogTest, ReadsATransitionAndTheActionThatFollows)
{
    machineLogs("setState(state = 5)");
    machineLogs(
        "RecordingStateMachine(this=0x5f, mrsID=3)::ExecuteAction(event=MRS_EVT_ATTACHED): current state = "
        "MRS_STA_ATTACH_REQUESTED; new state = MRS_STA_STREAMING");
    machineLogs("ACT_streaming");
    ASSERT_EQ(events().size(), 1U);
    const MachineEvent event = events().front();
    EXPECT_EQ(event.machine, "0x5f");
    EXPECT_EQ(event.event, "ATTACHED");
    EXPECT_EQ(event.from, "ATTACH_REQUESTED");
    EXPECT_EQ(event.to, "STREAMING");
    EXPECT_EQ(event.action, "ACT_streaming");
}

TEST_F(MachineLogTest, ReadsAnEventThatIsIgnored)
{
    const std::string start = "RecordingStateMachine(this=0x5f, mrsID=0)::ExecuteAction(event=MRS_EVT_ERROR): ";
    machineLogs(start + "current state = MRS_STA_IDLE; new state = ILLEGAL_STATE; no transition made");
    machineLogs(start + "current state = ILLEGAL_STATE; no transition made");
    ASSERT_EQ(events().size(), 2U);
    EXPECT_EQ(events()[0].from, "IDLE");
    EXPECT_EQ(events()[0].to, "");
    EXPECT_EQ(events()[1].from, "ILLEGAL_STATE");
    EXPECT_EQ(events()[1].to, "");
}

TEST_F(MachineLogTest, ReadsARefusalAndTheModeOfTheDecision)
{
    const std::string ignored = "(): getCallRecordingUserControllable()==false, request IGNORED";
    controllerLogs("activateRecording(lineURI=a" + ignored + ")");
    controllerLogs("getCallRecordingUserControllable(): m_recordingMode = x; inCall = y; inCall = 0");
    controllerLogs("deactivateRecording" + ignored);
    ASSERT_EQ(records[CALLER].size(), 1U);
    const Refusal refusal = std::get<Refusal>(records[CALLER].front());
    EXPECT_EQ(refusal.request, "deactivateRecording");
    EXPECT_EQ(refusal.line, "a" + ignored);
    EXPECT_EQ(log.mode(), "x; inCall = y");
}

TEST_F(MachineLogTest, TellsALineFromTheOperationThatMakesItsMachine)
{
    controllerLogs("LMSCreateSession(lineURI=a, callID=8), callID=-7)");
    controllerLogs("getCallRecordingAutostarts(lineURI = a)");
    machineIsActivated("0x1");
    controllerLogs("activateRecording(lineURI=b) \n)");
    machineIsActivated("0x2");
    controllerLogs("deactivateRecording(lineURI=)");
    machineIsActivated("0x3");
    EXPECT_THAT(lines(), ElementsAre("a, callID=8)", "b) \n", ""));
    EXPECT_FALSE(log.missesLines());
}

TEST_F(MachineLogTest, KnowsAMachineAgainWhateverIsOperatedOn)
{
    log.know("0x2", "two");
    controllerLogs("activateRecording(lineURI=one)");
    machineIsActivated("0x1");
    machineIsActivated("0x2");
    machineIsActivated("0x1", DISPATCHER);
    EXPECT_THAT(lines(), ElementsAre("one", "two"));
    EXPECT_THAT(lines(DISPATCHER), ElementsAre("one"));
}

TEST_F(MachineLogTest, TakesNoLineFromAnOtherThreadOrAnEarlierOperation)
{
    controllerLogs("activateRecording(lineURI=one)");
    machineIsActivated("0x2", DISPATCHER);
    controllerLogs("setLineStatus(uri = \"one\", state = 11, callid=0, remoteURI=)");
    machineIsActivated("0x3");
    controllerLogs("activateRecording(lineURI=one)");
    controllerLogs("LMSEventAttached(recordingSessionHandle=1, mediaSessionHandle=1, recordedCallID=1)");
    machineIsActivated("0x4");
    EXPECT_THAT(lines(), ElementsAre("", ""));
    EXPECT_THAT(lines(DISPATCHER), ElementsAre(""));
    EXPECT_TRUE(log.missesLines());

    controllerLogs(
        "dumpStateMachines()\n"
        "\tstateMachines[two]==0x2, in state: [ cSTA=MRS_STA_IDLE; pEVT=; pSTA=MRS_STA_IDLE; mrsID=0]\n"
        "\tstateMachines[three]==0x3, in state: [ cSTA=MRS_STA_IDLE; pEVT=; pSTA=MRS_STA_IDLE; mrsID=0]\n"
        "\tstateMachines[four]==0x4, in state: [ cSTA=MRS_STA_IDLE; pEVT=; pSTA=MRS_STA_IDLE; mrsID=0]\n");
    log.nameLines(records);
    EXPECT_THAT(lines(), ElementsAre("three", "four"));
    EXPECT_THAT(lines(DISPATCHER), ElementsAre("two"));
    EXPECT_FALSE(log.missesLines());
}

TEST_F(MachineLogTest, ListsTheMachinesOfLinesThatHoldAnything)
{
    controllerLogs(
        "dumpStateMachines()\n"
        "\tstateMachines[]==(nil), in state: \n"
        "\tstateMachines[a]==0x9]==0x1, in state: [ cSTA=MRS_STA_IN_CALL; pEVT=MRS_EVT_IN_CALL; pSTA=MRS_STA_IDLE; "
        "mrsID=4; lURI=a]==0x9; cID=0; msID=0]; cID=7; msID=-1]\n"
        "\tstateMachines[b\n]==0x2, in state: [ cSTA=MRS_STA_IDLE; pEVT=; pSTA=MRS_STA_IDLE; mrsID=0]\n");
    std::vector<std::string> found;
    for (const Machine& machine : log.listed()) {
        found.push_back(machine.line + '|' + machine.address + '|' + machine.state + '|' + machine.session);
    }
    EXPECT_THAT(found, ElementsAre("a]==0x9|0x1|IN_CALL|4 (call 7, media -1)", "b\n|0x2|IDLE|"));
}

TEST_F(MachineLogTest, ForgetsMachinesThatAreGone)
{
    log.know("0x1", "old");
    log.forgetMachines();
    controllerLogs("activateRecording(lineURI=new)");
    machineIsActivated("0x1");
    EXPECT_THAT(lines(), ElementsAre("new"));
    EXPECT_THAT(log.listed(), IsEmpty());
}

}  // namespace
}  // namespace deskphone
