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

/// Runs an operation's body under the lock. In a closed controller, and when the body fails, the answer is its type's
/// empty value.
template <typename Body>
auto RecordingController::guarded(const char* operation, Body body, int line) -> decltype(body())
{
    const std::lock_guard<std::recursive_mutex> guard(m_lock);
    return m_closed ? decltype(body())() : contained(COMPONENT, SOURCE, operation, body, line);
}

int RecordingController::LMSCreateSession(const std::string& lineURI, int callID)
{
    return guarded("LMSCreateSession", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "LMSCreateSession(lineURI=%s, callID=%d)", lineURI.c_str(), callID);
        m_selectedLine = lineURI;
        const int mrsID = m_recSessionController->createSession();
        // The session lives from here on: whatever fails, call control gets the handle to end it with.
        contained(COMPONENT, SOURCE, "LMSCreateSession", [&] { beginSession(mrsID, lineURI, callID); });
        contained(COMPONENT, SOURCE, "LMSCreateSession", [this] { m_eventLayer->updateCallRecordingFPKLamp(); });
        dumpStateMachines();
        return mrsID;
    });
}

void RecordingController::beginSession(int mrsID, const std::string& lineURI, int callID)
{
    if (RecordingSession* const session = m_recSessionController->getSession(mrsID)) {
        session->lineURI = lineURI;
        session->callID = callID;
    } else {
        MRS_LOG(LOG_LEVEL_ERROR, "LMSCreateSession: session==NULL. Session parameters (lineURI, callID) not set.");
    }

    RecordingStateMachine*& machine = entryOf(lineURI);
    if (machine == nullptr) {
        MRS_LOG(LOG_LEVEL_DETAIL,
                "sessionCreated(mrsID = %d): m_stateMachines[lineURI=%s] not found, instantiating new state machine.",
                mrsID, lineURI.c_str());
        machine = newMachine();
        if (machine == nullptr) {
            MRS_LOG(LOG_LEVEL_ERROR, "Allocation of new recording state machine failed for lineURI = %s.",
                    lineURI.c_str());
        }
    }

    if (getCallRecordingAutostarts(lineURI)) {
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
}

void RecordingController::LMSDestroySession(int mrsID)
{
    guarded("LMSDestroySession", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "LMSDestroySession(recordingSessionHandle=%d)", mrsID);
        MRS_LOG(LOG_LEVEL_DETAIL, "LMSDestroySession: m_recSessionController->getSession(recordingSessionHandle);");
        RecordingSession* const session = m_recSessionController->getSession(mrsID);
        MRS_LOG(LOG_LEVEL_DETAIL, "LMSDestroySession: session=%p", static_cast<void*>(session));
        if (session != nullptr) {
            const std::string lineURI = session->lineURI;
            if (m_configManager != nullptr && m_configManager->getRecordingActivation(lineURI)) {
                m_configManager->setRecordingActivation(lineURI, false);
            }
            // The machine's actions still read the session.
            if (RecordingStateMachine* const machine = entryOf(lineURI)) {
                machine->EVT_not_in_call();
            } else {
                MRS_LOG(
                    LOG_LEVEL_ERROR,
                    "LMSDestroySession(): no machine associated with lineURI = %s, machine->EVT_not_in_call() not called",
                    lineURI.c_str());
            }
            m_recSessionController->destroySession(mrsID);
        } else {
            MRS_LOG(LOG_LEVEL_ERROR,
                    "LMSDestroySession: session with handle==%d not found. Couldn't call destroySession.", mrsID);
        }
        m_eventLayer->updateCallRecordingFPKLamp();
        dumpStateMachines();
    });
}

void RecordingController::LMSEventAttached(int recordingSessionHandle, int mediaSessionHandle, int recordedCallID)
{
    guarded("LMSEventAttached", [&] {
        MRS_LOG(LOG_LEVEL_TRACE,
                "LMSEventAttached(recordingSessionHandle=%d, mediaSessionHandle=%d, recordedCallID=%d)",
                recordingSessionHandle, mediaSessionHandle, recordedCallID);
        if (RecordingSession* const session = m_recSessionController->getSession(recordingSessionHandle)) {
            session->callID = recordedCallID;
            session->mediaSessionHandle = mediaSessionHandle;
            if (RecordingStateMachine* const machine = entryOf(session->lineURI)) {
                machine->EVT_attached();
            } else {
                MRS_LOG(
                    LOG_LEVEL_ERROR,
                    "LMSEventAttached(): no machine associated with lineURI = %s, machine->EVT_attached() not called",
                    session->lineURI.c_str());
            }
        } else {
            MRS_LOG(LOG_LEVEL_ERROR,
                    "LMSEventAttached(): m_recSessionController->getSession(recordingSessionHandle=%d) returned NULL",
                    recordingSessionHandle);
        }
        dumpStateMachines();
    });
}

void RecordingController::LMSEventStreaming(int recordingSessionHandle, int mediaSessionHandle, int recordedCallID)
{
    guarded("LMSEventStreaming", [&] {
        MRS_LOG(LOG_LEVEL_TRACE,
                "LMSEventStreaming(recordingSessionHandle=%d, mediaSessionHandle=%d, recordedCallID=%d)",
                recordingSessionHandle, mediaSessionHandle, recordedCallID);
        RecordingSession* const session = m_recSessionController->getSession(recordingSessionHandle);
        if (session == nullptr) {
            MRS_LOG(LOG_LEVEL_ERROR,
                    "LMSEventStreaming: m_recSessionController->getSession(recordingSessionHandle=%d) returned NULL",
                    recordingSessionHandle);
            return;
        }
        if (RecordingStateMachine* const machine = entryOf(session->lineURI)) {
            session->callID = recordedCallID;
            session->mediaSessionHandle = mediaSessionHandle;
            machine->EVT_streaming();
        } else {
            MRS_LOG(LOG_LEVEL_ERROR, "LMSEventStreaming: lineURI = %s has no associated state machine",
                    session->lineURI.c_str());
        }
        dumpStateMachines();
    });
}

void RecordingController::LMSEventNotStreaming(int recordingSessionHandle)
{
    guarded("LMSEventNotStreaming", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "LMSEventNotStreaming(recordingSessionHandle=%d)", recordingSessionHandle);
        RecordingSession* const session = m_recSessionController->getSession(recordingSessionHandle);
        if (session == nullptr) {
            MRS_LOG(
                LOG_LEVEL_ERROR,
                "LMSEventNotStreaming(): m_recSessionController->getSession(recordingSessionHandle=%d) returned NULL",
                recordingSessionHandle);
            return;
        }
        if (RecordingStateMachine* const machine = entryOf(session->lineURI)) {
            machine->EVT_non_streaming();
        } else {
            MRS_LOG(LOG_LEVEL_ERROR, "LMSEventNotStreaming(): lineURI == %s has no associated state machine",
                    session->lineURI.c_str());
        }
        dumpStateMachines();
    });
}

void RecordingController::LMSEventErrorStatus(int mrsID, LMSErrorCode errorCode)
{
    guarded("LMSEventErrorStatus", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "LMSEventErrorStatus(mrsID = %d, LMSErrorCode=%d)", mrsID, errorCode);
        RecordingSession* const session = m_recSessionController->getSession(mrsID);
        if (session == nullptr) {
            MRS_LOG(
                LOG_LEVEL_WARNING,
                "LMSEventErrorStatus(): m_recSessionController->getSession(recordingSessionHandle=%d) returned NULL; Couldn't process LMSEventErrorStatus. This is either en error, or the session doesn't exist any more, in which case the event is validly ignored.",
                mrsID);
            return;
        }
        if (RecordingStateMachine* const machine = entryOf(session->lineURI)) {
            machine->EVT_error();
        } else {
            MRS_LOG(LOG_LEVEL_ERROR, "LMSEventErrorStatus(): lineURI == %s has no associated state machine",
                    session->lineURI.c_str());
        }
        dumpStateMachines();
    });
}

bool RecordingController::getCallRecordingActivated(const std::string& lineURI)
{
    return guarded("getCallRecordingActivated", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "getCallRecordingActivated(lineURI = %s)", lineURI.c_str());
        if (m_configManager == nullptr) {
            MRS_LOG(
                LOG_LEVEL_WARNING,
                "getCallRecordingActivated: m_configManager == NULL couldn't m_configManager->getRecordingActivation(lineURI); trying to behave, therefore returning default value 'false'");
            return false;
        }
        return m_configManager->getRecordingActivation(lineURI);
    });
}

bool RecordingController::getCallRecordingAutostarts(const std::string& lineURI)
{
    return guarded("getCallRecordingAutostarts", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "getCallRecordingAutostarts(lineURI = %s)", lineURI.c_str());
        const std::string mode = recordingMode();
        return mode == MODE_AUTOSTART || mode == MODE_ALLCALLS ||
               (mode == MODE_MANUAL && getCallRecordingActivated(lineURI));
    });
}

bool RecordingController::getCallRecordingUserControllable(const std::string& line)
{
    return guarded("getCallRecordingUserControllable", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "getCallRecordingUserControllable(line = %s)", line.c_str());
        bool inCall = false;
        if (RecordingStateMachine* const machine = entryOf(line)) {
            inCall = machine->getSessionInCall();
        } else {
            MRS_LOG(
                LOG_LEVEL_WARNING,
                "getCallRecordingUserControllable: machine (= m_stateMachines[line==%s]) == NULLcouldn't inCall = machine->getSessionInCall(); using default value 'false'",
                line.c_str());
        }
        const std::string mode = recordingMode();
        MRS_LOG(LOG_LEVEL_DETAIL, "getCallRecordingUserControllable(): m_recordingMode = %s; inCall = %d", mode.c_str(),
                inCall);
        return mode == MODE_MANUAL || (mode == MODE_AUTOSTART && inCall);
    });
}

/// Read afresh at every use: the management system may change it at any time.
std::string RecordingController::recordingMode()
{
    return m_configManager != nullptr ? m_configManager->getDataItem(CALL_RECORDING_MODE)
                                      : MediaRecordingDefs::DEFAULT_CALL_RECORDING_MODE_STRING;
}

bool RecordingController::isInCall(const std::string& lineURI)
{
    return guarded("isInCall", [&] {
        RecordingStateMachine* const machine = entryOf(lineURI);
        return machine != nullptr && machine->getSessionInCall();
    });
}

std::string RecordingController::getSelectedLine()
{
    return guarded("getSelectedLine", [this] { return m_selectedLine; });
}

RecordingStateMachine* RecordingController::getRecordingStateMachineCreateNewIfNeeded(const std::string& lineURI)
{
    return guarded("getRecordingStateMachineCreateNewIfNeeded", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "getRecordingStateMachineCreateNewIfNeeded(lineURI = \"%s\")", lineURI.c_str());
        RecordingStateMachine*& machine = entryOf(lineURI);
        if (machine == nullptr) {
            MRS_LOG(
                LOG_LEVEL_DETAIL,
                "getRecordingStateMachineCreateNewIfNeeded(lineURI = %s): m_stateMachines[lineURI=%s] not found, instantiating new state machine.",
                lineURI.c_str(), lineURI.c_str());
            machine = newMachine();
        }
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

/// Null when there is no memory.
RecordingStateMachine* RecordingController::newMachine()
{
    return new (std::nothrow) RecordingStateMachine(m_eventLayer, m_recSessionController, m_configManager);
}

void RecordingController::activateRecording(const std::string& lineURI)
{
    guarded("activateRecording", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "activateRecording(lineURI=%s)", lineURI.c_str());
        if (!getCallRecordingUserControllable(lineURI)) {
            MRS_LOG(LOG_LEVEL_TRACE, "activateRecording(): getCallRecordingUserControllable()==false, request IGNORED");
            return;
        }
        const bool activation = m_configManager != nullptr && recordingMode() != MODE_DISABLED;
        m_selectedLine = lineURI;
        if (m_configManager != nullptr) {
            m_configManager->setRecordingActivation(lineURI, activation);
        }
        m_eventLayer->updateCallRecordingFPKLamp();
        RecordingStateMachine*& machine = entryOf(lineURI);
        if (machine == nullptr) {
            MRS_LOG(
                LOG_LEVEL_DETAIL,
                "activateRecording(lineURI = %s): m_stateMachines[lineURI=%s] not found, instantiating new state machine.",
                lineURI.c_str(), lineURI.c_str());
            machine = newMachine();
        }
        if (machine != nullptr) {
            machine->EVT_activate();
        } else {
            MRS_LOG(
                LOG_LEVEL_ERROR,
                "activateRecording(lineURI=%s): Cannot make call to  m_stateMachines[lineURI=\"%s\"]->EVT_activate(). State machine associated with lineURI equals NULL!",
                lineURI.c_str(), lineURI.c_str());
        }
        dumpStateMachines();
    });
}

void RecordingController::deactivateRecording(const std::string& lineURI)
{
    guarded("deactivateRecording", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "deactivateRecording(lineURI=%s)", lineURI.c_str());
        if (!getCallRecordingUserControllable(lineURI)) {
            MRS_LOG(LOG_LEVEL_TRACE,
                    "deactivateRecording(): getCallRecordingUserControllable()==false, request IGNORED");
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
        dumpStateMachines();
    });
}

void RecordingController::setCallRecMode(const std::string& mode)
{
    guarded("setCallRecMode", [&] {
        MRS_LOG(LOG_LEVEL_DETAIL, "setCallRecMode(): mode = %s", mode.c_str());
        if (mode != MODE_MANUAL) {
            return;
        }
        for (const auto& [lineURI, machine] : m_stateMachines) {
            if (machine != nullptr) {
                deactivateRecording(lineURI);
            }
        }
    });
}

void RecordingController::setLineStatus(std::string uri, ELineState state, int callid, std::string remoteURI)
{
    guarded("setLineStatus", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "setLineStatus(uri = \"%s\", state = %d, callid=%d, remoteURI=%s)", uri.c_str(), state,
                callid, remoteURI.c_str());
        switch (static_cast<int>(state)) {
            case LINE_RELEASED:
            case LINE_RELEASED_TOO: releaseLine(uri); break;
            case LINE_SELECTED:
            case LINE_SELECTED_TOO: selectLine(uri); break;
            default: break;
        }
        dumpStateMachines();
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
        MRS_LOG(LOG_LEVEL_TRACE, "setOriginatingLine( uri = \"%s\" )", uri.c_str());
        if (uri == "non-keyset" || uri == "failure") {
            return;
        }
        MRS_LOG(LOG_LEVEL_DETAIL, "setting m_originatingLine == %s\n", m_originatingLine.c_str());
        m_originatingLine = std::move(uri);
    });
}

void RecordingController::dumpStateMachines()
{
    // Asked before the lock is taken. The machines look their sessions up for the dump, which is traced by itself.
    if (!isLogged(COMPONENT, LOG_LEVEL_DETAIL) && !isLogged("RecordingSessionController", LOG_LEVEL_TRACE)) {
        return;
    }
    guarded("dumpStateMachines", [this] {
        std::string text = "dumpStateMachines()\n";
        for (const auto& [lineURI, machine] : m_stateMachines) {
            char address[32];
            std::snprintf(address, sizeof address, "%p", static_cast<void*>(machine));
            const std::string state = machine != nullptr ? machine->dump() : std::string();
            // What follows a zero byte in a line is left out, as in every other record.
            text.append("\tstateMachines[").append(lineURI.c_str()).append("]==").append(address);
            text.append(", in state: ").append(state.c_str()).append("\n");
        }
        MRS_LOG(LOG_LEVEL_DETAIL, "%s", text.c_str());
    });
}
