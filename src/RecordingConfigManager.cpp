#include "RecordingConfigManager.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "Context.h"
#include "LocalMgmtIfc.h"
#include "Log.h"
#include "ManageableData.h"
#include "MediaRecordingDefs.h"
#include "MediaRecordingHelper.h"

namespace {

constexpr const char* COMPONENT = "RecordingConfigManager";
constexpr const char* SOURCE = "./src/RecordingConfigManager";

using Guard = std::lock_guard<std::mutex>;

std::string activationText(const std::string& line, bool value)
{
    return line + ";" + asText(value);
}

}  // namespace

/// A change of a value, tried under the lock and reported outside it.
struct RecordingConfigManager::Change {
    RecordingDataItemType item;
    std::string value;  // the new one; once it is stored, the old one
    bool stored = false;
};

/// What the management system is told: an item's value, which may be the activation of a line.
struct RecordingConfigManager::Publication {
    RecordingDataItemType item = NO_RECORDING_DATA_ITEM;
    std::string value;
    const Activation* line = nullptr;  // whose activation the value is; null: a text of its own
    bool active = false;               // the activation that is told
};

RecordingConfigManager::RecordingConfigManager(SvcRTEContext* context) : m_context(context)
{
    init();
}

RecordingConfigManager::~RecordingConfigManager() = default;

void RecordingConfigManager::init()
{
    using namespace MediaRecordingDefs;

    if (m_context != nullptr) {
        m_localMgmtIfc = MediaRecordingHelper::getLocalMgmtIfc(*m_context);
    }
    contained(COMPONENT, SOURCE, "init", [this] {
        const RecordingDataItem rows[] = {
            {"callRecordingActive", DEFAULT_CALL_RECORDING_ACTIVE_STRING, tarnTagCallRecordingActive,
             CALL_RECORDING_ACTIVE, NO_RECORDING_DATA_ITEM},
            {"callRecorderAddressConfig", DEFAULT_CALL_RECORDER_ADDRESS_STRING, tarnTagCallRecorderAddressConfig,
             CALL_RECORDER_ADDRESS_CONFIG, CALL_RECORDER_ADDRESS},
            {"callRecorderAddress", DEFAULT_CALL_RECORDER_ADDRESS_STRING, tarnTagCallRecorderAddress,
             CALL_RECORDER_ADDRESS, NO_RECORDING_DATA_ITEM},
            {"callRecordingModeConfig", DEFAULT_CALL_RECORDING_MODE_STRING, tarnTagCallRecordingModeConfig,
             CALL_RECORDING_MODE_CONFIG, CALL_RECORDING_MODE},
            {"callRecordingMode", DEFAULT_CALL_RECORDING_MODE_STRING, tarnTagCallRecordingMode, CALL_RECORDING_MODE,
             NO_RECORDING_DATA_ITEM},
            {"callRecordingAudibleNotificationSettingConfig", DEFAULT_CALL_RECORDING_AUDIBLE_NOTIFICATION_STRING,
             tarnTagCallRecordingAudibleNotificationConfig, CALL_RECORDING_AUDIBLE_NOTIFICATION_CONFIG,
             CALL_RECORDING_AUDIBLE_NOTIFICATION},
            {"callRecordingAudibleNotificationSetting", DEFAULT_CALL_RECORDING_AUDIBLE_NOTIFICATION_STRING,
             tarnTagCallRecordingAudibleNotification, CALL_RECORDING_AUDIBLE_NOTIFICATION, NO_RECORDING_DATA_ITEM},
        };
        const Guard guard(m_lock);
        for (const RecordingDataItem& row : rows) {
            dataset[row.item] = row;
        }
        m_activeLine = nullptr;
    });
}

std::string RecordingConfigManager::getDataItem(RecordingDataItemType item)
{
    MRS_LOG(LOG_LEVEL_TRACE, "getDataItem:(item=%s)", dataset[item].name.c_str());
    return contained(COMPONENT, SOURCE, "getDataItem", [&] {
        const Guard guard(m_lock);
        return dataset[item].value;
    });
}

bool RecordingConfigManager::setDataItem(RecordingDataItemType item, const std::string& value)
{
    return contained(COMPONENT, SOURCE, "setDataItem", [&] {
        const RecordingDataItemType driven = dataset[item].depItem;
        Change own{item, value};
        Change dependent{driven, driven != NO_RECORDING_DATA_ITEM ? value : std::string()};
        {
            // A setting and what it drives change together, so that two threads can't leave them crossed.
            const Guard guard(m_lock);
            tryStore(own);
            if (own.stored && driven != NO_RECORDING_DATA_ITEM) {
                tryStore(dependent);
            }
        }
        report(own, value);
        if (own.stored && driven != NO_RECORDING_DATA_ITEM) {
            report(dependent, value);
        }
        return own.stored;
    });
}

/// Makes a change unless it is held back, with the lock held.
void RecordingConfigManager::tryStore(Change& change) noexcept
{
    const bool isDriven = std::any_of(std::begin(dataset), std::end(dataset),
                                      [&change](const RecordingDataItem& row) { return row.depItem == change.item; });
    if (m_state != ConfigurationUnlocked && isDriven) {
        m_state = ConfigurationChangeRequested;
        return;
    }
    dataset[change.item].value.swap(change.value);
    change.stored = true;
    if (change.item == CALL_RECORDING_ACTIVE) {
        m_activeLine = nullptr;
    }
}

/// Logs a change that was tried to this value, and publishes it if it was made.
void RecordingConfigManager::report(const Change& change, const std::string& value)
{
    MRS_LOG(LOG_LEVEL_TRACE, "setDataItem:(item=%s, value=%s)", dataset[change.item].name.c_str(), value.c_str());
    if (change.stored) {
        notifyDataItemChange(change.item, change.value);
    } else {
        MRS_LOG(LOG_LEVEL_DETAIL, "setDataItem: configuration change detected, m_state = ConfigurationChangeRequested");
    }
}

bool RecordingConfigManager::notifyDataItemChange(RecordingDataItemType item, const std::string& oldValue)
{
    return contained(COMPONENT, SOURCE, "notifyDataItemChange", [&] {
        Publication present;
        {
            const Guard guard(m_lock);
            present = storedNow(item);
        }
        return publish(std::move(present), oldValue);
    });
}

/// Publishes what differs from the old value. Another thread may change it meanwhile, and its publication may overtake
/// this one: what is stored then is published again, until the last publication told what is stored.
bool RecordingConfigManager::publish(Publication publication, const std::string& oldValue)
{
    const RecordingDataItem& row = dataset[publication.item];
    MRS_LOG(LOG_LEVEL_TRACE, "notifyDataItemChange:(item=%s, oldValue='%s')", row.name.c_str(), oldValue.c_str());
    if (publication.value == oldValue) {
        return false;
    }
    if (m_localMgmtIfc == nullptr) {
        MRS_LOG(LOG_LEVEL_ERROR, "notifyDataItemChange: failed");
        return false;
    }
    for (;;) {
        const bool accepted = contained(COMPONENT, SOURCE, "publishData", [&] {
            ManageableData record;
            record.populate(row.tag, row.tag, publication.value);
            return m_localMgmtIfc->publishData(record) != 0;
        });
        const Guard guard(m_lock);
        if (publication.line != nullptr && publication.active != publication.line->second) {
            const Activation& line = *publication.line;
            publication = {publication.item, activationText(line.first, line.second), &line, line.second};
        } else if (publication.value != row.value) {
            publication = storedNow(publication.item);
        } else {
            return accepted;
        }
    }
}

/// With the lock held.
RecordingConfigManager::Publication RecordingConfigManager::storedNow(RecordingDataItemType item) const
{
    const Activation* const line = item == CALL_RECORDING_ACTIVE ? m_activeLine : nullptr;
    return {item, dataset[item].value, line, line != nullptr && line->second};
}

bool RecordingConfigManager::getData(ManageableData& manageableData)
{
    MRS_LOG(LOG_LEVEL_TRACE, "getData( ManageableData& manageableData )");
    return contained(COMPONENT, SOURCE, "getData", [&] {
        std::vector<std::string> ids;
        manageableData.getRootIds(ids);
        bool allKnown = true;
        std::string value;
        for (const std::string& id : ids) {
            if (const RecordingDataItem* const row = findByTag(id)) {
                const Guard guard(m_lock);
                value = row->value;
            } else {
                MRS_LOG(LOG_LEVEL_TRACE, "%s is not available from this service.", id.c_str());
                allKnown = false;
            }
            MRS_LOG(LOG_LEVEL_TRACE, "getData : %s=%s", id.c_str(), value.c_str());
            if (allKnown && value != "failure") {
                manageableData.populate(id, id, value);
            }
        }
        return allKnown;
    });
}

bool RecordingConfigManager::setData(ManageableData& manageableData)
{
    MRS_LOG(LOG_LEVEL_TRACE, "setData( ManageableData& manageableData ):");
    return contained(COMPONENT, SOURCE, "setData", [&] {
        std::vector<std::string> ids;
        manageableData.getRootIds(ids);
        bool anyStored = false;
        bool anyRefused = false;
        for (const std::string& id : ids) {
            std::string value;
            manageableData.interogate(id, id, value);
            MRS_LOG(LOG_LEVEL_TRACE, "setData : %s=%s", id.c_str(), value.c_str());
            if (const RecordingDataItem* const row = findByTag(id)) {
                (setDataItem(row->item, value) ? anyStored : anyRefused) = true;
            } else {
                MRS_LOG(LOG_LEVEL_TRACE, "%s is not available from this service.", id.c_str());
            }
        }
        if (!anyStored || anyRefused) {
            MRS_LOG(LOG_LEVEL_WARNING, "setData:  one or more operations failed");
            return false;
        }
        return true;
    });
}

const RecordingDataItem* RecordingConfigManager::findByTag(const std::string& tag) const
{
    const auto found = std::find_if(std::next(std::begin(dataset)), std::end(dataset),
                                    [&tag](const RecordingDataItem& row) { return row.tag == tag; });
    return found == std::end(dataset) ? nullptr : found;
}

void RecordingConfigManager::resynchronizeDataSets()
{
    MRS_LOG(LOG_LEVEL_TRACE, "resynchronizeDataSets()");
    for (const RecordingDataItem& row : dataset) {
        if (row.depItem != NO_RECORDING_DATA_ITEM) {
            resynchronize(row, dataset[row.depItem]);
        }
    }
}

void RecordingConfigManager::resynchronize(const RecordingDataItem& setting, const RecordingDataItem& driven)
{
    if (isLogged(COMPONENT, LOG_LEVEL_DETAIL)) {
        contained(COMPONENT, SOURCE, "resynchronizeDataSets", [&] {
            std::string settingsValue;
            std::string drivenValue;
            {
                const Guard guard(m_lock);
                settingsValue = setting.value;
                drivenValue = driven.value;
            }
            MRS_LOG(LOG_LEVEL_DETAIL, "resynchronizeDataSets(): dataset[item].value==%s; dataset[depItem].value==%s",
                    settingsValue.c_str(), drivenValue.c_str());
        });
    }
    contained(COMPONENT, SOURCE, "resynchronizeDataSets", [&] {
        std::string value;
        Change copied{driven.item, {}};
        {
            const Guard guard(m_lock);
            if (setting.value == driven.value) {
                return;
            }
            value = copied.value = setting.value;
            tryStore(copied);
        }
        report(copied, value);
        if (!copied.stored) {
            MRS_LOG(LOG_LEVEL_WARNING, "resynchronizeDataSets(): No success - setDataItem(%s,%s)", driven.name.c_str(),
                    value.c_str());
        }
    });
}

void RecordingConfigManager::eventRecordingStarted(const std::string& line)
{
    MRS_LOG(LOG_LEVEL_TRACE, "eventRecordingStarted(line = %s)", line.c_str());
    contained(COMPONENT, SOURCE, "eventRecordingStarted", [&] {
        const Guard guard(m_lock);
        m_recordingLines.insert(line);
        if (m_state == ConfigurationUnlocked) {
            m_state = ConfigurationLocked;
        }
    });
}

void RecordingConfigManager::eventRecordingStopped(const std::string& line)
{
    MRS_LOG(LOG_LEVEL_TRACE, "eventRecordingStopped(line = %s)", line.c_str());
    {
        const Guard guard(m_lock);
        m_recordingLines.erase(line);
        if (!m_recordingLines.empty()) {
            return;
        }
        m_state = ConfigurationUnlocked;
    }
    resynchronizeDataSets();
}

bool RecordingConfigManager::getRecordingActivation(const std::string& line)
{
    MRS_LOG(LOG_LEVEL_TRACE, "getRecordingActivation(linuURI=%s)", line.c_str());
    return contained(COMPONENT, SOURCE, "getRecordingActivation", [&] {
        const Guard guard(m_lock);
        return m_recordingActivation[line];
    });
}

void RecordingConfigManager::setRecordingActivation(const std::string& line, bool value)
{
    MRS_LOG(LOG_LEVEL_TRACE, "setRecordingActivation(lineURI=%s, value=%s)", line.c_str(), asText(value));
    contained(COMPONENT, SOURCE, "setRecordingActivation", [&] {
        Publication publication{CALL_RECORDING_ACTIVE, activationText(line, value), nullptr, value};
        const char* oldValue = nullptr;
        {
            const Guard guard(m_lock);
            Activation& activation = *m_recordingActivation.emplace(line, false).first;
            dataset[CALL_RECORDING_ACTIVE].value = publication.value;
            oldValue = asText(activation.second);
            activation.second = value;
            m_activeLine = publication.line = &activation;
        }
        // This text, also when another line's is in its place by now: each line's activation is told.
        publish(std::move(publication), oldValue);
    });
}
