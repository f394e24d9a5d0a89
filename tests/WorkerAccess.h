#pragma once

#include <utility>

#include "AsynchronousEventThread.h"

/// Gets at the worker's only instance, which stays stopped for the rest of a process: tests that start one service
/// after another let each have a live one.
template <AsynchronousEventThread** instance>
struct WorkerAccess {
    friend AsynchronousEventThread*& workerInstance() { return *instance; }
};
AsynchronousEventThread*& workerInstance();
template struct WorkerAccess<&AsynchronousEventThread::m_instance>;

/// Releases the worker, which must have been terminated.
inline void forgetWorker()
{
    delete std::exchange(workerInstance(), nullptr);
}
