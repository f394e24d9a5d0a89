#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "CriticalSection.h"
#include "LMSEventDispatcher.h"
#include "Logging.h"
#include "ManageableData.h"
#include "RecordingStateMachine.h"
#include "SilentTelephone.h"
#include "communicationsServiceTexts.h"

using Event = LMSEventDispatcher::LMSEventData;

/// The queue that one writes without thinking: a mutex, a condition variable and a deque of records on the heap, and
/// the thread that uses them.
class StandardQueue {
public:
    explicit StandardQueue(std::function<void(const Event&)> use) : m_use(std::move(use)) {}
    ~StandardQueue()
    {
        append(nullptr);
        m_thread.join();
    }

    void post(const Event& event) { append(std::make_unique<Event>(event)); }

private:
    void append(std::unique_ptr<Event> event)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_events.push_back(std::move(event));
        m_signal.notify_one();
    }
    /// Waits for it; null at the end.
    std::unique_ptr<Event> oldest()
    {
        std::unique_lock<std::mutex> guard(m_lock);
        m_signal.wait(guard, [this] { return !m_events.empty(); });
        std::unique_ptr<Event> event = std::move(m_events.front());
        m_events.pop_front();
        return event;
    }

    std::function<void(const Event&)> m_use;
    std::mutex m_lock;
    std::condition_variable m_signal;
    std::deque<std::unique_ptr<Event>> m_events;
    std::thread m_thread{[this] {
        while (const std::unique_ptr<Event> event = oldest()) {
            m_use(*event);
        }
    }};
};

/// What handling a call can't do without, and nothing more. For each event: a lock that lets one thread in at a time; a
/// look-up of the session, under the table's lock, and one of the line; a step through the transition table, which
/// keeps the event's name; as many level tests as the plug-in has traces. For a call that is recorded also what is
/// asked of the outside, stored under the store's lock, and published. Kept out of line, as the plug-in is.
class BareTelephone {
public:
    BareTelephone(RecordingEventLayer& outside, LocalMgmtIfc& management, const std::string& mode)
        : m_outside(outside), m_management(management), m_mode(mode), m_records(m_mode != "disabled")
    {
        for (int cell = 0; cell < NUMBER_OF_RECORDING_STATES * NUMBER_OF_RECORDING_EVENTS; ++cell) {
            m_next[cell] =
                RecordingStateMachine::nextState(cell / NUMBER_OF_RECORDING_EVENTS, cell % NUMBER_OF_RECORDING_EVENTS);
        }
    }

    [[gnu::noinline]] int create(const std::string& line, int call)
    {
        const std::lock_guard<std::recursive_mutex> guard(m_lock);
        levelTests(m_records ? 24 : 14);
        m_selectedLine = line;
        const int session = ++m_lastSession;
        {
            const CriticalSection table(m_sessionLock);
            m_sessions.emplace(session, std::make_unique<Session>(Session{call, -1, line}));
        }
        std::unique_ptr<Machine>& machine = m_machines[line];
        if (machine == nullptr) {
            machine = std::make_unique<Machine>();
        }
        bool starts = false;
        {
            const std::lock_guard<std::mutex> store(m_storeLock);
            starts = m_mode == "autostart" || m_mode == "allcalls";
        }
        if (starts) {
            publish(line, true);
            step(*machine, MRS_EVT_ACTIVATE);
        }
        step(*machine, MRS_EVT_IN_CALL);
        if (m_records) {
            std::unique_lock<std::mutex> store(m_storeLock);
            const std::string recorder = m_recorder;
            m_recordingLines.insert(line);
            store.unlock();
            m_outside.callAttachSession(session, recorder);
        }
        return session;
    }

    [[gnu::noinline]] void handle(const Event& event)
    {
        const std::lock_guard<std::recursive_mutex> guard(m_lock);
        handleUnlocked(event);
    }

    [[gnu::noinline]] void handleUnlocked(const Event& event)
    {
        static constexpr RecordingEvent events[] = {MRS_EVT_NOT_IN_CALL, MRS_EVT_ATTACHED, MRS_EVT_STREAM,
                                                    MRS_EVT_DONT_STREAM};
        const int handle = event.recordingSessionHandle;
        if (event.eventType == LMSEventDispatcher::LMS_DESTROY_SESSION) {
            destroy(handle);
            return;
        }
        levelTests(m_records ? 15 : 8);
        Session& session = sessionOf(handle);
        session.call = event.recordedCallID;
        session.media = event.mediaSessionHandle;
        step(machineOf(session.line), events[event.eventType]);
        if (m_records) {
            m_outside.setDirection(session.media, MediaControlServiceIfc::MEDIA_DIRECTION_SENDONLY);
            tell(handle);
        }
    }

    [[gnu::noinline]] int stateOf(const std::string& line) { return machineOf(line).state; }

private:
    struct Session {
        int call;
        int media;
        std::string line;
    };
    struct Machine {
        int state = MRS_STA_IDLE;
        std::string event;
        void* room[4] = {};  // for what else the plug-in's machine holds
    };

    static void levelTests(int number)
    {
        for (int i = 0; i < number; ++i) {
            if (loggingOnApp("BareTelephone", LOG_LEVEL_TRACE)) {
                logApp("BareTelephone", "", LOG_LEVEL_TRACE, __LINE__, "an event");
            }
        }
    }
    [[gnu::noinline]] void destroy(int handle)
    {
        levelTests(28);
        const std::string line = sessionOf(handle).line;
        publish(line, false);
        step(machineOf(line), MRS_EVT_NOT_IN_CALL);
        m_outside.callDetachSession(handle);
        {
            const std::lock_guard<std::mutex> store(m_storeLock);
            m_recordingLines.erase(line);
        }
        tell(handle);
        const CriticalSection table(m_sessionLock);
        m_sessions.erase(handle);
    }

    Machine& machineOf(const std::string& line) { return *m_machines.find(line)->second; }
    Session& sessionOf(int handle)
    {
        const CriticalSection table(m_sessionLock);
        return *m_sessions.find(handle)->second;
    }
    void tell(int handle)
    {
        const Session& session = sessionOf(handle);
        m_told = session.line;
        m_outside.callRecordingStatus(m_told, session.call, communicationsServiceTexts::content_feature_on);
    }
    void step(Machine& machine, RecordingEvent event)
    {
        machine.event = eventNames[event];
        const int next = m_next[machine.state * NUMBER_OF_RECORDING_EVENTS + event];
        if (next != ILLEGAL_STATE) {
            machine.state = next;
        }
    }
    /// Looks afterwards whether what was told is still what is stored.
    void publish(const std::string& line, bool on)
    {
        const std::string text = line + (on ? ";true" : ";false");
        std::unique_lock<std::mutex> store(m_storeLock);
        bool& activated = m_activation[line];
        do {
            activated = on;
            m_lastActivation = text;
            store.unlock();
            ManageableData record;
            record.populate(m_activationTag, m_activationTag, text);
            m_management.publishData(record);
            store.lock();
        } while (activated != on || m_lastActivation != text);
    }

    int m_next[NUMBER_OF_RECORDING_STATES * NUMBER_OF_RECORDING_EVENTS];
    RecordingEventLayer& m_outside;
    LocalMgmtIfc& m_management;
    std::recursive_mutex m_lock;
    std::string m_selectedLine;
    std::map<std::string, std::unique_ptr<Machine>> m_machines;

    Semaphore m_sessionLock{1, 1, false};
    std::map<int, std::unique_ptr<Session>> m_sessions;
    int m_lastSession = 0;
    std::string m_told;

    std::mutex m_storeLock;
    std::map<std::string, bool> m_activation;
    std::set<std::string> m_recordingLines;
    std::string m_lastActivation;
    const std::string m_activationTag = "call-recording-active";
    const std::string m_recorder = RECORDER;
    const std::string m_mode;
    const bool m_records;
};
