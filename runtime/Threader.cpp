#include "Threader.h"

#include <map>
#include <mutex>
#include <system_error>
#include <thread>

#include "Activity.h"
#include "Threads.h"

namespace {

/// The platform threads that nobody has waited for yet.
struct Registry {
    std::mutex lock;
    ThreadId lastId = 0;
    std::map<ThreadId, std::thread> threads;
};

// Never destroyed: a process may end while threads still run.
Registry& registry()
{
    static auto* const instance = new Registry;
    return *instance;
}

thread_local Threadable* threadBody = nullptr;

void runBody(Threadable* body)
{
    threadBody = body;
    runtime::activity::started();
    body->run();
    runtime::activity::ended();
}

}  // namespace

bool Threader::spawn(ThreadId& id, Threadable* body, const char* /*name*/, ThreadPriority /*priority*/, int /*unused*/)
{
    Registry& all = registry();
    const std::lock_guard<std::mutex> guard(all.lock);
    id = ++all.lastId;
    body->m_threadId = id;
    runtime::activity::spawned();
    try {
        std::thread& thread = all.threads[id];
        thread = std::thread(runBody, body);
        return true;
    } catch (const std::exception&) {
        all.threads.erase(id);
        runtime::activity::ended();
        id = body->m_threadId = 0;
        return false;
    }
}

void Threader::waitForThreadCompletion(ThreadId id)
{
    std::thread thread;
    {
        Registry& all = registry();
        const std::lock_guard<std::mutex> guard(all.lock);
        const auto found = all.threads.find(id);
        if (found == all.threads.end()) {
            return;
        }
        thread = std::move(found->second);
        all.threads.erase(found);
    }
    thread.join();
}

Threadable::~Threadable() = default;

int Threadable::getThreadPriorityForPlatform()
{
    return THREAD_PRIORITY_NORMAL;
}

int Threadable::type()
{
    return 0;
}

namespace runtime {

Threadable* currentThreadable()
{
    return threadBody;
}

}  // namespace runtime
