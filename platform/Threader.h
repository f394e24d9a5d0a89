#pragma once

#include "Threadable.h"

/// Starts platform threads and waits for their end. Holds no state: a temporary one serves.
class Threader {
public:
    /// Starts a thread that runs `body`, which must outlive it. `id` receives the thread's id, also kept in `body`;
    /// false, with the id 0, when the system gives no thread.
    bool spawn(ThreadId& id, Threadable* body, const char* name, ThreadPriority priority, int);
    /// Returns once the thread has ended; at once for an id that names none.
    void waitForThreadCompletion(ThreadId id);
};
