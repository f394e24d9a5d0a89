#pragma once

#include <atomic>
#include <cstdint>

namespace runtime {

using FutexWord = std::atomic<int>;

/// Waits while `word` is `expected`, at most until the monotonic time `deadlineNs` (-1: without limit). May return
/// early; false when the time ran out.
bool futexWait(FutexWord& word, int expected, std::int64_t deadlineNs);
void futexWake(FutexWord& word, int threads);
std::int64_t monotonicNs();

}  // namespace runtime
