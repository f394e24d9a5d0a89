#include "RecordingConfigManager.h"

#include <gmock/gmock.h>

#include "Fakes.h"
#include "Logging.h"
#include "MediaRecordingHelper.h"

using testing::ElementsAre;

namespace {

const std::string ACTIVE = "call-recording-active";
const std::string ADDRESS = "call-recorder-address";
const std::string MODE = "call-recording-mode";
const std::string AUDIBLE = "call-recording-audible-notification";
const std::string UNKNOWN = "mobility-user-data-update";

std::string published(const std::string& tag, const std::string& value)
{
    return "publish(" + tag + ", " + tag + ", " + value + ")";
}

struct Telephone {
    explicit Telephone(bool hasManagement)
    {
        MediaRecordingHelper::reset();
        if (hasManagement) {
            context.services["LocalMgmtIfc"] = &management;
        }
    }
    ~Telephone() { MediaRecordingHelper::reset(); }

    Journal journal;
    FakeManagement management{journal};
    FakeContext context{journal};
};

struct Store : Telephone, RecordingConfigManager {
    Store() : Telephone(true), RecordingConfigManager(&context)
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
    bool write(const std::vector<std::pair<std::string, std::string>>& entries)
    {
        runtime::ManagementRecord record;
        for (const auto& [tag, value] : entries) {
            record.give(tag, value);
        }
        return setData(record);
    }
};

}  // namespace

TEST(RecordingConfigManager, PublishesEveryChangeAndLetsASettingDriveItsValueInForce)
{
    Store store;
    EXPECT_THAT(store.values(), ElementsAre("update", "", "", "disabled", "disabled", "off", "off"));
    EXPECT_EQ(store.journal.take(), Lines());

    for (int again = 0; again <= 1; ++again) {
        EXPECT_TRUE(store.setDataItem(CALL_RECORDER_ADDRESS_CONFIG, "a@b"));
        EXPECT_TRUE(store.setDataItem(CALL_RECORDING_MODE_CONFIG, "manual"));
        EXPECT_TRUE(store.setDataItem(CALL_RECORDING_AUDIBLE_NOTIFICATION_CONFIG, "on"));
        EXPECT_EQ(store.journal.take(), again
                                            ? Lines()
                                            : Lines({published(ADDRESS + "-config", "a@b"), published(ADDRESS, "a@b"),
                                                     published(MODE + "-config", "manual"), published(MODE, "manual"),
                                                     published(AUDIBLE + "-config", "on"), published(AUDIBLE, "on")}));
    }
    EXPECT_TRUE(store.setDataItem(CALL_RECORDING_ACTIVE, "text"));
    EXPECT_TRUE(store.setDataItem(CALL_RECORDING_MODE, "Manual"));
    EXPECT_THAT(store.journal.take(), ElementsAre(published(ACTIVE, "text"), published(MODE, "Manual")));
    EXPECT_THAT(store.values(), ElementsAre("text", "a@b", "a@b", "manual", "Manual", "on", "on"));
}

TEST(RecordingConfigManager, HoldsBackValuesInForceUntilTheLastRecordingHasEnded)
{
    Store store;
    store.eventRecordingStarted("A");
    store.eventRecordingStarted("B");
    store.eventRecordingStarted("A");
    for (int again = 0; again <= 1; ++again) {
        EXPECT_FALSE(store.setDataItem(CALL_RECORDER_ADDRESS, "lost"));
        EXPECT_FALSE(store.setDataItem(CALL_RECORDING_MODE, "lost"));
        EXPECT_FALSE(store.setDataItem(CALL_RECORDING_AUDIBLE_NOTIFICATION, "lost"));
    }
    EXPECT_EQ(store.journal.take(), Lines());
    EXPECT_TRUE(store.setDataItem(CALL_RECORDER_ADDRESS_CONFIG, "a@b"));
    EXPECT_TRUE(store.setDataItem(CALL_RECORDING_MODE_CONFIG, "allcalls"));
    EXPECT_TRUE(store.setDataItem(CALL_RECORDING_AUDIBLE_NOTIFICATION_CONFIG, "on"));
    EXPECT_TRUE(store.setDataItem(CALL_RECORDING_ACTIVE, "text"));
    EXPECT_THAT(store.journal.take(),
                ElementsAre(published(ADDRESS + "-config", "a@b"), published(MODE + "-config", "allcalls"),
                            published(AUDIBLE + "-config", "on"), published(ACTIVE, "text")));
    store.eventRecordingStarted("C");
    store.eventRecordingStopped("C");
    store.eventRecordingStopped("A");
    EXPECT_EQ(store.journal.take(), Lines());
    EXPECT_FALSE(store.setDataItem(CALL_RECORDING_MODE, "lost"));
    EXPECT_THAT(store.values(), ElementsAre("text", "a@b", "", "allcalls", "disabled", "on", "off"));
    store.eventRecordingStopped("B");
    EXPECT_THAT(store.journal.take(),
                ElementsAre(published(ADDRESS, "a@b"), published(MODE, "allcalls"), published(AUDIBLE, "on")));
    EXPECT_THAT(store.values(), ElementsAre("text", "a@b", "a@b", "allcalls", "allcalls", "on", "on"));

    EXPECT_TRUE(store.setDataItem(CALL_RECORDING_MODE, "own"));
    store.eventRecordingStopped("never started");
    store.eventRecordingStopped("never started");
    EXPECT_THAT(store.journal.take(), ElementsAre(published(MODE, "own"), published(MODE, "allcalls")));
}

TEST(RecordingConfigManager, AnswersAManagementReadUpToTheFirstUnknownTag)
{
    Store store;
    EXPECT_THAT(store.read({MODE, UNKNOWN, AUDIBLE}), ElementsAre("false", MODE + "=disabled"));
    EXPECT_THAT(store.read({UNKNOWN, MODE}), ElementsAre("false"));
    EXPECT_THAT(store.read({}), ElementsAre("true"));
    EXPECT_THAT(store.read({""}), ElementsAre("false"));
    store.setDataItem(CALL_RECORDER_ADDRESS, "failure");
    EXPECT_THAT(
        store.read({ACTIVE, ADDRESS + "-config", ADDRESS, MODE + "-config", MODE, AUDIBLE + "-config", AUDIBLE}),
        ElementsAre("true", ACTIVE + "=update", ADDRESS + "-config=", MODE + "-config=disabled", MODE + "=disabled",
                    AUDIBLE + "-config=off", AUDIBLE + "=off"));
}

TEST(RecordingConfigManager, AppliesAManagementWriteAsFarAsItCan)
{
    Store store;
    EXPECT_TRUE(store.write({{UNKNOWN, "x"}, {MODE + "-config", "manual"}, {UNKNOWN, "x"}}));
    EXPECT_TRUE(store.write({{ADDRESS, "own"}}));
    store.eventRecordingStarted("A");
    EXPECT_FALSE(store.write({{MODE + "-config", "autostart"}, {ADDRESS, "lost"}}));
    EXPECT_FALSE(store.write({{ADDRESS, "lost"}, {AUDIBLE + "-config", "on"}}));
    EXPECT_TRUE(store.write({{AUDIBLE + "-config", "on"}}));
    EXPECT_THAT(store.values(), ElementsAre("update", "", "own", "autostart", "manual", "on", "off"));
    store.eventRecordingStopped("A");
    EXPECT_THAT(store.values(), ElementsAre("update", "", "", "autostart", "autostart", "on", "on"));
    EXPECT_FALSE(store.write({{UNKNOWN, "x"}}));
    EXPECT_FALSE(store.write({}));

    runtime::ManagementRecord withoutValue;
    withoutValue.give(AUDIBLE + "-config", "yes");
    withoutValue.name(MODE + "-config");
    EXPECT_TRUE(store.setData(withoutValue));
    EXPECT_THAT(store.values(), ElementsAre("update", "", "", "", "", "yes", "yes"));
}

TEST(RecordingConfigManager, IsWholeAndOpenToOthersWhileItPublishes)
{
    Store store;
    Lines seen;
    store.management.onPublish = [&](ManageableData&) {
        const Lines now = store.values();
        seen.push_back(now[3] + "|" + now[4]);
    };
    store.setDataItem(CALL_RECORDING_MODE_CONFIG, "manual");
    EXPECT_THAT(seen, ElementsAre("manual|manual", "manual|manual"));
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

    Telephone without(false);
    SvcRTEContext* const contexts[] = {nullptr, &without.context};
    for (SvcRTEContext* const context : contexts) {
        RecordingConfigManager config(context);
        LogCapture log(LOG_LEVEL_WARNING);
        EXPECT_TRUE(config.setDataItem(CALL_RECORDING_MODE, "manual"));
        EXPECT_TRUE(config.setDataItem(CALL_RECORDING_MODE, "manual"));
        config.setRecordingActivation("A", true);
        EXPECT_EQ(log.take(), Lines(2, "2 RecordingConfigManager: notifyDataItemChange: failed"));
        EXPECT_EQ(config.getDataItem(CALL_RECORDING_MODE), "manual");
        EXPECT_TRUE(config.getRecordingActivation("A"));
    }
}

TEST(RecordingConfigManager, KeepsTheActivationOfEachLineAndPublishesEveryWrite)
{
    Store store;
    EXPECT_FALSE(store.getRecordingActivation("A"));
    EXPECT_EQ(store.journal.take(), Lines());
    store.eventRecordingStarted("A");
    store.setRecordingActivation("A", true);
    store.setRecordingActivation("A", true);
    store.setRecordingActivation("B", false);
    EXPECT_THAT(store.journal.take(),
                ElementsAre(published(ACTIVE, "A;true"), published(ACTIVE, "A;true"), published(ACTIVE, "B;false")));
    EXPECT_EQ(store.values()[0], "B;false");
    EXPECT_TRUE(store.write({{ACTIVE, "A;false"}}));
    EXPECT_TRUE(store.getRecordingActivation("A"));
    EXPECT_FALSE(store.getRecordingActivation("B"));
    store.setRecordingActivation("", true);
    EXPECT_THAT(store.journal.take(), ElementsAre(published(ACTIVE, "A;false"), published(ACTIVE, ";true")));
}
