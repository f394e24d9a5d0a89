#pragma once

#include <cstdint>
#include <string>

#include "MediaRecordingExport.h"

class RecordingConfigManager;
class RecordingEventLayer;
class RecordingSessionController;
struct RecordingSession;

enum RecordingState : int {
    ILLEGAL_STATE,  // in the transition table: no transition
    MRS_STA_IDLE,
    MRS_STA_IN_CALL,
    MRS_STA_ACTIVATED,
    MRS_STA_ATTACH_REQUESTED,
    MRS_STA_STREAMING,
    MRS_STA_NON_STREAMING,
    MRS_STA_LINE_DESELECTED,
    MRS_STA_ERROR,
};
constexpr int NUMBER_OF_RECORDING_STATES = MRS_STA_ERROR + 1;

enum RecordingEvent : int {
    MRS_EVT_IN_CALL,
    MRS_EVT_NOT_IN_CALL,
    MRS_EVT_ACTIVATE,
    MRS_EVT_DEACTIVATE,
    MRS_EVT_ATTACHED,
    MRS_EVT_ERROR,
    MRS_EVT_STREAM,
    MRS_EVT_DONT_STREAM,
    MRS_EVT_LINE_SELECTED,
    MRS_EVT_LINE_DESELECTED,
};
constexpr int NUMBER_OF_RECORDING_EVENTS = MRS_EVT_LINE_DESELECTED + 1;

extern const char* const stateNames[NUMBER_OF_RECORDING_STATES];
extern const char* const eventNames[NUMBER_OF_RECORDING_EVENTS];

/// Decides for one line what an event does: requests to the event layer, the configuration store's lock.
///
/// Holds no lock: the controller calls it under its own, one event at a time. Owns none of its collaborators; the
/// session table and the store may be null. A transition is made before its action runs, and no failure of a
/// collaborator undoes it.
class MRS_EXPORT RecordingStateMachine {
public:
    RecordingStateMachine(RecordingEventLayer* eventLayer, RecordingSessionController* sessionController,
                          RecordingConfigManager* configManager);

    /// `mrsID` names the recording session of the line's call; 0 keeps the one known.
    void EVT_in_call(int mrsID);
    void EVT_not_in_call();
    void EVT_activate();
    void EVT_deactivate();
    void EVT_attached();
    void EVT_error();
    void EVT_streaming();
    void EVT_non_streaming();
    void EVT_line_selected();
    void EVT_line_deselected();

    int getState();
    std::string getStateName() const;
    void setState(int state);
    /// Whether a recording session exists for a call on the line.
    bool getSessionInCall();
    /// The machine and its session on one line.
    std::string dump() const;

    /// The machine's tables, for whoever draws or checks them: the state that an event leads to, ILLEGAL_STATE for
    /// none, and the names. The arguments are of the two enumerations.
    static int nextState(int state, int event);
    static const char* stateName(int state);
    static const char* eventName(int event);

private:
    using Action = void (RecordingStateMachine::*)(int event);

    static const std::int16_t recordingTransitionTable[NUMBER_OF_RECORDING_STATES * NUMBER_OF_RECORDING_EVENTS];
    static const Action recordingStateActions[NUMBER_OF_RECORDING_STATES];

    void handleEvent(int event);
    Action ExecuteAction(int event);

    void ACT_no_action(int event);
    void ACT_idle(int event);
    void ACT_in_call(int event);
    void ACT_activated(int event);
    void ACT_attach_requested(int event);
    void ACT_streaming(int event);
    void ACT_non_streaming(int event);
    void ACT_line_deselected(int event);
    void ACT_error(int event);

    bool leaveRecording();
    void enterRecordingInProgress();
    void exitRecordingInProgress();
    void callDatasetSynchronizationLock(bool lock);
    void sendRecordingStatus(const std::string& status);
    void setMediaSessionDirection(const std::string& dir);
    const RecordingSession* session() const;

    RecordingEventLayer* m_eventLayer;
    RecordingSessionController* m_recSessionController;
    RecordingConfigManager* m_configManager;
    int m_currentState = MRS_STA_IDLE;
    int m_previousState = MRS_STA_IDLE;
    int m_mrsID = 0;  // the session of the line's last call, 0 before the first
    std::string m_previousEvent;
};
