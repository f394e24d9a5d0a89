#pragma once

#include "Logging.h"

// Each source file that logs defines its COMPONENT and SOURCE first. Nothing of a silent trace is computed; errors are
// logged without asking. A record that cannot be logged is lost: no log decides what an operation does.
#define MRS_LOG(level, ...)                                              \
    do {                                                                 \
        if ((level) <= LOG_LEVEL_ERROR || isLogged(COMPONENT, level)) {  \
            try {                                                        \
                logApp(COMPONENT, SOURCE, level, __LINE__, __VA_ARGS__); \
            } catch (...) {                                              \
            }                                                            \
        }                                                                \
    } while (false)

inline bool isLogged(const char* component, int level) noexcept
{
    try {
        return loggingOnApp(component, level);
    } catch (...) {
        return false;
    }
}

inline const char* asText(bool value)
{
    return value ? "true" : "false";
}

/// Logs the exception that is being handled, as an error of this operation.
void logException(const char* component, const char* source, int line, const char* operation) noexcept;

/// Runs an operation's body. Whatever is thrown in it is logged, as from the caller's place in the source, and ends the
/// operation with the empty value of its type: no exception reaches the framework or another operation.
template <typename Body>
auto contained(const char* component, const char* source, const char* operation, Body body, int line = __builtin_LINE())
    -> decltype(body())
{
    try {
        return body();
    } catch (...) {
        logException(component, source, line, operation);
    }
    return decltype(body())();
}
