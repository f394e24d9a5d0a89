#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "LMSEventObserverIfc.h"
#include "Semaphore.h"
#include "Threadable.h"

template <typename Record>
class RecordQueueView;

/// Takes the media server's events from call control's threads and delivers them to an observer on a thread of its
/// own, one at a time, oldest first; only a session's creation is passed on at once, on the caller's thread.
///
/// Any number of threads may post; none waits for a delivery. The observer, not owned, is called outside the queue's
/// lock and may post itself; it must stand a session's creation while an event is delivered to it.
class LMSEventDispatcher final : public LMSEventObserverIfc, public Threadable {
public:
    enum LMSEventType : int {
        LMS_DESTROY_SESSION = 0,
        LMS_EVENT_ATTACHED = 1,
        LMS_EVENT_STREAMING = 2,
        LMS_EVENT_NOT_STREAMING = 3,
        LMS_EVENT_ERROR_STATUS = 4,
    };

    struct LMSEventData {
        int recordingSessionHandle;
        int mediaSessionHandle;
        int recordedCallID;
        LMSErrorCode errorCode;
        LMSEventType eventType;
    };

    /// Starts the thread. `observer` must not be null.
    explicit LMSEventDispatcher(LMSEventObserverIfc* observer);

    int LMSCreateSession(const std::string& lineURI, int callID) override;
    void LMSDestroySession(int recordingSessionHandle) override;
    void LMSEventAttached(int recordingSessionHandle, int mediaSessionHandle, int recordedCallID) override;
    void LMSEventStreaming(int recordingSessionHandle, int mediaSessionHandle, int recordedCallID) override;
    void LMSEventNotStreaming(int recordingSessionHandle) override;
    void LMSEventErrorStatus(int recordingSessionHandle, LMSErrorCode errCode) override;

    /// Stops the thread and waits for it; an event being delivered is finished, those still queued are dropped. Call
    /// control must have stopped posting.
    ~LMSEventDispatcher() override;
    void run() override;

    /// Delivers nothing: an error without a session is only logged.
    void LMSEventErrorStatus(LMSErrorCode errCode);
    /// Queues a record, which belongs to the dispatcher from now on.
    void process(LMSEventData* data);

private:
    RecordQueueView<LMSEventData> queue();
    void post(int session, int media, int call, LMSErrorCode code, LMSEventType type);
    void deliver(const LMSEventData& data);

    LMSEventObserverIfc* m_observer;
    Semaphore m_queueLock{1, 1, false};
    std::vector<LMSEventData*> m_queue;  // guarded by m_queueLock; the oldest in front
    Semaphore m_queueSignal{0, 1, false};
    std::atomic<bool> m_running{true};
};
