#include "BareTelephone.h"

#include <benchmark/benchmark.h>

#include "CriticalSection.h"
#include "Logging.h"

namespace {

const char* const names[NUMBER_OF_RECORDING_EVENTS] = {"", "", "", "", "", "", "MRS_EVT_STREAM", "", "", ""};

void test(int level)
{
    if (loggingOnApp("BareTelephone", level)) {
        logApp("BareTelephone", "", level, __LINE__, "an event");
    }
}

}  // namespace

bool emptyCall(const char* /*component*/, int /*level*/)
{
    return false;
}

const std::int16_t BareTelephone::Machine::transitions[] = {};
const BareTelephone::Machine::Action BareTelephone::Machine::actions[] = {&Machine::nothing};

template <bool NAMED>
void BareTelephone::Machine::handle(int event)
{
    test(LOG_LEVEL_TRACE);
    benchmark::DoNotOptimize(event);  // to be looked up, as in the plug-in
    if (NAMED) {
        previousEvent = names[event];
    }
    const int next = transitions[current * NUMBER_OF_RECORDING_EVENTS + event];
    test(LOG_LEVEL_DETAIL);
    const Action action = actions[next];
    (this->*action)(event);
}

void BareTelephone::Machine::nothing(int /*event*/)
{
    test(LOG_LEVEL_TRACE);
}

void BareTelephone::addLine(int handle, const std::string& line)
{
    m_sessions.emplace(handle, new Session{7, line, -1});
    m_machines.emplace(line, new Machine);
}

template <bool NAMED>
void BareTelephone::handled(int handle, int mediaSessionHandle, int callID)
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
    machine->handle<NAMED>(MRS_EVT_STREAM);
    // Whether a dump would show anything takes two.
    test(LOG_LEVEL_DETAIL);
    test(LOG_LEVEL_TRACE);
}

void BareTelephone::streaming(int handle, int mediaSessionHandle, int callID)
{
    handled<true>(handle, mediaSessionHandle, callID);
}

void BareTelephone::streamingAlone(int handle, int mediaSessionHandle, int callID)
{
    const std::lock_guard<std::recursive_mutex> guard(m_lock);
    handled<true>(handle, mediaSessionHandle, callID);
}

void BareTelephone::streamingUnnamed(int handle, int mediaSessionHandle, int callID)
{
    handled<false>(handle, mediaSessionHandle, callID);
}

void BareTelephone::findLine(const std::string& line)
{
    benchmark::DoNotOptimize(m_machines.find(line)->second.get());
}
