#pragma once

#include <string>

/// Error codes of the media server, carried and logged by number.
enum LMSErrorCode : int {};

/// Receives the media server's events about recording sessions, on call control's threads.
class LMSEventObserverIfc {
public:
    /// A recording session is set up for a call. Returns the new session's handle, 0 when there is none.
    virtual int LMSCreateSession(const std::string& lineURI, int callID) = 0;
    virtual void LMSDestroySession(int mrsID) = 0;
    virtual void LMSEventAttached(int recordingSessionHandle, int mediaSessionHandle, int recordedCallID) = 0;
    virtual void LMSEventStreaming(int recordingSessionHandle, int mediaSessionHandle, int recordedCallID) = 0;
    virtual void LMSEventNotStreaming(int recordingSessionHandle) = 0;
    virtual void LMSEventErrorStatus(int mrsID, LMSErrorCode errorCode) = 0;

protected:
    ~LMSEventObserverIfc() = default;
};
