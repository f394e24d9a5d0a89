#include "telephone/Recorder.h"

#include <algorithm>
#include <utility>

#include "LMSEventObserverIfc.h"
#include "Threadable.h"
#include "Threads.h"

namespace deskphone {

namespace {

// Of the plug-in's two threads only the dispatcher's body is an observer of call control's events.
Turn currentTurn()
{
    Threadable* const body = runtime::currentThreadable();
    if (body == nullptr) {
        return {CALLER, 0};
    }
    if (const auto* const caller = dynamic_cast<const Caller*>(body)) {
        return {CALLER, caller->playedStep};
    }
    return {dynamic_cast<LMSEventObserverIfc*>(body) != nullptr ? DISPATCHER : WORKER, 0};
}

}  // namespace

void Recorder::call(const char* name, List arguments, bool refused)
{
    if (Follower* const follower = m_follower) {
        follower->beforeCall();
    }
    const Turn turn = currentTurn();
    const Guard guard(m_lock);
    m_records[turn.thread].emplace_back(Call{name, std::move(arguments), refused});
    tell(turn, m_records[turn.thread].size() - 1);
}

void Recorder::log(const char* component, const char* source, int level, int line, const std::string& text)
{
    const Turn turn = currentTurn();
    const RecordThread thread = turn.thread;
    const Guard guard(m_lock);
    auto& records = m_records[thread];
    const std::size_t before = records.size();
    if (m_reading != Reading::NOTHING && level >= LOG_LEVEL_TRACE) {
        m_machineLog.read(component, text, thread, records);
    }
    if (m_reading != Reading::LIST && level <= std::max(m_shownLevel, m_keptLevel)) {
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
    if (Follower* const follower = m_follower) {
        follower->logged(component, text, turn);
    }
    tell(turn, before);
}

/// Of this thread's records, from this one on; with the lock held.
void Recorder::tell(const Turn& turn, std::size_t from) const
{
    if (Follower* const follower = m_follower) {
        for (std::size_t index = from; index < m_records[turn.thread].size(); ++index) {
            follower->recorded(m_records[turn.thread][index], turn);
        }
    }
}

void Recorder::follow(Follower* follower)
{
    m_follower = follower;
}

Recorder::Reading Recorder::read(Reading reading)
{
    const Guard guard(m_lock);
    runtime::setLogLevel(MachineLog::CONTROLLER, reading == Reading::LIST     ? LOG_LEVEL_DETAIL
                                                 : reading == Reading::EVENTS ? LOG_LEVEL_TRACE
                                                                              : 0);
    runtime::setLogLevel(MachineLog::MACHINE, reading == Reading::NOTHING ? 0 : LOG_LEVEL_DETAIL);
    return std::exchange(m_reading, reading);
}

void Recorder::showLog(int level)
{
    const Guard guard(m_lock);
    m_shownLevel = level;
    setLogLevel();
}

void Recorder::keepLog(int level)
{
    const Guard guard(m_lock);
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
    const Guard guard(m_lock);
    m_file = file;
}

Records Recorder::take()
{
    const Guard guard(m_lock);
    if (m_file != nullptr) {
        m_file->flush();
    }
    return std::exchange(m_records, {});
}

KeptLog Recorder::takeLog()
{
    const Guard guard(m_lock);
    return std::exchange(m_keptLog, {});
}

}  // namespace deskphone
