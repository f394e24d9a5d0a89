#pragma once

#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

#include "LogSink.h"
#include "Threadable.h"
#include "telephone/LogFile.h"
#include "telephone/MachineLog.h"
#include "telephone/Step.h"

namespace deskphone {

/// A thread of the platform's that plays commands: a caller in the records, as is any thread that is none of the
/// platform's.
class Caller : public Threadable {
public:
    explicit Caller(int step = 0) : playedStep(step) {}

    int playedStep;  // of the command that it plays
};

/// Who made a record.
struct Turn {
    RecordThread thread;
    int step;  // a caller's
};

/// Follows what is recorded as it happens. Called on the thread that it happens on.
class Follower {
public:
    virtual ~Follower() = default;

    /// The plug-in calls the telephone.
    virtual void beforeCall() = 0;
    /// One at a time; must not come back to the recorder.
    virtual void recorded(const Record& record, const Turn& turn) = 0;
    /// The same for what is logged, whatever is recorded of it.
    virtual void logged(const char* component, const std::string& text, const Turn& turn) = 0;
};

/// Collects what the plug-in does to the telephone: its calls on the platform and its log, each with its thread. Any
/// thread may call any operation.
class Recorder : public runtime::LogSink {
public:
    /// What is read of the lines' machines: nothing, their events, or also the controller's list of them.
    enum class Reading { NOTHING, EVENTS, LIST };

    Recorder() = default;
    /// Leaves the log as if nothing were read of it.
    ~Recorder() override { read(Reading::NOTHING); }

    void call(const char* name, List arguments, bool refused = false);
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

    /// Lets this follow, which is not owned; null for nobody.
    void follow(Follower* follower);

    /// What was collected since the last time. Throws std::system_error when the log's file cannot be written.
    Records take();
    KeptLog takeLog();

    /// Uses what was read of the machines, while no record can come in.
    template <typename Use>
    auto withMachineLog(Use use)
    {
        const Guard guard(m_lock);
        return use(m_machineLog);
    }

private:
    // A std::mutex would be a point in the chosen orders of events, and this is no matter of the plug-in's.
    using Lock = std::shared_mutex;
    using Guard = std::lock_guard<Lock>;

    void setLogLevel() const;
    void tell(const Turn& turn, std::size_t from) const;

    Lock m_lock;  // guards all members
    Records m_records;
    KeptLog m_keptLog;
    int m_shownLevel = 0;
    int m_keptLevel = 0;
    LogFile* m_file = nullptr;
    Reading m_reading = Reading::NOTHING;
    MachineLog m_machineLog;
    std::atomic<Follower*> m_follower{nullptr};
};

}  // namespace deskphone
