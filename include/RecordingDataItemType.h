#pragma once

/// The data items of the recording configuration. An item whose name ends in CONFIG is a setting; the item without it
/// is the value in force, which the rest of the system reads.
enum RecordingDataItemType : int {
    NO_RECORDING_DATA_ITEM = 0,
    CALL_RECORDING_ACTIVE = 1,
    CALL_RECORDER_ADDRESS_CONFIG = 2,
    CALL_RECORDER_ADDRESS = 3,
    CALL_RECORDING_MODE_CONFIG = 4,
    CALL_RECORDING_MODE = 5,
    CALL_RECORDING_AUDIBLE_NOTIFICATION_CONFIG = 6,
    CALL_RECORDING_AUDIBLE_NOTIFICATION = 7,
};
