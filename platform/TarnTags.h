#pragma once

#include <string>

/// Tags of the management system that belong to the platform.
namespace TarnTags {

/// The beginning of every function-key definition's id.
extern const std::string FUNCTION_KEY_ID;

}  // namespace TarnTags
