// Counts every allocation of the plug-in, exactly: how many an event makes, and what lines and sessions keep. Prints
// JSON. Without Google Benchmark, so that it runs on the telephone's own processor too.

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "Activity.h"
#include "LMSEventDispatcher.h"
#include "ManageableData.h"
#include "MediaRecordingDefs.h"
#include "SilentTelephone.h"

namespace {

constexpr std::size_t HEADER = alignof(std::max_align_t);  // in front of each block; holds its size

std::atomic<long> allocations{0};
std::atomic<long> bytesAsked{0};
std::atomic<long> bytesOfHeap{0};

/// What the C library's heap takes for a block: a word of its own, in steps of its alignment, four words at least.
long heapBytes(std::size_t size)
{
    constexpr std::size_t step = alignof(std::max_align_t);
    const std::size_t block = (size + sizeof(std::size_t) + step - 1) / step * step;
    return static_cast<long>(std::max(block, 4 * sizeof(std::size_t)));
}

void count(std::size_t size, int sign)
{
    bytesAsked += sign * static_cast<long>(size);
    bytesOfHeap += sign * heapBytes(size);
}

void* counted(std::size_t size)
{
    auto* const block = static_cast<std::byte*>(std::malloc(size + HEADER));
    if (block == nullptr) {
        std::abort();
    }
    ::new (block) std::size_t(size);
    ++allocations;
    count(size, 1);
    return block + HEADER;
}

void release(void* memory)
{
    if (memory != nullptr) {
        auto* const block = static_cast<std::byte*>(memory) - HEADER;
        count(*reinterpret_cast<std::size_t*>(block), -1);
        std::free(block);
    }
}

}  // namespace

void* operator new(std::size_t size)
{
    return counted(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return counted(size);
}
void operator delete(void* memory) noexcept
{
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    release(memory);
}

namespace {

struct Count {
    long allocations;
    long asked;
    long heap;
};

/// What an operation allocates, and what of it stays.
template <typename Operation>
Count countOf(Operation operation)
{
    const Count before{allocations, bytesAsked, bytesOfHeap};
    operation();
    return {allocations - before.allocations, bytesAsked - before.asked, bytesOfHeap - before.heap};
}

/// On a line that had a call before.
void countAllocations()
{
    Core core("allcalls");
    LMSEventObserverIfc& controller = core.controller;
    const std::string line = lineURI(0);
    playCall(controller, line);

    std::printf("  \"allocations\": {");
    const auto print = [](const char* event, auto operation) {
        std::printf("\"%s\": %ld, ", event, countOf(operation).allocations);
    };
    int session = 0;
    print("create", [&] { session = controller.LMSCreateSession(line, 7); });
    print("attached", [&] { controller.LMSEventAttached(session, 12, 7); });
    print("streaming", [&] { controller.LMSEventStreaming(session, 12, 7); });
    print("not streaming", [&] { controller.LMSEventNotStreaming(session); });
    print("without an action", [&] { controller.LMSEventNotStreaming(session); });
    print("error", [&] { controller.LMSEventErrorStatus(session, LMSErrorCode{2}); });
    print("destroy", [&] { controller.LMSDestroySession(session); });
    print("record", [&] {
        ManageableData record;
        record.populate(MediaRecordingDefs::tarnTagCallRecordingActive, MediaRecordingDefs::tarnTagCallRecordingActive,
                        line);
    });

    LMSEventDispatcher dispatcher(&controller);
    const auto posted = [&] {
        dispatcher.LMSEventNotStreaming(session);
        runtime::waitUntilIdle();
    };
    session = controller.LMSCreateSession(line, 7);
    posted();
    std::printf("\"posted\": %ld},\n", countOf(posted).allocations);
}

constexpr int MANY = 1000;

void playCalls(Core& core, int first, int lines)
{
    for (int i = first; i < first + lines; ++i) {
        playCall(core.controller, lineURI(i));
    }
}

void createSessions(Core& core)
{
    for (int i = 0; i < MANY; ++i) {
        core.controller.LMSCreateSession(lineURI(i), 7);
    }
}

void measureMemory()
{
    const auto print = [](const char* name, Count count) {
        std::printf("  \"%s\": {\"asked\": %ld, \"heap\": %ld},\n", name, (count.asked + MANY - 1) / MANY,
                    (count.heap + MANY - 1) / MANY);
    };
    Core recording("allcalls");
    playCalls(recording, 0, MANY);  // with what is there only once
    print("line", countOf([&] { playCalls(recording, MANY, MANY); }));
    print("recording", countOf([&] { createSessions(recording); }));
    Core silent("disabled");
    createSessions(silent);
    print("session", countOf([&] { createSessions(silent); }));
}

void measureGrowth()
{
    std::printf("  \"lines\": [");
    const char* separator = "";
    for (int lines = 1; lines <= 10000; lines *= 10) {
        Core core("allcalls");
        const Count count = countOf([&] { playCalls(core, 0, lines); });
        std::printf("%s{\"lines\": %d, \"asked\": %ld, \"heap\": %ld}", separator, lines, count.asked, count.heap);
        separator = ", ";
    }
    std::printf("]\n");
}

}  // namespace

int main()
{
    std::printf("{\n  \"bits\": %zu,\n", 8 * sizeof(void*));
    countAllocations();
    measureMemory();
    measureGrowth();
    std::printf("}\n");
}
