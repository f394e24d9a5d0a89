#pragma once

#include <mutex>
#include <string>

#include "LogSink.h"
#include "telephone/LogFile.h"
#include "telephone/MachineLog.h"
#include "telephone/Step.h"

namespace deskphone {

/// Collects what the plug-in does to the telephone: its calls on the platform and its log, each with its thread. Any
/// thread may call any operation.
class Recorder : public runtime::LogSink {
public:
    /// What is read of the lines' machines: nothing, their events, or also the controller's list of them.
    enum class Reading { NOTHING, EVENTS, LIST };

    Recorder() = default;
    /// Leaves the log as if nothing were read of it.
    ~Recorder() override { read(Reading::NOTHING); }

    void call(const char* name, List arguments);
    void log(const char* component, const char* source, int level, int line, const std::string& text) override;

    /// Switches on as much of the log as the reading takes, whatever is shown of it. Returns what was read before.
    /// While the list is read, the log is read only.
    Reading read(Reading reading);

    /// Records, and writes, the log up to this level.
    void showLog(int level);
    /// Writes what is shown of the log to this file too; null for none. It stays the caller's.
    void writeLog(LogFile* file);
    /// Keeps the log up to this level apart from the records, whatever is shown of it.
    void keepLog(int level);

    /// What was collected since the last time. Throws std::system_error when the log's file cannot be written.
    Records take();
    KeptLog takeLog();

    /// Uses what was read of the machines, while no record can come in.
    template <typename Use>
    auto withMachineLog(Use use)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return use(m_machineLog);
    }

private:
    void setLogLevel() const;

    std::mutex m_lock;  // guards all members
    Records m_records;
    KeptLog m_keptLog;
    int m_shownLevel = 0;
    int m_keptLevel = 0;
    LogFile* m_file = nullptr;
    Reading m_reading = Reading::NOTHING;
    MachineLog m_machineLog;
};

}  // namespace deskphone
