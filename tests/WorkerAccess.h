#pragma once

#include <utility>

#include "AsynchronousEventThread.h"

/// Gets at the worker's only instance, which stays stopped for the rest of a process: tests that start one service
/// after another let each have a live one.
struct WorkerAccess {
    /// Releases the worker, which must have been terminated.
    static void forget() { delete std::exchange(AsynchronousEventThread::m_instance, nullptr); }
    static bool hasCallControl() { return AsynchronousEventThread::m_instance->m_csfi != nullptr; }
};

inline void forgetWorker()
{
    WorkerAccess::forget();
}
