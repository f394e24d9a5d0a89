#include "Futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <ctime>

namespace runtime {

namespace {

constexpr std::int64_t NS_PER_SECOND = 1'000'000'000;

int* address(FutexWord& word)
{
    static_assert(sizeof(FutexWord) == sizeof(int) && FutexWord::is_always_lock_free);
    return reinterpret_cast<int*>(&word);
}

}  // namespace

bool futexWait(FutexWord& word, int expected, std::int64_t deadlineNs)
{
    timespec deadline{};
    deadline.tv_sec = static_cast<std::time_t>(deadlineNs / NS_PER_SECOND);
    deadline.tv_nsec = static_cast<long>(deadlineNs % NS_PER_SECOND);
    // FUTEX_WAIT_BITSET takes an absolute time, so that an early return does not stretch the wait.
    const long result = ::syscall(SYS_futex, address(word), FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, expected,
                                  deadlineNs < 0 ? nullptr : &deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

void futexWake(FutexWord& word, int threads)
{
    ::syscall(SYS_futex, address(word), FUTEX_WAKE | FUTEX_PRIVATE_FLAG, threads, nullptr, nullptr, 0);
}

std::int64_t monotonicNs()
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * NS_PER_SECOND + now.tv_nsec;
}

}  // namespace runtime
