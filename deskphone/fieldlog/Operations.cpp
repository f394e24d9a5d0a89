#include "fieldlog/Operations.h"

#include <algorithm>
#include <array>

namespace deskphone {

namespace {

constexpr std::string_view LAMP_SET = "updateCallRecordingFPKLamp() recordingOn = %s";
constexpr std::string_view MODE_CHANGED = "setCallRecMode(): mode = %s";
constexpr std::string_view MODE_HANDED_ON = "setCallRecMode()";
constexpr std::string_view VALUES_READ = "getData( ManageableData& manageableData )";
constexpr std::string_view VALUES_WRITTEN = "setData( ManageableData& manageableData ):";
constexpr std::string_view VALUE_READ = "getData : %s=%s";
constexpr std::string_view VALUE_WRITTEN = "setData : %s=%s";
constexpr std::string_view ITEM_WRITTEN = "setDataItem:(item=%s, value=%s)";

constexpr std::string_view MESSAGE = "handleMessage: %s\n";

constexpr const char* LAMP_ASSUMED =
    "the key lamp is updated, the log does not tell why; played as dataChangedEvent mobility-user-data-update";

struct Item {
    const char* name;
    const char* tag;
    const char* read;   // the command
    const char* write;  // the command; null: setDataItem with the item's number
};
constexpr std::array<Item, 7> items{{
    {"callRecordingActive", "call-recording-active", "getRecordingActive", nullptr},
    {"callRecorderAddressConfig", "call-recorder-address-config", "getRecorderAddressConfig",
     "setRecorderAddressConfig"},
    {"callRecorderAddress", "call-recorder-address", "getRecorderAddress", nullptr},
    {"callRecordingModeConfig", "call-recording-mode-config", "getRecordingModeConfig", "setRecordingModeConfig"},
    {"callRecordingMode", "call-recording-mode", "getRecordingMode", nullptr},
    {"callRecordingAudibleNotificationSettingConfig", "call-recording-audible-notification-config",
     "getRecordingAudibleNotificationConfig", "setRecordingAudibleNotificationConfig"},
    {"callRecordingAudibleNotificationSetting", "call-recording-audible-notification",
     "getRecordingAudibleNotification", nullptr},
}};

/// The places of the record's text. A line behind it may be another's: then fewer lines have the format's form.
bool placesOf(const FieldRecord& record, std::string_view format, Words& places)
{
    for (std::string_view text = record.text;;) {
        places.clear();
        if (readPlaces(format, text, places)) {
            return true;
        }
        const std::size_t end = text.rfind('\n');
        if (end == std::string_view::npos) {
            return false;
        }
        text = text.substr(0, end);
    }
}

/// The command by whose name the record's text goes, with its words in the places; empty: none.
std::string_view commandNamed(const FieldRecord& record)
{
    static constexpr std::array<std::string_view, 20> names{"LMSCreateSession",
                                                            "LMSDestroySession",
                                                            "LMSEventAttached",
                                                            "LMSEventStreaming",
                                                            "LMSEventNotStreaming",
                                                            "LMSEventErrorStatus",
                                                            "activateRecording",
                                                            "deactivateRecording",
                                                            "setLineStatus",
                                                            "setOriginatingLine",
                                                            "featureKeyDefinitionChanged",
                                                            "getCallRecordingOn",
                                                            "getCallRecordingActivated",
                                                            "getCallRecordingAutostarts",
                                                            "getCallRecordingUserControllable",
                                                            "getRecordingStateMachineCreateNewIfNeeded",
                                                            "getRecordingActivation",
                                                            "setRecordingActivation",
                                                            "eventRecordingStarted",
                                                            "eventRecordingStopped"};
    const std::string_view format = record.kind->format;
    if (record.kind->level != LOG_LEVEL_TRACE || format.find("(): ") != std::string_view::npos) {
        return {};
    }
    const std::string_view name = format.substr(0, format.find('('));
    const bool isKnown = std::find(names.begin(), names.end(), name) != names.end();
    return isKnown || format == "resynchronizeDataSets()" ? name : std::string_view();
}

/// The first thing that a service does that is made.
bool looksUpManagement(const FieldRecord& record)
{
    return record.kind->component == "MediaRecordingHelper" &&
           record.kind->format.find("LocalMgmtIfc") != std::string_view::npos;
}

/// The next record of the component, null when there is none.
const FieldRecord* nextOf(std::string_view component, const NextRecords& records, std::size_t& at)
{
    while (++at < records.size()) {
        if (records[at].kind->component == component) {
            return &records[at];
        }
    }
    return nullptr;
}

Told readItem(const Words& places)
{
    for (const Item& item : items) {
        if (places[0] == item.name) {
            return {{item.read}};
        }
    }
    return {};
}

Told writeItem(const Words& places)
{
    for (std::size_t index = 0; index < items.size(); ++index) {
        if (places[0] == items[index].name) {
            return {items[index].write != nullptr ? Words{items[index].write, places[1]}
                                                  : Words{"setDataItem", std::to_string(index + 1), places[1]}};
        }
    }
    return {};
}

/// The tag and value of "TAG=VALUE". A tag that is none of the plug-in's may hold the sign too: `unknown`, if any.
Words tagAndValue(const std::string& text, const std::string& unknown)
{
    const auto begins = [&text](const std::string& tag) { return text.compare(0, tag.size() + 1, tag + '=') == 0; };
    std::size_t end = begins(unknown) ? unknown.size() : text.find('=');
    for (const Item& item : items) {
        end = begins(item.tag) ? std::string_view(item.tag).size() : end;
    }
    return {text.substr(0, end), text.substr(end + 1)};
}

/// What stands behind the format's literal beginning.
std::string behind(std::string_view beginning, const FieldRecord& record)
{
    return record.text.substr(beginning.size());
}

Told readTags(const NextRecords& records)
{
    Told told{{"getData"}};
    std::string unknown;
    std::size_t at = 0;
    while (const FieldRecord* const record = nextOf(records.front().kind->component, records, at)) {
        Words places;
        if (record->is(UNKNOWN_TAG) && placesOf(*record, UNKNOWN_TAG, places)) {
            unknown = places[0];
        } else if (record->is(VALUE_READ) && placesOf(*record, VALUE_READ, places)) {
            told.command.push_back(tagAndValue(behind("getData : ", *record), unknown)[0]);
        } else if (record->is(VALUES_READ) || record->is(VALUES_WRITTEN)) {
            break;
        }
    }
    return told.command.size() > 1 ? told : Told{};
}

Told writeTags(const NextRecords& records)
{
    Told told{{"setData"}};
    std::size_t at = 0;
    const std::string_view component = records.front().kind->component;
    while (const FieldRecord* const record = nextOf(component, records, at)) {
        Words places;
        if (record->is(VALUE_WRITTEN) && placesOf(*record, VALUE_WRITTEN, places)) {
            // What follows tells where the tag ends, or the value, unless it is another thread's.
            std::size_t behindIt = at;
            const FieldRecord* const following = nextOf(component, records, behindIt);
            Words ends;
            const bool unknown =
                following != nullptr && following->is(UNKNOWN_TAG) && placesOf(*following, UNKNOWN_TAG, ends);
            Words words = tagAndValue(behind("setData : ", *record), unknown ? ends[0] : "");
            if (following != nullptr && following->is(ITEM_WRITTEN) && placesOf(*following, ITEM_WRITTEN, ends) &&
                words[1].compare(0, ends[1].size(), ends[1]) == 0) {
                words[1] = ends[1];
            }
            told.command.insert(told.command.end(), words.begin(), words.end());
        } else if (record->is(records.front().kind->format) || record->is("setData:  one or more operations failed") ||
                   record->text.substr(0, 3) == "get" || record->text.substr(0, 5) == "event") {
            break;
        }
    }
    return told.command.size() > 1 ? told : Told{};
}

/// Told to the controller alone, or by a change event, which is then handed on to call control.
Told changeMode(const NextRecords& records, const std::string& mode)
{
    for (std::size_t at = 1; at < records.size(); ++at) {
        const FieldRecord& record = records[at];
        if (record.is(MODE_CHANGED) || record.is("init()")) {
            break;
        }
        if (record.is(MODE_HANDED_ON)) {
            return {{"dataChangedEvent", "call-recording-mode", mode}};
        }
    }
    return {{"setCallRecMode", mode}};
}

Told sendMessage(const NextRecords& records, std::string message)
{
    std::size_t at = 0;
    const FieldRecord* const answer = nextOf(records.front().kind->component, records, at);
    if (answer == nullptr || answer->is(records.front().kind->format)) {
        return {{"handleMessage", std::move(message)}};
    }
    return {{"handleMessage", std::move(message), "none"},
            "no MediaRecordingServiceIfc was handed over; played without any executable"};
}

/// Before the first one, the store of `start` looks its service up.
Told start(const NextRecords& records)
{
    for (const FieldRecord& record : records) {
        if (record.is("m_configManager NULL. Failed to initialize MRS.")) {
            return {{"start", "no-store"}};
        }
        if (record.is("getDataItem:(item=%s)")) {
            break;
        }
    }
    return {{"start"}};
}

bool setsLampNext(const NextRecords& records)
{
    std::size_t at = 0;
    const FieldRecord* const record = nextOf(records.front().kind->component, records, at);
    return record != nullptr && record->is(LAMP_SET);
}

}  // namespace

Told commandAt(const NextRecords& records, int level)
{
    const FieldRecord& first = records.front();
    Words places;
    const auto has = [&](std::string_view format) { return first.is(format) && placesOf(first, format, places); };
    if (first.is("init()") || looksUpManagement(first)) {
        return start(records);
    }
    if (has("getDataItem:(item=%s)")) {
        return readItem(places);
    }
    if (has(ITEM_WRITTEN)) {
        return writeItem(places);
    }
    if (first.is(VALUES_READ)) {
        return readTags(records);
    }
    if (first.is(VALUES_WRITTEN)) {
        return writeTags(records);
    }
    if (has(MODE_CHANGED)) {
        // What stands below it is another's: no mode has several lines.
        return changeMode(records, places[0].substr(0, places[0].find('\n')));
    }
    if (first.is(MESSAGE)) {
        // The empty line behind it may be lost.
        return sendMessage(records, has(MESSAGE) ? places[0] : behind(first.kind->beginning, first));
    }
    if (first.is("updateCallRecordingFPKLamp()") ||
        (level < LOG_LEVEL_DETAIL && first.is("getCallRecordingOn(line = %s)") && setsLampNext(records))) {
        return {{"dataChangedEvent", "mobility-user-data-update", ""}, LAMP_ASSUMED};
    }
    if (first.is("getSession(handle=%i)") || first.is(MACHINE_LIST)) {
        return {{"dumpStateMachines"}};
    }
    if (first.is("MediaRecordingService is not initialized")) {
        return {{"getRecordingMode"}, "a value is read or set without a store; played as getRecordingMode"};
    }
    if (const std::string_view command = commandNamed(first); !command.empty() && has(first.kind->format)) {
        places.insert(places.begin(), std::string(command));
        return {places};
    }
    return {};
}

bool beginsFromOutside(const FieldRecord& record)
{
    const std::string_view name = commandNamed(record);
    return name.substr(0, 3) == "LMS" || name == "setLineStatus" || name == "setOriginatingLine" || record.is("init()");
}

bool beginsForSure(const FieldRecord& record)
{
    const std::string_view name = commandNamed(record);
    return beginsFromOutside(record) || name == "activateRecording" || name == "deactivateRecording" ||
           name == "featureKeyDefinitionChanged" || record.is(MODE_CHANGED) || record.is(MESSAGE) ||
           record.is(VALUES_READ) || record.is(VALUES_WRITTEN) ||
           (record.is(ITEM_WRITTEN) && record.text.find("Config, value=") != std::string::npos) ||
           looksUpManagement(record);
}

}  // namespace deskphone
