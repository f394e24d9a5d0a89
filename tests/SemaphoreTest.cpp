// The semaphore on a futex and a clock of the test's own: what happens while a thread waits is the test's to say.

#include "Semaphore.h"

#include <gtest/gtest.h>

#include <functional>

#include "Activity.h"
#include "Futex.h"

namespace {

constexpr std::int64_t NOW = 7'000'000;

// What happens while the thread waits; false when its time runs out.
std::function<bool()> onWait;
std::int64_t lastDeadline = 0;
int waits = 0;
// The threads that have something to do: at the start, the one that tests.
int busy = 1;

bool waitUntilTimeRunsOut()
{
    return false;
}

}  // namespace

namespace runtime {

bool futexWait(FutexWord& word, int expected, std::int64_t deadlineNs)
{
    EXPECT_EQ(word, expected);
    EXPECT_EQ(busy, 0);
    ++waits;
    lastDeadline = deadlineNs;
    return onWait();
}
void futexWake(FutexWord&, int) {}
std::int64_t monotonicNs()
{
    return NOW;
}

namespace activity {

void waits()
{
    --busy;
}
void goesOn()
{
    ++busy;
}
void granting()
{
    ++busy;
}
void granted() {}

}  // namespace activity

}  // namespace runtime

namespace {

struct ASemaphore : testing::Test {
    ASemaphore() { waits = 0; }
    ~ASemaphore() override { EXPECT_EQ(busy, 1); }

    Semaphore semaphore{0, 2, false};
};

TEST_F(ASemaphore, HoldsNoMorePermitsThanItsMaximumAndWaitsForNoneThatIsFree)
{
    for (int permits = 0; permits < 3; ++permits) {
        semaphore.give();
    }
    EXPECT_TRUE(semaphore.take(-1) && semaphore.take(0));
    EXPECT_FALSE(semaphore.take(0));
    EXPECT_TRUE(Semaphore(1, 1, false).take(-1));
    EXPECT_EQ(waits, 0);
}

TEST_F(ASemaphore, WaitsUntilItsTimeRunsOutAndIsAsBefore)
{
    onWait = waitUntilTimeRunsOut;
    EXPECT_FALSE(semaphore.take(5));
    EXPECT_EQ(lastDeadline, NOW + 5'000'000);
    EXPECT_EQ(busy, 1);
    semaphore.give();
    EXPECT_TRUE(semaphore.take(0));
    EXPECT_FALSE(semaphore.take(5));
    EXPECT_EQ(waits, 2);
}

TEST_F(ASemaphore, WaitsAgainWhenItIsWokenWithoutAPermit)
{
    onWait = [this] {
        if (waits == 3) {
            semaphore.give();
        }
        return true;
    };
    EXPECT_TRUE(semaphore.take(-1));
    EXPECT_EQ(waits, 3);
    EXPECT_EQ(lastDeadline, -1);
}

TEST_F(ASemaphore, PermitThatArrivesAsTheTimeRunsOutIsTakenOnce)
{
    onWait = [this] {
        semaphore.give();
        return false;
    };
    EXPECT_TRUE(semaphore.take(5));
    onWait = waitUntilTimeRunsOut;
    EXPECT_FALSE(semaphore.take(0) || semaphore.take(5));
    EXPECT_EQ(waits, 2);
}

}  // namespace
