#include "Threader.h"

#include "Scheduler.h"

using runtime::orders::Scheduler;
using runtime::orders::Wait;

// A thread's id is its number in the order, which is never 0: that is the first one, which nobody spawned.
bool Threader::spawn(ThreadId& id, Threadable* body, const char* name, ThreadPriority /*priority*/, int /*unused*/)
{
    Scheduler* const scheduler = Scheduler::current();
    id = body->m_threadId = scheduler != nullptr ? scheduler->spawn(*body, name) : 0U;
    if (id == 0) {
        return false;
    }
    scheduler->meet({});
    return true;
}

void Threader::waitForThreadCompletion(ThreadId id)
{
    Scheduler* const scheduler = Scheduler::current();
    if (scheduler == nullptr) {
        return;
    }
    if (id == static_cast<ThreadId>(Scheduler::POISON)) {
        scheduler->fail("wait for the thread of a body that was released");
    }
    if (scheduler->isThread(id)) {
        scheduler->meet({Wait::END_OF_THREAD, nullptr, nullptr, nullptr, id});
    }
}

Threadable::~Threadable()
{
    Scheduler::own().destroyed(*this);
}

int Threadable::getThreadPriorityForPlatform()
{
    return THREAD_PRIORITY_NORMAL;
}

int Threadable::type()
{
    return 0;
}
