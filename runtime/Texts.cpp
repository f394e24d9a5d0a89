#include "TarnTags.h"
#include "communicationsServiceTexts.h"

namespace TarnTags {

const std::string FUNCTION_KEY_ID = "function-key-id";

}  // namespace TarnTags

namespace communicationsServiceTexts {

const std::string content_callrecording_OnFirstTime = "content_callrecording_OnFirstTime";
const std::string content_callrecording_FailedToStart = "content_callrecording_FailedToStart";
const std::string content_feature_on = "content_feature_on";
const std::string content_feature_onForceIndication = "content_feature_onForceIndication";
const std::string content_feature_off = "content_feature_off";
const std::string content_common_failed = "content_common_failed";

}  // namespace communicationsServiceTexts
