#pragma once

#include <string>

namespace recorder {

/// Reads from a recording's metadata (RFC 7865) the label of the stream that carries what this participant says. Empty
/// when the metadata does not tell, or is not readable.
std::string labelOf(const std::string& metadata, const std::string& participant);

}  // namespace recorder
