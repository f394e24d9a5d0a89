#pragma once

using ThreadId = unsigned int;

/// Priorities by number; what each means on the telephone's kernel is the platform's.
enum ThreadPriority : int { THREAD_PRIORITY_LOWEST = 0, THREAD_PRIORITY_NORMAL = 1 };

/// The body of a platform thread.
class Threadable {
public:
    virtual ~Threadable();

    /// Runs on the thread that Threader::spawn() starts; the thread ends when it returns.
    virtual void run() = 0;
    virtual int getThreadPriorityForPlatform();
    virtual int type();

    /// The thread last spawned for this body, 0 before.
    ThreadId threadId() { return m_threadId; }

private:
    friend class Threader;

    ThreadId m_threadId = 0;
};
