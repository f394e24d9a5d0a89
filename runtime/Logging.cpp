#include "Logging.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <exception>

#include "LogSink.h"

namespace {

std::atomic<int> threshold{0};
std::atomic<runtime::LogSink*> receiver{nullptr};

std::string formatted(const char* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    char shortText[512];
    const int length = std::vsnprintf(shortText, sizeof shortText, format, arguments);
    std::string text(shortText,
                     length < 0 ? 0 : std::min<std::size_t>(static_cast<std::size_t>(length), sizeof shortText - 1));
    if (length >= static_cast<int>(sizeof shortText)) {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

}  // namespace

namespace runtime {

void setLogSink(LogSink* sink)
{
    receiver = sink;
}

void setLogLevel(int level)
{
    threshold = level;
}

int logLevel()
{
    return threshold;
}

}  // namespace runtime

bool loggingOnApp(const char* /*component*/, int level)
{
    return level <= threshold.load(std::memory_order_relaxed);
}

void logApp(const char* component, const char* source, int level, int line, const char* format, ...)
{
    runtime::LogSink* sink = receiver;
    if (sink == nullptr || !loggingOnApp(component, level)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    try {
        sink->log(component, source, level, line, formatted(format, arguments));
    } catch (const std::exception&) {
        // Without memory for its text a record is lost; nothing is left to report that to.
    }
    va_end(arguments);
}
