#pragma once

#include <map>
#include <mutex>
#include <set>
#include <string>

#include "MediaRecordingExport.h"
#include "RecordingDataItemType.h"

class LocalMgmtIfc;
class ManageableData;
class SvcRTEContext;

struct RecordingDataItem {
    std::string name;
    std::string value;
    std::string tag;
    RecordingDataItemType item = NO_RECORDING_DATA_ITEM;
    RecordingDataItemType depItem = NO_RECORDING_DATA_ITEM;  // the item that this one drives
};

/// The recording configuration: seven text values that the management system reads and writes, and the per-line
/// activation of recording.
///
/// Writing a setting also writes the value in force that it drives, unless a line records: then the value in force is
/// held back until the last recording has ended. Every change of a value is published to the management system. Where
/// threads change one value at the same time, it is published until the management system was last told what is stored.
///
/// Any thread may call any operation but init(), which the constructor has called. The store's lock is never held while
/// something outside the store is called. Item numbers handed in must be 1 to 7. Values are opaque and never checked.
class MRS_EXPORT RecordingConfigManager {
public:
    /// `context` stays the caller's and may be null; without it, or without a management interface in it, changes are
    /// stored but not published.
    explicit RecordingConfigManager(SvcRTEContext* context);
    virtual ~RecordingConfigManager();
    RecordingConfigManager(const RecordingConfigManager&) = delete;
    RecordingConfigManager& operator=(const RecordingConfigManager&) = delete;

    void init();

    std::string getDataItem(RecordingDataItemType item);
    /// False when the write was held back: nothing is stored then.
    bool setDataItem(RecordingDataItemType item, const std::string& value);
    /// Publishes the item's value if it differs from `oldValue`; true when the management system accepted it.
    bool notifyDataItemChange(RecordingDataItemType item, const std::string& oldValue);

    /// Answers a management read; false from the first unknown tag on.
    bool getData(ManageableData& manageableData);
    /// Applies a management write; false when any item was held back or none was the store's.
    bool setData(ManageableData& manageableData);

    /// Copies each setting into the value in force that it drives, where they differ.
    void resynchronizeDataSets();
    void eventRecordingStarted(const std::string& line);
    void eventRecordingStopped(const std::string& line);

    /// False for a line never written.
    bool getRecordingActivation(const std::string& line);
    /// Sets the line's flag and publishes it as the item CALL_RECORDING_ACTIVE, also when it did not change.
    void setRecordingActivation(const std::string& line, bool value);

private:
    enum State : int { ConfigurationUnlocked = 0, ConfigurationLocked = 1, ConfigurationChangeRequested = 2 };

    struct Change;
    struct Publication;
    using Activation = std::map<std::string, bool>::value_type;

    void tryStore(Change& change) noexcept;
    void report(const Change& change, const std::string& value);
    bool publish(Publication publication, const std::string& oldValue);
    Publication storedNow(RecordingDataItemType item) const;
    void resynchronize(const RecordingDataItem& setting, const RecordingDataItem& driven);
    const RecordingDataItem* findByTag(const std::string& tag) const;

    // m_lock guards the values of dataset, m_state, the two containers and m_activeLine; the rest is fixed once init()
    // has run.
    int m_state = ConfigurationUnlocked;
    SvcRTEContext* m_context;
    LocalMgmtIfc* m_localMgmtIfc = nullptr;
    RecordingDataItem dataset[8];  // NOLINT(readability-identifier-naming): by item number; row 0 is never used
    std::map<std::string, bool> m_recordingActivation;
    std::set<std::string> m_recordingLines;
    const Activation* m_activeLine = nullptr;  // whose activation CALL_RECORDING_ACTIVE holds; null: a text of its own
    std::mutex m_lock;
};
