#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>

#include "CSfi.h"
#include "CommunicationsServiceEventIfc.h"
#include "Context.h"
#include "Executable.h"
#include "InvokerResponse.h"
#include "LocalMgmtIfc.h"
#include "ManagementRecord.h"
#include "MediaControlServiceIfc.h"
#include "MediaRecordingService.h"
#include "MediaRecordingServiceIfc.h"
#include "PhysicalInterfaceServiceIfc.h"
#include "SfiRecordingController.h"
#include "telephone/Network.h"
#include "telephone/Recorder.h"

namespace deskphone {

// The services around the plug-in. They record the calls made on them and answer, and hand what concerns calls on to
// the network, where there is one; they decide nothing, and but for the executable, and the management system where it
// is told to, none comes back into the plug-in. The plug-in calls the overrides, on any of its threads; the rest is for
// the player's thread. The recorder and the network, which may be null, are not owned.

/// The context: answers look-ups with services that stay the telephone's.
class ServiceContext : public Context {
public:
    enum Answer { PRESENT, MISSING, WRONG };

    ServiceContext(Recorder& recorder, std::map<std::string, Executable*> services)
        : m_recorder(recorder), m_services(std::move(services))
    {
    }

    Executable* getService(const std::string& name) override
    {
        m_recorder.call("SvcRTEContext.getService", {name});
        const std::lock_guard<std::shared_mutex> guard(m_lock);
        const auto known = m_services.find(name);
        const Answer answer = known == m_services.end() ? MISSING : m_answers[name];
        return answer == PRESENT ? known->second : answer == WRONG ? &m_otherService : nullptr;
    }

    void setAnswer(const std::string& name, Answer answer)
    {
        const std::lock_guard<std::shared_mutex> guard(m_lock);
        m_answers[name] = answer;
    }

private:
    Recorder& m_recorder;
    const std::map<std::string, Executable*> m_services;
    std::shared_mutex m_lock;                 // no std::mutex, as in the recorder
    std::map<std::string, Answer> m_answers;  // guarded by m_lock; PRESENT where none is set
    Executable m_otherService;                // of none of the types that are looked up
};

class Management : public Executable, public LocalMgmtIfc {
public:
    explicit Management(Recorder& recorder) : m_recorder(recorder) {}

    int subscribeData(std::list<std::string>& tags, MgmtAgentIfc* /*agent*/) override
    {
        m_recorder.call("LocalMgmtIfc.subscribeData", {Value(List(tags.begin(), tags.end()))});
        return 1;
    }

    int publishData(ManageableData& record) override
    {
        const bool accepts = m_accepts;
        m_recorder.call("LocalMgmtIfc.publishData", {Value(entriesOf(record))}, !accepts);
        if (m_reports && m_service != nullptr) {
            m_service->dataChangedEvent(record);
        }
        return accepts ? 1 : 0;
    }

    void accept(bool published) { m_accepts = published; }
    /// Whether what is published comes back to the service, as a change event, before it is answered.
    void report(bool published) { m_reports = published; }
    bool reports() const { return m_reports; }
    void serve(MediaRecordingService* service) { m_service = service; }

    /// What was populated in a record, as [id, key, value] each.
    static List entriesOf(const ManageableData& record)
    {
        List entries;
        for (const auto& entry : runtime::ManagementRecord::entries(record)) {
            entries.emplace_back(List{entry.id, entry.key, entry.value});
        }
        return entries;
    }

private:
    Recorder& m_recorder;
    std::atomic<bool> m_accepts{true};
    std::atomic<bool> m_reports{false};
    MediaRecordingService* m_service = nullptr;
};

class MediaControl : public Executable, public MediaControlServiceIfc {
public:
    MediaControl(Recorder& recorder, Network* network) : m_recorder(recorder), m_network(network) {}

    bool setDirection(int mediaSessionHandle, int stream, MediaDirection direction) override
    {
        const bool accepts = m_accepts;
        m_recorder.call("MediaControlServiceIfc.setDirection", {mediaSessionHandle, stream, int{direction}}, !accepts);
        if (accepts && m_network != nullptr) {
            m_network->setDirection(mediaSessionHandle, direction == MEDIA_DIRECTION_SENDONLY);
        }
        return accepts;
    }

    void accept(bool directions) { m_accepts = directions; }

private:
    Recorder& m_recorder;
    Network* const m_network;
    std::atomic<bool> m_accepts{true};
};

class Communications : public Executable, public CommunicationsServiceEventIfc {
public:
    Communications(Recorder& recorder, Network* network) : m_recorder(recorder), m_network(network) {}

    void callRecordingStatus(const std::string& lineURI, int callID, const std::string& status) override
    {
        m_recorder.call("CommunicationsServiceEventIfc.callRecordingStatus", {lineURI, callID, status});
        if (m_network != nullptr) {
            m_network->showRecordingStatus(callID, status);
        }
    }

private:
    Recorder& m_recorder;
    Network* const m_network;
};

class KeysAndLamps : public Executable, public PhysicalInterfaceServiceIfc {
public:
    explicit KeysAndLamps(Recorder& recorder) : m_recorder(recorder) {}

    void setFPKLamp(PhysDefs::keyFunctionType function, PhysDefs::lampStateType state, int third, int fourth) override
    {
        m_recorder.call("PhysicalInterfaceServiceIfc.setFPKLamp", {int{function}, int{state}, third, fourth});
        m_lampOn = state == PhysDefs::LAMP_ON;
    }

    bool lampOn() const { return m_lampOn; }

private:
    Recorder& m_recorder;
    std::atomic<bool> m_lampOn{false};
};

class CallControl : public CSfi, private SfiRecordingController {
public:
    CallControl(Recorder& recorder, Network* network) : m_recorder(recorder), m_network(network) {}

    void attachRecSession(int mrsId, const std::string& recUri) override
    {
        m_recorder.call("CSfi.attachRecSession", {mrsId, recUri});
        if (m_network != nullptr) {
            m_network->attach(mrsId, recUri);
        }
    }

    void detachRecSession(int mrsID) override
    {
        m_recorder.call("CSfi.detachRecSession", {mrsID});
        if (m_network != nullptr) {
            m_network->detach(mrsID);
        }
    }

    void registerLMSEventObserver(LMSEventObserverIfc* observer) override
    {
        m_recorder.call("CSfi.registerLMSEventObserver", {});
        m_observer = observer;
    }

    SfiRecordingController* getSfiRecordingController() override { return this; }

    /// The receiver of the media server's events, the plug-in's; null while there is none.
    LMSEventObserverIfc* observer() const { return m_observer; }
    void forgetObserver() { m_observer = nullptr; }

    /// The observer has given the recording session of the call this handle.
    void sessionCreated(int session, int callID)
    {
        if (m_network != nullptr) {
            m_network->sessionCreated(session, callID);
        }
    }

private:
    void setCallRecMode(std::string mode) override
    {
        m_recorder.call("SfiRecordingController.setCallRecMode", {std::move(mode)});
    }

    Recorder& m_recorder;
    Network* const m_network;
    LMSEventObserverIfc* m_observer = nullptr;
};

/// The framework's executable for the recording service: forwards to it, or to none before serve() and after
/// serve(null).
class ServiceExecutable : public Executable, public MediaRecordingServiceIfc {
public:
    void activateRecording(const std::string& lineURI) override
    {
        if (m_service != nullptr) {
            m_service->activateRecording(lineURI);
        }
    }

    void deactivateRecording(const std::string& lineURI) override
    {
        if (m_service != nullptr) {
            m_service->deactivateRecording(lineURI);
        }
    }

    void serve(MediaRecordingService* service) { m_service = service; }

private:
    MediaRecordingService* m_service = nullptr;
};

/// The answer to one invoker message.
class RecordedResponse : public InvokerResponse {
public:
    explicit RecordedResponse(Recorder& recorder) : m_recorder(recorder) {}

    void setResponseText(const char* text, int length) override
    {
        InvokerResponse::setResponseText(text, length);
        m_recorder.call("InvokerResponse.setResponseText", {m_text, length});
    }

    void finish() override
    {
        InvokerResponse::finish();
        m_recorder.call("InvokerResponse.finish", {});
    }

private:
    Recorder& m_recorder;
};

}  // namespace deskphone
