#pragma once

#include <string>

namespace runtime {

/// Receives the log. Called on the thread that logs, by several threads at once; must not call into the plug-in.
class LogSink {
public:
    virtual ~LogSink() = default;

    /// `text` is the formatted record, never cut.
    virtual void log(const char* component, const char* source, int level, int line, const std::string& text) = 0;
};

/// Replaces the receiver of the log, null for none. The sink stays the caller's and must outlive its use.
void setLogSink(LogSink* sink);

/// Logging is on up to this level, for every component; 0 (at the start) is off. Records above it are dropped.
void setLogLevel(int level);
int logLevel();

/// For this component, logging is on at least up to this level; 0 (at the start) leaves it to the level for all.
void setLogLevel(const std::string& component, int level);

}  // namespace runtime
