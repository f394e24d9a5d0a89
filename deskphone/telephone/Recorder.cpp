#include "telephone/Recorder.h"

#include <algorithm>
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

void Recorder::log(const char* component, const char* source, int level, int line, const std::string& text)
{
    const RecordThread thread = currentThread();
    const std::lock_guard<std::mutex> guard(m_lock);
    auto& records = m_records[thread];
    if (m_reading != Reading::NOTHING && level >= LOG_LEVEL_TRACE) {
        m_machineLog.read(component, text, thread, records);
    }
    if (m_reading == Reading::LIST || level > std::max(m_shownLevel, m_keptLevel)) {
        return;
    }
    LogLine log{level, component, source, text};
    if (level <= m_keptLevel) {
        m_keptLog[thread].push_back(log);
    }
    if (level <= m_shownLevel) {
        if (m_file != nullptr) {
            m_file->write(thread, log, line);
        }
        records.emplace_back(std::move(log));
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

void Recorder::showLog(int level)
{
    const std::lock_guard<std::mutex> guard(m_lock);
    m_shownLevel = level;
    setLogLevel();
}

void Recorder::keepLog(int level)
{
    const std::lock_guard<std::mutex> guard(m_lock);
    m_keptLevel = level;
    setLogLevel();
}

/// With the lock held.
void Recorder::setLogLevel() const
{
    runtime::setLogLevel(std::max(m_shownLevel, m_keptLevel));
}

void Recorder::writeLog(LogFile* file)
{
    const std::lock_guard<std::mutex> guard(m_lock);
    m_file = file;
}

Records Recorder::take()
{
    const std::lock_guard<std::mutex> guard(m_lock);
    if (m_file != nullptr) {
        m_file->flush();
    }
    return std::exchange(m_records, {});
}

KeptLog Recorder::takeLog()
{
    const std::lock_guard<std::mutex> guard(m_lock);
    return std::exchange(m_keptLog, {});
}

}  // namespace deskphone
