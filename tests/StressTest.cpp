// One loaded service, driven from many threads at once the way a telephone does. Seeded: each thread does the same in
// every run; only their interleaving differs. What is checked at rest must hold whatever the order was.

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <random>
#include <shared_mutex>
#include <thread>

#include "Activity.h"
#include "CallControl.h"
#include "Fakes.h"
#include "MediaRecordingHelper.h"
#include "MediaRecordingService.h"
#include "RecordingConfigManager.h"
#include "RecordingController.h"
#include "RecordingStateMachine.h"
#include "WorkerAccess.h"

namespace {

using Random = std::mt19937;

int pick(Random& random, int count)
{
    return static_cast<int>(random() % static_cast<unsigned>(count));
}

/// A service that answers slowly now and then. No time is waited for: others get the processor.
void dawdle()
{
    thread_local Random random(4711);
    for (int yields = pick(random, 8) == 0 ? pick(random, 20) : 0; yields > 0; --yields) {
        std::this_thread::yield();
    }
}

const Lines LINES = {"sip:1@office", "sip:2@office", "sip:3@office", "", "sip:5@office"};
const Lines MODES = {"manual", "autostart", "allcalls", "disabled"};

struct Management : Executable, LocalMgmtIfc {
    int subscribeData(std::list<std::string>&, MgmtAgentIfc*) override { return 1; }
    int publishData(ManageableData& record) override
    {
        const auto entry = runtime::ManagementRecord::entries(record).front();
        bool atOnce = false;
        {
            const std::lock_guard<std::mutex> guard(lock);
            lastTold[entry.id] = entry.value;
            atOnce = ++published % 7 == 0;
            if (!atOnce) {
                pending.push_back(entry);
            }
        }
        dawdle();
        if (atOnce) {
            changed(entry);
            runtime::ManagementRecord request;
            request.name(entry.id);
            service->getRecordingConfigManager()->getData(request);
        }
        return published % 5;
    }

    void changed(const runtime::ManagementRecord::Entry& entry)
    {
        runtime::ManagementRecord event;
        event.give(entry.id, entry.value);
        service->dataChangedEvent(event);
    }

    /// Delivers one change event that has not come back yet; false when there is none.
    bool bringBack()
    {
        runtime::ManagementRecord::Entry entry;
        {
            const std::lock_guard<std::mutex> guard(lock);
            if (pending.empty()) {
                return false;
            }
            entry = pending.front();
            pending.erase(pending.begin());
        }
        changed(entry);
        return true;
    }

    MediaRecordingService* service = nullptr;
    std::mutex lock;
    std::map<std::string, std::string> lastTold;
    std::vector<runtime::ManagementRecord::Entry> pending;
    std::atomic<int> published{0};
};

struct CallControl : CSfi, SfiRecordingController {
    void attachRecSession(int mrsID, const std::string&) override { perform("attach", mrsID); }
    void detachRecSession(int mrsID) override { perform("detach", mrsID); }
    void registerLMSEventObserver(LMSEventObserverIfc* newObserver) override { observer = newObserver; }
    SfiRecordingController* getSfiRecordingController() override { return this; }
    void setCallRecMode(std::string) override { dawdle(); }

    void perform(const char* request, int mrsID)
    {
        EXPECT_EQ(inside.fetch_add(1), 0) << "two requests at a time";
        performed.push_back(request + std::to_string(mrsID));
        dawdle();
        if (onRequest) {
            onRequest();
        }
        inside.fetch_sub(1);
    }

    LMSEventObserverIfc* observer = nullptr;
    std::atomic<int> inside{0};
    Lines performed;
    std::function<void()> onRequest;
};

/// Reads from the traces what happened inside, in the order in which the controller's lock let it happen.
struct TraceReader : runtime::LogSink {
    void log(const char* component, const char*, int, int, const std::string& text) override
    {
        const std::lock_guard<std::mutex> guard(lock);
        const std::string from = component;
        const void* machine = nullptr;
        int handle = 0;
        char event[40];
        const bool namesSession =
            text.find("(recordingSessionHandle=") != std::string::npos || text.find("(mrsID = ") != std::string::npos;
        if (from == "RecordingController" && text.rfind("LMS", 0) == 0 && namesSession &&
            text.find("NULL") == std::string::npos) {
            delivered.push_back(text);
        } else if (std::sscanf(text.c_str(), "m_csfi->attachRecSession(mrsId=%d", &handle) == 1) {
            requested.push_back("attach" + std::to_string(handle));
        } else if (std::sscanf(text.c_str(), "m_csfi->detachRecSession(mrsID=%d", &handle) == 1) {
            requested.push_back("detach" + std::to_string(handle));
        } else if (std::sscanf(text.c_str(), "RecordingStateMachine(this=%p, mrsID=%d)::ExecuteAction(event=%39[^)]",
                               const_cast<void**>(&machine), &handle, event) == 3) {
            machineEvents[machine].push_back(event);
        }
    }

    std::mutex lock;
    Lines delivered;
    Lines requested;
    std::map<const void*, Lines> machineEvents;
};

/// The state that an event leads to, stated once more.
std::string follow(const std::string& state, const std::string& event)
{
    static const std::map<std::string, std::map<std::string, std::string>> TABLE = {
        {"IDLE", {{"IN_CALL", "IN_CALL"}, {"ACTIVATE", "ACTIVATED"}}},
        {"IN_CALL", {{"NOT_IN_CALL", "IDLE"}, {"ACTIVATE", "ATTACH_REQUESTED"}}},
        {"ACTIVATED", {{"IN_CALL", "ATTACH_REQUESTED"}, {"DEACTIVATE", "IDLE"}}},
        {"ATTACH_REQUESTED", {{"ATTACHED", "STREAMING"}, {"ERROR", "ERROR"}, {"DONT_STREAM", "NON_STREAMING"}}},
        {"STREAMING", {{"ERROR", "ERROR"}, {"DONT_STREAM", "NON_STREAMING"}, {"LINE_DESELECTED", "LINE_DESELECTED"}}},
        {"NON_STREAMING", {{"ERROR", "ERROR"}, {"STREAM", "STREAMING"}, {"LINE_DESELECTED", "LINE_DESELECTED"}}},
        {"LINE_DESELECTED", {{"ERROR", "ERROR"}, {"LINE_SELECTED", "STREAMING"}}},
        {"ERROR", {}},
    };
    const auto& row = TABLE.at(state);
    if (const auto found = row.find(event); found != row.end()) {
        return found->second;
    }
    const bool recording = state != "IDLE" && state != "IN_CALL" && state != "ACTIVATED";
    return recording && event == "NOT_IN_CALL" ? "ACTIVATED" : recording && event == "DEACTIVATE" ? "IN_CALL" : state;
}

class StressedTelephone : public ::testing::Test {
protected:
    StressedTelephone()
    {
        context.services = {{"LocalMgmtIfc", &management},
                            {"MediaControlServiceIfc", &mediaControl},
                            {"CommunicationsServiceEventIfc", &communications},
                            {"PhysicalInterfaceServiceIfc", &keys}};
        mediaControl.beforeDirection = dawdle;
        keys.beforeLamp = dawdle;
        runtime::setCallControl(&callControl);
        start();
    }
    ~StressedTelephone() override
    {
        stop();
        runtime::setCallControl(nullptr);
        MediaRecordingHelper::reset();
    }

    void start()
    {
        MediaRecordingHelper::reset();
        forgetWorker();
        service = createMediaRecordingService();
        management.service = service;
        service->init(context, nullptr, nullptr);
    }
    void stop() { delete std::exchange(service, nullptr); }

    /// One call-control thread: sessions of its own, and handles that are stale or never were. Returns what it posted
    /// in the words of the controller's traces.
    Lines controlCalls(unsigned seed, int events)
    {
        Random random(seed);
        Lines posted;
        std::vector<int> handles = {500'000 + static_cast<int>(seed)};
        const auto post = [&](const std::string& trace, const std::function<void()>& event) {
            posted.push_back(trace);
            event();
        };
        LMSEventObserverIfc& observer = *callControl.observer;
        for (int i = 0; i < events; ++i) {
            const int handle = handles[static_cast<std::size_t>(pick(random, static_cast<int>(handles.size())))];
            const std::string named = "(recordingSessionHandle=" + std::to_string(handle);
            const std::string media =
                ", mediaSessionHandle=" + std::to_string(i) + ", recordedCallID=" + std::to_string(i);
            switch (pick(random, 9)) {
                case 0:
                case 1: handles.push_back(observer.LMSCreateSession(LINES[random() % LINES.size()], i)); break;
                case 2:
                case 3:
                    post("LMSEventAttached" + named + media + ")", [&] { observer.LMSEventAttached(handle, i, i); });
                    break;
                case 4:
                    post("LMSEventStreaming" + named + media + ")", [&] { observer.LMSEventStreaming(handle, i, i); });
                    break;
                case 5:
                    post("LMSEventNotStreaming" + named + ")", [&] { observer.LMSEventNotStreaming(handle); });
                    break;
                case 6:
                    post("LMSEventErrorStatus(mrsID = " + std::to_string(handle) +
                             ", LMSErrorCode=" + std::to_string(i) + ")",
                         [&] { observer.LMSEventErrorStatus(handle, LMSErrorCode(i)); });
                    break;
                default: post("LMSDestroySession" + named + ")", [&] { observer.LMSDestroySession(handle); }); break;
            }
        }
        return posted;
    }

    void useLines(unsigned seed, int operations)
    {
        Random random(seed);
        for (int i = 0; i < operations; ++i) {
            const std::string& line = LINES[random() % LINES.size()];
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

    void manage(unsigned seed, int operations)
    {
        Random random(seed);
        for (int i = 0; i < operations; ++i) {
            std::string unused;
            runtime::ManagementRecord record;
            switch (pick(random, 6)) {
                case 0: service->setRecordingModeConfig(MODES[random() % MODES.size()], unused); break;
                case 1: service->setRecorderAddressConfig("sip:recorder" + std::to_string(i), unused); break;
                case 2:
                    record.give("call-recording-audible-notification", std::to_string(i));
                    service->getRecordingConfigManager()->setData(record);
                    break;
                case 3:
                    record.name("call-recording-mode");
                    record.name("call-recorder-address");
                    EXPECT_TRUE(service->getRecordingConfigManager()->getData(record));
                    break;
                default: management.bringBack(); break;
            }
        }
    }

    void query(int operations)
    {
        for (int i = 0; i < operations; ++i) {
            const std::string& line = LINES[static_cast<std::size_t>(i) % LINES.size()];
            service->getSelectedLineRecordingOn();
            service->getCallRecordingOn(line);
            service->getRecordingActive();
            service->getRecordingController()->dumpStateMachines();
        }
    }

    /// Until nothing is queued and every change event has come back.
    void settle()
    {
        do {
            runtime::waitUntilIdle();
        } while (management.bringBack());
    }

    Journal journal;
    FakeContext context{journal};
    Management management;
    FakeMediaControl mediaControl{journal};
    FakeCommunications communications{journal};
    FakeKeys keys{journal};
    CallControl callControl;
    MediaRecordingService* service = nullptr;
};

TEST_F(StressedTelephone, IsConsistentAtRestWhateverTheOrderWas)
{
    TraceReader traces;
    runtime::setLogSink(&traces);
    for (unsigned round = 0; round < 4; ++round) {
        runtime::setLogLevel(6);
        std::vector<std::thread> threads;
        std::vector<Lines> posted(3);
        for (unsigned i = 0; i < posted.size(); ++i) {
            threads.emplace_back([=, &posted] { posted[i] = controlCalls(10 * round + i, 400); });
        }
        threads.emplace_back([=] { useLines(1000 + round, 300); });
        threads.emplace_back([=] { useLines(2000 + round, 300); });
        threads.emplace_back([=] { manage(3000 + round, 300); });
        threads.emplace_back([=] { query(150); });
        for (std::thread& thread : threads) {
            thread.join();
        }
        settle();
        runtime::setLogLevel(0);

        EXPECT_EQ(keys.lampOn, service->getSelectedLineRecordingOn());
        EXPECT_EQ(callControl.performed, traces.requested);

        // Every event was delivered once, and those of one poster in its order.
        std::size_t total = 0;
        for (const Lines& events : posted) {
            total += events.size();
            auto position = traces.delivered.begin();
            for (const std::string& event : events) {
                position = std::find(position, traces.delivered.end(), event);
                ASSERT_NE(position, traces.delivered.end()) << event;
                ++position;
            }
        }
        EXPECT_EQ(traces.delivered.size(), total);
        traces.delivered.clear();

        RecordingConfigManager& store = *service->getRecordingConfigManager();
        bool anyRecords = false;
        for (const std::string& line : LINES) {
            auto* const machine = service->getRecordingController()->getRecordingStateMachineCreateNewIfNeeded(line);
            std::string state = "IDLE";
            for (const std::string& event : traces.machineEvents[machine]) {
                state = follow(state, event.substr(std::string("MRS_EVT_").size()));
            }
            EXPECT_EQ(machine->getStateName(), "MRS_STA_" + state) << line;
            // A recording without a line URI holds no configuration back.
            anyRecords = anyRecords || (!line.empty() && state != "IDLE" && state != "IN_CALL" && state != "ACTIVATED");
        }
        if (!anyRecords) {
            EXPECT_EQ(store.getDataItem(CALL_RECORDER_ADDRESS), store.getDataItem(CALL_RECORDER_ADDRESS_CONFIG));
            EXPECT_EQ(store.getDataItem(CALL_RECORDING_MODE), store.getDataItem(CALL_RECORDING_MODE_CONFIG));
        }
        EXPECT_EQ(management.lastTold["call-recorder-address-config"], store.getDataItem(CALL_RECORDER_ADDRESS_CONFIG));
        EXPECT_EQ(management.lastTold["call-recording-mode-config"], store.getDataItem(CALL_RECORDING_MODE_CONFIG));
        EXPECT_EQ(store.setDataItem(CALL_RECORDING_AUDIBLE_NOTIFICATION, "probe"), !anyRecords);
    }
    runtime::setLogSink(nullptr);
}

/// Call control's threads, posting until it is told to stop calling.
class Posters {
public:
    explicit Posters(LMSEventObserverIfc& observer)
    {
        for (int seed = 0; seed < 2; ++seed) {
            m_threads.emplace_back([this, seed, &observer] { post(seed, observer); });
        }
    }
    ~Posters()
    {
        stopCalling();
        for (std::thread& thread : m_threads) {
            thread.join();
        }
    }

    void awaitPosted(int more)
    {
        for (const int until = m_posted + more; m_posted < until;) {
            std::this_thread::yield();
        }
    }
    /// From now on none calls the observer.
    void stopCalling()
    {
        m_calling = false;
        const std::unique_lock<std::shared_mutex> allHaveReturned(m_gate);
    }

private:
    void post(int seed, LMSEventObserverIfc& observer)
    {
        for (int i = seed; m_calling; ++i) {
            const std::shared_lock<std::shared_mutex> calls(m_gate);
            if (!m_calling) {
                return;
            }
            const int handle = i % 7;
            switch (i % 5) {
                case 0: observer.LMSCreateSession(LINES[static_cast<std::size_t>(handle) % LINES.size()], i); break;
                case 1: observer.LMSEventAttached(handle, i, i); break;
                case 2: observer.LMSEventStreaming(handle, i, i); break;
                case 3: observer.LMSEventErrorStatus(handle, LMSErrorCode(i)); break;
                default: observer.LMSDestroySession(handle); break;
            }
            ++m_posted;
        }
    }

    std::shared_mutex m_gate;
    std::atomic<bool> m_calling{true};
    std::atomic<int> m_posted{0};
    std::vector<std::thread> m_threads;
};

TEST_F(StressedTelephone, ShutsDownWithFullQueuesDuringADelivery)
{
    for (int round = 0; round < 300; ++round) {
        Posters posters(*callControl.observer);
        RecordingController& controller = *service->getRecordingController();
        {
            // The dispatcher's thread stands in its delivery, and the queue fills up behind it.
            const auto guard = controller.lock();
            callControl.observer->LMSDestroySession(1);
            std::string unused;
            service->setRecordingModeConfig(MODES[static_cast<std::size_t>(round) % MODES.size()], unused);
        }
        posters.awaitPosted(round % 40);
        posters.stopCalling();
        stop();
        start();
    }
}

TEST_F(StressedTelephone, ShutsDownWithAWorkerInASlowRequestWhileCallControlStillPosts)
{
    for (int round = 0; round < 200; ++round) {
        Semaphore inRequest(0, 1, false);
        Semaphore stopping(0, 1, false);
        std::atomic<bool> first{true};
        std::string unused;
        service->setRecordingModeConfig("allcalls", unused);
        std::unique_ptr<Posters> posters;
        callControl.onRequest = [&] {
            if (first.exchange(false)) {
                inRequest.give();
                stopping.take(-1);
                posters->awaitPosted(30);
                posters->stopCalling();
            }
        };
        posters = std::make_unique<Posters>(*callControl.observer);
        callControl.observer->LMSCreateSession("sip:slow@office", round);
        inRequest.take(-1);
        stopping.give();
        stop();
        posters.reset();
        callControl.onRequest = nullptr;
        start();
    }
}

}  // namespace
