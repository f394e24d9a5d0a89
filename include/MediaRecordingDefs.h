#pragma once

#include <string>

/// Tags under which the management system knows the recording configuration, and its initial values.
/// Created when the plug-in is loaded, before any of its operations runs.
namespace MediaRecordingDefs {

extern const std::string tarnTagCallRecordingActive;
extern const std::string tarnTagCallRecorderAddressConfig;
extern const std::string tarnTagCallRecorderAddress;
extern const std::string tarnTagCallRecordingModeConfig;
extern const std::string tarnTagCallRecordingMode;
extern const std::string tarnTagCallRecordingAudibleNotificationConfig;
extern const std::string tarnTagCallRecordingAudibleNotification;

// Observed by the service, not held by the configuration store; both have the same text.
extern const std::string tarnTagMobilityDataUpdates;
extern const std::string tarnTagMobilityUserDataUpdate;

extern const std::string DEFAULT_CALL_RECORDING_ACTIVE_STRING;
extern const std::string DEFAULT_CALL_RECORDER_ADDRESS_STRING;
extern const std::string DEFAULT_CALL_RECORDING_MODE_STRING;
extern const std::string DEFAULT_CALL_RECORDING_AUDIBLE_NOTIFICATION_STRING;

}  // namespace MediaRecordingDefs
