#pragma once

#include <list>
#include <string>

#include "CSfi.h"
#include "CallControl.h"
#include "CommunicationsServiceEventIfc.h"
#include "Context.h"
#include "Executable.h"
#include "LMSEventObserverIfc.h"
#include "LocalMgmtIfc.h"
#include "MediaControlServiceIfc.h"
#include "MediaRecordingHelper.h"
#include "PhysicalInterfaceServiceIfc.h"
#include "RecordingConfigManager.h"
#include "RecordingController.h"
#include "RecordingEventLayer.h"
#include "SfiRecordingController.h"

/// All of the platform's services, doing nothing, so that what is measured is the plug-in.
struct SilentTelephone : Context,
                         Executable,
                         LocalMgmtIfc,
                         MediaControlServiceIfc,
                         CommunicationsServiceEventIfc,
                         PhysicalInterfaceServiceIfc,
                         CSfi,
                         SfiRecordingController {
    SilentTelephone() { runtime::setCallControl(this); }
    ~SilentTelephone() override
    {
        runtime::setCallControl(nullptr);
        MediaRecordingHelper::reset();
    }
    SilentTelephone(const SilentTelephone&) = delete;
    SilentTelephone& operator=(const SilentTelephone&) = delete;

    Executable* getService(const std::string& /*name*/) override { return this; }
    int subscribeData(std::list<std::string>& /*tags*/, MgmtAgentIfc* /*agent*/) override { return 1; }
    int publishData(ManageableData& /*record*/) override { return 1; }
    bool setDirection(int, int, MediaDirection) override { return true; }
    void callRecordingStatus(const std::string&, int, const std::string&) override {}
    void setFPKLamp(PhysDefs::keyFunctionType, PhysDefs::lampStateType, int, int) override {}
    void attachRecSession(int, const std::string&) override {}
    void detachRecSession(int) override {}
    void registerLMSEventObserver(LMSEventObserverIfc* registered) override { observer = registered; }
    SfiRecordingController* getSfiRecordingController() override { return this; }
    void setCallRecMode(std::string) override {}

    LMSEventObserverIfc* observer = nullptr;
};

struct SilentEventLayer : RecordingEventLayer {
    bool setDirection(int, MediaControlServiceIfc::MediaDirection) override { return true; }
    void callRecordingStatus(const std::string&, int, const std::string&) override {}
    void updateCallRecordingFPKLamp() override {}
    void callAttachSession(int, const std::string&) override {}
    void callDetachSession(int) override {}
    void setCallRecMode(const std::string&) override {}
};

constexpr const char* RECORDER = "sip:recorder@office.test";

/// The recording core (controller, machines, session table, store) on silent surroundings.
struct Core {
    explicit Core(const std::string& mode)
    {
        store.setDataItem(CALL_RECORDING_MODE_CONFIG, mode);
        store.setDataItem(CALL_RECORDER_ADDRESS_CONFIG, RECORDER);
    }

    SilentTelephone telephone;
    SilentEventLayer eventLayer;
    RecordingConfigManager store{&telephone};
    RecordingController controller{&eventLayer, &store};
};

/// The URI of a line, 24 characters long.
inline std::string lineURI(int number)
{
    std::string digits = std::to_string(number);
    return "sip:" + std::string(8 - digits.size(), '0') + digits + "@office.test";
}

/// One whole call on a line.
inline void playCall(LMSEventObserverIfc& observer, const std::string& line)
{
    const int session = observer.LMSCreateSession(line, 7);
    observer.LMSEventAttached(session, 12, 7);
    observer.LMSEventStreaming(session, 12, 7);
    observer.LMSEventNotStreaming(session);
    observer.LMSEventStreaming(session, 12, 7);
    observer.LMSDestroySession(session);
}
