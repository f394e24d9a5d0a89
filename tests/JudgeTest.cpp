// What must not be in any order of events: that it is seen where it is.

#include "orders/Judge.h"

#include <gmock/gmock.h>

#include "WorkerAccess.h"
#include "telephone/Telephone.h"

namespace {

using namespace deskphone;
using ::testing::ElementsAre;

struct TheJudge : ::testing::Test {
    struct Worker {
        ~Worker() { forgetWorker(); }
    };

    void follow(const Record& record) { judge.follow(record, {WORKER, 0}); }
    void request(const char* name, int session) { follow(Call{name, {session, std::string()}}); }
    void machine(const char* event, const char* from, const char* to)
    {
        follow(MachineEvent{"0x1", "sip:1", event, from, to, "", 3});
    }
    void give(int step, const Words& command)
    {
        judge.begins(step, command);
        judge.returned({step, command});
    }
    std::set<std::string> failures()
    {
        judge.rest(true);
        return judge.failures();
    }

    Worker worker;  // outlives the service
    Telephone telephone{{createMediaRecordingService, createMediaRecordingServiceInvoker}, false};
    std::set<std::string> allowed;
    Judge judge{telephone, allowed};
};

TEST_F(TheJudge, SeesStepsThatAreNotInTheTable)
{
    machine("ACTIVATE", "IDLE", "ACTIVATED");
    machine("IN_CALL", "ACTIVATED", "STREAMING");
    machine("STREAM", "IN_CALL", "");
    machine("NOT_IN_CALL", "IN_CALL", "");
    EXPECT_THAT(failures(), ElementsAre("sip:1: IN_CALL in ACTIVATED leads to STREAMING",
                                        "sip:1: NOT_IN_CALL in IN_CALL is ignored",
                                        "sip:1: NOT_IN_CALL in IN_CALL, though the machine was in STREAMING",
                                        "sip:1: STREAM in IN_CALL, though the machine was in STREAMING"));
}

TEST_F(TheJudge, SeesRequestsThatAreLostOrOutOfOrder)
{
    machine("ACTIVATE", "IDLE", "ACTIVATED");
    machine("IN_CALL", "ACTIVATED", "ATTACH_REQUESTED");
    EXPECT_THAT(failures(), ElementsAre("the attaching of 3 was asked for and is not performed"));
    request("CSfi.attachRecSession", 3);
    request("CSfi.detachRecSession", 3);
    EXPECT_EQ(failures().count("the detaching of 3 is performed, unasked"), 1U);
    machine("DEACTIVATE", "ATTACH_REQUESTED", "IN_CALL");
    machine("ACTIVATE", "IN_CALL", "ATTACH_REQUESTED");
    request("CSfi.detachRecSession", 3);
    EXPECT_EQ(failures().count("the detaching of 3 is performed, where the attaching of 3 was due"), 1U);
    EXPECT_EQ(failures().count("session 3 is detached without being attached"), 1U);
}

TEST_F(TheJudge, SeesEventsThatAreLostDoubledOrOutOfOrder)
{
    telephone.start(true);
    give(1, {"LMSEventAttached", "1", "12", "7"});
    give(2, {"LMSDestroySession", "01"});
    give(3, {"LMSEventNotStreaming", "2"});
    judge.delivers("LMSDestroySession(recordingSessionHandle=1)");
    judge.delivers("LMSEventAttached(recordingSessionHandle=1, mediaSessionHandle=12, recordedCallID=7)");
    judge.delivers("LMSEventAttached(): no event");
    judge.delivers("LMSEventErrorStatus(mrsID = 5, LMSErrorCode=17)");
    EXPECT_THAT(failures(),
                ElementsAre("LMSEventAttached 1 12 7 was posted before LMSDestroySession 1 and is delivered after it",
                            "LMSEventErrorStatus 5 17 is delivered once more than it was posted",
                            "LMSEventNotStreaming 2 was posted and is not delivered"));
}

TEST_F(TheJudge, SeesALampAndToldValuesThatLie)
{
    const auto told = [this](const std::string& tag, const std::string& value) {
        follow(Call{"LocalMgmtIfc.publishData", {List{List{tag, tag, value}}}});
    };
    telephone.start(true);
    std::string unused;
    telephone.store()->setRecordingActivation("sip:1;a", true);
    told("call-recording-active", "sip:1;a;false");
    told("call-recorder-address", "sip:2");
    follow(Call{"PhysicalInterfaceServiceIfc.setFPKLamp", {56, 3, 5, 0}});
    telephone.service()->setRecordingModeConfig("allcalls", unused);
    EXPECT_THAT(failures(), ElementsAre("call-recorder-address is \"\", and \"sip:2\" was told last",
                                        "the activation of sip:1;a is true, and false was told last",
                                        "the lamp is off, and the selected line is recorded"));
    // The change event of a mode that was told is due before the lamp is judged.
    told("call-recording-mode", "allcalls");
    Judge later{telephone, allowed};
    later.follow(Call{"LocalMgmtIfc.publishData", {List{List{"call-recording-mode", "", "allcalls"}}}}, {CALLER, 1});
    later.rest(true);
    EXPECT_THAT(later.failures(), ElementsAre());
    EXPECT_TRUE(telephone.lampOn());
}

}  // namespace
