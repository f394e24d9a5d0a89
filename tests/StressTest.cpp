// One loaded service, driven from many threads at once the way a telephone does. Seeded: each thread does the same in
// every run; only their interleaving differs. What is checked at rest must hold whatever the order was.

#include <gmock/gmock.h>

#include <atomic>
#include <cstdio>
#include <random>
#include <thread>

#include "Activity.h"
#include "Fakes.h"
#include "MediaRecordingService.h"
#include "RecordingController.h"
#include "Semaphore.h"
#include "Transitions.h"
#include "WorkerAccess.h"

namespace {

using Random = std::mt19937;

int pick(Random& random, int count)
{
    return static_cast<int>(random() % static_cast<unsigned>(count));
}

const std::string& pick(Random& random, const Lines& texts)
{
    return texts[random() % texts.size()];
}

/// A service that answers slowly now and then. No time is waited for: others get the processor.
void dawdle(const std::string& /*called*/)
{
    thread_local Random random(4711);
    for (int yields = pick(random, 8) == 0 ? pick(random, 20) : 0; yields > 0; --yields) {
        std::this_thread::yield();
    }
}

const Lines LINES = {"sip:1@office", "sip:2@office", "sip:3@office", "", "sip:5@office"};
const Lines MODES = {"manual", "autostart", "allcalls", "disabled"};

/// Reads from the traces what each line's machine was told. Not guarded: the plug-in lets one thread at a time do so.
struct TraceReader : runtime::LogSink {
    void log(const char*, const char*, int, int, const std::string& text) override
    {
        const void* machine = nullptr;
        char event[40];
        if (std::sscanf(text.c_str(), "RecordingStateMachine(this=%p, mrsID=%*d)::ExecuteAction(event=%39[^)]",
                        const_cast<void**>(&machine), event) == 2) {
            const transitions::Transition* const made = transitions::transitionFrom(stateOf(machine), event);
            if (made != nullptr) {
                states[machine] = made->next;
            }
        }
    }
    /// The state that the machine's events lead to.
    int stateOf(const void* machine) { return states.emplace(machine, transitions::IDLE).first->second; }

    std::map<const void*, int> states;
};

/// Call control with sessions of its own, and handles that are stale or never were.
class Caller {
public:
    Caller(unsigned seed, LMSEventObserverIfc& observer) : m_random(seed), m_observer(observer) {}

    void reportSomething()
    {
        const int handle = m_handles[m_random() % m_handles.size()];
        ++m_count;
        switch (pick(m_random, 9)) {
            case 0:
            case 1: m_handles.push_back(m_observer.LMSCreateSession(pick(m_random, LINES), m_count)); break;
            case 2:
            case 3: m_observer.LMSEventAttached(handle, m_count, m_count); break;
            case 4: m_observer.LMSEventStreaming(handle, m_count, m_count); break;
            case 5: m_observer.LMSEventNotStreaming(handle); break;
            case 6: m_observer.LMSEventErrorStatus(handle, LMSErrorCode(m_count)); break;
            default: m_observer.LMSDestroySession(handle); break;
        }
    }

private:
    Random m_random;
    LMSEventObserverIfc& m_observer;
    std::vector<int> m_handles = {500'000};
    int m_count = 0;
};

class StressedTelephone : public ::testing::Test, protected FakeTelephone {
protected:
    StressedTelephone()
    {
        journal.onCall = dawdle;
        management.onPublish = [this](ManageableData& record) { published(record); };
        start();
    }
    ~StressedTelephone() override { stop(); }

    void start()
    {
        forgetWorker();
        service = createMediaRecordingService();
        service->init(context, nullptr, nullptr);
    }
    // A delivery that is finished meanwhile may still publish, and change events come back to the service.
    void stop() { delete service; }
    RecordingConfigManager& store() { return *service->getRecordingConfigManager(); }

    /// A publication comes back as a change event: now and then at once, on the same thread, or later.
    void published(ManageableData& record)
    {
        bool atOnce = false;
        {
            const std::lock_guard<std::mutex> guard(changesLock);
            atOnce = ++publications % 7 == 0;
            if (!atOnce) {
                changes.push_back(record);
            }
        }
        if (atOnce) {
            service->dataChangedEvent(record);
            store().getData(record);
        }
    }
    /// Delivers one change event that has not come back yet; false when there is none.
    bool bringBackAChange()
    {
        ManageableData change;
        {
            const std::lock_guard<std::mutex> guard(changesLock);
            if (changes.empty()) {
                return false;
            }
            change = changes.front();
            changes.pop_front();
        }
        service->dataChangedEvent(change);
        return true;
    }

    void controlCalls(unsigned seed)
    {
        Caller caller(seed, *callControl.observer);
        for (int i = 0; i < 400; ++i) {
            caller.reportSomething();
        }
    }

    void useLines(unsigned seed)
    {
        Random random(seed);
        for (int i = 0; i < 300; ++i) {
            const std::string& line = pick(random, LINES);
            switch (pick(random, 6)) {
                case 0: service->activateRecording(line); break;
                case 1: service->deactivateRecording(line); break;
                case 2: service->setLineStatus(line, ELineState(11), i, "sip:peer@far"); break;
                case 3: service->setLineStatus(line, ELineState(5), i, ""); break;
                case 4: service->setOriginatingLine(line); break;
                default: service->featureKeyDefinitionChanged(i, PhysDefs::KEY_FUNCTION_CALL_RECORDING, false); break;
            }
        }
    }

    void manage(unsigned seed)
    {
        Random random(seed);
        for (int i = 0; i < 300; ++i) {
            std::string unused;
            // Too long to be kept inside a string object, whose accesses the thread sanitizer does not see.
            const std::string value = "sip:a-recording-server@office." + std::to_string(random());
            runtime::ManagementRecord record;
            switch (pick(random, 8)) {
                case 0: service->setRecordingModeConfig(pick(random, MODES), unused); break;
                case 1: service->setRecorderAddressConfig(value, unused); break;
                case 2: service->setRecordingAudibleNotificationConfig(value, unused); break;
                case 3:
                    record.give("call-recording-audible-notification", value);
                    store().setData(record);
                    break;
                case 4: store().setRecordingActivation(pick(random, LINES), pick(random, 2) == 0); break;
                case 5:
                    record.name("call-recording-mode");
                    record.name("call-recorder-address");
                    EXPECT_TRUE(store().getData(record));
                    break;
                default: bringBackAChange(); break;
            }
        }
    }

    void query()
    {
        for (int i = 0; i < 30; ++i) {
            for (const std::string& line : LINES) {
                service->getSelectedLineRecordingOn();
                service->getCallRecordingOn(line);
                service->getRecordingActive();
                service->getRecordingController()->dumpStateMachines();
            }
        }
    }

    /// Until nothing is queued and every change event has come back.
    void settle()
    {
        do {
            runtime::waitUntilIdle();
        } while (bringBackAChange());
    }

    MediaRecordingService* service = nullptr;
    std::mutex changesLock;
    std::list<ManageableData> changes;
    int publications = 0;
};

TEST_F(StressedTelephone, IsConsistentAtRestWhateverTheOrderWas)
{
    TraceReader traces;
    runtime::setLogSink(&traces);
    for (unsigned round = 0; round < 4; ++round) {
        runtime::setLogLevel(6);
        std::vector<std::thread> threads;
        for (const unsigned each : {0U, 1U, 2U}) {
            threads.emplace_back([=] { controlCalls(10 * round + each); });
        }
        for (const unsigned each : {0U, 1U}) {
            threads.emplace_back([=] { useLines(1000 * (each + 1) + round); });
            threads.emplace_back([=] { manage(3000 * (each + 1) + round); });
        }
        threads.emplace_back([=] { query(); });
        for (std::thread& thread : threads) {
            thread.join();
        }
        settle();
        runtime::setLogLevel(0);

        EXPECT_EQ(keys.lampOn, service->getSelectedLineRecordingOn());
        bool anyRecords = false;
        for (const std::string& line : LINES) {
            auto* const machine = service->getRecordingController()->getRecordingStateMachineCreateNewIfNeeded(line);
            const int state = machine->getState();
            EXPECT_EQ(state, traces.stateOf(machine)) << line;
            // A recording without a line URI holds no configuration back, and one that failed in its course no longer.
            const bool failedInItsCourse = state == transitions::FAILED &&
                                           machine->dump().find("pSTA=MRS_STA_ATTACH_REQUESTED") == std::string::npos;
            anyRecords = anyRecords || (!line.empty() && state >= transitions::REQUESTED && !failedInItsCourse);
        }
        EXPECT_EQ(store().setDataItem(CALL_RECORDING_AUDIBLE_NOTIFICATION, "probe"), !anyRecords);
        if (!anyRecords) {
            EXPECT_EQ(store().getDataItem(CALL_RECORDER_ADDRESS), store().getDataItem(CALL_RECORDER_ADDRESS_CONFIG));
            EXPECT_EQ(store().getDataItem(CALL_RECORDING_MODE), store().getDataItem(CALL_RECORDING_MODE_CONFIG));
        }
        EXPECT_EQ(management.told.size(), 7U);
        EXPECT_EQ(management.toldOfLine.size(), LINES.size());
        expectTold(management, store());
    }
    runtime::setLogSink(nullptr);
}

TEST_F(StressedTelephone, ShutsDownDuringADeliveryAndASlowRequestWhileCallControlStillPosts)
{
    for (unsigned round = 0; round < 100; ++round) {
        Semaphore inRequest(0, 1, false);
        Semaphore stopping(0, 1, false);
        std::atomic<bool> performing{false};
        std::atomic<bool> calling{true};
        std::atomic<int> posted{0};
        std::vector<std::thread> posters;
        journal.onCall = [&](const std::string& called) {
            if (called == "attach" && !performing.exchange(true)) {
                inRequest.give();
                stopping.take(-1);
                for (const int until = posted + 30; posted < until;) {
                    std::this_thread::yield();
                }
                calling = false;
                for (std::thread& poster : posters) {
                    poster.join();
                }
            }
        };
        store().setDataItem(CALL_RECORDING_MODE_CONFIG, "allcalls");
        callControl.observer->LMSCreateSession("sip:slow@office", 7);
        inRequest.take(-1);
        for (const unsigned each : {0U, 1U}) {
            posters.emplace_back([&, caller = Caller(2 * round + each, *callControl.observer)]() mutable {
                for (; calling; ++posted) {
                    caller.reportSomething();
                }
            });
        }
        stopping.give();
        stop();
        journal.onCall = nullptr;
        journal.take();
        start();
    }
}

}  // namespace
