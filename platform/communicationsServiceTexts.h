#pragma once

#include <string>

/// Identifiers of the texts that the communications service shows.
namespace communicationsServiceTexts {

extern const std::string content_callrecording_OnFirstTime;
extern const std::string content_callrecording_FailedToStart;
extern const std::string content_feature_on;
extern const std::string content_feature_onForceIndication;
extern const std::string content_feature_off;
extern const std::string content_common_failed;

}  // namespace communicationsServiceTexts
