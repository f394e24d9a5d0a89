#include "Log.h"

#include <exception>

void logException(const char* component, const char* source, int line, const char* operation) noexcept
{
    try {
        try {
            throw;
        } catch (const std::exception& failure) {
            logApp(component, source, LOG_LEVEL_ERROR, line, "%s: %s", operation, failure.what());
        } catch (...) {
            logApp(component, source, LOG_LEVEL_ERROR, line, "%s: unknown exception", operation);
        }
    } catch (...) {
    }
}
