#include "MediaRecordingDefs.h"

namespace MediaRecordingDefs {

const std::string tarnTagCallRecordingActive = "call-recording-active";
const std::string tarnTagCallRecorderAddressConfig = "call-recorder-address-config";
const std::string tarnTagCallRecorderAddress = "call-recorder-address";
const std::string tarnTagCallRecordingModeConfig = "call-recording-mode-config";
const std::string tarnTagCallRecordingMode = "call-recording-mode";
const std::string tarnTagCallRecordingAudibleNotificationConfig = "call-recording-audible-notification-config";
const std::string tarnTagCallRecordingAudibleNotification = "call-recording-audible-notification";

const std::string tarnTagMobilityDataUpdates = "mobility-user-data-update";
const std::string tarnTagMobilityUserDataUpdate = "mobility-user-data-update";

const std::string DEFAULT_CALL_RECORDING_ACTIVE_STRING = "update";
const std::string DEFAULT_CALL_RECORDER_ADDRESS_STRING = "";
const std::string DEFAULT_CALL_RECORDING_MODE_STRING = "disabled";
const std::string DEFAULT_CALL_RECORDING_AUDIBLE_NOTIFICATION_STRING = "off";

}  // namespace MediaRecordingDefs
