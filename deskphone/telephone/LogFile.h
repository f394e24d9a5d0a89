#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "telephone/Step.h"

namespace deskphone {

/// The plug-in's log in a file, as a telephone writes it: records of all threads in the order in which they came,
///
///     TIME THREAD LEVEL COMPONENT SOURCE:LINE: TEXT
///
/// with the time in UTC. A text of several lines goes on in the next. For one thread at a time.
class LogFile {
public:
    /// Replaces the file's content. Throws std::system_error, with the name, when it cannot be written.
    explicit LogFile(const std::string& name);

    void write(RecordThread thread, const LogLine& log, int sourceLine);
    /// Hands on what was written so far. Throws std::system_error when any of it could not be written.
    void flush();

private:
    const char* timeNow();

    const std::string m_name;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_file;
    std::chrono::seconds m_second{-1};  // the one that m_time tells
    char m_time[32] = "";
};

}  // namespace deskphone
