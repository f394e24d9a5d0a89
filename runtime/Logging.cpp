#include "Logging.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <mutex>

#include "LogSink.h"

namespace {

/// The level of one component. They are only ever added, at the front, so that any thread may go through them without a
/// lock.
struct Component {
    const std::string name;
    Component* const next;
    std::atomic<int> level{0};
};

std::atomic<int> highest{0};  // of all levels, so that a level which is off costs one comparison
std::atomic<int> general{0};
std::atomic<Component*> components{nullptr};
std::atomic<runtime::LogSink*> receiver{nullptr};

Component* find(const char* name)
{
    Component* component = components.load(std::memory_order_acquire);
    while (component != nullptr && component->name != name) {
        component = component->next;
    }
    return component;
}

void updateHighest()
{
    int level = general;
    for (const Component* component = components; component != nullptr; component = component->next) {
        level = std::max<int>(level, component->level);
    }
    highest = level;
}

std::mutex settingLevels;

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
    const std::lock_guard<std::mutex> guard(settingLevels);
    general = level;
    updateHighest();
}

int logLevel()
{
    return general;
}

void setLogLevel(const std::string& component, int level)
{
    const std::lock_guard<std::mutex> guard(settingLevels);
    Component* known = find(component.c_str());
    if (known == nullptr) {
        known = new Component{component, components};
        components.store(known, std::memory_order_release);
    }
    known->level = level;
    updateHighest();
}

}  // namespace runtime

bool loggingOnApp(const char* component, int level)
{
    if (level > highest.load(std::memory_order_relaxed)) {
        return false;
    }
    if (level <= general.load(std::memory_order_relaxed)) {
        return true;
    }
    const Component* const known = find(component);
    return known != nullptr && level <= known->level.load(std::memory_order_relaxed);
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
