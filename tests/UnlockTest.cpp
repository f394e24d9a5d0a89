// Another thread comes in wherever one lets go of a lock: the orders that threads meet in only by chance, one by one.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <thread>

#include "Fakes.h"
#include "LMSEventDispatcher.h"

namespace {

// Of the calling thread's unlocks, after how many more the other thread comes in; -1: none does.
thread_local int untilOther = -1;
std::function<void()> other;

}  // namespace

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
{
    using Unlock = int (*)(pthread_mutex_t*);
    static const auto unlock = reinterpret_cast<Unlock>(::dlsym(RTLD_NEXT, "pthread_mutex_unlock"));
    const int result = unlock(mutex);
    if (untilOther >= 0 && untilOther-- == 0) {
        std::thread(other).join();
    }
    return result;
}

namespace {

TEST(RecordingConfigManager, LeavesNothingCrossedWhereverAnotherThreadComesIn)
{
    bool came = true;
    for (int unlocks = 0; came; ++unlocks) {
        FakeTelephone telephone;
        RecordingConfigManager store(&telephone.context);
        came = false;
        other = [&] {
            came = true;
            store.setDataItem(CALL_RECORDING_MODE_CONFIG, "other");
            store.setRecordingActivation("A", false);
            store.setRecordingActivation("B", true);
        };
        untilOther = unlocks;
        store.setDataItem(CALL_RECORDING_MODE_CONFIG, "one");
        store.setRecordingActivation("A", true);
        untilOther = -1;
        EXPECT_EQ(store.getDataItem(CALL_RECORDING_MODE), store.getDataItem(CALL_RECORDING_MODE_CONFIG)) << unlocks;
        expectTold(telephone.management, store);
        EXPECT_TRUE(came || unlocks > 5);
    }
}

TEST(LMSEventDispatcher, DestructionFinishesTheDeliveryAndDropsTheRest)
{
    Journal journal;
    FakeObserver observer(journal);
    auto* const dispatcher = new LMSEventDispatcher(&observer);
    Gate gate;
    bool delivering = false;
    journal.onCall = [&](const std::string& called) {
        if (called == "destroy" && !std::exchange(delivering, true)) {
            gate.enter();
            journal.call("finished");
        }
    };
    for (const int session : {1, 2, 3}) {
        dispatcher->LMSDestroySession(session);
    }
    gate.entered.take(-1);
    // The delivery ends when the destructor waits for the thread, which takes a lock.
    other = [&] { gate.opened.give(); };
    untilOther = 0;
    delete dispatcher;
    EXPECT_EQ(journal.take(), Lines({"destroy(1)", "finished()"}));
}

}  // namespace
