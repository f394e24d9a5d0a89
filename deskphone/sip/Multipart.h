#pragma once

#include <string>

namespace deskphone {

/// The content of the first part of this type in a body of several parts (RFC 2046); "" where there is none. The parser
/// of the SIP library ends the program at some bodies that are torn.
std::string partOf(const std::string& body, const std::string& boundary, const std::string& type);

}  // namespace deskphone
