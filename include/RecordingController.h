#pragma once

#include <map>
#include <mutex>
#include <string>

#include "ELineState.h"
#include "LMSEventObserverIfc.h"
#include "MediaRecordingExport.h"

class RecordingConfigManager;
class RecordingEventLayer;
class RecordingSessionController;
class RecordingStateMachine;

/// Routes user requests, line status and media-server events to the state machine of the right line, and answers
/// questions about lines.
///
/// Any thread may call any operation: one lock, held through each of them, lets one thread in at a time. It is
/// recursive, because the lamp update asks back on the same thread. Owns the session table and the machines, not the
/// event layer, which must not be null, and not the store, which may be. No operation reports a failure: each logs it
/// and does what it still can.
class MRS_EXPORT RecordingController : public LMSEventObserverIfc {
public:
    RecordingController(RecordingEventLayer* eventLayer, RecordingConfigManager* configManager);

    /// The new session's handle, 0 when the table refused.
    int LMSCreateSession(const std::string& lineURI, int callID) override;
    void LMSDestroySession(int mrsID) override;
    void LMSEventAttached(int recordingSessionHandle, int mediaSessionHandle, int recordedCallID) override;
    void LMSEventStreaming(int recordingSessionHandle, int mediaSessionHandle, int recordedCallID) override;
    void LMSEventNotStreaming(int recordingSessionHandle) override;
    void LMSEventErrorStatus(int mrsID, LMSErrorCode errorCode) override;

    virtual ~RecordingController();
    RecordingController(const RecordingController&) = delete;
    RecordingController& operator=(const RecordingController&) = delete;

    bool getCallRecordingActivated(const std::string& lineURI);
    /// Whether a new recording session on this line starts recording by itself.
    bool getCallRecordingAutostarts(const std::string& lineURI);
    /// Whether the user may start or stop recording on this line now.
    bool getCallRecordingUserControllable(const std::string& line);
    bool isInCall(const std::string& lineURI);
    std::string getSelectedLine();
    /// The line's machine, owned by the controller, to be used under lock(); null when there is no memory for it.
    RecordingStateMachine* getRecordingStateMachineCreateNewIfNeeded(const std::string& lineURI);

    /// The user's start and stop; ignored where the recording mode does not allow it.
    void activateRecording(const std::string& lineURI);
    void deactivateRecording(const std::string& lineURI);
    /// The configured recording mode has changed.
    void setCallRecMode(const std::string& mode);
    void setLineStatus(std::string uri, ELineState state, int callid, std::string remoteURI);
    void setOriginatingLine(std::string uri);
    void dumpStateMachines();

    /// The controller's lock, for callers that start a lamp update themselves: asking and setting the lamp must not
    /// cross with another thread's.
    std::unique_lock<std::recursive_mutex> lock();
    /// Lets go of the event layer and the store, so that they can be released while events still arrive. From then on
    /// every operation returns at once: handle 0, null, false, empty.
    void close();

private:
    template <typename Body>
    auto guarded(const char* operation, Body body, int line = __builtin_LINE()) -> decltype(body());

    std::string recordingMode();
    RecordingStateMachine*& entryOf(const std::string& lineURI);
    RecordingStateMachine* newMachine();
    void beginSession(int mrsID, const std::string& lineURI, int callID);
    void releaseLine(const std::string& uri);
    void selectLine(const std::string& uri);

    // All guarded by m_lock.
    RecordingEventLayer* m_eventLayer;
    RecordingConfigManager* m_configManager;
    RecordingSessionController* m_recSessionController;
    std::map<std::string, RecordingStateMachine*> m_stateMachines;  // null: a line that was only looked up
    std::string m_selectedLine;
    std::string m_originatingLine;
    bool m_closed = false;
    std::recursive_mutex m_lock;
};
