#pragma once

#include <string>

namespace deskphone {

// Both throw std::system_error with the file's name.

std::string readFile(const std::string& name);
/// Writes the content beside the file, which it then becomes: a file is never there in part.
void replaceFile(const std::string& name, const std::string& content);

}  // namespace deskphone
