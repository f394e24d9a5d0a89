#include "fieldlog/LogTexts.h"

#include <algorithm>

#include "Logging.h"

namespace deskphone {

namespace {

constexpr int ERROR = LOG_LEVEL_ERROR;
constexpr int WARNING = LOG_LEVEL_WARNING;
constexpr int INFO = LOG_LEVEL_INFO;
constexpr int TRACE = LOG_LEVEL_TRACE;
constexpr int DETAIL = LOG_LEVEL_DETAIL;

constexpr std::string_view DIGITS = "0123456789";

/// The length of the number at the beginning of the text; 0: none.
std::size_t lengthOfNumber(std::string_view text)
{
    const std::size_t sign = !text.empty() && text.front() == '-' ? 1 : 0;
    const std::size_t end = std::min(text.find_first_not_of(DIGITS, sign), text.size());
    return end == sign ? 0 : end;
}

}  // namespace

std::string_view beginningOf(const LogText& text)
{
    return text.format.substr(0, text.format.find('%'));
}

bool readPlaces(std::string_view format, std::string_view text, std::vector<std::string>& places)
{
    const std::size_t sign = format.find('%');
    if (text.substr(0, sign) != format.substr(0, sign)) {
        return false;
    }
    if (sign == std::string_view::npos) {
        return true;
    }
    text.remove_prefix(sign);
    const char kind = format[sign + 1];
    format.remove_prefix(sign + 2);
    if (kind == 'd' || kind == 'i') {
        const std::size_t length = lengthOfNumber(text);
        places.emplace_back(text.substr(0, length));
        return length > 0 && readPlaces(format, text.substr(length), places);
    }
    // What follows an empty rest of the format is the end of the text.
    const std::string_view next = format.substr(0, format.find('%'));
    const std::size_t before = places.size();
    std::size_t end = format.empty() ? text.size() : text.rfind(next);
    while (end != std::string_view::npos) {
        places.resize(before);
        if (kind == 's') {
            places.emplace_back(text.substr(0, end));
        }
        if (readPlaces(format, text.substr(end), places)) {
            return true;
        }
        end = end == 0 || format.empty() ? std::string_view::npos : text.rfind(next, end - 1);
    }
    return false;
}

const std::vector<LogText>& logTexts()
{
    // clang-format off
    static const std::vector<LogText> texts{
        {"LMSEventDispatcher", ERROR, "LMSEventErrorStatus(errCode=%d): method should't be called"},
        {"MediaRecordingService", TRACE, "init()"},
        {"MediaRecordingService", ERROR, "m_configManager NULL. Failed to initialize MRS."},
        {"MediaRecordingService", DETAIL, "Create LMSEventDispatcher"},
        {"MediaRecordingService", ERROR, "m_csfi==NULL. Cannot call m_csfi->registerLMSEventObserver."},
        {"MediaRecordingService", DETAIL, "Set Sfi initial CallRecMode value to %s"},
        {"MediaRecordingService", TRACE, "getCallRecordingOn(line = %s)", "getCallRecordingOn"},
        {"MediaRecordingService", TRACE, "featureKeyDefinitionChanged(keyIndex = %d, keyFunction = %d)", "featureKeyDefinitionChanged"},
        {"MediaRecordingService", ERROR, "MediaRecordingService is not initialized"},
        {"MediaRecordingService", DETAIL, "setDirection()"},
        {"MediaRecordingService", ERROR, "mcsIfc == NULL. Coudn't call mcsIfc->setDirection"},
        {"MediaRecordingService", TRACE, "retval = mcsIfc->setDirection( msHandle=%d, mediaDirection=%d);"},
        {"MediaRecordingService", ERROR, "Failed to retrive session data or commsIfc==NULL. Cannot call commsEventIfc->callRecordingStatus()."},
        {"MediaRecordingService", DETAIL, "commsEventIfc->callRecordingStatus(\"%s\", %d, status=\"%s\")"},
        {"MediaRecordingService", DETAIL, "updateCallRecordingFPKLamp()"},
        {"MediaRecordingService", TRACE, "updateCallRecordingFPKLamp() recordingOn = %s"},
        {"MediaRecordingService", DETAIL, "callAttachSession()"},
        {"MediaRecordingService", ERROR, "Invalid m_mrsID==0. Cannot call commsIfc->attachRecSession."},
        {"MediaRecordingService", ERROR, "m_csfi==NULL. Cannot call m_csfi->attachRecSession."},
        {"MediaRecordingService", DETAIL, "m_csfi->attachRecSession(mrsId=%d, recUri=%s)"},
        {"MediaRecordingService", DETAIL, "callDetachSession()"},
        {"MediaRecordingService", ERROR, "m_csfi==NULL. Cannot call m_csfi->detachRecSession."},
        {"MediaRecordingService", DETAIL, "m_csfi->detachRecSession(mrsID=%d)"},
        {"MediaRecordingService", DETAIL, "setCallRecMode()"},
        {"MediaRecordingService", ERROR, "m_csfi==NULL. Cannot call m_csfi->getSfiRecordingController."},
        {"MediaRecordingService", ERROR, "m_csfi->getSfiRecordingController()==NULL. Cannot call setCallRecMode."},
        {"MediaRecordingServiceInvoker", ERROR, "MediaRecordingServiceInvoker - couldn't find MediaRecordingServiceIfc"},
        {"MediaRecordingServiceInvoker", INFO, "handleMessage: %s\n"},
        {"RecordingConfigManager", TRACE, "getDataItem:(item=%s)"},
        {"RecordingConfigManager", TRACE, "setDataItem:(item=%s, value=%s)"},
        {"RecordingConfigManager", DETAIL, "setDataItem: configuration change detected, m_state = ConfigurationChangeRequested"},
        {"RecordingConfigManager", TRACE, "notifyDataItemChange:(item=%s, oldValue='%s')"},
        {"RecordingConfigManager", ERROR, "notifyDataItemChange: failed"},
        {"RecordingConfigManager", TRACE, "getData( ManageableData& manageableData )"},
        {"RecordingConfigManager", TRACE, "%s is not available from this service."},
        {"RecordingConfigManager", TRACE, "getData : %s=%s"},
        {"RecordingConfigManager", TRACE, "setData( ManageableData& manageableData ):"},
        {"RecordingConfigManager", TRACE, "setData : %s=%s"},
        {"RecordingConfigManager", WARNING, "setData:  one or more operations failed"},
        {"RecordingConfigManager", TRACE, "resynchronizeDataSets()", "resynchronizeDataSets"},
        {"RecordingConfigManager", DETAIL, "resynchronizeDataSets(): dataset[item].value==%s; dataset[depItem].value==%s"},
        {"RecordingConfigManager", WARNING, "resynchronizeDataSets(): No success - setDataItem(%s,%s)"},
        {"RecordingConfigManager", TRACE, "eventRecordingStarted(line = %s)", "eventRecordingStarted"},
        {"RecordingConfigManager", TRACE, "eventRecordingStopped(line = %s)", "eventRecordingStopped"},
        {"RecordingConfigManager", TRACE, "getRecordingActivation(linuURI=%s)", "getRecordingActivation"},
        {"RecordingConfigManager", TRACE, "setRecordingActivation(lineURI=%s, value=%s)", "setRecordingActivation"},
        {"RecordingController", TRACE, "LMSCreateSession(lineURI=%s, callID=%d)", "LMSCreateSession"},
        {"RecordingController", ERROR, "LMSCreateSession: session==NULL. Session parameters (lineURI, callID) not set."},
        {"RecordingController", DETAIL, "sessionCreated(mrsID = %d): m_stateMachines[lineURI=%s] not found, instantiating new state machine."},
        {"RecordingController", ERROR, "Allocation of new recording state machine failed for lineURI = %s."},
        {"RecordingController", ERROR, "Cannot make call to  m_stateMachines[lineURI=\"%s\"]->EVT_activate(). State machine associated with lineURI equals NULL!"},
        {"RecordingController", ERROR, "Cannot make call to  m_stateMachines[lineURI=\"%s\"]->EVT_in_call(mrsID==%d). State machine associated with lineURI equals NULL!"},
        {"RecordingController", TRACE, "LMSDestroySession(recordingSessionHandle=%d)", "LMSDestroySession"},
        {"RecordingController", DETAIL, "LMSDestroySession: m_recSessionController->getSession(recordingSessionHandle);"},
        {"RecordingController", DETAIL, "LMSDestroySession: session=%p"},
        {"RecordingController", ERROR, "LMSDestroySession(): no machine associated with lineURI = %s, machine->EVT_not_in_call() not called"},
        {"RecordingController", ERROR, "LMSDestroySession: session with handle==%d not found. Couldn't call destroySession."},
        {"RecordingController", TRACE, "LMSEventAttached(recordingSessionHandle=%d, mediaSessionHandle=%d, recordedCallID=%d)", "LMSEventAttached"},
        {"RecordingController", ERROR, "LMSEventAttached(): no machine associated with lineURI = %s, machine->EVT_attached() not called"},
        {"RecordingController", ERROR, "LMSEventAttached(): m_recSessionController->getSession(recordingSessionHandle=%d) returned NULL"},
        {"RecordingController", TRACE, "LMSEventStreaming(recordingSessionHandle=%d, mediaSessionHandle=%d, recordedCallID=%d)", "LMSEventStreaming"},
        {"RecordingController", ERROR, "LMSEventStreaming: m_recSessionController->getSession(recordingSessionHandle=%d) returned NULL"},
        {"RecordingController", ERROR, "LMSEventStreaming: lineURI = %s has no associated state machine"},
        {"RecordingController", TRACE, "LMSEventNotStreaming(recordingSessionHandle=%d)", "LMSEventNotStreaming"},
        {"RecordingController", ERROR, "LMSEventNotStreaming(): m_recSessionController->getSession(recordingSessionHandle=%d) returned NULL"},
        {"RecordingController", ERROR, "LMSEventNotStreaming(): lineURI == %s has no associated state machine"},
        {"RecordingController", TRACE, "LMSEventErrorStatus(mrsID = %d, LMSErrorCode=%d)", "LMSEventErrorStatus"},
        {"RecordingController", WARNING, "LMSEventErrorStatus(): m_recSessionController->getSession(recordingSessionHandle=%d) returned NULL; Couldn't process LMSEventErrorStatus. This is either en error, or the session doesn't exist any more, in which case the event is validly ignored."},
        {"RecordingController", ERROR, "LMSEventErrorStatus(): lineURI == %s has no associated state machine"},
        {"RecordingController", TRACE, "getCallRecordingActivated(lineURI = %s)", "getCallRecordingActivated"},
        {"RecordingController", WARNING, "getCallRecordingActivated: m_configManager == NULL couldn't m_configManager->getRecordingActivation(lineURI); trying to behave, therefore returning default value 'false'"},
        {"RecordingController", TRACE, "getCallRecordingAutostarts(lineURI = %s)", "getCallRecordingAutostarts"},
        {"RecordingController", TRACE, "getCallRecordingUserControllable(line = %s)", "getCallRecordingUserControllable"},
        {"RecordingController", WARNING, "getCallRecordingUserControllable: machine (= m_stateMachines[line==%s]) == NULLcouldn't inCall = machine->getSessionInCall(); using default value 'false'"},
        {"RecordingController", DETAIL, "getCallRecordingUserControllable(): m_recordingMode = %s; inCall = %d"},
        {"RecordingController", TRACE, "getRecordingStateMachineCreateNewIfNeeded(lineURI = \"%s\")", "getRecordingStateMachineCreateNewIfNeeded"},
        {"RecordingController", DETAIL, "getRecordingStateMachineCreateNewIfNeeded(lineURI = %s): m_stateMachines[lineURI=%s] not found, instantiating new state machine."},
        {"RecordingController", DETAIL, "machine = m_stateMachines[lineURI==%s] == %p"},
        {"RecordingController", TRACE, "activateRecording(lineURI=%s)", "activateRecording"},
        {"RecordingController", TRACE, "activateRecording(): getCallRecordingUserControllable()==false, request IGNORED"},
        {"RecordingController", DETAIL, "activateRecording(lineURI = %s): m_stateMachines[lineURI=%s] not found, instantiating new state machine."},
        {"RecordingController", ERROR, "activateRecording(lineURI=%s): Cannot make call to  m_stateMachines[lineURI=\"%s\"]->EVT_activate(). State machine associated with lineURI equals NULL!"},
        {"RecordingController", TRACE, "deactivateRecording(lineURI=%s)", "deactivateRecording"},
        {"RecordingController", TRACE, "deactivateRecording(): getCallRecordingUserControllable()==false, request IGNORED"},
        {"RecordingController", ERROR, "Cannot make call to  m_stateMachines[lineURI=\"%s\"]->EVT_deactivate(). State machine associated with lineURI equals NULL!"},
        {"RecordingController", DETAIL, "setCallRecMode(): mode = %s"},
        {"RecordingController", TRACE, "setLineStatus(uri = \"%s\", state = %d, callid=%d, remoteURI=%s)", "setLineStatus"},
        {"RecordingController", WARNING, "m_stateMachines[uri==%s] == NULL"},
        {"RecordingController", WARNING, "machine = m_stateMachines[m_selectedLine==%s] == %p"},
        {"RecordingController", TRACE, "setOriginatingLine( uri = \"%s\" )", "setOriginatingLine"},
        {"RecordingController", DETAIL, "setting m_originatingLine == %s\n"},
        {"RecordingController", DETAIL, "dumpStateMachines()"},
        {"RecordingSessionController", TRACE, "createSession()"},
        {"RecordingSessionController", ERROR, "Create session: failed - Max Media Sessions reached"},
        {"RecordingSessionController", TRACE, "createSession(): created session handle %i"},
        {"RecordingSessionController", TRACE, "storeSession( handle = %i, session )"},
        {"RecordingSessionController", TRACE, "destroySession(handle=%i)"},
        {"RecordingSessionController", WARNING, "Invalid MediaSession requested: %i"},
        {"RecordingSessionController", TRACE, "getSession(handle=%i)"},
        {"RecordingSessionController", TRACE, "getSession: tmpSession = %p\n"},
        {"RecordingSessionController", TRACE, "setDirection(handle=%i, direction=%s)"},
        {"RecordingSessionController", ERROR, "invalid session or direction"},
        {"RecordingStateMachine", DETAIL, "RecordingStateMachine(this=%p, mrsID=%d)::ExecuteAction(event=%s): current state = ILLEGAL_STATE; no transition made"},
        {"RecordingStateMachine", DETAIL, "RecordingStateMachine(this=%p, mrsID=%d)::ExecuteAction(event=%s): current state = %s; new state = ILLEGAL_STATE; no transition made"},
        {"RecordingStateMachine", DETAIL, "RecordingStateMachine(this=%p, mrsID=%d)::ExecuteAction(event=%s): current state = %s; new state = %s"},
        {"RecordingStateMachine", TRACE, "getState(): returning state %d"},
        {"RecordingStateMachine", TRACE, "getStateName(): returning state %s"},
        {"RecordingStateMachine", TRACE, "setState(state = %d)"},
        {"RecordingStateMachine", TRACE, "getSessionInCall()"},
        {"RecordingStateMachine", TRACE, "ACT_no_action"},
        {"RecordingStateMachine", TRACE, "ACT_idle"},
        {"RecordingStateMachine", WARNING, "ACT_idle: Unexpected previous state (=%d) "},
        {"RecordingStateMachine", TRACE, "ACT_in_call"},
        {"RecordingStateMachine", WARNING, "ACT_in_call: Unexpected previous state (=%d) "},
        {"RecordingStateMachine", TRACE, "ACT_activated"},
        {"RecordingStateMachine", WARNING, "ACT_activated: Unexpected previous state (=%d) "},
        {"RecordingStateMachine", TRACE, "ACT_attach_requested"},
        {"RecordingStateMachine", WARNING, "ACT_attach_requested: Unexpected previous state (=%d) "},
        {"RecordingStateMachine", TRACE, "ACT_streaming"},
        {"RecordingStateMachine", WARNING, "ACT_streaming: Unexpected previous state (=%d) "},
        {"RecordingStateMachine", TRACE, "ACT_non_streaming"},
        {"RecordingStateMachine", WARNING, "ACT_non_streaming: Unexpected previous state (=%d) "},
        {"RecordingStateMachine", TRACE, "ACT_line_deselected"},
        {"RecordingStateMachine", WARNING, "ACT_line_deselected: Unexpected previous state (=%d) "},
        {"RecordingStateMachine", TRACE, "ACT_error"},
        {"RecordingStateMachine", WARNING, "ACT_error: Unexpected previous state (=%d) "},
        {"RecordingStateMachine", ERROR, "m_configManager==NULL. Cannot call commsIfc->attachRecSession."},
        {"RecordingStateMachine", DETAIL, "callDatasetSynchronizationLock(lock = %s) "},
        {"RecordingStateMachine", WARNING, "setDatasetSynchronizationLock(): lineURI == \"\"; Could not %s config manager for incoming changes."},
        {"RecordingStateMachine", TRACE, "sendRecordingStatus(status = %s)"},
        {"RecordingStateMachine", ERROR, "Failed to retrieve recording session associated with m_mrsID == %d"},
        {"RecordingStateMachine", DETAIL, "setMediaSessionDirection(dir=%s) "},
        {"RecordingStateMachine", ERROR, "Invalid m_mrsID==0. Cannot call setDirection(..,dir=%s)"},
        {"MediaRecordingHelper", ERROR, "Cannot find PhysicalInterfaceServiceIfc"},
        {"MediaRecordingHelper", ERROR, "Service returned by context is not PhysicalInterfaceServiceIfc"},
        {"MediaRecordingHelper", ERROR, "Cannot find CommunicationsServiceEventIfc"},
        {"MediaRecordingHelper", ERROR, "Service returned by context is not CommunicationsServiceEventIfc"},
        {"MediaRecordingHelper", ERROR, "Cannot find MediaControlServiceIfc"},
        {"MediaRecordingHelper", ERROR, "Service returned by context is not MediaControlServiceIfc"},
        {"MediaRecordingHelper", ERROR, "Cannot find LocalMgmtIfc"},
        {"MediaRecordingHelper", ERROR, "Service returned by context is not LocalMgmtIfc"},
    };
    // clang-format on
    return texts;
}

}  // namespace deskphone
