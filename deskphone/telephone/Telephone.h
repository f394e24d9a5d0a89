#pragma once

#include <memory>
#include <string>
#include <vector>

#include "FrameworkContext.h"
#include "MgmtAgentIfc.h"
#include "RecordingConfigManager.h"
#include "RecordingController.h"
#include "telephone/Plugin.h"
#include "telephone/StandIns.h"

namespace deskphone {

/// What a telephone is asked for at the prompt. Without a running service only the lamp is known.
struct Status {
    bool running;
    bool lampOn;
    bool hasStore = false;
    std::string mode = {};
    std::string selectedLine = {};
    std::vector<Machine> machines = {};
};

/// A telephone with the plug-in in it: owns the services around the plug-in, the recording service and the invoker, and
/// records what the plug-in does.
///
/// For one thread. There is one telephone at a time: it is the process's call control and the receiver of its log.
class Telephone {
public:
    /// The machines' events are recorded only when they are watched. The network, where there is one, gets what the
    /// plug-in asks for; it is not owned.
    Telephone(const Plugin& plugin, bool watchMachines, Network* network = nullptr);
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

    /// Waits until every thread has nothing left to do. Returns what was recorded since the last time.
    Records settle();
    /// Changes nothing and leaves no records.
    Status status();
    /// Whether the machines are watched and must have moved, but nothing of it was in the plug-in's log.
    bool machinesAreSilent();

    // Operations whose arguments and results are no plain values. A record's words are pairs of id and value. The
    // result is null when there is no service, store or observer to perform them.
    Value dataChangedEvent(const Words& record);
    Value getData(const Words& tags);
    Value setData(const Words& record);
    /// Answers the state of the machine.
    Value getRecordingStateMachineCreateNewIfNeeded(const std::string& line);
    Value createSession(const std::string& line, int callID);
    void resetLookUps();

    /// Sends a text message to the invoker, with an executable that may be null. Throws std::runtime_error when the
    /// factory makes no invoker.
    void sendMessage(const std::string& message, Executable* executable);
    /// The service's own executable, and one that is no MediaRecordingServiceIfc.
    Executable* serviceExecutable() { return &m_executable; }
    Executable* otherExecutable() { return &m_otherExecutable; }

    /// As last set; stays when the service stops.
    bool lampOn() const { return m_keysAndLamps.lampOn(); }
    /// The log is recorded up to this level; it stays when the telephone goes.
    void setLogLevel(int level) { m_recorder.showLog(level); }
    Recorder& recorder() { return m_recorder; }

    ServiceContext& context() { return m_context; }
    Management& management() { return m_management; }
    MediaControl& mediaControl() { return m_mediaControl; }

private:
    template <typename Question>
    void ask(Question question);
    std::vector<Machine> machines();
    void addModes(Records& records);

    const Plugin m_plugin;
    Recorder m_recorder;
    const bool m_watchesMachines;
    bool m_hasMadeSession = false;

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
