#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "Activity.h"
#include "Fakes.h"
#include "MediaRecordingService.h"
#include "MgmtAgentIfc.h"
#include "RecordingController.h"
#include "RecordingEventLayerAdapter.h"
#include "RecordingStateMachine.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

/// A recording service on the services around it; their calls and its own errors and warnings stand in one journal.
struct Telephone : FakeTelephone, runtime::LogSink {
    Telephone()
    {
        runtime::setLogSink(this);
        runtime::setLogLevel(3);
    }
    ~Telephone() override
    {
        service.reset();
        runtime::setLogLevel(0);
        runtime::setLogSink(nullptr);
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
        journal.take();
        service->init(context, &executable, &agent, store);
        return journal.take();
    }

    Executable executable;
    MgmtAgentIfc agent;
    std::unique_ptr<MediaRecordingService> service{createMediaRecordingService()};
};

constexpr const char* SUBSCRIBED =
    "subscribe(call-recording-mode mobility-user-data-update mobility-user-data-update )";
constexpr const char* LAMP_ON = "lamp(56, 3, 5, 0)";
constexpr const char* LAMP_OFF = "lamp(56, 2, 5, 0)";

TEST(MediaRecordingService, KnowsItsHostAndReceivesWhatCallControlReports)
{
    Telephone telephone;
    telephone.start("manual");
    EXPECT_EQ(telephone->getSubscribingService(), &telephone.executable);
    EXPECT_EQ(telephone.management.agent, &telephone.agent);
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
    RecordingController& controller = *telephone->getRecordingController();
    EXPECT_EQ(controller.LMSCreateSession("sip:1", 7), 1);
    EXPECT_THAT(telephone.journal.take(), ElementsAre(LAMP_OFF));
    controller.LMSDestroySession(1);
    telephone->activateRecording("sip:1");
    EXPECT_FALSE(telephone->getSelectedLineRecordingOn() || telephone->getCallRecordingOn("sip:1"));
}

TEST(MediaRecordingService, GoesOnWithoutCallControl)
{
    Telephone telephone;
    runtime::setCallControl(nullptr);
    EXPECT_THAT(telephone.start("manual"),
                ElementsAre("getService(PhysicalInterfaceServiceIfc)", SUBSCRIBED,
                            "log(2, m_csfi==NULL. Cannot call m_csfi->getSfiRecordingController.)",
                            "log(2, m_csfi==NULL. Cannot call m_csfi->registerLMSEventObserver.)"));
    RecordingEventLayerAdapter adapter(&telephone.context, telephone.service.get());
    adapter.callAttachSession(1, "rec");
    adapter.callDetachSession(1);
    EXPECT_THAT(telephone.journal.take(), ElementsAre("log(2, m_csfi==NULL. Cannot call m_csfi->attachRecSession.)",
                                                      "log(2, m_csfi==NULL. Cannot call m_csfi->detachRecSession.)"));
}

TEST(MediaRecordingService, GoesOnWithoutCallControlsSideOfRecording)
{
    Telephone telephone;
    telephone.callControl.hasRecordingController = false;
    EXPECT_THAT(telephone.start("manual"),
                Contains("log(2, m_csfi->getSfiRecordingController()==NULL. Cannot call setCallRecMode.)"));
}

TEST(MediaRecordingService, TellsWhetherRecordingIsOn)
{
    struct Row {
        const char* mode;
        bool otherwise, activated, inCall, both;
    };
    constexpr bool ON = true;
    constexpr bool OFF = false;
    for (const Row& row :
         {Row{"manual", OFF, ON, OFF, ON}, Row{"autostart", ON, ON, OFF, ON}, Row{"allcalls", ON, ON, ON, ON},
          Row{"disabled", OFF, OFF, OFF, OFF}, Row{"Manual", OFF, OFF, OFF, OFF}, Row{"", OFF, OFF, OFF, OFF}}) {
        Telephone telephone;
        telephone.start(row.mode);
        const auto expectOn = [&](const char* line, bool activated, bool inCall, bool expected) {
            telephone->getRecordingConfigManager()->setRecordingActivation(line, activated);
            if (inCall) {
                telephone->getRecordingController()->getRecordingStateMachineCreateNewIfNeeded(line)->EVT_in_call(0);
            }
            EXPECT_EQ(telephone->getCallRecordingOn(line), expected) << row.mode << line;
            telephone.journal.take();
            telephone->setLineStatus(line, ELineState{11}, 0, "");
            EXPECT_EQ(telephone->getSelectedLineRecordingOn(), expected);
            EXPECT_EQ(telephone.journal.take().front(), expected ? LAMP_ON : LAMP_OFF);
        };
        expectOn("neither", false, false, row.otherwise);
        expectOn("activated", true, false, row.activated);
        expectOn("in call", false, true, row.inCall);
        expectOn("both", true, true, row.both);
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
    runtime::ManagementRecord changes;
    for (const char* id : {"call-recording-mode", "mobility-user-data-update", "function-key-id"}) {
        changes.give(id, "56");
    }
    telephone->dataChangedEvent(changes);
    EXPECT_FALSE(telephone->getSelectedLineRecordingOn() || telephone->getCallRecordingOn("sip:1"));
    EXPECT_TRUE(telephone->getRecordingController() == nullptr && telephone->getSubscribingService() == nullptr);
    EXPECT_THAT(telephone.journal.take(), ElementsAre());

    telephone->init(telephone.context, nullptr, nullptr);
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
    MediaRecordingService::Destroy();
    EXPECT_EQ(MediaRecordingService::GetInstance()->getRecordingConfigManager(), nullptr);
    MediaRecordingService::Destroy();
}

TEST(RecordingEventLayerAdapter, AnswersAsThePlatformAndStopsTheWorkerWithItself)
{
    Telephone telephone;
    telephone.start("allcalls");
    {
        RecordingEventLayerAdapter adapter(&telephone.context, telephone.service.get());
        EXPECT_TRUE(adapter.setDirection(6, MediaControlServiceIfc::MEDIA_DIRECTION_SENDONLY));
        telephone.mediaControl.answer = false;
        EXPECT_FALSE(adapter.setDirection(5, MediaControlServiceIfc::MEDIA_DIRECTION_INACTIVE));
        adapter.callAttachSession(0, "rec");
        adapter.callAttachSession(8, "rec");
        adapter.callDetachSession(0);
        runtime::waitUntilIdle();
    }
    RecordingEventLayerAdapter(&telephone.context, telephone.service.get()).callAttachSession(9, "rec");
    runtime::waitUntilIdle();
    EXPECT_THAT(telephone.journal.take(),
                ElementsAre("getService(MediaControlServiceIfc)", "media(6, 0, 3)", "media(5, 0, 2)",
                            "log(2, Invalid m_mrsID==0. Cannot call commsIfc->attachRecSession.)", "attach(8, rec)",
                            "detach(0)"));
}

}  // namespace
