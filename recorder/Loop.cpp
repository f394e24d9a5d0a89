#include "Loop.h"

#include <sofia-sip/su.h>

#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

namespace recorder {

Loop::Loop()
{
    ::su_init();
    m_root = ::su_root_create(nullptr);
    if (m_root == nullptr) {
        throw std::bad_alloc();
    }
    ::su_root_threading(m_root, 0);
}

Loop::~Loop()
{
    ::su_root_destroy(m_root);
    ::su_deinit();
}

Watch::Watch(const Loop& loop, int descriptor, std::function<void()> callback)
    : m_root(loop.root()), m_callback(std::move(callback))
{
    su_wait_t wait;
    if (::su_wait_create(&wait, descriptor, SU_WAIT_IN) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for a descriptor");
    }
    m_registration = ::su_root_register(m_root, &wait, onReadable, this, 0);
    if (m_registration < 0) {
        const std::system_error failure(errno, std::generic_category(), "cannot wait for a descriptor");
        ::su_wait_destroy(&wait);
        throw failure;
    }
}

Watch::~Watch()
{
    ::su_root_deregister(m_root, m_registration);
}

int Watch::onReadable(su_root_magic_t*, su_wait_t*, su_wakeup_arg_t* watch)
{
    static_cast<Watch*>(watch)->m_callback();
    return 0;
}

Timer::Timer(const Loop& loop) : m_timer(::su_timer_create(::su_root_task(loop.root()), 0))
{
    if (m_timer == nullptr) {
        throw std::bad_alloc();
    }
}

Timer::~Timer()
{
    ::su_timer_destroy(m_timer);
}

void Timer::set(std::chrono::milliseconds delay, std::function<void()> callback)
{
    m_callback = std::move(callback);
    ::su_timer_set_interval(m_timer, onExpired, this, static_cast<su_duration_t>(delay.count()));
}

void Timer::onExpired(su_root_magic_t*, su_timer_t*, su_timer_arg_t* timer)
{
    // The callback may set the timer again, or destroy it.
    const std::function<void()> callback = std::move(static_cast<Timer*>(timer)->m_callback);
    callback();
}

}  // namespace recorder
