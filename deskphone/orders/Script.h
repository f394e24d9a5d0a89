#pragma once

#include <set>
#include <string>
#include <vector>

#include "scenario/CommandTable.h"
#include "telephone/Step.h"

namespace deskphone {

/// Scenarios read as a whole, as one run.
struct Script {
    /// Throws Mistake, whose text begins with the place, and std::system_error for a file that cannot be read.
    explicit Script(const std::vector<std::string>& files);

    std::vector<Given> commands;
    std::vector<const Command*> meanings;  // of each command
    std::vector<std::string> places;       // FILE:LINE of each command
    std::vector<std::string> lastComments;
    /// What is no failure here: a comment says `# allowed WHAT: why`.
    std::set<std::string> allowed;
};

}  // namespace deskphone
