// A telephone of one file: it starts the recording service, and one call on one line is recorded.
#include <condition_variable>
#include <iostream>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "CSfi.h"
#include "CallControl.h"
#include "CommunicationsServiceEventIfc.h"
#include "Context.h"
#include "Executable.h"
#include "InvokerResponse.h"
#include "LMSEventObserverIfc.h"
#include "LocalMgmtIfc.h"
#include "ManageableData.h"
#include "MediaControlServiceIfc.h"
#include "MediaRecordingHelper.h"
#include "MediaRecordingService.h"
#include "MediaRecordingServiceIfc.h"
#include "MediaRecordingServiceInvoker.h"
#include "MgmtAgentIfc.h"
#include "PhysicalInterfaceServiceIfc.h"
#include "SfiRecordingController.h"
#include "communicationsServiceTexts.h"

namespace {

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

    /// Returns once it was done, and takes it away.
    void await(const std::string& what)
    {
        std::unique_lock<std::mutex> guard(m_lock);
        m_changed.wait(guard, [&] { return m_done.count(what) > 0; });
        m_done.erase(m_done.find(what));
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::multiset<std::string> m_done;
} done;

/// Call control: where the plug-in attaches recordings, and where session events come from.
struct CallControl : CSfi, SfiRecordingController {
    void attachRecSession(int mrsId, const std::string& recUri) override
    {
        done.add("attach " + std::to_string(mrsId) + " " + recUri);
    }
    void detachRecSession(int mrsID) override { done.add("detach " + std::to_string(mrsID)); }
    void registerLMSEventObserver(LMSEventObserverIfc* registered) override { observer = registered; }
    SfiRecordingController* getSfiRecordingController() override { return this; }
    void setCallRecMode(std::string mode) override { done.add("mode " + mode); }

    LMSEventObserverIfc* observer = nullptr;
};

/// The telephone's other services, all in one.
struct Services : Executable,
                  LocalMgmtIfc,
                  PhysicalInterfaceServiceIfc,
                  MediaControlServiceIfc,
                  CommunicationsServiceEventIfc {
    int subscribeData(std::list<std::string>&, MgmtAgentIfc*) override { return 1; }
    int publishData(ManageableData& record) override
    {
        std::vector<std::string> tags;
        record.getRootIds(tags);
        for (const std::string& tag : tags) {
            std::string value;
            record.interogate(tag, tag, value);
            done.add(tag + " " + value);
        }
        return 1;
    }
    void setFPKLamp(PhysDefs::keyFunctionType, PhysDefs::lampStateType state, int, int) override
    {
        done.add(state == PhysDefs::LAMP_ON ? "lamp on" : "lamp off");
    }
    bool setDirection(int mediaSessionHandle, int, MediaDirection direction) override
    {
        done.add("direction " + std::to_string(mediaSessionHandle) + " " + std::to_string(direction));
        return true;
    }
    void callRecordingStatus(const std::string& lineURI, int callID, const std::string& status) override
    {
        done.add("status " + lineURI + " " + std::to_string(callID) + " " + status);
    }
};

struct ServiceContext : Context {
    Executable* getService(const std::string&) override { return &services; }

    Services services;
};

/// The framework's executable for the service: text messages reach the service through it.
struct ServiceExecutable : Executable, MediaRecordingServiceIfc {
    void activateRecording(const std::string& lineURI) override { service->activateRecording(lineURI); }
    void deactivateRecording(const std::string& lineURI) override { service->deactivateRecording(lineURI); }

    const std::unique_ptr<MediaRecordingService> service{createMediaRecordingService()};
};

struct Response : InvokerResponse {
    void finish() override { done.add(m_text); }
};

}  // namespace

int main()
{
    CallControl callControl;
    runtime::setCallControl(&callControl);
    ServiceContext context;
    MgmtAgentIfc agent;
    {
        ServiceExecutable executable;
        MediaRecordingService& service = *executable.service;
        service.init(context, &executable, &agent);
        std::string unused;
        service.setRecorderAddressConfig("sip:recorder@office", unused);
        service.setRecordingModeConfig("manual", unused);

        const std::unique_ptr<Invoker> invoker(createMediaRecordingServiceInvoker());
        const std::string message = "activateRecording:14:sip:100@office";
        Response response;
        invoker->handleMessage(&executable, message.c_str(), static_cast<int>(message.size()), &response);
        done.await("activateRecordingReturn:");
        done.await("lamp on");

        LMSEventObserverIfc& mediaServer = *callControl.observer;
        const int session = mediaServer.LMSCreateSession("sip:100@office", 7);
        done.await("attach " + std::to_string(session) + " sip:recorder@office");
        mediaServer.LMSEventAttached(session, 12, 7);
        done.await("direction 12 3");
        done.await("status sip:100@office 7 " + communicationsServiceTexts::content_callrecording_OnFirstTime);
        mediaServer.LMSDestroySession(session);
        done.await("detach " + std::to_string(session));
        done.await("status sip:100@office 7 " + communicationsServiceTexts::content_feature_off);
        done.await("lamp off");
    }
    MediaRecordingHelper::reset();
    runtime::setCallControl(nullptr);
}
