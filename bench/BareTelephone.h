#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "RecordingStateMachine.h"
#include "Semaphore.h"

/// Does nothing, in a shared library of its own.
bool emptyCall(const char* component, int level);

/// What handling an event can't do without, written bare: the session's look-up under its lock, the look-up of its
/// line, a step through the transition table that keeps the event's name and runs an action, and the tests of the log
/// level on the way. In a shared library, as the plug-in is: calls from one library to another cost less than those
/// from a program.
class BareTelephone {
public:
    void addLine(int handle, const std::string& line);
    void streaming(int handle, int mediaSessionHandle, int callID);
    /// The same under a lock that lets one thread at a time in.
    void streamingAlone(int handle, int mediaSessionHandle, int callID);
    /// The same without keeping the event's name.
    void streamingUnnamed(int handle, int mediaSessionHandle, int callID);
    void findLine(const std::string& line);

private:
    struct Session {
        int callID;
        std::string lineURI;
        int mediaSessionHandle;
    };

    struct Machine {
        using Action = void (Machine::*)(int event);

        template <bool NAMED>
        void handle(int event);
        void nothing(int event);

        static const std::int16_t transitions[NUMBER_OF_RECORDING_STATES * NUMBER_OF_RECORDING_EVENTS];
        static const Action actions[];
        // The place that the plug-in's machine needs for its collaborators.
        void* collaborators[3] = {};
        int current = MRS_STA_IN_CALL;
        int previous = MRS_STA_IDLE;
        int session = 0;
        std::string previousEvent;
    };

    template <bool NAMED>
    void handled(int handle, int mediaSessionHandle, int callID);

    std::map<int, std::unique_ptr<Session>> m_sessions;
    std::map<std::string, std::unique_ptr<Machine>> m_machines;
    Semaphore m_sessionLock{1, 1, false};
    std::recursive_mutex m_lock;
};
