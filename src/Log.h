#pragma once

#include <exception>

#include "Logging.h"

// Each source file that logs defines its COMPONENT and SOURCE first. Nothing of a silent trace is computed; errors are
// logged without asking.
#define MRS_LOG(level, ...)                                                 \
    do {                                                                    \
        if ((level) <= LOG_LEVEL_ERROR || loggingOnApp(COMPONENT, level)) { \
            logApp(COMPONENT, SOURCE, level, __LINE__, __VA_ARGS__);        \
        }                                                                   \
    } while (false)

inline const char* asText(bool value)
{
    return value ? "true" : "false";
}

/// Runs an operation's body. Where the standard library throws (there is no memory left), that is logged and the
/// operation ends with `otherwise`: no exception of it reaches the framework.
template <typename Answer, typename Body>
Answer contained(const char* component, const char* source, const char* operation, Answer otherwise, Body body)
{
    try {
        return body();
    } catch (const std::exception& failure) {
        logApp(component, source, LOG_LEVEL_ERROR, __LINE__, "%s: %s", operation, failure.what());
        return otherwise;
    }
}

template <typename Body>
void contained(const char* component, const char* source, const char* operation, Body body)
{
    contained(component, source, operation, true, [&body] {
        body();
        return true;
    });
}
