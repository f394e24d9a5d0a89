#pragma once

#include <mutex>
#include <string>

#include "LogSink.h"
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
    Reading read(Reading reading);

    /// What was collected since the last time.
    Records take();

    /// Uses what was read of the machines, while no record can come in.
    template <typename Use>
    auto withMachineLog(Use use)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return use(m_machineLog);
    }

private:
    std::mutex m_lock;  // guards all members
    Records m_records;
    Reading m_reading = Reading::NOTHING;
    MachineLog m_machineLog;
};

}  // namespace deskphone
