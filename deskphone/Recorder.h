#pragma once

#include <mutex>
#include <string>

#include "LogSink.h"
#include "Step.h"

/// Collects what the plug-in does to the telephone: its calls on the platform and its log, each with its thread. Any
/// thread may call any operation.
class Recorder : public runtime::LogSink {
public:
    void call(const char* name, List arguments);
    void log(const char* component, const char* source, int level, int line, const std::string& text) override;

    /// What was collected since the last time.
    Records take();

private:
    void add(Record record);

    std::mutex m_lock;
    Records m_records;  // guarded by m_lock
};
