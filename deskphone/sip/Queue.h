#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <deque>
#include <mutex>
#include <system_error>
#include <utility>

namespace deskphone {

/// Hands things over to a thread that waits on descriptors. Any thread puts, one takes.
template <typename Thing>
class Queue {
public:
    Queue() : m_descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
        if (m_descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }
    ~Queue() { ::close(m_descriptor); }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    void put(Thing thing)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_things.push_back(std::move(thing));
        if (m_things.size() == 1) {
            const std::uint64_t one = 1;
            [[maybe_unused]] const auto written = ::write(m_descriptor, &one, sizeof one);
        }
    }

    /// The oldest; false when there is none.
    bool take(Thing& thing)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        if (m_things.empty()) {
            return false;
        }
        thing = std::move(m_things.front());
        m_things.pop_front();
        if (m_things.empty()) {
            std::uint64_t count = 0;
            [[maybe_unused]] const auto read = ::read(m_descriptor, &count, sizeof count);
        }
        return true;
    }

    /// Readable while there is something to take.
    int descriptor() const { return m_descriptor; }

private:
    const int m_descriptor;
    std::mutex m_lock;
    std::deque<Thing> m_things;  // guarded by m_lock
};

}  // namespace deskphone
