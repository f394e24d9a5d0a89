#pragma once

#include <string>

#include "telephone/Telephone.h"

namespace deskphone {

/// The mode, the selected line, the lamp, and each line with its machine's state and its session.
std::string describe(const Status& status);

}  // namespace deskphone
