#pragma once

#include <string>

#include "telephone/Step.h"

namespace deskphone {

/// The step as it stands in a scenario: its comments, a line each, and its command. Read again, it gives the same
/// words, whatever bytes they hold.
std::string asScenario(const Step& step);

}  // namespace deskphone
