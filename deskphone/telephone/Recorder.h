#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "LogSink.h"
#include "Logging.h"
#include "telephone/Machines.h"
#include "telephone/Step.h"

namespace deskphone {

/// Collects what the plug-in does to the telephone: its calls on the platform and its log, each with its thread. Any
/// thread may call any operation that records; the rest is for the player's thread.
class Recorder : public runtime::LogSink {
public:
    void call(const char* name, List arguments);
    void log(const char* component, const char* source, int level, int line, const std::string& text) override;

    /// What was collected since the last time.
    Records take();

    /// The log is recorded up to this level.
    void showLog(int level);
    /// Whether the machines' events are recorded, and machines() is up to date. The plug-in tells them in its log,
    /// which is then on to its last level whatever is shown of it. Returns what was set before.
    bool watchMachines(bool watch);
    /// The lines' machines as they were last listed.
    std::vector<Machine> machines();

private:
    void add(Record record);
    void observe(const std::string& component, const std::string& text);

    std::atomic<int> m_shown{LOG_LEVEL_DETAIL};
    bool m_watching = false;
    std::mutex m_lock;
    Records m_records;   // guarded by m_lock
    std::string m_dump;  // guarded by m_lock
};

}  // namespace deskphone
