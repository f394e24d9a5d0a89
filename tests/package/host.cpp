// A telephone of one file: it starts the recording service, and one call on one line is recorded.
#include <condition_variable>
#include <iostream>
#include <memory>
#include <mutex>
#include <set>
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

/// What the plug-in has done. It calls on several threads.
class Done {
public:
    void add(const std::string& what)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        std::cout << what << std::endl;
        m_done.insert(what);
        m_changed.notify_all();
    }
    void await(const std::string& what)
    {
        std::unique_lock<std::mutex> guard(m_lock);
        m_changed.wait(guard, [&] { return m_done.count(what) > 0; });
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::set<std::string> m_done;
};

/// All services around the plug-in in one.
struct Telephone : Done,
                   Context,
                   Executable,
                   CSfi,
                   SfiRecordingController,
                   LocalMgmtIfc,
                   PhysicalInterfaceServiceIfc,
                   MediaControlServiceIfc,
                   CommunicationsServiceEventIfc {
    Executable* getService(const std::string&) override { return this; }
    void attachRecSession(int id, const std::string& uri) override { add("attach " + std::to_string(id) + " " + uri); }
    void detachRecSession(int id) override { add("detach " + std::to_string(id)); }
    void registerLMSEventObserver(LMSEventObserverIfc* registered) override { observer = registered; }
    SfiRecordingController* getSfiRecordingController() override { return this; }
    void setCallRecMode(std::string mode) override { add("mode " + mode); }
    int subscribeData(std::list<std::string>&, MgmtAgentIfc*) override { return 1; }
    int publishData(ManageableData&) override { return 1; }
    void setFPKLamp(PhysDefs::keyFunctionType, PhysDefs::lampStateType state, int, int) override
    {
        add("lamp " + std::to_string(state));
    }
    bool setDirection(int media, int, MediaDirection direction) override
    {
        add("direction " + std::to_string(media) + " " + std::to_string(direction));
        return true;
    }
    void callRecordingStatus(const std::string& line, int call, const std::string& status) override
    {
        add("status " + line + " " + std::to_string(call) + " " + status);
    }

    LMSEventObserverIfc* observer = nullptr;
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
    telephone.await("lamp 3");
    telephone.await("attach " + std::to_string(session) + " sip:recorder@office");
    telephone.observer->LMSEventAttached(session, 12, 7);
    telephone.await("direction 12 3");
    telephone.await("status sip:100@office 7 content_callrecording_OnFirstTime");
    telephone.observer->LMSDestroySession(session);
    telephone.await("status sip:100@office 7 content_feature_off");
    telephone.await("detach " + std::to_string(session));

    telephone.observer = nullptr;
    service.reset();
    MediaRecordingHelper::reset();
    runtime::setCallControl(nullptr);
}
