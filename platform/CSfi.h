#pragma once

#include <string>

class LMSEventObserverIfc;
class SfiRecordingController;

/// Call control. Its operations may be called on any thread and may take as long as they need.
class CSfi {
public:
    virtual ~CSfi() = default;

    /// The telephone's call control, owned by the platform; null while there is none.
    static CSfi* GetInstance();

    /// Asks to attach a recording session to its call, recording to `recUri`. What came of it is reported by events.
    virtual void attachRecSession(int mrsId, const std::string& recUri) = 0;
    virtual void detachRecSession(int mrsID) = 0;
    /// From now on `observer`, which stays the caller's, receives the media server's events.
    virtual void registerLMSEventObserver(LMSEventObserverIfc* observer) = 0;
    /// Owned by call control; may be null.
    virtual SfiRecordingController* getSfiRecordingController() = 0;
};
