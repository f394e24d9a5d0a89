#pragma once

#include <string>

#include "scenario/CommandTable.h"
#include "telephone/Step.h"

namespace deskphone {

/// The command of this name; throws Mistake when there is none.
const Command& commandNamed(const std::string& name);
/// The command that the words (at least one) are right for; throws Mistake when they are for none.
const Command& findCommand(const Words& words);

/// Help on all commands, and on one of them; throws Mistake when there is none of this name.
std::string listOfCommands();
std::string describeCommand(const std::string& name);
/// The one of these that was probably meant by the word; "" when none is like it.
std::string nearestOf(const Words& known, const std::string& word);
/// For completion: the words that can follow these, as far as they are known; first of all the names of the commands.
Words nextWords(const Words& words);
/// The name of the place for the word that follows these, as in the table; "" when there is none.
std::string placeAfter(const Words& words);

}  // namespace deskphone
