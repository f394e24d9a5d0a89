#pragma once

#include <string>
#include <vector>

#include "telephone/Step.h"

namespace deskphone {

class Telephone;

/// What a command needs: nothing; the service, which is started first if it does not run; or that the service is
/// stopped or runs already, and is a mistake otherwise.
enum Needs { NOTHING, SERVICE, STOPPED_SERVICE, RUNNING_SERVICE };

/// One row of the table of commands.
struct Command {
    const char* name;
    /// The places for words after the name, as help shows them: [what may be left out], what may come again..., this|or
    /// that. Any other place's name tells what it takes.
    const char* words;
    Needs needs;
    const char* purpose;
    /// Performs the command with the words after its name, which are right. Throws what the telephone throws.
    Value (*perform)(Telephone& telephone, const Words& words);
};

/// The table.
const std::vector<Command>& commands();

/// The command that the words (at least one) are right for; throws Mistake when they are for none.
const Command& findCommand(const Words& words);

/// A number of the scenario language: decimal, of 32 bits. False, with `number` left as it is, when `word` is none.
bool readNumber(const std::string& word, int& number);

/// Help on all commands, and on one of them; throws Mistake when there is none of this name.
std::string listOfCommands();
std::string describeCommand(const std::string& name);
/// For completion: the fixed words that can follow these; first of all the names of the commands.
Words nextWords(const Words& words);
/// The name of the place for the word that follows these, as in the table; "" when there is none.
std::string placeAfter(const Words& words);

}  // namespace deskphone
