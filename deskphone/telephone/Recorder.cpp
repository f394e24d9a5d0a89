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
    add(Call{name, std::move(arguments)});
}

void Recorder::log(const char* component, const char* source, int level, int /*line*/, const std::string& text)
{
    if (level >= LOG_LEVEL_TRACE) {
        observe(component, text);
    }
    if (level <= m_shown) {
        add(LogLine{level, component, source, text});
    }
}

void Recorder::observe(const std::string& component, const std::string& text)
{
    MachineEvent event;
    if (component == "RecordingController" && text.compare(0, 20, "dumpStateMachines()\n") == 0) {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_dump = text;
    } else if (component == "RecordingStateMachine" && readMachineEvent(text, event)) {
        add(event);
    } else if (component == "RecordingStateMachine" && text.compare(0, 4, "ACT_") == 0) {
        const RecordThread thread = currentThread();
        const std::lock_guard<std::mutex> guard(m_lock);
        for (auto record = m_records[thread].rbegin(); record != m_records[thread].rend(); ++record) {
            if (auto* const last = std::get_if<MachineEvent>(&*record)) {
                last->action = text;
                break;
            }
        }
    }
}

void Recorder::add(Record record)
{
    const RecordThread thread = currentThread();
    const std::lock_guard<std::mutex> guard(m_lock);
    m_records[thread].push_back(std::move(record));
}

Records Recorder::take()
{
    Records taken;
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        taken = std::exchange(m_records, {});
    }
    std::map<std::string, std::string> lines;  // by their machines
    for (auto& records : taken) {
        for (Record& record : records) {
            auto* const event = std::get_if<MachineEvent>(&record);
            if (event != nullptr && lines.empty()) {
                for (const Machine& machine : machines()) {
                    lines[machine.address] = machine.line;
                }
            }
            if (event != nullptr) {
                event->line = lines[event->machine];
            }
        }
    }
    return taken;
}

void Recorder::showLog(int level)
{
    m_shown = level;
    runtime::setLogLevel(m_watching ? LOG_LEVEL_DETAIL : level);
}

bool Recorder::watchMachines(bool watch)
{
    const int shown = m_watching ? m_shown.load() : runtime::logLevel();
    const bool before = std::exchange(m_watching, watch);
    showLog(shown);
    return before;
}

std::vector<Machine> Recorder::machines()
{
    const std::lock_guard<std::mutex> guard(m_lock);
    return machinesIn(m_dump);
}

}  // namespace deskphone
