#include "LMSEventDispatcher.h"

#include "Log.h"
#include "RecordQueueView.h"

namespace {

constexpr const char* COMPONENT = "LMSEventDispatcher";
constexpr const char* SOURCE = "./src/LMSEventDispatcher";

// What a record holds where its kind of event has no such value.
constexpr int NONE = -1;
constexpr LMSErrorCode NO_ERROR_CODE{2};

}  // namespace

LMSEventDispatcher::LMSEventDispatcher(LMSEventObserverIfc* observer) : m_observer(observer)
{
    queue().start(*this);
}

LMSEventDispatcher::~LMSEventDispatcher()
{
    queue().stop(*this);
    m_observer = nullptr;
}

RecordQueueView<LMSEventDispatcher::LMSEventData> LMSEventDispatcher::queue()
{
    return {m_queueLock, m_queue, m_queueSignal, m_running};
}

int LMSEventDispatcher::LMSCreateSession(const std::string& lineURI, int callID)
{
    return contained(COMPONENT, SOURCE, "LMSCreateSession",
                     [&] { return m_observer->LMSCreateSession(lineURI, callID); });
}

void LMSEventDispatcher::LMSDestroySession(int recordingSessionHandle)
{
    post(recordingSessionHandle, NONE, NONE, NO_ERROR_CODE, LMS_DESTROY_SESSION);
}

void LMSEventDispatcher::LMSEventAttached(int recordingSessionHandle, int mediaSessionHandle, int recordedCallID)
{
    post(recordingSessionHandle, mediaSessionHandle, recordedCallID, NO_ERROR_CODE, LMS_EVENT_ATTACHED);
}

void LMSEventDispatcher::LMSEventStreaming(int recordingSessionHandle, int mediaSessionHandle, int recordedCallID)
{
    post(recordingSessionHandle, mediaSessionHandle, recordedCallID, NO_ERROR_CODE, LMS_EVENT_STREAMING);
}

void LMSEventDispatcher::LMSEventNotStreaming(int recordingSessionHandle)
{
    post(recordingSessionHandle, NONE, NONE, NO_ERROR_CODE, LMS_EVENT_NOT_STREAMING);
}

void LMSEventDispatcher::LMSEventErrorStatus(int recordingSessionHandle, LMSErrorCode errCode)
{
    post(recordingSessionHandle, NONE, NONE, errCode, LMS_EVENT_ERROR_STATUS);
}

void LMSEventDispatcher::LMSEventErrorStatus(LMSErrorCode errCode)
{
    MRS_LOG(LOG_LEVEL_ERROR, "LMSEventErrorStatus(errCode=%d): method should't be called", errCode);
}

void LMSEventDispatcher::post(int session, int media, int call, LMSErrorCode code, LMSEventType type)
{
    contained(COMPONENT, SOURCE, "post", [&] { process(new LMSEventData{session, media, call, code, type}); });
}

void LMSEventDispatcher::process(LMSEventData* data)
{
    std::unique_ptr<LMSEventData> record(data);
    if (record == nullptr) {
        return;
    }
    contained(COMPONENT, SOURCE, "process", [&] { queue().append(std::move(record)); });
}

void LMSEventDispatcher::run()
{
    queue().deliver(
        [this](const LMSEventData& data) { contained(COMPONENT, SOURCE, "deliver", [&] { deliver(data); }); });
}

void LMSEventDispatcher::deliver(const LMSEventData& data)
{
    if (m_observer == nullptr) {
        return;
    }
    switch (data.eventType) {
        case LMS_DESTROY_SESSION: m_observer->LMSDestroySession(data.recordingSessionHandle); break;
        case LMS_EVENT_ATTACHED:
            m_observer->LMSEventAttached(data.recordingSessionHandle, data.mediaSessionHandle, data.recordedCallID);
            break;
        case LMS_EVENT_STREAMING:
            m_observer->LMSEventStreaming(data.recordingSessionHandle, data.mediaSessionHandle, data.recordedCallID);
            break;
        case LMS_EVENT_NOT_STREAMING: m_observer->LMSEventNotStreaming(data.recordingSessionHandle); break;
        case LMS_EVENT_ERROR_STATUS:
            m_observer->LMSEventErrorStatus(data.recordingSessionHandle, data.errorCode);
            break;
        default: break;
    }
}
