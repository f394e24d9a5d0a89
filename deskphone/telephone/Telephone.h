#pragma once

#include <memory>
#include <string>

#include "FrameworkContext.h"
#include "MgmtAgentIfc.h"
#include "RecordingConfigManager.h"
#include "RecordingController.h"
#include "telephone/Plugin.h"
#include "telephone/StandIns.h"

namespace deskphone {

/// A telephone with the plug-in in it: owns the services around the plug-in, the recording service and the invoker.
///
/// For one thread. There is one telephone at a time: it is the process's call control and the receiver of its log. The
/// recorder is not owned and outlives it.
class Telephone {
public:
    Telephone(const Plugin& plugin, Recorder& recorder);
    /// Stops the service if it runs.
    ~Telephone();
    Telephone(const Telephone&) = delete;
    Telephone& operator=(const Telephone&) = delete;

    /// Makes and initialises the service, which must not run. Throws std::runtime_error when the factory makes none.
    void start(bool withStore);
    /// Destroys the service, which must run; before that, the telephone's services let go of it.
    void stop();
    bool running() const { return m_service != nullptr; }

    /// Null while the service does not run; the observer and the store also when it has none.
    MediaRecordingService* service() { return m_service.get(); }
    RecordingConfigManager* store() { return running() ? m_service->getRecordingConfigManager() : nullptr; }
    RecordingController* controller() { return running() ? m_service->getRecordingController() : nullptr; }
    LMSEventObserverIfc* observer() { return m_callControl.observer(); }

    /// Sends a text message to the invoker, with an executable that may be null. Throws std::runtime_error when the
    /// factory makes no invoker.
    void sendMessage(const std::string& message, Executable* executable);
    /// The service's own executable, and one that is no MediaRecordingServiceIfc.
    Executable* serviceExecutable() { return &m_executable; }
    Executable* otherExecutable() { return &m_otherExecutable; }

    /// As last set; stays when the service stops.
    bool lampOn() const { return m_keysAndLamps.lampOn(); }
    void setLogLevel(int level) { m_recorder.showLog(level); }

    ServiceContext& context() { return m_context; }
    Management& management() { return m_management; }
    MediaControl& mediaControl() { return m_mediaControl; }

private:
    const Plugin m_plugin;
    Recorder& m_recorder;

    KeysAndLamps m_keysAndLamps;
    Communications m_communications;
    MediaControl m_mediaControl;
    Management m_management;
    CallControl m_callControl;
    ServiceContext m_context;
    FrameworkContext m_frameworkContext;
    MgmtAgentIfc m_agent;
    ServiceExecutable m_executable;
    Executable m_otherExecutable;

    std::unique_ptr<MediaRecordingService> m_service;  // null while it does not run
    std::unique_ptr<Invoker> m_invoker;                // null before the first message
};

}  // namespace deskphone
