// Counts every allocation of the plug-in, exactly: how many an event makes, and what lines and sessions keep of the
// heap. Prints JSON. Without Google Benchmark, so that it runs on the telephone's own processor too.

#include <malloc.h>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "Activity.h"
#include "LMSEventDispatcher.h"
#include "ManageableData.h"
#include "SilentTelephone.h"

namespace {

std::atomic<long> allocations{0};
std::atomic<long> bytes{0};

/// What a block takes of the C library's heap: what can be used of it, and the word in front.
long heapBytes(void* block)
{
    return static_cast<long>(::malloc_usable_size(block) + sizeof(std::size_t));
}

}  // namespace

void* operator new(std::size_t size)
{
    void* const block = std::malloc(size);
    if (block == nullptr) {
        std::abort();
    }
    ++allocations;
    bytes += heapBytes(block);
    return block;
}
void operator delete(void* block) noexcept
{
    if (block != nullptr) {
        bytes -= heapBytes(block);
        std::free(block);
    }
}
void operator delete(void* block, std::size_t) noexcept
{
    operator delete(block);
}

namespace {

/// By how much an operation raises a count.
template <typename Operation>
long raised(const std::atomic<long>& count, Operation operation)
{
    const long before = count;
    operation();
    return count - before;
}

/// On a line that had a call before.
void countAllocations()
{
    const auto print = [](const char* name, auto operation) {
        std::printf("  \"%s\": %ld,\n", name, raised(allocations, operation));
    };
    Core core("allcalls");
    LMSEventObserverIfc& controller = core.controller;
    const std::string line = lineURI(0);
    playCall(controller, line);
    int session = 0;
    print("create", [&] { session = controller.LMSCreateSession(line, 7); });
    print("events", [&] {
        controller.LMSEventAttached(session, 12, 7);
        controller.LMSEventStreaming(session, 12, 7);
        controller.LMSEventNotStreaming(session);
        controller.LMSEventNotStreaming(session);  // without an action
        controller.LMSEventErrorStatus(session, LMSErrorCode{2});
    });
    print("destroy", [&] { controller.LMSDestroySession(session); });
    const std::string tag = "call-recording-active";
    print("record", [&] { ManageableData().populate(tag, tag, line); });

    LMSEventDispatcher dispatcher(&controller);
    const auto post = [&] {
        dispatcher.LMSEventNotStreaming(session);
        runtime::waitUntilIdle();
    };
    post();
    print("posted", post);
}

void measureMemory()
{
    constexpr int MANY = 1000;
    // What an operation keeps for each of many lines.
    const auto kept = [](auto& controller, int first, auto operation) {
        const long sum = raised(bytes, [&] {
            for (int i = first; i < first + MANY; ++i) {
                operation(controller, lineURI(i));
            }
        });
        return (sum + MANY - 1) / MANY;
    };
    const auto create = [](LMSEventObserverIfc& controller, const std::string& line) {
        controller.LMSCreateSession(line, 7);
    };
    Core recording("allcalls");
    Core silent("disabled");
    // First what is there only once, or once for a line.
    kept(recording.controller, 0, playCall);
    kept(silent.controller, 0, create);
    std::printf("  \"line\": %ld,\n", kept(recording.controller, MANY, playCall));
    std::printf("  \"session\": %ld,\n", kept(silent.controller, 0, create));
}

}  // namespace

int main()
{
    std::printf("{\n");
    countAllocations();
    measureMemory();
    std::printf("  \"bits\": %zu\n}\n", 8 * sizeof(void*));
}
