#include "Activity.h"

#include <climits>

#include "Futex.h"

namespace runtime {

namespace {

FutexWord busyThreads{0};
std::atomic<int> idleWaiters{0};
thread_local bool onPlatformThread = false;

void leaveBusy()
{
    if (busyThreads.fetch_sub(1) == 1 && idleWaiters.load() > 0) {
        futexWake(busyThreads, INT_MAX);
    }
}

}  // namespace

namespace activity {

void spawned()
{
    busyThreads.fetch_add(1);
}

void started()
{
    onPlatformThread = true;
}

void ended()
{
    leaveBusy();
}

void waits()
{
    if (onPlatformThread) {
        leaveBusy();
    }
}

void goesOn()
{
    if (onPlatformThread) {
        busyThreads.fetch_add(1);
    }
}

void granting()
{
    busyThreads.fetch_add(1);
}

void granted()
{
    // The granting thread counted a thread that is none of the platform's.
    if (!onPlatformThread) {
        leaveBusy();
    }
}

}  // namespace activity

void waitUntilIdle()
{
    idleWaiters.fetch_add(1);
    for (int busy = busyThreads.load(); busy != 0; busy = busyThreads.load()) {
        futexWait(busyThreads, busy, -1);
    }
    idleWaiters.fetch_sub(1);
}

}  // namespace runtime
