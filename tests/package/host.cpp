// A telephone of one file: it starts the recording service, and one call on one line is recorded.
#include <atomic>
#include <future>
#include <iostream>
#include <list>
#include <memory>
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
#include "MediaRecordingService.h"
#include "PhysicalInterfaceServiceIfc.h"
#include "SfiRecordingController.h"

/// All services around the plug-in in one. The plug-in calls it on several threads.
struct Telephone : Context,
                   Executable,
                   CSfi,
                   SfiRecordingController,
                   LocalMgmtIfc,
                   PhysicalInterfaceServiceIfc,
                   MediaControlServiceIfc,
                   CommunicationsServiceEventIfc {
    Executable* getService(const std::string&) override { return this; }
    void registerLMSEventObserver(LMSEventObserverIfc* registered) override { observer = registered; }
    SfiRecordingController* getSfiRecordingController() override { return this; }
    void setCallRecMode(std::string mode) override { std::cout << "mode " + mode + "\n"; }
    void attachRecSession(int, const std::string& recorder) override { attached.set_value(recorder); }
    void detachRecSession(int session) override { detached.set_value(session); }
    bool setDirection(int, int, MediaDirection asked) override { return direction.set_value(asked), true; }
    int subscribeData(std::list<std::string>&, MgmtAgentIfc*) override { return 1; }
    int publishData(ManageableData&) override { return 1; }
    void setFPKLamp(PhysDefs::keyFunctionType, PhysDefs::lampStateType state, int, int) override { lamp = state; }
    void callRecordingStatus(const std::string& line, int, const std::string& status) override
    {
        std::cout << line + ": " + status + "\n";
    }

    LMSEventObserverIfc* observer = nullptr;
    std::promise<std::string> attached;
    std::promise<MediaDirection> direction;
    std::promise<int> detached;
    std::atomic<int> lamp{0};
};

int main()
{
    Telephone telephone;
    runtime::setCallControl(&telephone);
    std::unique_ptr<MediaRecordingService> service(createMediaRecordingService());
    service->init(telephone, nullptr, nullptr);
    std::string unused;
    service->setRecorderAddressConfig("sip:recorder@office", unused);
    service->setRecordingModeConfig("allcalls", unused);

    const int session = telephone.observer->LMSCreateSession("sip:100@office", 7);
    const bool lampOn = telephone.lamp == PhysDefs::LAMP_ON;
    std::cout << "recorded by " + telephone.attached.get_future().get() + "\n";
    telephone.observer->LMSEventAttached(session, 12, 7);
    const bool sent = telephone.direction.get_future().get() == Telephone::MEDIA_DIRECTION_SENDONLY;
    telephone.observer->LMSDestroySession(session);
    const bool ended = telephone.detached.get_future().get() == session;

    telephone.observer = nullptr;
    service.reset();
    MediaRecordingHelper::reset();
    runtime::setCallControl(nullptr);
    return lampOn && sent && ended ? 0 : 1;
}
