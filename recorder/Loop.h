#pragma once

#include <sofia-sip/su_wait.h>

#include <chrono>
#include <functional>

namespace recorder {

/// The one thread that everything runs on: SIP, RTP, timers and what the user says.
class Loop {
public:
    Loop();
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    void run() { ::su_root_run(m_root); }
    void stop() { ::su_root_break(m_root); }
    su_root_t* root() const { return m_root; }

private:
    su_root_t* m_root;
};

/// Calls back whenever a descriptor, which is not owned, can be read; as long as this lives.
class Watch {
public:
    /// Throws std::system_error for a descriptor that cannot be waited for, as a file's.
    Watch(const Loop& loop, int descriptor, std::function<void()> callback);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

private:
    static int onReadable(su_root_magic_t*, su_wait_t*, su_wakeup_arg_t* watch);

    su_root_t* const m_root;
    const std::function<void()> m_callback;
    int m_registration;
};

/// Calls back once, some time after it was set.
class Timer {
public:
    explicit Timer(const Loop& loop);
    ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Replaces what was set before.
    void set(std::chrono::milliseconds delay, std::function<void()> callback);

private:
    static void onExpired(su_root_magic_t*, su_timer_t*, su_timer_arg_t* timer);

    su_timer_t* const m_timer;
    std::function<void()> m_callback;
};

}  // namespace recorder
