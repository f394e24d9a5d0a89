#include "RecordingController.h"

#include <cstdio>
#include <new>
#include <utility>

#include "Log.h"
#include "MediaRecordingDefs.h"
#include "RecordingConfigManager.h"
#include "RecordingEventLayer.h"
#include "RecordingSessionController.h"
#include "RecordingStateMachine.h"

namespace {

constexpr const char* COMPONENT = "RecordingController";
constexpr const char* SOURCE = "./src/RecordingController";

constexpr const char* MODE_DISABLED = "disabled";
constexpr const char* MODE_MANUAL = "manual";
constexpr const char* MODE_AUTOSTART = "autostart";
constexpr const char* MODE_ALLCALLS = "allcalls";

// The line states that are acted on; the telephone has more.
constexpr int LINE_RELEASED = 1;
constexpr int LINE_RELEASED_TOO = 5;
constexpr int LINE_SELECTED = 11;
constexpr int LINE_SELECTED_TOO = 16;

}  // namespace

RecordingController::RecordingController(RecordingEventLayer* eventLayer, RecordingConfigManager* configManager)
    : m_eventLayer(eventLayer),
      m_configManager(configManager),
      m_recSessionController(new RecordingSessionController(eventLayer))
{
}

RecordingController::~RecordingController()
{
    delete m_recSessionController;
    for (const auto& entry : m_stateMachines) {
        delete entry.second;
    }
}

std::unique_lock<std::recursive_mutex> RecordingController::lock()
{
    return std::unique_lock<std::recursive_mutex>(m_lock);
}

void RecordingController::close()
{
    const auto guard = lock();
    m_closed = true;
    m_eventLayer = nullptr;
    m_configManager = nullptr;
}

/// Runs an operation's body under the lock, unless the controller is closed.
template <typename Answer, typename Body>
Answer RecordingController::guarded(const char* operation, Answer otherwise, Body body)
{
    const std::lock_guard<std::recursive_mutex> guard(m_lock);
    return m_closed ? otherwise : contained(COMPONENT, SOURCE, operation, otherwise, body);
}

template <typename Body>
void RecordingController::guarded(const char* operation, Body body)
{
    const std::lock_guard<std::recursive_mutex> guard(m_lock);
    if (!m_closed) {
        contained(COMPONENT, SOURCE, operation, body);
    }
}

int RecordingController::LMSCreateSession(const std::string& lineURI, int callID)
{
    return guarded("LMSCreateSession", 0, [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "LMSCreateSession(lineURI=%s, callID=%d)", lineURI.c_str(), callID);
        m_selectedLine = lineURI;
        const int mrsID = m_recSessionController->createSession();
        if (RecordingSession* const session = m_recSessionController->getSession(mrsID)) {
            session->lineURI = lineURI;
            session->callID = callID;
        } else {
            MRS_LOG(LOG_LEVEL_ERROR, "%s: session==NULL. Session parameters (lineURI, callID) not set.",
                    "LMSCreateSession");
        }

        RecordingStateMachine*& machine = entryOf(lineURI);
        if (machine == nullptr) {
            MRS_LOG(
                LOG_LEVEL_DETAIL,
                "sessionCreated(mrsID = %d): m_stateMachines[lineURI=%s] not found, instantiating new state machine.",
                mrsID, lineURI.c_str());
            machine = newMachine();
            if (machine == nullptr) {
                MRS_LOG(LOG_LEVEL_ERROR, "Allocation of new recording state machine failed for lineURI = %s.",
                        lineURI.c_str());
            }
        }

        if (autostarts(lineURI)) {
            m_configManager->setRecordingActivation(lineURI, true);
            if (machine != nullptr) {
                machine->EVT_activate();
            } else {
                MRS_LOG(
                    LOG_LEVEL_ERROR,
                    "Cannot make call to  m_stateMachines[lineURI=\"%s\"]->EVT_activate(). State machine associated with lineURI equals NULL!",
                    lineURI.c_str());
            }
        }
        if (machine != nullptr) {
            machine->EVT_in_call(mrsID);
        } else {
            MRS_LOG(
                LOG_LEVEL_ERROR,
                "Cannot make call to  m_stateMachines[lineURI=\"%s\"]->EVT_in_call(mrsID==%d). State machine associated with lineURI equals NULL!",
                lineURI.c_str(), mrsID);
        }
        m_eventLayer->updateCallRecordingFPKLamp();
        dump();
        return mrsID;
    });
}

void RecordingController::LMSDestroySession(int mrsID)
{
    guarded("LMSDestroySession", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "%s(recordingSessionHandle=%d)", "LMSDestroySession", mrsID);
        MRS_LOG(LOG_LEVEL_DETAIL, "%s: m_recSessionController->getSession(recordingSessionHandle);",
                "LMSDestroySession");
        RecordingSession* const session = m_recSessionController->getSession(mrsID);
        MRS_LOG(LOG_LEVEL_DETAIL, "%s: session=%p", "LMSDestroySession", static_cast<void*>(session));
        if (session != nullptr) {
            const std::string lineURI = session->lineURI;
            if (m_configManager != nullptr && m_configManager->getRecordingActivation(lineURI)) {
                m_configManager->setRecordingActivation(lineURI, false);
            }
            // The machine's actions still read the session.
            if (RecordingStateMachine* const machine = entryOf(lineURI)) {
                machine->EVT_not_in_call();
            } else {
                MRS_LOG(LOG_LEVEL_ERROR,
                        "%s(): no machine associated with lineURI = %s, machine->EVT_not_in_call() not called",
                        "LMSDestroySession", lineURI.c_str());
            }
            m_recSessionController->destroySession(mrsID);
        } else {
            MRS_LOG(LOG_LEVEL_ERROR, "%s: session with handle==%d not found. Couldn't call destroySession.",
                    "LMSDestroySession", mrsID);
        }
        m_eventLayer->updateCallRecordingFPKLamp();
        dump();
    });
}

void RecordingController::LMSEventAttached(int recordingSessionHandle, int mediaSessionHandle, int recordedCallID)
{
    guarded("LMSEventAttached", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "%s(recordingSessionHandle=%d, mediaSessionHandle=%d, recordedCallID=%d)",
                "LMSEventAttached", recordingSessionHandle, mediaSessionHandle, recordedCallID);
        if (RecordingSession* const session = m_recSessionController->getSession(recordingSessionHandle)) {
            session->callID = recordedCallID;
            session->mediaSessionHandle = mediaSessionHandle;
            if (RecordingStateMachine* const machine = entryOf(session->lineURI)) {
                machine->EVT_attached();
            } else {
                MRS_LOG(LOG_LEVEL_ERROR,
                        "%s(): no machine associated with lineURI = %s, machine->EVT_attached() not called",
                        "LMSEventAttached", session->lineURI.c_str());
            }
        } else {
            MRS_LOG(LOG_LEVEL_ERROR,
                    "%s(): m_recSessionController->getSession(recordingSessionHandle=%d) returned NULL",
                    "LMSEventAttached", recordingSessionHandle);
        }
        dump();
    });
}

void RecordingController::LMSEventStreaming(int recordingSessionHandle, int mediaSessionHandle, int recordedCallID)
{
    guarded("LMSEventStreaming", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "%s(recordingSessionHandle=%d, mediaSessionHandle=%d, recordedCallID=%d)",
                "LMSEventStreaming", recordingSessionHandle, mediaSessionHandle, recordedCallID);
        RecordingSession* const session = m_recSessionController->getSession(recordingSessionHandle);
        if (session == nullptr) {
            MRS_LOG(LOG_LEVEL_ERROR, "%s: m_recSessionController->getSession(recordingSessionHandle=%d) returned NULL",
                    "LMSEventStreaming", recordingSessionHandle);
            return;
        }
        if (RecordingStateMachine* const machine = entryOf(session->lineURI)) {
            session->callID = recordedCallID;
            session->mediaSessionHandle = mediaSessionHandle;
            machine->EVT_streaming();
        } else {
            MRS_LOG(LOG_LEVEL_ERROR, "%s: lineURI = %s has no associated state machine", "LMSEventStreaming",
                    session->lineURI.c_str());
        }
        dump();
    });
}

void RecordingController::LMSEventNotStreaming(int recordingSessionHandle)
{
    guarded("LMSEventNotStreaming", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "%s(recordingSessionHandle=%d)", "LMSEventNotStreaming", recordingSessionHandle);
        RecordingSession* const session = m_recSessionController->getSession(recordingSessionHandle);
        if (session == nullptr) {
            MRS_LOG(LOG_LEVEL_ERROR,
                    "%s(): m_recSessionController->getSession(recordingSessionHandle=%d) returned NULL",
                    "LMSEventNotStreaming", recordingSessionHandle);
            return;
        }
        if (RecordingStateMachine* const machine = entryOf(session->lineURI)) {
            machine->EVT_non_streaming();
        } else {
            MRS_LOG(LOG_LEVEL_ERROR, "%s(): lineURI == %s has no associated state machine", "LMSEventNotStreaming",
                    session->lineURI.c_str());
        }
        dump();
    });
}

void RecordingController::LMSEventErrorStatus(int mrsID, LMSErrorCode errorCode)
{
    guarded("LMSEventErrorStatus", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "%s(mrsID = %d, LMSErrorCode=%d)", "LMSEventErrorStatus", mrsID, errorCode);
        RecordingSession* const session = m_recSessionController->getSession(mrsID);
        if (session == nullptr) {
            MRS_LOG(
                LOG_LEVEL_WARNING,
                "%s(): m_recSessionController->getSession(recordingSessionHandle=%d) returned NULL; Couldn't process LMSEventErrorStatus. This is either en error, or the session doesn't exist any more, in which case the event is validly ignored.",
                "LMSEventErrorStatus", mrsID);
            return;
        }
        if (RecordingStateMachine* const machine = entryOf(session->lineURI)) {
            machine->EVT_error();
        } else {
            MRS_LOG(LOG_LEVEL_ERROR, "%s(): lineURI == %s has no associated state machine", "LMSEventErrorStatus",
                    session->lineURI.c_str());
        }
        dump();
    });
}

bool RecordingController::getCallRecordingActivated(const std::string& lineURI)
{
    return guarded("getCallRecordingActivated", false, [&] { return activated(lineURI); });
}

bool RecordingController::activated(const std::string& lineURI)
{
    MRS_LOG(LOG_LEVEL_TRACE, "%s(lineURI = %s)", "getCallRecordingActivated", lineURI.c_str());
    if (m_configManager == nullptr) {
        MRS_LOG(
            LOG_LEVEL_WARNING,
            "%s: m_configManager == NULL couldn't m_configManager->getRecordingActivation(lineURI); trying to behave, therefore returning default value 'false'",
            "getCallRecordingActivated");
        return false;
    }
    return m_configManager->getRecordingActivation(lineURI);
}

bool RecordingController::getCallRecordingAutostarts(const std::string& lineURI)
{
    return guarded("getCallRecordingAutostarts", false, [&] { return autostarts(lineURI); });
}

bool RecordingController::autostarts(const std::string& lineURI)
{
    MRS_LOG(LOG_LEVEL_TRACE, "%s(lineURI = %s)", "getCallRecordingAutostarts", lineURI.c_str());
    const std::string mode = recordingMode();
    return mode == MODE_AUTOSTART || mode == MODE_ALLCALLS || (mode == MODE_MANUAL && activated(lineURI));
}

bool RecordingController::getCallRecordingUserControllable(const std::string& line)
{
    return guarded("getCallRecordingUserControllable", false, [&] { return userControllable(line); });
}

bool RecordingController::userControllable(const std::string& line)
{
    MRS_LOG(LOG_LEVEL_TRACE, "%s(line = %s)", "getCallRecordingUserControllable", line.c_str());
    bool inCall = false;
    if (RecordingStateMachine* const machine = entryOf(line)) {
        inCall = machine->getSessionInCall();
    } else {
        MRS_LOG(
            LOG_LEVEL_WARNING,
            "%s: machine (= m_stateMachines[line==%s]) == NULLcouldn't inCall = machine->getSessionInCall(); using default value 'false'",
            "getCallRecordingUserControllable", line.c_str());
    }
    const std::string mode = recordingMode();
    MRS_LOG(LOG_LEVEL_DETAIL, "%s(): m_recordingMode = %s; inCall = %d", "getCallRecordingUserControllable",
            mode.c_str(), inCall);
    return mode == MODE_MANUAL || (mode == MODE_AUTOSTART && inCall);
}

/// Read afresh at every use: the management system may change it at any time.
std::string RecordingController::recordingMode()
{
    return m_configManager != nullptr ? m_configManager->getDataItem(CALL_RECORDING_MODE)
                                      : MediaRecordingDefs::DEFAULT_CALL_RECORDING_MODE_STRING;
}

bool RecordingController::isInCall(const std::string& lineURI)
{
    return guarded("isInCall", false, [&] {
        RecordingStateMachine* const machine = entryOf(lineURI);
        return machine != nullptr && machine->getSessionInCall();
    });
}

std::string RecordingController::getSelectedLine()
{
    return guarded("getSelectedLine", std::string(), [this] { return m_selectedLine; });
}

RecordingStateMachine* RecordingController::getRecordingStateMachineCreateNewIfNeeded(const std::string& lineURI)
{
    RecordingStateMachine* const none = nullptr;
    return guarded("getRecordingStateMachineCreateNewIfNeeded", none, [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "%s(lineURI = \"%s\")", "getRecordingStateMachineCreateNewIfNeeded", lineURI.c_str());
        RecordingStateMachine* const machine =
            machineCreatedIfNeeded("getRecordingStateMachineCreateNewIfNeeded", lineURI);
        MRS_LOG(LOG_LEVEL_DETAIL, "machine = m_stateMachines[lineURI==%s] == %p", lineURI.c_str(),
                static_cast<void*>(machine));
        return machine;
    });
}

/// A line that was never seen gets an empty entry, which the dump shows.
RecordingStateMachine*& RecordingController::entryOf(const std::string& lineURI)
{
    return m_stateMachines[lineURI];
}

RecordingStateMachine* RecordingController::machineCreatedIfNeeded(const char* operation, const std::string& lineURI)
{
    RecordingStateMachine*& machine = entryOf(lineURI);
    if (machine == nullptr) {
        MRS_LOG(LOG_LEVEL_DETAIL,
                "%s(lineURI = %s): m_stateMachines[lineURI=%s] not found, instantiating new state machine.", operation,
                lineURI.c_str(), lineURI.c_str());
        machine = newMachine();
    }
    return machine;
}

/// Null when there is no memory.
RecordingStateMachine* RecordingController::newMachine()
{
    return new (std::nothrow) RecordingStateMachine(m_eventLayer, m_recSessionController, m_configManager);
}

void RecordingController::activateRecording(const std::string& lineURI)
{
    guarded("activateRecording", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "%s(lineURI=%s)", "activateRecording", lineURI.c_str());
        if (!userControllable(lineURI)) {
            MRS_LOG(LOG_LEVEL_TRACE, "%s(): getCallRecordingUserControllable()==false, request IGNORED",
                    "activateRecording");
            return;
        }
        const bool activation = m_configManager != nullptr && recordingMode() != MODE_DISABLED;
        m_selectedLine = lineURI;
        if (m_configManager != nullptr) {
            m_configManager->setRecordingActivation(lineURI, activation);
        }
        m_eventLayer->updateCallRecordingFPKLamp();
        if (RecordingStateMachine* const machine = machineCreatedIfNeeded("activateRecording", lineURI)) {
            machine->EVT_activate();
        } else {
            MRS_LOG(
                LOG_LEVEL_ERROR,
                "%s(lineURI=%s): Cannot make call to  m_stateMachines[lineURI=\"%s\"]->EVT_activate(). State machine associated with lineURI equals NULL!",
                "activateRecording", lineURI.c_str(), lineURI.c_str());
        }
        dump();
    });
}

void RecordingController::deactivateRecording(const std::string& lineURI)
{
    guarded("deactivateRecording", [&] { deactivate(lineURI); });
}

void RecordingController::deactivate(const std::string& lineURI)
{
    MRS_LOG(LOG_LEVEL_TRACE, "%s(lineURI=%s)", "deactivateRecording", lineURI.c_str());
    if (!userControllable(lineURI)) {
        MRS_LOG(LOG_LEVEL_TRACE, "%s(): getCallRecordingUserControllable()==false, request IGNORED",
                "deactivateRecording");
        return;
    }
    m_selectedLine = lineURI;
    if (m_configManager != nullptr) {
        m_configManager->setRecordingActivation(lineURI, false);
    }
    m_eventLayer->updateCallRecordingFPKLamp();
    if (RecordingStateMachine* const machine = entryOf(lineURI)) {
        machine->EVT_deactivate();
    } else {
        MRS_LOG(
            LOG_LEVEL_ERROR,
            "Cannot make call to  m_stateMachines[lineURI=\"%s\"]->EVT_deactivate(). State machine associated with lineURI equals NULL!",
            lineURI.c_str());
    }
    dump();
}

void RecordingController::setCallRecMode(const std::string& mode)
{
    guarded("setCallRecMode", [&] {
        MRS_LOG(LOG_LEVEL_DETAIL, "%s(): mode = %s", "setCallRecMode", mode.c_str());
        if (mode != MODE_MANUAL) {
            return;
        }
        for (const auto& [lineURI, machine] : m_stateMachines) {
            if (machine != nullptr) {
                deactivate(lineURI);
            }
        }
    });
}

void RecordingController::setLineStatus(std::string uri, ELineState state, int callid, std::string remoteURI)
{
    guarded("setLineStatus", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "%s(uri = \"%s\", state = %d, callid=%d, remoteURI=%s)", "setLineStatus", uri.c_str(),
                state, callid, remoteURI.c_str());
        switch (static_cast<int>(state)) {
            case LINE_RELEASED:
            case LINE_RELEASED_TOO: releaseLine(uri); break;
            case LINE_SELECTED:
            case LINE_SELECTED_TOO: selectLine(uri); break;
            default: break;
        }
        dump();
    });
}

void RecordingController::releaseLine(const std::string& uri)
{
    if (RecordingStateMachine* const machine = entryOf(uri)) {
        machine->EVT_line_deselected();
    } else {
        MRS_LOG(LOG_LEVEL_WARNING, "m_stateMachines[uri==%s] == NULL", uri.c_str());
    }
    m_selectedLine = m_originatingLine;
    m_eventLayer->updateCallRecordingFPKLamp();
}

void RecordingController::selectLine(const std::string& uri)
{
    m_selectedLine = uri;
    m_eventLayer->updateCallRecordingFPKLamp();
    for (const auto& [lineURI, machine] : m_stateMachines) {
        if (machine != nullptr && lineURI != m_selectedLine) {
            machine->EVT_line_deselected();
        }
    }
    RecordingStateMachine* const selected = entryOf(m_selectedLine);
    if (selected != nullptr) {
        selected->EVT_line_selected();
    } else {
        MRS_LOG(LOG_LEVEL_WARNING, "machine = m_stateMachines[m_selectedLine==%s] == %p", m_selectedLine.c_str(),
                static_cast<void*>(selected));
    }
}

void RecordingController::setOriginatingLine(std::string uri)
{
    guarded("setOriginatingLine", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "%s( uri = \"%s\" )", "setOriginatingLine", uri.c_str());
        if (uri == "non-keyset" || uri == "failure") {
            return;
        }
        MRS_LOG(LOG_LEVEL_DETAIL, "setting m_originatingLine == %s\n", m_originatingLine.c_str());
        m_originatingLine = std::move(uri);
    });
}

void RecordingController::dumpStateMachines()
{
    guarded("dumpStateMachines", [this] { dump(); });
}

void RecordingController::dump()
{
    // The machines look their sessions up for it, and that is traced by itself.
    if (loggingOnApp(COMPONENT, LOG_LEVEL_DETAIL) || loggingOnApp("RecordingSessionController", LOG_LEVEL_TRACE)) {
        logMachines();
    }
}

void RecordingController::logMachines()
{
    std::string text = "dumpStateMachines()\n";
    for (const auto& [lineURI, machine] : m_stateMachines) {
        char address[32];
        std::snprintf(address, sizeof address, "%p", static_cast<void*>(machine));
        const std::string state = machine != nullptr ? machine->dump() : std::string();
        text.append("\tstateMachines[").append(lineURI.c_str()).append("]==").append(address);
        text.append(", in state: ").append(state.c_str()).append("\n");
    }
    MRS_LOG(LOG_LEVEL_DETAIL, "%s", text.c_str());
}
