#pragma once

#include <string_view>
#include <vector>

#include "telephone/Party.h"
#include "telephone/Step.h"

namespace deskphone {

class Telephone;

/// What a command needs: nothing; the service, which is started first if it does not run; or that the service is
/// stopped or runs already, and is a mistake otherwise. A command that needs the network is performed by it, and no
/// step.
enum Needs { NOTHING, SERVICE, STOPPED_SERVICE, RUNNING_SERVICE, NETWORK };

/// One row of the table of commands.
struct Command {
    std::string_view name;
    /// Performs the command with the words after its name, which are right. Throws what the telephone throws. Null for
    /// the words around a block of commands, which is the sources' matter.
    Value (*perform)(Telephone& telephone, const Words& words);
    /// The places for words after the name, as help shows them: [what may be left out], what may come again..., this|or
    /// that. Any other place's name tells what it takes.
    const char* words;
    const char* purpose;
    Party giver = USER;
    Needs needs = SERVICE;
    /// The place that the result is a word for.
    const char* result = "";
    /// The heading of the group that begins with this row; empty in the others.
    const char* group = "";
};

/// The table.
const std::vector<Command>& commands();

}  // namespace deskphone
