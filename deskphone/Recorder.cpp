#include "Recorder.h"

#include <utility>

#include "LMSEventObserverIfc.h"
#include "Threadable.h"
#include "Threads.h"

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
    add(Call{name, std::move(arguments)});
}

void Recorder::log(const char* component, const char* source, int level, int /*line*/, const std::string& text)
{
    add(LogLine{level, component, source, text});
}

void Recorder::add(Record record)
{
    const RecordThread thread = currentThread();
    const std::lock_guard<std::mutex> guard(m_lock);
    m_records[thread].push_back(std::move(record));
}

Records Recorder::take()
{
    const std::lock_guard<std::mutex> guard(m_lock);
    return std::exchange(m_records, {});
}
