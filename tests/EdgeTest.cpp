// What the telephone's services may do to the plug-in that calls them: come back on the same thread, throw, be slow.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "Activity.h"
#include "Fakes.h"
#include "InvokerResponse.h"
#include "MediaRecordingHelper.h"
#include "MediaRecordingService.h"
#include "MediaRecordingServiceIfc.h"
#include "MediaRecordingServiceInvoker.h"
#include "RecordingController.h"

using testing::AllOf;
using testing::Contains;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsSupersetOf;

namespace {

const std::string LINE = "sip:a-line-with-a-long-name@office";
const std::string OTHER_LINE = "sip:another-line-with-a-long-name@office";

struct ServiceExecutable : Fake, Executable, MediaRecordingServiceIfc {
    using Fake::Fake;
    void activateRecording(const std::string& line) override { journal.call("activate", line); }
    void deactivateRecording(const std::string& line) override { journal.call("deactivate", line); }
};

struct Answer : Fake, InvokerResponse {
    using Fake::Fake;
    void setResponseText(const char* text, int length) override { journal.call("answer", text, length); }
    void finish() override { journal.call("finish"); }
};

/// A telephone whose services do what the test wants when they are called.
struct Telephone : FakeTelephone {
    RecordingConfigManager& store() { return *service->getRecordingConfigManager(); }
    RecordingController& controller() { return *service->getRecordingController(); }

    /// Everything that makes the plug-in call a service: a start, two calls with their ups and downs, a message.
    void play()
    {
        std::string unused;
        service->init(context, &executable, nullptr);
        service->setRecorderAddressConfig("sip:recorder-with-a-long-name@office", unused);
        service->setRecordingModeConfig("allcalls", unused);
        report([](auto& observer) { session = observer.LMSCreateSession(LINE, 7); });
        report([](auto& observer) { observer.LMSEventAttached(session, 12, 7); });
        report([](auto& observer) { observer.LMSEventNotStreaming(session); });
        report([](auto& observer) { observer.LMSEventStreaming(session, 12, 7); });
        service->setLineStatus(OTHER_LINE, ELineState{11}, 0, "");
        service->setLineStatus(LINE, ELineState{11}, 0, "");
        report([](auto& observer) { observer.LMSEventErrorStatus(session, LMSErrorCode{5}); });
        report([](auto& observer) { observer.LMSDestroySession(session); });
        service->observeDataItems();
        runtime::ManagementRecord changed;
        changed.give("call-recording-mode", "autostart");
        service->dataChangedEvent(changed);
        service->featureKeyDefinitionChanged(1, PhysDefs::KEY_FUNCTION_CALL_RECORDING, false);
        const std::unique_ptr<Invoker> invoker(createMediaRecordingServiceInvoker());
        Answer answer(journal);
        invoker->handleMessage(&executable, "activateRecording:5:sip:1", 0, &answer);
    }

    template <typename Event>
    void report(Event event)
    {
        if (callControl.observer != nullptr) {
            event(*callControl.observer);
            runtime::waitUntilIdle();
        }
    }

    static inline std::atomic<int> session{0};  // a delivery that comes back may read it while a new one is noted

    ServiceExecutable executable{journal};
    std::unique_ptr<MediaRecordingService> service{createMediaRecordingService()};
};

/// Every operation that a service may call back on the same thread.
struct Operation {
    const char* name;
    void (*call)(Telephone&);
};

template <void (LMSEventObserverIfc::*EVENT)(int)>
void both(Telephone& telephone)
{
    if (telephone.callControl.observer != nullptr) {
        (telephone.callControl.observer->*EVENT)(Telephone::session);
    }
    (telephone.controller().*EVENT)(Telephone::session);
}

const Operation OPERATIONS[] = {
    {"activateRecording", [](Telephone& t) { t.service->activateRecording(LINE); }},
    {"deactivateRecording", [](Telephone& t) { t.service->deactivateRecording(LINE); }},
    {"setOriginatingLine", [](Telephone& t) { t.service->setOriginatingLine(OTHER_LINE); }},
    {"select", [](Telephone& t) { t.service->setLineStatus(LINE, ELineState{11}, 1, ""); }},
    {"select another", [](Telephone& t) { t.service->setLineStatus(OTHER_LINE, ELineState{16}, 1, ""); }},
    {"release", [](Telephone& t) { t.service->setLineStatus(LINE, ELineState{5}, 1, ""); }},
    {"featureKeyDefinitionChanged",
     [](Telephone& t) { t.service->featureKeyDefinitionChanged(1, PhysDefs::KEY_FUNCTION_CALL_RECORDING, true); }},
    {"dataChangedEvent",
     [](Telephone& t) {
         runtime::ManagementRecord record;
         record.give("call-recording-mode", "manual");
         t.service->dataChangedEvent(record);
     }},
    {"observeDataItems", [](Telephone& t) { t.service->observeDataItems(); }},
    {"queries",
     [](Telephone& t) {
         t.service->getSelectedLineRecordingOn();
         t.service->getCallRecordingOn(OTHER_LINE);
         t.controller().getSelectedLine();
         t.controller().isInCall("sip:a-line-that-nobody-has-seen@office");
         t.controller().getCallRecordingActivated(LINE);
         t.controller().getCallRecordingAutostarts(LINE);
         t.controller().getCallRecordingUserControllable(LINE);
         t.controller().getRecordingStateMachineCreateNewIfNeeded("sip:a-new-line-with-a-long-name@office");
         t.controller().dumpStateMachines();
     }},
    {"configuration",
     [](Telephone& t) {
         std::string unused;
         t.service->getRecordingMode();
         t.service->getRecorderAddressConfig();
         t.service->setRecordingModeConfig("manual", unused);
         t.service->setRecordingModeConfig("allcalls", unused);
         t.service->setRecorderAddressConfig("sip:elsewhere-with-a-long-name@office", unused);
         t.store().setDataItem(CALL_RECORDING_AUDIBLE_NOTIFICATION_CONFIG, "a tone with a long name");
         t.store().notifyDataItemChange(CALL_RECORDING_AUDIBLE_NOTIFICATION_CONFIG, "");
         t.store().getDataItem(CALL_RECORDING_ACTIVE);
         t.store().getRecordingActivation(LINE);
     }},
    {"setCallRecMode", [](Telephone& t) { t.controller().setCallRecMode("manual"); }},
    {"management system",
     [](Telephone& t) {
         runtime::ManagementRecord record;
         record.give("call-recording-active", "a text that the management system has written");
         record.give("call-recorder-address", "sip:own-recorder-with-a-long-name@office");
         t.store().setData(record);
         t.store().getData(record);
     }},
    {"setRecordingActivation", [](Telephone& t) { t.store().setRecordingActivation(LINE, false); }},
    {"setRecordingActivation of another", [](Telephone& t) { t.store().setRecordingActivation(OTHER_LINE, true); }},
    {"resynchronizeDataSets", [](Telephone& t) { t.store().resynchronizeDataSets(); }},
    {"recording of another line",
     [](Telephone& t) {
         t.store().eventRecordingStarted(OTHER_LINE);
         t.store().eventRecordingStopped(OTHER_LINE);
     }},
    {"LMSCreateSession",
     [](Telephone& t) { t.controller().LMSDestroySession(t.controller().LMSCreateSession(LINE, 8)); }},
    {"LMSCreateSession of another",
     [](Telephone& t) { t.controller().LMSDestroySession(t.controller().LMSCreateSession(OTHER_LINE, 8)); }},
    {"LMSDestroySession", both<&LMSEventObserverIfc::LMSDestroySession>},
    {"LMSEventNotStreaming", both<&LMSEventObserverIfc::LMSEventNotStreaming>},
    {"LMSEventAttached", [](Telephone& t) { t.controller().LMSEventAttached(Telephone::session, 13, 8); }},
    {"LMSEventStreaming", [](Telephone& t) { t.controller().LMSEventStreaming(Telephone::session, 13, 8); }},
    {"LMSEventErrorStatus",
     [](Telephone& t) { t.controller().LMSEventErrorStatus(Telephone::session, LMSErrorCode{9}); }},
};

// All but setDirection() and the look-up of media control, which come with the session table locked.
const Lines SERVICES_THAT_MAY_COME_BACK = {"publish",
                                           "subscribe",
                                           "lamp",
                                           "status",
                                           "mode",
                                           "register",
                                           "attach",
                                           "detach",
                                           "activate",
                                           "answer",
                                           "finish",
                                           "getSfiRecordingController",
                                           "CommunicationsServiceEventIfc"};

TEST(AServiceThatComesBack, MayCallEveryOperation)
{
    for (const std::string& called : SERVICES_THAT_MAY_COME_BACK) {
        for (const Operation& operation : OPERATIONS) {
            SCOPED_TRACE(called + " comes back with " + operation.name);
            Telephone telephone;
            std::atomic<int> times{0};
            thread_local bool inside = false;
            telephone.journal.onCall = telephone.context.onLookUp = [&](const std::string& name) {
                const bool started = telephone.service->getRecordingController() != nullptr &&
                                     telephone.service->getRecordingConfigManager() != nullptr;
                // Often enough; an operation that leads to a request comes back from the worker without end.
                if (name == called && !inside && started && times < 20) {
                    inside = true;
                    ++times;
                    operation.call(telephone);
                    inside = false;
                }
            };
            telephone.play();
            runtime::waitUntilIdle();
            telephone.journal.onCall = telephone.context.onLookUp = nullptr;
            EXPECT_GT(times, 0);

            // The telephone records the next call, and the management system knows what the store holds.
            std::string unused;
            telephone.service->setRecordingModeConfig("allcalls", unused);
            telephone.journal.take();
            telephone.report([](auto& observer) { Telephone::session = observer.LMSCreateSession("sip:1", 9); });
            telephone.report([](auto& observer) { observer.LMSDestroySession(Telephone::session); });
            const std::string handle = std::to_string(Telephone::session);
            EXPECT_THAT(telephone.journal.take(), AllOf(Contains(testing::StartsWith("attach(" + handle + ",")),
                                                        Contains("detach(" + handle + ")")));
            expectTold(telephone.management, telephone.store());
        }
    }
}

/// What is called, without what it is called with.
Lines namesOf(const Lines& calls)
{
    Lines names;
    for (const std::string& call : calls) {
        names.push_back(call.substr(0, call.find('(')));
    }
    std::sort(names.begin(), names.end());  // the worker's calls come at any time
    return names;
}

/// The text at a place in the plug-in's sources.
std::string lineAt(const std::string& source, int number)
{
    std::ifstream file(PROJECT_FOLDER + source.substr(1) + ".cpp");
    std::string line;
    for (int i = 0; i < number; ++i) {
        std::getline(file, line);
    }
    return line;
}

TEST(AServiceThatThrows, CountsAsOneThatFailed)
{
    Telephone undisturbed;
    undisturbed.play();
    const Lines calls = namesOf(undisturbed.journal.take());
    undisturbed.service.reset();

    for (const std::string called :
         {"publish", "subscribe", "lamp", "status", "media", "mode", "attach", "detach", "activate", "answer", "finish",
          "register", "getService", "getSfiRecordingController"}) {
        for (const bool standard : {true, false}) {
            SCOPED_TRACE(called + (standard ? " throws an exception of the library" : " throws anything"));
            Telephone telephone;
            LogCapture log(2);
            telephone.journal.onCall = [&](const std::string& name) {
                if (name == called && standard) {
                    throw std::runtime_error("no service");
                }
                if (name == called) {
                    throw 5;
                }
            };
            telephone.play();
            EXPECT_THAT(log.take(), Contains(EndsWith(standard ? ": no service" : ": unknown exception")));
            for (const auto& [source, line] : log.places) {
                EXPECT_THAT(lineAt(source, line), ContainsRegex("(contained|guarded|MRS_LOG)[(]")) << source;
            }
            const Lines made = namesOf(telephone.journal.take());
            if (called == "register" || called.rfind("get", 0) == 0) {
                // Nothing comes of the calls that need it; the rest of the start and the answer do.
                const std::string other = called == "getSfiRecordingController" ? "subscribe" : "mode";
                EXPECT_THAT(made, IsSupersetOf<std::string>({other, "register", "activate", "answer", "finish"}));
            } else {
                EXPECT_EQ(made, calls);
            }
        }
    }
}

/// Two threads change a value, and the publication that came first arrives last.
struct OvertakenPublication : ::testing::Test {
    /// Publishes on this thread; meanwhile another thread does the same, and is done.
    template <typename First, typename Second>
    void cross(First first, Second second)
    {
        MediaRecordingHelper::reset();
        context.services["LocalMgmtIfc"] = &management;
        RecordingConfigManager store(&context);
        bool overtaken = false;
        management.beforePublication = [&] {
            if (!std::exchange(overtaken, true)) {
                std::thread([&] { second(store); }).join();
            }
        };
        first(store);
        told = management.told;
        active = store.getDataItem(CALL_RECORDING_ACTIVE);
        MediaRecordingHelper::reset();
    }

    struct SlowManagement : Executable, LocalMgmtIfc {
        int subscribeData(std::list<std::string>&, MgmtAgentIfc*) override { return 1; }
        int publishData(ManageableData& record) override
        {
            beforePublication();
            const auto& entry = runtime::ManagementRecord::entries(record).front();
            told.push_back(entry.id + "=" + entry.value);
            return 1;
        }

        std::function<void()> beforePublication;
        Lines told;
    };

    Journal journal;
    FakeContext context{journal};
    SlowManagement management;
    Lines told;
    std::string active;
};

TEST_F(OvertakenPublication, OfAnItemIsFollowedByWhatIsStored)
{
    cross([](auto& store) { store.setDataItem(CALL_RECORDING_MODE, "manual"); },
          [](auto& store) { store.setDataItem(CALL_RECORDING_MODE, "allcalls"); });
    EXPECT_THAT(told, ElementsAre("call-recording-mode=allcalls", "call-recording-mode=manual",
                                  "call-recording-mode=allcalls"));
}

TEST_F(OvertakenPublication, OfAnActivationIsFollowedByTheLinesPresentOne)
{
    cross([](auto& store) { store.setRecordingActivation("A", true); },
          [](auto& store) {
              store.setRecordingActivation("A", false);
              store.setRecordingActivation("B", true);
          });
    EXPECT_EQ(active, "B;true");
    EXPECT_THAT(told, ElementsAre("call-recording-active=A;false", "call-recording-active=B;true",
                                  "call-recording-active=A;true", "call-recording-active=A;false",
                                  "call-recording-active=B;true"));
}

TEST_F(OvertakenPublication, OfATextOfTheManagementSystemIsFollowedByTheActivation)
{
    cross([](auto& store) { store.setDataItem(CALL_RECORDING_ACTIVE, "A;true"); },
          [](auto& store) { store.setRecordingActivation("A", false); });
    EXPECT_THAT(told, ElementsAre("call-recording-active=A;false", "call-recording-active=A;true",
                                  "call-recording-active=A;false"));
}

}  // namespace
