// What happens when memory runs out.

#include <gmock/gmock.h>

#include <cstdlib>
#include <new>

#include "Fakes.h"
#include "RecordingController.h"

namespace {

using ::testing::ElementsAre;

// Of the calling thread's allocations, those that report failure without throwing fail, and the one that comes after so
// many others.
thread_local bool failing = false;
thread_local int untilFailure = -1;

}  // namespace

// Not inlined: the compiler would take malloc and free for a mismatch with what the library allocates.
__attribute__((noinline)) void* operator new(std::size_t size)
{
    if (untilFailure >= 0 && untilFailure-- == 0) {
        throw std::bad_alloc();
    }
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

__attribute__((noinline)) void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return failing ? nullptr : std::malloc(size);
}

__attribute__((noinline)) void operator delete(void* memory) noexcept
{
    std::free(memory);
}

__attribute__((noinline)) void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace {

class ShortOfMemory : public ::testing::Test, protected FakeTelephone {
protected:
    ShortOfMemory()
    {
        store.setDataItem(CALL_RECORDING_MODE_CONFIG, "allcalls");
        journal.take();
    }
    ~ShortOfMemory() override
    {
        failing = false;
        untilFailure = -1;
    }

    FakeEventLayer eventLayer{journal};
    RecordingConfigManager store{&context};
    RecordingController controller{&eventLayer, &store};
};

TEST_F(ShortOfMemory, ALineWithoutMachineIsReportedAndItsSessionEndsAllTheSame)
{
    controller.isInCall("L");
    store.getRecordingActivation("L");
    LogCapture log(3);
    failing = true;
    const int handle = controller.LMSCreateSession("L", 7);
    failing = false;
    controller.LMSEventAttached(handle, 1, 7);
    controller.LMSEventStreaming(handle, 1, 7);
    controller.LMSEventNotStreaming(handle);
    controller.LMSEventErrorStatus(handle, LMSErrorCode(5));
    controller.LMSDestroySession(handle);
    controller.LMSDestroySession(handle);

    EXPECT_EQ(handle, 1);
    const std::string from = "2 RecordingController: ";
    const std::string call = from + "Cannot make call to  m_stateMachines[lineURI=\"L\"]->";
    const std::string null = " State machine associated with lineURI equals NULL!";
    EXPECT_THAT(
        log.take(),
        ElementsAre(
            from + "Allocation of new recording state machine failed for lineURI = L.", call + "EVT_activate()." + null,
            call + "EVT_in_call(mrsID==1)." + null,
            from + "LMSEventAttached(): no machine associated with lineURI = L, machine->EVT_attached() not called",
            from + "LMSEventStreaming: lineURI = L has no associated state machine",
            from + "LMSEventNotStreaming(): lineURI == L has no associated state machine",
            from + "LMSEventErrorStatus(): lineURI == L has no associated state machine",
            from + "LMSDestroySession(): no machine associated with lineURI = L, machine->EVT_not_in_call() not called",
            from + "LMSDestroySession: session with handle==1 not found. Couldn't call destroySession."));
    EXPECT_FALSE(store.getRecordingActivation("L"));
    EXPECT_EQ(controller.LMSCreateSession("L", 8), 2);
    EXPECT_TRUE(controller.isInCall("L"));
}

TEST_F(ShortOfMemory, ARequestWithoutMachineIsReported)
{
    store.setDataItem(CALL_RECORDING_MODE_CONFIG, "manual");
    controller.isInCall("L");
    store.getRecordingActivation("L");
    LogCapture log(2);
    failing = true;
    controller.activateRecording("L");
    EXPECT_EQ(controller.getRecordingStateMachineCreateNewIfNeeded("L"), nullptr);
    failing = false;
    EXPECT_THAT(log.take(),
                ElementsAre("2 RecordingController: activateRecording(lineURI=L): Cannot make call to  "
                            "m_stateMachines[lineURI=\"L\"]->EVT_activate(). State machine associated with lineURI "
                            "equals NULL!"));
    EXPECT_TRUE(store.getRecordingActivation("L"));
}

TEST_F(ShortOfMemory, ACallWithoutSessionIsAnsweredWithNoHandle)
{
    controller.LMSDestroySession(controller.LMSCreateSession("L", 6));
    journal.take();
    LogCapture log(3);
    untilFailure = 0;
    EXPECT_EQ(controller.LMSCreateSession("L", 7), 0);
    EXPECT_THAT(log.take(), ::testing::Contains("2 RecordingController: LMSCreateSession: session==NULL. Session "
                                                "parameters (lineURI, callID) not set."));
    EXPECT_TRUE(controller.isInCall("L"));
}

TEST_F(ShortOfMemory, ASessionThatIsAttachedIsAnsweredWithItsHandleWhicheverAllocationFails)
{
    LogCapture log(6);
    int attached = 0;
    for (int allocations = 0; allocations < 150; ++allocations) {
        const std::string line = "sip:a-line-with-a-long-name@office" + std::to_string(allocations);
        journal.take();
        untilFailure = allocations;
        const int handle = controller.LMSCreateSession(line, 7);
        untilFailure = -1;
        for (const std::string& call : journal.take()) {
            if (call.rfind("attach(", 0) == 0) {
                ++attached;
                EXPECT_EQ(call, "attach(" + std::to_string(handle) + ", )") << "after " << allocations;
            }
        }
        controller.LMSDestroySession(handle);
    }
    EXPECT_GT(attached, 75);
}

TEST_F(ShortOfMemory, NoOperationThrowsWhicheverAllocationFails)
{
    const std::string line = "sip:a-line-with-a-long-name@office";
    const Lines lines = {line, line + "1", line + "2"};
    for (int allocations = 0; allocations < 200; ++allocations) {
        untilFailure = allocations;
        const int handle = controller.LMSCreateSession(lines[static_cast<std::size_t>(allocations) % 3], 7);
        controller.LMSEventAttached(handle, 12, 7);
        controller.LMSEventNotStreaming(handle);
        controller.setLineStatus("", ELineState(11), 7, "");
        controller.activateRecording(line);
        controller.dumpStateMachines();
        store.setDataItem(CALL_RECORDER_ADDRESS_CONFIG, line);
        untilFailure = -1;
        controller.LMSDestroySession(handle);
    }
    store.setDataItem(CALL_RECORDER_ADDRESS_CONFIG, line);
    journal.take();
    const int handle = controller.LMSCreateSession("L", 7);
    EXPECT_THAT(journal.take(), ::testing::Contains("attach(" + std::to_string(handle) + ", " + line + ")"));
}

}  // namespace
