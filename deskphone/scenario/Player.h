#pragma once

#include "telephone/Step.h"

namespace deskphone {

struct Command;
class Telephone;

/// Performs a command, which findCommand() found for its words, without waiting for what it leads to on other threads;
/// the step has no records yet. Throws Mistake, having called nothing, and std::exception when the telephone fails.
Step perform(Telephone& telephone, const Command& command, const Given& given, int number);

/// Plays commands to a telephone, which is not owned, one at a time.
///
/// For one thread, which is none of the platform's: the caller in the records.
class Player {
public:
    explicit Player(Telephone& telephone) : m_telephone(telephone) {}

    /// Plays one command; returns once the telephone is idle again. Throws Mistake, having called nothing, and
    /// std::exception when the telephone fails.
    Step play(const Given& given);

private:
    Telephone& m_telephone;
    int m_steps = 0;
};

}  // namespace deskphone
