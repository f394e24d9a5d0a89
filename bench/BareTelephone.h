#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "CriticalSection.h"
#include "Logging.h"
#include "RecordingStateMachine.h"

/// What handling an event can't do without, written bare: the session's look-up under its lock, the look-up of its
/// line, a step through the transition table with its action, and the tests of the log level on the way.
class BareTelephone {
public:
    void addLine(int handle, const std::string& line)
    {
        m_sessions.emplace(handle, new Session{7, line, -1});
        m_machines.emplace(line, new Machine);
    }

    void streaming(int handle, int mediaSessionHandle, int callID)
    {
        test(LOG_LEVEL_TRACE);
        Session* session = nullptr;
        {
            const CriticalSection guard(m_sessionLock);
            test(LOG_LEVEL_TRACE);
            session = m_sessions.find(handle)->second.get();
            test(LOG_LEVEL_TRACE);
        }
        Machine* const machine = m_machines.find(session->lineURI)->second.get();
        session->callID = callID;
        session->mediaSessionHandle = mediaSessionHandle;
        machine->handle(MRS_EVT_STREAM);
        // Whether a dump would show anything takes two.
        test(LOG_LEVEL_DETAIL);
        test(LOG_LEVEL_TRACE);
    }

    /// The same with the lock that lets one thread at a time in.
    void streamingAlone(int handle, int mediaSessionHandle, int callID)
    {
        const std::lock_guard<std::recursive_mutex> guard(m_lock);
        streaming(handle, mediaSessionHandle, callID);
    }

    void findLine(const std::string& line) { benchmark::DoNotOptimize(m_machines.find(line)->second.get()); }

private:
    struct Session {
        int callID;
        std::string lineURI;
        int mediaSessionHandle;
    };

    struct Machine {
        using Action = void (Machine::*)(int event);

        void handle(int event)
        {
            test(LOG_LEVEL_TRACE);
            previousEvent = eventNames[event];
            const int next = transitions[current * NUMBER_OF_RECORDING_EVENTS + event];
            test(LOG_LEVEL_DETAIL);
            const Action action = actions[next];
            (this->*action)(event);
        }
        void nothing(int /*event*/) { test(LOG_LEVEL_TRACE); }

        static inline const std::int16_t transitions[NUMBER_OF_RECORDING_STATES * NUMBER_OF_RECORDING_EVENTS] = {};
        static inline const Action actions[] = {&Machine::nothing};
        // The place that the plug-in's machine needs for its collaborators.
        void* collaborators[3] = {};
        int current = MRS_STA_IN_CALL;
        int previous = MRS_STA_IDLE;
        int session = 0;
        std::string previousEvent;
    };

    static void test(int level)
    {
        if (loggingOnApp("BareTelephone", level)) {
            logApp("BareTelephone", "", level, __LINE__, "an event");
        }
    }

    std::map<int, std::unique_ptr<Session>> m_sessions;
    std::map<std::string, std::unique_ptr<Machine>> m_machines;
    Semaphore m_sessionLock{1, 1, false};
    std::recursive_mutex m_lock;
};
