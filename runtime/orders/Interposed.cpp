// What the plug-in reaches past its framework: the standard library's mutexes and its memory. The loader finds these
// before the system's. Outside an order they are the system's.

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <cstdlib>
#include <new>

#include "Scheduler.h"

using runtime::orders::Scheduler;
using runtime::orders::Wait;

namespace {

using Operation = int (*)(pthread_mutex_t*);

Operation systems(const char* name)
{
    return reinterpret_cast<Operation>(::dlsym(RTLD_NEXT, name));
}

/// A mutex within an order: its owner is the thread's number + 1, and its other fields are left alone, so that it is as
/// good as new for the system while it is free.
class Mutex {
public:
    Mutex(Scheduler& scheduler, pthread_mutex_t& mutex)
        : m_scheduler(scheduler), m_mutex(mutex), m_self(static_cast<int>(scheduler.running()) + 1)
    {
    }

    int lock(Wait::Kind kind)
    {
        auto& fields = m_mutex.__data;
        if (fields.__owner == m_self && fields.__kind == PTHREAD_MUTEX_RECURSIVE_NP) {
            ++fields.__count;
            return 0;
        }
        meet(kind);
        if (fields.__owner != 0) {
            return EBUSY;
        }
        fields.__owner = m_self;
        m_scheduler.holds(m_scheduler.running(), 1);
        return 0;
    }

    int unlock()
    {
        auto& fields = m_mutex.__data;
        if (fields.__owner == m_self && fields.__count > 0) {
            --fields.__count;
            return 0;
        }
        meet(Wait::NOTHING);
        if (fields.__owner != m_self) {
            m_scheduler.fail("a mutex is unlocked that the thread does not hold");
        }
        fields.__owner = 0;
        m_scheduler.holds(m_scheduler.running(), -1);
        return 0;
    }

private:
    void meet(Wait::Kind kind)
    {
        m_scheduler.meet({kind, nullptr, nullptr, &m_mutex});
        if (m_mutex.__data.__kind == Scheduler::POISON) {
            m_scheduler.fail("use of a mutex that was released");
        }
    }

    Scheduler& m_scheduler;
    pthread_mutex_t& m_mutex;
    const int m_self;
};

}  // namespace

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    static const Operation system = systems("pthread_mutex_lock");
    Scheduler* const scheduler = Scheduler::current();
    return scheduler == nullptr ? system(mutex) : Mutex(*scheduler, *mutex).lock(Wait::MUTEX);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept
{
    static const Operation system = systems("pthread_mutex_trylock");
    Scheduler* const scheduler = Scheduler::current();
    return scheduler == nullptr ? system(mutex) : Mutex(*scheduler, *mutex).lock(Wait::NOTHING);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
{
    static const Operation system = systems("pthread_mutex_unlock");
    Scheduler* const scheduler = Scheduler::current();
    return scheduler == nullptr ? system(mutex) : Mutex(*scheduler, *mutex).unlock();
}

void operator delete(void* memory) noexcept
{
    Scheduler* const scheduler = Scheduler::current();
    if (scheduler == nullptr || memory == nullptr) {
        std::free(memory);
    } else {
        scheduler->release(memory);
    }
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}
