#include "telephone/Recorder.h"

#include <utility>

#include "LMSEventObserverIfc.h"
#include "Threadable.h"
#include "Threads.h"

namespace deskphone {

namespace {

// Of the plug-in's two threads only the dispatcher's body is an observer of call control's events.
RecordThread currentThread()
{
    Threadable* const body = runtime::currentThreadable();
    if (body == nullptr) {
        return CALLER;
    }
    return dynamic_cast<LMSEventObserverIfc*>(body) != nullptr ? DISPATCHER : WORKER;
}

}  // namespace

void Recorder::call(const char* name, List arguments)
{
    const RecordThread thread = currentThread();
    const std::lock_guard<std::mutex> guard(m_lock);
    m_records[thread].emplace_back(Call{name, std::move(arguments)});
}

void Recorder::log(const char* component, const char* source, int level, int /*line*/, const std::string& text)
{
    const RecordThread thread = currentThread();
    const std::lock_guard<std::mutex> guard(m_lock);
    auto& records = m_records[thread];
    if (m_reading != Reading::NOTHING && level >= LOG_LEVEL_TRACE) {
        m_machineLog.read(component, text, thread, records);
    }
    if (level <= runtime::logLevel()) {
        records.emplace_back(LogLine{level, component, source, text});
    }
}

Recorder::Reading Recorder::read(Reading reading)
{
    const std::lock_guard<std::mutex> guard(m_lock);
    runtime::setLogLevel(MachineLog::CONTROLLER, reading == Reading::LIST     ? LOG_LEVEL_DETAIL
                                                 : reading == Reading::EVENTS ? LOG_LEVEL_TRACE
                                                                              : 0);
    runtime::setLogLevel(MachineLog::MACHINE, reading == Reading::NOTHING ? 0 : LOG_LEVEL_DETAIL);
    return std::exchange(m_reading, reading);
}

Records Recorder::take()
{
    const std::lock_guard<std::mutex> guard(m_lock);
    return std::exchange(m_records, {});
}

}  // namespace deskphone
