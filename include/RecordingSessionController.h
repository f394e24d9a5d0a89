#pragma once

#include <map>
#include <string>

#include "RecordingSession.h"
#include "Semaphore.h"

class RecordingEventLayer;

/// The table of recording sessions; it owns them and hands out their handles, 1 to 999998.
///
/// Any thread may call the locked operations. A session returned by getSession() is valid until it is destroyed.
class RecordingSessionController {
public:
    explicit RecordingSessionController(RecordingEventLayer* eventLayer);
    virtual ~RecordingSessionController();
    RecordingSessionController(const RecordingSessionController&) = delete;
    RecordingSessionController& operator=(const RecordingSessionController&) = delete;

    /// The new session's handle; 0 when the table is full or there is no memory.
    int createSession();
    /// False when there is no such session.
    bool destroySession(int handle);
    /// Null when there is no such session.
    RecordingSession* getSession(int handle);
    /// For callers that hold the lock.
    RecordingSession* getSessionThreadUnsafe(int handle);
    /// Passes "sendonly" or "inactive" on to the event layer, under the lock, and returns its answer; false for an
    /// unknown session or another direction.
    bool setDirection(int handle, const std::string& direction);
    /// Read without the lock.
    int numberOfSessions();
    void emergencyTidyUp();

    /// Room for a line that a machine hands out, which saves an allocation for each status. The machines use it one at
    /// a time.
    std::string& spareText() { return m_spareText; }

    // Steps of createSession(), under its lock.
    int getNextFreeSessionHandle();
    void storeSession(int handle, RecordingSession& session);

private:
    RecordingEventLayer* m_eventLayer;
    int m_nextSessionHandle = 1;                  // guarded by m_sessionLock
    std::map<int, RecordingSession*> m_sessions;  // guarded by m_sessionLock
    Semaphore m_sessionLock{1, 1, false};
    std::string m_spareText;
};
