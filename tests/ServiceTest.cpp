#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "Activity.h"
#include "CallControl.h"
#include "Fakes.h"
#include "MediaRecordingHelper.h"
#include "MediaRecordingService.h"
#include "MgmtAgentIfc.h"
#include "RecordingConfigManager.h"
#include "RecordingController.h"
#include "RecordingEventLayerAdapter.h"
#include "RecordingStateMachine.h"
#include "Semaphore.h"
#include "TarnTags.h"
#include "WorkerAccess.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

/// The services around one recording service; calls and the service's own records stand in one journal.
struct Telephone : runtime::LogSink {
    Telephone()
    {
        forgetWorker();
        MediaRecordingHelper::reset();
        runtime::setCallControl(&callControl);
        runtime::setLogSink(this);
        runtime::setLogLevel(3);
        context.services = {{"LocalMgmtIfc", &management},
                            {"PhysicalInterfaceServiceIfc", &keys},
                            {"MediaControlServiceIfc", &mediaControl},
                            {"CommunicationsServiceEventIfc", &communications}};
    }
    ~Telephone() override
    {
        service.reset();
        runtime::setLogLevel(0);
        runtime::setLogSink(nullptr);
        runtime::setCallControl(nullptr);
        MediaRecordingHelper::reset();
    }
    void log(const char* component, const char*, int level, int, const std::string& text) override
    {
        if (level == 2 || component == std::string("MediaRecordingService")) {
            journal.call("log", level, text);
        }
    }

    MediaRecordingService* operator->() { return service.get(); }
    Lines start(const char* mode)
    {
        auto* const store = new RecordingConfigManager(&context);
        store->setDataItem(CALL_RECORDING_MODE_CONFIG, mode);
        store->setDataItem(CALL_RECORDER_ADDRESS_CONFIG, "rec");
        journal.take();
        service->init(context, &executable, &agent, store);
        return journal.take();
    }
    Lines changed(const std::string& id, const std::string& value)
    {
        runtime::ManagementRecord record;
        record.give(id, value);
        service->dataChangedEvent(record);
        return journal.take();
    }

    Journal journal;
    FakeManagement management{journal};
    FakeKeys keys{journal};
    FakeMediaControl mediaControl{journal};
    FakeCommunications communications{journal};
    FakeCallControl callControl{journal};
    FakeContext context{journal};
    Executable executable;
    MgmtAgentIfc agent;
    std::unique_ptr<MediaRecordingService> service{createMediaRecordingService()};
};

constexpr const char* SUBSCRIBED =
    "subscribe(call-recording-mode mobility-user-data-update mobility-user-data-update )";
constexpr const char* LAMP_ON = "lamp(56, 3, 5, 0)";
constexpr const char* LAMP_OFF = "lamp(56, 2, 5, 0)";

TEST(MediaRecordingService, StartsUpInOrder)
{
    Telephone telephone;
    runtime::setLogLevel(6);
    telephone->init(telephone.context, &telephone.executable, &telephone.agent);
    EXPECT_THAT(
        telephone.journal.take(),
        ElementsAre("getService(LocalMgmtIfc)", "log(5, init())", "getService(PhysicalInterfaceServiceIfc)", SUBSCRIBED,
                    "log(6, setCallRecMode())", "mode(disabled)", "log(6, Create LMSEventDispatcher)", "register()",
                    "log(6, Set Sfi initial CallRecMode value to disabled)"));
    EXPECT_EQ(telephone->getSubscribingService(), &telephone.executable);
    EXPECT_EQ(telephone.management.agent, &telephone.agent);
    // What call control reports from now on reaches the controller.
    EXPECT_EQ(telephone.callControl.observer->LMSCreateSession("sip:1", 7), 1);
    EXPECT_TRUE(telephone->getRecordingController()->isInCall("sip:1"));
    telephone.callControl.observer->LMSDestroySession(1);
    runtime::waitUntilIdle();
    EXPECT_FALSE(telephone->getRecordingController()->isInCall("sip:1"));
}

TEST(MediaRecordingService, WithoutAStoreItDoesNotRegister)
{
    Telephone telephone;
    telephone->init(telephone.context, &telephone.executable, &telephone.agent, nullptr);
    EXPECT_THAT(telephone.journal.take(),
                ElementsAre("getService(PhysicalInterfaceServiceIfc)", "getService(LocalMgmtIfc)", SUBSCRIBED,
                            "log(2, m_configManager NULL. Failed to initialize MRS.)"));
    EXPECT_EQ(telephone->getRecordingController()->LMSCreateSession("sip:1", 7), 1);
    EXPECT_THAT(telephone.journal.take(), ElementsAre(LAMP_OFF));
    telephone->activateRecording("sip:1");
    EXPECT_FALSE(telephone->getSelectedLineRecordingOn() || telephone->getCallRecordingOn("sip:1"));
}

TEST(MediaRecordingService, GoesOnWithoutThePlatformsServices)
{
    Executable other;
    for (Executable* found : {static_cast<Executable*>(nullptr), &other}) {
        Telephone telephone;
        for (auto& service : telephone.context.services) {
            service.second = found;
        }
        runtime::setCallControl(nullptr);
        EXPECT_THAT(telephone.start("manual"),
                    Contains("log(2, m_csfi==NULL. Cannot call m_csfi->registerLMSEventObserver.)"));
        telephone->featureKeyDefinitionChanged(1, PhysDefs::KEY_FUNCTION_CALL_RECORDING, true);
        EXPECT_THAT(telephone.journal.take(), ElementsAre());
        RecordingEventLayerAdapter adapter(&telephone.context, telephone.service.get());
        telephone.journal.take();
        EXPECT_FALSE(adapter.setDirection(1, MediaControlServiceIfc::MEDIA_DIRECTION_SENDONLY));
        adapter.callRecordingStatus("sip:1", 7, "text");
        adapter.callAttachSession(1, "rec");
        adapter.callDetachSession(1);
        adapter.setCallRecMode("manual");
        const std::string missed =
            found == nullptr ? "log(2, Cannot find " : "log(2, Service returned by context is not ";
        EXPECT_THAT(telephone.journal.take(),
                    ElementsAre("getService(MediaControlServiceIfc)", missed + "MediaControlServiceIfc)",
                                "log(2, mcsIfc == NULL. Coudn't call mcsIfc->setDirection)",
                                "getService(CommunicationsServiceEventIfc)", missed + "CommunicationsServiceEventIfc)",
                                "log(2, Failed to retrive session data or commsIfc==NULL. Cannot call "
                                "commsEventIfc->callRecordingStatus().)",
                                "log(2, m_csfi==NULL. Cannot call m_csfi->attachRecSession.)",
                                "log(2, m_csfi==NULL. Cannot call m_csfi->detachRecSession.)",
                                "log(2, m_csfi==NULL. Cannot call m_csfi->getSfiRecordingController.)"));
    }
    Telephone telephone;
    telephone.callControl.hasRecordingController = false;
    EXPECT_THAT(
        telephone.start("manual"),
        ElementsAre("getService(PhysicalInterfaceServiceIfc)", SUBSCRIBED,
                    "log(2, m_csfi->getSfiRecordingController()==NULL. Cannot call setCallRecMode.)", "register()"));
}

TEST(MediaRecordingService, TellsWhetherRecordingIsOn)
{
    // Neither, activated, in call, both.
    const std::pair<const char*, const char*> rows[] = {{"manual", "0101"},   {"autostart", "1101"},
                                                        {"allcalls", "1111"}, {"disabled", "0000"},
                                                        {"Manual", "0000"},   {"", "0000"}};
    for (const auto& [mode, expected] : rows) {
        Telephone telephone;
        telephone.start(mode);
        std::string answers;
        for (const std::string line : {"sip:00", "sip:01", "sip:10", "sip:11"}) {
            telephone->getRecordingConfigManager()->setRecordingActivation(line, line[5] == '1');
            if (line[4] == '1') {
                telephone->getRecordingController()->getRecordingStateMachineCreateNewIfNeeded(line)->EVT_in_call(0);
            }
            answers += std::to_string(telephone->getCallRecordingOn(line));
            telephone.journal.take();
            telephone->setLineStatus(line, ELineState{11}, 0, "");
            EXPECT_EQ(telephone->getSelectedLineRecordingOn(), answers.back() == '1');
            EXPECT_EQ(telephone.journal.take().front(), answers.back() == '1' ? LAMP_ON : LAMP_OFF);
        }
        EXPECT_EQ(answers, expected) << mode;
    }
}

TEST(MediaRecordingService, BeforeItsStartItAnswersFallbacksAndDoesNothing)
{
    Telephone telephone;
    const auto configuration = [&]() -> Lines {
        return {telephone->getRecordingActive(),
                telephone->getRecordingMode(),
                telephone->getRecorderAddress(),
                telephone->getRecordingAudibleNotification(),
                telephone->getRecordingModeConfig(),
                telephone->getRecorderAddressConfig(),
                telephone->getRecordingAudibleNotificationConfig()};
    };
    std::string untouched = "untouched";
    EXPECT_THAT(configuration(), ElementsAre("", "manual", "4321", "none", "manual", "4321", "none"));
    EXPECT_FALSE(telephone->setRecordingModeConfig("x", untouched) ||
                 telephone->setRecorderAddressConfig("x", untouched) ||
                 telephone->setRecordingAudibleNotificationConfig("x", untouched));
    EXPECT_EQ(telephone.journal.take(), Lines(10, "log(2, MediaRecordingService is not initialized)"));
    telephone->activateRecording("sip:1");
    telephone->deactivateRecording("sip:1");
    telephone->setOriginatingLine("sip:1");
    telephone->setLineStatus("sip:1", ELineState{11}, 0, "");
    telephone->featureKeyDefinitionChanged(1, PhysDefs::KEY_FUNCTION_CALL_RECORDING, true);
    telephone->observeDataItems();
    for (const char* id : {"call-recording-mode", "mobility-user-data-update", "function-key-id"}) {
        EXPECT_THAT(telephone.changed(id, "56"), ElementsAre());
    }
    EXPECT_FALSE(telephone->getSelectedLineRecordingOn() || telephone->getCallRecordingOn("sip:1"));
    EXPECT_TRUE(telephone->getRecordingController() == nullptr && telephone->getSubscribingService() == nullptr);

    telephone->init(telephone.context, nullptr, nullptr);
    EXPECT_THAT(configuration(), ElementsAre("update", "disabled", "", "off", "disabled", "", "off"));
    telephone->getRecordingConfigManager()->eventRecordingStarted("sip:1");
    EXPECT_TRUE(telephone->setRecordingModeConfig("mode", untouched) &&
                telephone->setRecorderAddressConfig("rec", untouched) &&
                telephone->setRecordingAudibleNotificationConfig("tone", untouched));
    EXPECT_EQ(untouched, "untouched");
    EXPECT_THAT(configuration(), ElementsAre("update", "disabled", "", "off", "mode", "rec", "tone"));
}

TEST(MediaRecordingService, HasOneInstanceBesideTheFactorys)
{
    MediaRecordingService::Destroy();
    MediaRecordingService* const instance = MediaRecordingService::GetInstance();
    EXPECT_EQ(MediaRecordingService::GetInstance(), instance);
    const std::unique_ptr<MediaRecordingService> one(createMediaRecordingService()), two(createMediaRecordingService());
    EXPECT_TRUE(one != two && one.get() != instance && two.get() != instance);
    instance->setRecordingConfigManager(new RecordingConfigManager(nullptr));
    EXPECT_EQ(MediaRecordingService::GetInstance(), instance);
    MediaRecordingService::Destroy();
    EXPECT_EQ(MediaRecordingService::GetInstance()->getRecordingConfigManager(), nullptr);
    MediaRecordingService::Destroy();
}

TEST(MediaRecordingService, LampThatItUpdatesDoesNotCrossWithAnotherThreads)
{
    Telephone telephone;
    telephone.start("manual");
    std::thread user;
    std::atomic<bool> asked{false};
    telephone.keys.beforeLamp = [&] {
        if (asked.exchange(true)) {
            return;
        }
        std::atomic<bool> started{false};
        user = std::thread([&] {
            started = true;
            telephone->activateRecording("sip:1");
        });
        for (int turns = 0; turns < 1000; turns += started ? 1 : 0) {
            std::this_thread::yield();
        }
    };
    telephone->featureKeyDefinitionChanged(1, PhysDefs::KEY_FUNCTION_CALL_RECORDING, true);
    user.join();
    EXPECT_EQ(telephone.journal.take().back(), LAMP_ON);
}

TEST(RecordingEventLayerAdapter, CallsThePlatformAndStopsTheWorkerWithItself)
{
    Telephone telephone;
    telephone.start("allcalls");
    delete createMediaRecordingService();
    runtime::setLogLevel(6);
    {
        RecordingEventLayerAdapter adapter(&telephone.context, telephone.service.get());
        telephone.mediaControl.answer = false;
        EXPECT_FALSE(adapter.setDirection(5, MediaControlServiceIfc::MEDIA_DIRECTION_INACTIVE));
        telephone.mediaControl.answer = true;
        EXPECT_TRUE(adapter.setDirection(6, MediaControlServiceIfc::MEDIA_DIRECTION_SENDONLY));
        adapter.callRecordingStatus("sip:1", 7, "text");
        adapter.updateCallRecordingFPKLamp();
        adapter.setCallRecMode("x");
        adapter.callAttachSession(0, "rec");
        adapter.callAttachSession(8, "rec");
        runtime::waitUntilIdle();
        adapter.callDetachSession(0);
        runtime::waitUntilIdle();
    }
    RecordingEventLayerAdapter(&telephone.context, telephone.service.get()).callAttachSession(9, "rec");
    runtime::waitUntilIdle();
    EXPECT_THAT(
        telephone.journal.take(),
        ElementsAre(
            "log(6, setDirection())", "getService(MediaControlServiceIfc)",
            "log(5, retval = mcsIfc->setDirection( msHandle=5, mediaDirection=2);)", "media(5, 0, 2)",
            "log(6, setDirection())", "log(5, retval = mcsIfc->setDirection( msHandle=6, mediaDirection=3);)",
            "media(6, 0, 3)", "getService(CommunicationsServiceEventIfc)",
            "log(6, commsEventIfc->callRecordingStatus(\"sip:1\", 7, status=\"text\"))", "status(sip:1, 7, text)",
            "log(6, updateCallRecordingFPKLamp())", "log(5, getCallRecordingOn(line = ))",
            "log(5, updateCallRecordingFPKLamp() recordingOn = true)", LAMP_ON, "log(6, setCallRecMode())", "mode(x)",
            "log(6, callAttachSession())", "log(2, Invalid m_mrsID==0. Cannot call commsIfc->attachRecSession.)",
            "log(6, callAttachSession())", "log(6, m_csfi->attachRecSession(mrsId=8, recUri=rec))", "attach(8, rec)",
            "log(6, callDetachSession())", "log(6, m_csfi->detachRecSession(mrsID=0))", "detach(0)",
            "log(6, callAttachSession())", "log(6, m_csfi->attachRecSession(mrsId=9, recUri=rec))"));
}

}  // namespace
