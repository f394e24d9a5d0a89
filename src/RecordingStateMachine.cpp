#include "RecordingStateMachine.h"

#include <locale>
#include <sstream>
#include <utility>

#include "Log.h"
#include "RecordingConfigManager.h"
#include "RecordingEventLayer.h"
#include "RecordingSessionController.h"
#include "communicationsServiceTexts.h"

namespace {

constexpr const char* COMPONENT = "RecordingStateMachine";
constexpr const char* SOURCE = "./src/RecordingStateMachine";

/// A copy of a session's line that outlives the session. Its memory is the table's spare text, put back afterwards, so
/// that an event allocates nothing; one that is made while another is in use allocates.
struct LineOfSession {
    LineOfSession(RecordingSessionController& table, const RecordingSession& session)
        : uri(std::move(table.spareText())), m_spare(table.spareText())
    {
        uri = session.lineURI;
    }
    ~LineOfSession() { m_spare = std::move(uri); }
    LineOfSession(const LineOfSession&) = delete;
    LineOfSession& operator=(const LineOfSession&) = delete;

    std::string uri;

private:
    std::string& m_spare;
};

}  // namespace

const char* const stateNames[NUMBER_OF_RECORDING_STATES] = {
    "ILLEGAL_STATE",
    "MRS_STA_IDLE",
    "MRS_STA_IN_CALL",
    "MRS_STA_ACTIVATED",
    "MRS_STA_ATTACH_REQUESTED",
    "MRS_STA_STREAMING",
    "MRS_STA_NON_STREAMING",
    "MRS_STA_LINE_DESELECTED",
    "MRS_STA_ERROR",
};

const char* const eventNames[NUMBER_OF_RECORDING_EVENTS] = {
    "MRS_EVT_IN_CALL", "MRS_EVT_NOT_IN_CALL", "MRS_EVT_ACTIVATE",    "MRS_EVT_DEACTIVATE",    "MRS_EVT_ATTACHED",
    "MRS_EVT_ERROR",   "MRS_EVT_STREAM",      "MRS_EVT_DONT_STREAM", "MRS_EVT_LINE_SELECTED", "MRS_EVT_LINE_DESELECTED",
};

// clang-format off
namespace {

// The states by short names, to keep a row of the table on a line. NO is ILLEGAL_STATE: no transition.
constexpr std::int16_t NO     = ILLEGAL_STATE;
constexpr std::int16_t IDLE   = MRS_STA_IDLE;
constexpr std::int16_t INCALL = MRS_STA_IN_CALL;
constexpr std::int16_t ACTIVE = MRS_STA_ACTIVATED;
constexpr std::int16_t ATTREQ = MRS_STA_ATTACH_REQUESTED;
constexpr std::int16_t STREAM = MRS_STA_STREAMING;
constexpr std::int16_t NOSTRM = MRS_STA_NON_STREAMING;
constexpr std::int16_t DESEL  = MRS_STA_LINE_DESELECTED;
constexpr std::int16_t ERROR  = MRS_STA_ERROR;

}  // namespace

const std::int16_t RecordingStateMachine::recordingTransitionTable[] = {
    //                          IN_CALL NOT_IN_ ACTIV   DEACT   ATTACH  ERROR   STREAM  DONT_S  SELECT  DESEL
    /* ILLEGAL_STATE         */ NO,     NO,     NO,     NO,     NO,     NO,     NO,     NO,     NO,     NO,
    /* IDLE                  */ INCALL, NO,     ACTIVE, NO,     NO,     NO,     NO,     NO,     NO,     NO,
    /* IN_CALL               */ NO,     IDLE,   ATTREQ, NO,     NO,     NO,     NO,     NO,     NO,     NO,
    /* ACTIVATED             */ ATTREQ, NO,     NO,     IDLE,   NO,     NO,     NO,     NO,     NO,     NO,
    /* ATTACH_REQUESTED      */ NO,     ACTIVE, NO,     INCALL, STREAM, ERROR,  NO,     NOSTRM, NO,     NO,
    /* STREAMING             */ NO,     ACTIVE, NO,     INCALL, NO,     ERROR,  STREAM, NOSTRM, NO,     DESEL,
    /* NON_STREAMING         */ NO,     ACTIVE, NO,     INCALL, NO,     ERROR,  STREAM, NO,     NO,     DESEL,
    /* LINE_DESELECTED       */ NO,     ACTIVE, NO,     INCALL, NO,     ERROR,  NO,     NO,     STREAM, NO,
    /* ERROR                 */ NO,     ACTIVE, NO,     INCALL, NO,     NO,     NO,     NO,     NO,     NO,
};

// By new state.
const RecordingStateMachine::Action RecordingStateMachine::recordingStateActions[] = {
    /* ILLEGAL_STATE         */ &RecordingStateMachine::ACT_no_action,
    /* IDLE                  */ &RecordingStateMachine::ACT_idle,
    /* IN_CALL               */ &RecordingStateMachine::ACT_in_call,
    /* ACTIVATED             */ &RecordingStateMachine::ACT_activated,
    /* ATTACH_REQUESTED      */ &RecordingStateMachine::ACT_attach_requested,
    /* STREAMING             */ &RecordingStateMachine::ACT_streaming,
    /* NON_STREAMING         */ &RecordingStateMachine::ACT_non_streaming,
    /* LINE_DESELECTED       */ &RecordingStateMachine::ACT_line_deselected,
    /* ERROR                 */ &RecordingStateMachine::ACT_error,
};
// clang-format on

RecordingStateMachine::RecordingStateMachine(RecordingEventLayer* eventLayer,
                                             RecordingSessionController* sessionController,
                                             RecordingConfigManager* configManager)
    : m_eventLayer(eventLayer), m_recSessionController(sessionController), m_configManager(configManager)
{
}

void RecordingStateMachine::EVT_in_call(int mrsID)
{
    if (mrsID != 0) {
        m_mrsID = mrsID;
    }
    handleEvent(MRS_EVT_IN_CALL);
}

void RecordingStateMachine::EVT_not_in_call()
{
    handleEvent(MRS_EVT_NOT_IN_CALL);
}

void RecordingStateMachine::EVT_activate()
{
    handleEvent(MRS_EVT_ACTIVATE);
}

void RecordingStateMachine::EVT_deactivate()
{
    handleEvent(MRS_EVT_DEACTIVATE);
}

void RecordingStateMachine::EVT_attached()
{
    handleEvent(MRS_EVT_ATTACHED);
}

void RecordingStateMachine::EVT_error()
{
    handleEvent(MRS_EVT_ERROR);
}

void RecordingStateMachine::EVT_streaming()
{
    handleEvent(MRS_EVT_STREAM);
}

void RecordingStateMachine::EVT_non_streaming()
{
    handleEvent(MRS_EVT_DONT_STREAM);
}

void RecordingStateMachine::EVT_line_selected()
{
    handleEvent(MRS_EVT_LINE_SELECTED);
}

void RecordingStateMachine::EVT_line_deselected()
{
    handleEvent(MRS_EVT_LINE_DESELECTED);
}

void RecordingStateMachine::handleEvent(int event)
{
    contained(COMPONENT, SOURCE, eventNames[event], [this, event] {
        const Action action = ExecuteAction(event);
        (this->*action)(event);
    });
}

RecordingStateMachine::Action RecordingStateMachine::ExecuteAction(int event)
{
    const int current = getState();
    contained(COMPONENT, SOURCE, "ExecuteAction",
              [this, event] { m_previousEvent = eventNames[event]; });  // only the dump shows it
    if (current == ILLEGAL_STATE) {
        MRS_LOG(
            LOG_LEVEL_DETAIL,
            "RecordingStateMachine(this=%p, mrsID=%d)::ExecuteAction(event=%s): current state = ILLEGAL_STATE; no transition made",
            static_cast<void*>(this), m_mrsID, eventNames[event]);
        return &RecordingStateMachine::ACT_no_action;
    }
    const int next = nextState(current, event);
    if (next == ILLEGAL_STATE) {
        MRS_LOG(
            LOG_LEVEL_DETAIL,
            "RecordingStateMachine(this=%p, mrsID=%d)::ExecuteAction(event=%s): current state = %s; new state = ILLEGAL_STATE; no transition made",
            static_cast<void*>(this), m_mrsID, eventNames[event], stateNames[current]);
        return &RecordingStateMachine::ACT_no_action;
    }
    setState(next);
    MRS_LOG(LOG_LEVEL_DETAIL,
            "RecordingStateMachine(this=%p, mrsID=%d)::ExecuteAction(event=%s): current state = %s; new state = %s",
            static_cast<void*>(this), m_mrsID, eventNames[event], stateNames[current], stateNames[next]);
    return recordingStateActions[next];
}

int RecordingStateMachine::getState()
{
    MRS_LOG(LOG_LEVEL_TRACE, "getState(): returning state %d", m_currentState);
    return m_currentState;
}

std::string RecordingStateMachine::getStateName() const
{
    MRS_LOG(LOG_LEVEL_TRACE, "getStateName(): returning state %s", stateNames[m_currentState]);
    return contained(COMPONENT, SOURCE, "getStateName", [this] { return std::string(stateNames[m_currentState]); });
}

void RecordingStateMachine::setState(int state)
{
    MRS_LOG(LOG_LEVEL_TRACE, "setState(state = %d)", state);
    m_previousState = m_currentState;
    m_currentState = state;
}

bool RecordingStateMachine::getSessionInCall()
{
    MRS_LOG(LOG_LEVEL_TRACE, "getSessionInCall()");
    return m_currentState != MRS_STA_IDLE && m_currentState != MRS_STA_ACTIVATED;
}

std::string RecordingStateMachine::dump() const
{
    return contained(COMPONENT, SOURCE, "dump", [this] {
        std::ostringstream text;
        text.imbue(std::locale::classic());  // the host's locale may group digits
        text << "[ cSTA=" << stateNames[m_currentState] << "; pEVT=" << m_previousEvent
             << "; pSTA=" << stateNames[m_previousState] << "; mrsID=" << m_mrsID;
        if (const RecordingSession* const known = session()) {
            text << "; lURI=" << known->lineURI << "; cID=" << known->callID << "; msID=" << known->mediaSessionHandle;
        }
        text << "]";
        return text.str();
    });
}

int RecordingStateMachine::nextState(int state, int event)
{
    return recordingTransitionTable[state * NUMBER_OF_RECORDING_EVENTS + event];
}

const char* RecordingStateMachine::stateName(int state)
{
    return stateNames[state];
}

const char* RecordingStateMachine::eventName(int event)
{
    return eventNames[event];
}

void RecordingStateMachine::ACT_no_action(int /*event*/)
{
    MRS_LOG(LOG_LEVEL_TRACE, "ACT_no_action");
}

void RecordingStateMachine::ACT_idle(int /*event*/)
{
    MRS_LOG(LOG_LEVEL_TRACE, "ACT_idle");
    switch (m_previousState) {
        case MRS_STA_IN_CALL:
        case MRS_STA_ACTIVATED: break;
        default: MRS_LOG(LOG_LEVEL_WARNING, "ACT_idle: Unexpected previous state (=%d) ", m_previousState);
    }
}

void RecordingStateMachine::ACT_in_call(int /*event*/)
{
    MRS_LOG(LOG_LEVEL_TRACE, "ACT_in_call");
    if (!leaveRecording()) {
        MRS_LOG(LOG_LEVEL_WARNING, "ACT_in_call: Unexpected previous state (=%d) ", m_previousState);
    }
}

void RecordingStateMachine::ACT_activated(int /*event*/)
{
    MRS_LOG(LOG_LEVEL_TRACE, "ACT_activated");
    if (!leaveRecording()) {
        MRS_LOG(LOG_LEVEL_WARNING, "ACT_activated: Unexpected previous state (=%d) ", m_previousState);
    }
}

/// Ends what the previous state held; false for a state that does not lead here.
bool RecordingStateMachine::leaveRecording()
{
    switch (m_previousState) {
        case MRS_STA_IDLE: return true;
        case MRS_STA_ATTACH_REQUESTED:
        case MRS_STA_STREAMING:
        case MRS_STA_NON_STREAMING: exitRecordingInProgress(); return true;
        case MRS_STA_LINE_DESELECTED:
        case MRS_STA_ERROR: callDatasetSynchronizationLock(false); return true;
        default: return false;
    }
}

void RecordingStateMachine::ACT_attach_requested(int /*event*/)
{
    MRS_LOG(LOG_LEVEL_TRACE, "ACT_attach_requested");
    switch (m_previousState) {
        case MRS_STA_IN_CALL:
        case MRS_STA_ACTIVATED:
        case MRS_STA_LINE_DESELECTED: enterRecordingInProgress(); break;
        default: MRS_LOG(LOG_LEVEL_WARNING, "ACT_attach_requested: Unexpected previous state (=%d) ", m_previousState);
    }
}

void RecordingStateMachine::ACT_streaming(int /*event*/)
{
    MRS_LOG(LOG_LEVEL_TRACE, "ACT_streaming");
    switch (m_previousState) {
        case MRS_STA_ATTACH_REQUESTED:
            setMediaSessionDirection("sendonly");
            sendRecordingStatus(communicationsServiceTexts::content_callrecording_OnFirstTime);
            break;
        case MRS_STA_STREAMING:
            sendRecordingStatus(communicationsServiceTexts::content_feature_onForceIndication);
            break;
        case MRS_STA_NON_STREAMING:
        case MRS_STA_LINE_DESELECTED:
            setMediaSessionDirection("sendonly");
            sendRecordingStatus(communicationsServiceTexts::content_feature_on);
            break;
        default: MRS_LOG(LOG_LEVEL_WARNING, "ACT_streaming: Unexpected previous state (=%d) ", m_previousState);
    }
}

void RecordingStateMachine::ACT_non_streaming(int /*event*/)
{
    MRS_LOG(LOG_LEVEL_TRACE, "ACT_non_streaming");
    switch (m_previousState) {
        case MRS_STA_ATTACH_REQUESTED:
        case MRS_STA_STREAMING:
            setMediaSessionDirection("inactive");
            sendRecordingStatus(communicationsServiceTexts::content_feature_off);
            break;
        default: MRS_LOG(LOG_LEVEL_WARNING, "ACT_non_streaming: Unexpected previous state (=%d) ", m_previousState);
    }
}

void RecordingStateMachine::ACT_line_deselected(int /*event*/)
{
    MRS_LOG(LOG_LEVEL_TRACE, "ACT_line_deselected");
    switch (m_previousState) {
        case MRS_STA_STREAMING:
        case MRS_STA_NON_STREAMING:
            setMediaSessionDirection("inactive");
            sendRecordingStatus(communicationsServiceTexts::content_feature_off);
            break;
        default: MRS_LOG(LOG_LEVEL_WARNING, "ACT_line_deselected: Unexpected previous state (=%d) ", m_previousState);
    }
}

void RecordingStateMachine::ACT_error(int /*event*/)
{
    MRS_LOG(LOG_LEVEL_TRACE, "ACT_error");
    switch (m_previousState) {
        case MRS_STA_ATTACH_REQUESTED:
            sendRecordingStatus(communicationsServiceTexts::content_callrecording_FailedToStart);
            break;
        case MRS_STA_STREAMING:
        case MRS_STA_NON_STREAMING:
        case MRS_STA_LINE_DESELECTED:
            setMediaSessionDirection("inactive");
            exitRecordingInProgress();
            sendRecordingStatus(communicationsServiceTexts::content_common_failed);
            break;
        default: MRS_LOG(LOG_LEVEL_WARNING, "ACT_error: Unexpected previous state (=%d) ", m_previousState);
    }
}

void RecordingStateMachine::enterRecordingInProgress()
{
    if (m_configManager == nullptr) {
        MRS_LOG(LOG_LEVEL_ERROR, "m_configManager==NULL. Cannot call commsIfc->attachRecSession.");
        return;
    }
    const std::string recorderAddress = m_configManager->getDataItem(CALL_RECORDER_ADDRESS);
    m_eventLayer->callAttachSession(m_mrsID, recorderAddress);
    callDatasetSynchronizationLock(true);
}

void RecordingStateMachine::exitRecordingInProgress()
{
    m_eventLayer->callDetachSession(m_mrsID);
    callDatasetSynchronizationLock(false);
    sendRecordingStatus(communicationsServiceTexts::content_feature_off);
}

void RecordingStateMachine::callDatasetSynchronizationLock(bool lock)
{
    MRS_LOG(LOG_LEVEL_DETAIL, "callDatasetSynchronizationLock(lock = %s) ", asText(lock));
    const RecordingSession* const known = m_mrsID != 0 ? session() : nullptr;
    if (known == nullptr || known->lineURI.empty()) {
        MRS_LOG(LOG_LEVEL_WARNING,
                "setDatasetSynchronizationLock(): lineURI == \"\"; Could not %s config manager for incoming changes.",
                lock ? "lock" : "unlock");
        return;
    }
    if (m_configManager == nullptr) {
        return;
    }
    contained(COMPONENT, SOURCE, "callDatasetSynchronizationLock", [&] {
        // The store publishes, and whoever hears of it may end the session.
        const LineOfSession line(*m_recSessionController, *known);
        if (lock) {
            m_configManager->eventRecordingStarted(line.uri);
        } else {
            m_configManager->eventRecordingStopped(line.uri);
        }
    });
}

void RecordingStateMachine::sendRecordingStatus(const std::string& status)
{
    MRS_LOG(LOG_LEVEL_TRACE, "sendRecordingStatus(status = %s)", status.c_str());
    const RecordingSession* const known = session();
    if (known == nullptr) {
        MRS_LOG(LOG_LEVEL_ERROR, "Failed to retrieve recording session associated with m_mrsID == %d", m_mrsID);
        return;
    }
    contained(COMPONENT, SOURCE, "sendRecordingStatus", [&] {
        // Whoever is told may end the session.
        const LineOfSession line(*m_recSessionController, *known);
        m_eventLayer->callRecordingStatus(line.uri, known->callID, status);
    });
}

/// The recording session of the line's call, as the table knows it now.
const RecordingSession* RecordingStateMachine::session() const
{
    return m_recSessionController != nullptr ? m_recSessionController->getSession(m_mrsID) : nullptr;
}

void RecordingStateMachine::setMediaSessionDirection(const std::string& dir)
{
    MRS_LOG(LOG_LEVEL_DETAIL, "setMediaSessionDirection(dir=%s) ", dir.c_str());
    if (m_mrsID == 0) {
        MRS_LOG(LOG_LEVEL_ERROR, "Invalid m_mrsID==0. Cannot call setDirection(..,dir=%s)", dir.c_str());
        return;
    }
    if (m_recSessionController != nullptr) {
        m_recSessionController->setDirection(m_mrsID, dir);
    }
}
