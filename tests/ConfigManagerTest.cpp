#include "RecordingConfigManager.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "Fakes.h"
#include "Logging.h"

using testing::ElementsAre;

namespace {

const std::string ACTIVE = "call-recording-active";
const std::string ADDRESS = "call-recorder-address";
const std::string MODE = "call-recording-mode";
const std::string AUDIBLE = "call-recording-audible-notification";

std::string published(const std::string& tag, const std::string& value)
{
    return "publish(" + tag + ", " + tag + ", " + value + ")";
}

struct Store : FakeTelephone, RecordingConfigManager {
    Store() : RecordingConfigManager(&context)
    {
        EXPECT_THAT(journal.take(), ElementsAre("getService(LocalMgmtIfc)")) << "nothing is published at the start";
    }

    Lines values()
    {
        Lines all;
        for (int item = 1; item <= 7; ++item) {
            all.push_back(getDataItem(static_cast<RecordingDataItemType>(item)));
        }
        return all;
    }
    /// Answers a management read: its result, then what it gives.
    Lines read(const Lines& tags)
    {
        runtime::ManagementRecord record;
        for (const std::string& tag : tags) {
            record.name(tag);
        }
        Lines answer{getData(record) ? "true" : "false"};
        for (const auto& entry : runtime::ManagementRecord::entries(record)) {
            EXPECT_EQ(entry.id, entry.key);
            answer.push_back(entry.id + "=" + entry.value);
        }
        return answer;
    }
};

// Too long to be kept inside a string object, whose accesses the thread sanitizer does not see.
const std::string LONG = "sip:a-recording-server-of-the-whole-office@far-away.";

/// Does both at the same moment on two threads, and `atRest` after both, again and again.
template <typename One, typename Other, typename AtRest>
void meet(int rounds, One one, Other other, AtRest atRest)
{
    std::atomic<int> arrived{0};
    const auto awaitBoth = [&arrived](int meeting) {
        ++arrived;
        while (arrived < 2 * meeting) {
            std::this_thread::yield();
        }
    };
    std::thread partner([&] {
        for (int round = 0; round < rounds; ++round) {
            awaitBoth(2 * round + 1);
            other(LONG + "other" + std::to_string(round + 1));
            awaitBoth(2 * round + 2);
        }
    });
    for (int round = 0; round < rounds; ++round) {
        awaitBoth(2 * round + 1);
        one(LONG + "one" + std::to_string(round));
        awaitBoth(2 * round + 2);
        atRest();
    }
    partner.join();
}

TEST(RecordingConfigManager, HoldsBackValuesInForceUntilTheLastRecordingHasEnded)
{
    Store store;
    for (const char* line : {"A", "B", "A"}) {
        store.eventRecordingStarted(line);
    }
    for (int again = 0; again <= 1; ++again) {
        EXPECT_FALSE(store.setDataItem(CALL_RECORDER_ADDRESS, "lost"));
        EXPECT_FALSE(store.setDataItem(CALL_RECORDING_MODE, "lost"));
        EXPECT_FALSE(store.setDataItem(CALL_RECORDING_AUDIBLE_NOTIFICATION, "lost"));
    }
    EXPECT_TRUE(store.setDataItem(CALL_RECORDING_MODE_CONFIG, "allcalls"));
    EXPECT_TRUE(store.setDataItem(CALL_RECORDING_ACTIVE, "text"));
    store.eventRecordingStarted("C");
    store.eventRecordingStopped("C");
    store.eventRecordingStopped("A");
    EXPECT_FALSE(store.setDataItem(CALL_RECORDING_MODE, "lost"));
    EXPECT_THAT(store.journal.take(), ElementsAre(published(MODE + "-config", "allcalls"), published(ACTIVE, "text")));
    EXPECT_THAT(store.values(), ElementsAre("text", "", "", "allcalls", "disabled", "off", "off"));
    store.eventRecordingStopped("B");
    EXPECT_THAT(store.journal.take(), ElementsAre(published(MODE, "allcalls")));

    EXPECT_TRUE(store.setDataItem(CALL_RECORDING_MODE, "own"));
    store.eventRecordingStopped("never started");
    store.eventRecordingStopped("never started");
    EXPECT_THAT(store.journal.take(), ElementsAre(published(MODE, "own"), published(MODE, "allcalls")));
}

TEST(RecordingConfigManager, AnswersAndAppliesARecordAsFarAsItCan)
{
    Store store;
    EXPECT_THAT(store.read({}), ElementsAre("true"));
    EXPECT_THAT(store.read({""}), ElementsAre("false"));
    EXPECT_THAT(store.read({MODE, "unknown", MODE + "-config"}), ElementsAre("false", MODE + "=disabled"));

    runtime::ManagementRecord record;
    EXPECT_FALSE(store.setData(record));
    record.give("unknown", "x");
    EXPECT_FALSE(store.setData(record));
    record.name(MODE + "-config");
    EXPECT_TRUE(store.setData(record)) << "one of them is the store's, and empty where no value is given";
    EXPECT_EQ(store.getDataItem(CALL_RECORDING_MODE), "");
    store.eventRecordingStarted("A");
    record.give(ADDRESS, "lost");
    record.give(AUDIBLE + "-config", "on");
    EXPECT_FALSE(store.setData(record));
    EXPECT_THAT(store.values(), ElementsAre("update", "", "", "", "", "on", "off"));
}

TEST(RecordingConfigManager, StoresWhatIsNotPublished)
{
    Store refused;
    refused.management.accept = false;
    EXPECT_TRUE(refused.setDataItem(CALL_RECORDING_MODE, "manual"));
    EXPECT_FALSE(refused.notifyDataItemChange(CALL_RECORDING_MODE, "disabled"));
    refused.management.accept = true;
    EXPECT_TRUE(refused.notifyDataItemChange(CALL_RECORDING_MODE, "disabled"));
    EXPECT_FALSE(refused.notifyDataItemChange(CALL_RECORDING_MODE, "manual"));
    EXPECT_EQ(refused.journal.take(), Lines(3, published(MODE, "manual")));

    RecordingConfigManager alone(nullptr);
    LogCapture log(LOG_LEVEL_WARNING);
    EXPECT_TRUE(alone.setDataItem(CALL_RECORDING_MODE, "manual"));
    EXPECT_TRUE(alone.setDataItem(CALL_RECORDING_MODE, "manual"));
    alone.setRecordingActivation("A", true);
    EXPECT_EQ(log.take(), Lines(2, "2 RecordingConfigManager: notifyDataItemChange: failed"));
    EXPECT_EQ(alone.getDataItem(CALL_RECORDING_MODE), "manual");
    EXPECT_TRUE(alone.getRecordingActivation("A"));
}

TEST(RecordingConfigManager, TellsWhatItHoldsWhicheverOperationsMeet)
{
    using Value = const std::string&;
    void (*const operations[])(Store&, Value) = {
        [](Store& store, Value value) { store.setDataItem(CALL_RECORDING_MODE_CONFIG, value); },
        [](Store& store, Value value) { store.setDataItem(CALL_RECORDING_MODE, value); },
        [](Store& store, Value value) { store.setDataItem(CALL_RECORDING_ACTIVE, value); },
        [](Store& store, Value value) { store.setRecordingActivation("A", value.back() % 2 == 0); },
        [](Store& store, Value) { store.getRecordingActivation("A"); },
        [](Store& store, Value) { store.notifyDataItemChange(CALL_RECORDING_MODE, ""); },
        [](Store& store, Value) {
            store.read({MODE + "-config", MODE, ACTIVE});
        },
        [](Store& store, Value) { store.values(); },
        [](Store& store, Value) { store.resynchronizeDataSets(); },
        [](Store& store, Value value) { store.eventRecordingStarted(value); },
        [](Store& store, Value value) { store.eventRecordingStopped(value); },
    };
    runtime::setLogLevel(LOG_LEVEL_DETAIL);  // to nobody: what is read for a trace counts as well
    for (const auto one : operations) {
        for (const auto other : operations) {
            Store store;
            meet(
                20, [&](Value value) { one(store, value); }, [&](Value value) { other(store, value); },
                [&] { expectTold(store.management, store); });
        }
    }
    runtime::setLogLevel(0);
}

}  // namespace
