#pragma once

#include <string>

using ThreadId = unsigned int;

enum ThreadPriority : int { THREAD_PRIORITY_LOWEST = 0, THREAD_PRIORITY_NORMAL = 1 };

class Threadable {
public:
    Threadable();
    virtual ~Threadable();

    virtual void run() = 0;
    virtual int getThreadPriorityForPlatform();
    virtual int type();

    ThreadId threadId() { return m_threadId; }

private:
    friend class Threader;

    std::string m_name;
    ThreadId m_threadId = 0;
};
