#include "RecordingSessionController.h"

#include <memory>

#include "CriticalSection.h"
#include "Log.h"
#include "RecordingEventLayer.h"

namespace {

constexpr const char* COMPONENT = "RecordingSessionController";
constexpr const char* SOURCE = "./src/RecordingSessionController";

constexpr int HANDLE_LIMIT = 999999;            // handles are below it
constexpr int MAX_SESSIONS = HANDLE_LIMIT - 1;  // 0 means no session everywhere, so it is never handed out

}  // namespace

RecordingSessionController::RecordingSessionController(RecordingEventLayer* eventLayer) : m_eventLayer(eventLayer) {}

RecordingSessionController::~RecordingSessionController()
{
    const CriticalSection guard(m_sessionLock);
    for (const auto& entry : m_sessions) {
        delete entry.second;
    }
}

int RecordingSessionController::createSession()
{
    const CriticalSection guard(m_sessionLock);
    MRS_LOG(LOG_LEVEL_TRACE, "createSession()");
    if (numberOfSessions() >= MAX_SESSIONS) {
        MRS_LOG(LOG_LEVEL_ERROR, "Create session: failed - Max Media Sessions reached");
        return 0;
    }
    return contained(COMPONENT, SOURCE, "createSession", [this] {
        auto session = std::make_unique<RecordingSession>();
        const int handle = getNextFreeSessionHandle();
        storeSession(handle, *session);
        static_cast<void>(session.release());
        MRS_LOG(LOG_LEVEL_TRACE, "createSession(): created session handle %i", handle);
        return handle;
    });
}

int RecordingSessionController::getNextFreeSessionHandle()
{
    int candidate = m_nextSessionHandle;
    while (candidate == 0 || m_sessions.count(candidate) != 0) {
        candidate = (candidate + 1) % HANDLE_LIMIT;
    }
    m_nextSessionHandle = (candidate + 1) % HANDLE_LIMIT;
    return candidate;
}

void RecordingSessionController::storeSession(int handle, RecordingSession& session)
{
    MRS_LOG(LOG_LEVEL_TRACE, "storeSession( handle = %i, session )", handle);
    m_sessions.emplace(handle, &session);
}

bool RecordingSessionController::destroySession(int handle)
{
    const CriticalSection guard(m_sessionLock);
    MRS_LOG(LOG_LEVEL_TRACE, "destroySession(handle=%i)", handle);
    RecordingSession* const session = getSessionThreadUnsafe(handle);
    if (session == nullptr) {
        MRS_LOG(LOG_LEVEL_WARNING, "Invalid MediaSession requested: %i", handle);
        return false;
    }
    m_sessions.erase(handle);
    delete session;
    return true;
}

RecordingSession* RecordingSessionController::getSession(int handle)
{
    const CriticalSection guard(m_sessionLock);
    return getSessionThreadUnsafe(handle);
}

RecordingSession* RecordingSessionController::getSessionThreadUnsafe(int handle)
{
    MRS_LOG(LOG_LEVEL_TRACE, "getSession(handle=%i)", handle);
    const auto found = m_sessions.find(handle);
    RecordingSession* const session = found == m_sessions.end() ? nullptr : found->second;
    MRS_LOG(LOG_LEVEL_TRACE, "getSession: tmpSession = %p\n", static_cast<void*>(session));
    return session;
}

bool RecordingSessionController::setDirection(int handle, const std::string& direction)
{
    const CriticalSection guard(m_sessionLock);
    MRS_LOG(LOG_LEVEL_TRACE, "setDirection(handle=%i, direction=%s)", handle, direction.c_str());
    const RecordingSession* const session = getSessionThreadUnsafe(handle);
    if (session != nullptr) {
        if (direction == "sendonly") {
            return m_eventLayer->setDirection(session->mediaSessionHandle,
                                              MediaControlServiceIfc::MEDIA_DIRECTION_SENDONLY);
        }
        if (direction == "inactive") {
            return m_eventLayer->setDirection(session->mediaSessionHandle,
                                              MediaControlServiceIfc::MEDIA_DIRECTION_INACTIVE);
        }
    }
    MRS_LOG(LOG_LEVEL_ERROR, "invalid session or direction");
    return false;
}

int RecordingSessionController::numberOfSessions()
{
    return static_cast<int>(m_sessions.size());
}

void RecordingSessionController::emergencyTidyUp()
{
    const CriticalSection guard(m_sessionLock);
}
