#include "scenario/Player.h"

#include "scenario/Commands.h"
#include "scenario/Words.h"
#include "telephone/Telephone.h"

namespace deskphone {

Step perform(Telephone& telephone, const Command& command, const Given& given, int number)
{
    const Words& words = given.words;
    if (command.needs == NETWORK) {
        throw Mistake(words.front() + ": needs --sip");
    }
    if (command.perform == nullptr) {
        throw Mistake(words.front() + " is no command by itself");
    }
    if (command.needs == STOPPED_SERVICE && telephone.running()) {
        throw Mistake(words.front() + ": the service runs already");
    }
    if (command.needs == RUNNING_SERVICE && !telephone.running()) {
        throw Mistake(words.front() + ": the service does not run");
    }
    Step step{number, words, given.comments, given.block};
    step.lampWasOn = telephone.lampOn();
    if (command.needs == SERVICE && !telephone.running()) {
        telephone.start(true);
    }
    step.result = command.perform(telephone, Words(words.begin() + 1, words.end()));
    return step;
}

Step Player::play(const Given& given)
{
    Step step = perform(m_telephone, findCommand(given.words), given, m_steps + 1);
    ++m_steps;
    step.records = m_telephone.settle();
    step.log = m_telephone.recorder().takeLog();
    step.serviceRuns = m_telephone.running();
    return step;
}

}  // namespace deskphone
