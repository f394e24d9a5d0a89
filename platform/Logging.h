#pragma once

enum LogLevel : int {
    LOG_LEVEL_ERROR = 2,
    LOG_LEVEL_WARNING = 3,
    LOG_LEVEL_INFO = 4,
    LOG_LEVEL_TRACE = 5,
    LOG_LEVEL_DETAIL = 6,
};

/// Whether records of `component` at `level` are wanted. Cheap: asked before every trace, on any thread.
bool loggingOnApp(const char* component, int level);

/// Logs one record, formatted as by printf. `source` and `line` name the place in the source.
void logApp(const char* component, const char* source, int level, int line, const char* format, ...)
    __attribute__((format(printf, 5, 6)));
