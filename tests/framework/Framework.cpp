#include <chrono>
#include <deque>
#include <thread>

#include "CriticalSection.h"
#include "InvokerResponse.h"
#include "ManageableData.h"
#include "Semaphore.h"
#include "Threader.h"

Semaphore::Semaphore(int count, int maximum, bool) : m_count(count), m_maximum(maximum) {}

Semaphore::~Semaphore() = default;

bool Semaphore::take(int timeoutMs)
{
    std::unique_lock<std::mutex> guard(m_mutex);
    const auto free = [this] { return m_count > 0; };
    if (timeoutMs < 0) {
        m_given.wait(guard, free);
    } else if (!m_given.wait_for(guard, std::chrono::milliseconds(timeoutMs), free)) {
        return false;
    }
    --m_count;
    return true;
}

void Semaphore::give()
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (m_count < m_maximum) {
        ++m_count;
        m_given.notify_one();
    }
}

CriticalSection::CriticalSection(Semaphore& lock) : m_held(lock.take(-1)), m_lock(&lock) {}

CriticalSection::~CriticalSection()
{
    if (m_held) {
        m_lock->give();
    }
}

namespace {

std::mutex threadsLock;
std::deque<std::thread> threads;

}  // namespace

bool Threader::spawn(ThreadId& id, Threadable* body, const char* name, ThreadPriority, int)
{
    const std::lock_guard<std::mutex> guard(threadsLock);
    m_lastName = body->m_name = name;
    id = body->m_threadId = static_cast<ThreadId>(threads.size() + 1);
    threads.emplace_back([body] { body->run(); });
    return true;
}

void Threader::waitForThreadCompletion(ThreadId id)
{
    std::unique_lock<std::mutex> guard(threadsLock);
    std::thread& thread = threads.at(id - 1);
    guard.unlock();
    thread.join();
}

Threadable::Threadable() = default;
Threadable::~Threadable() = default;

int Threadable::getThreadPriorityForPlatform()
{
    return THREAD_PRIORITY_NORMAL;
}

int Threadable::type()
{
    return 0;
}

ManageableData::ManageableData() = default;
ManageableData::~ManageableData() = default;

void ManageableData::populate(const std::string& id, const std::string& key, const std::string& value)
{
    m_rootIds.push_back(id);
    m_values[id].emplace(key, value);
}

void ManageableData::getRootIds(std::vector<std::string>& ids)
{
    ids = m_rootIds;
}

bool ManageableData::interogate(const std::string& id, const std::string& key, std::string& value)
{
    const auto found = m_values[id].find(key);
    if (found == m_values[id].end()) {
        return false;
    }
    value = found->second;
    return true;
}

void InvokerResponse::setResponseText(const char* text, int length)
{
    m_text.assign(text, static_cast<std::size_t>(length));
}

void InvokerResponse::finish()
{
    m_request = 0;
}

InvokerResponse::~InvokerResponse() = default;
