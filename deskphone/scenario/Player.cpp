#include "scenario/Player.h"

#include "scenario/Commands.h"
#include "scenario/Words.h"
#include "telephone/Telephone.h"

namespace deskphone {

Step Player::play(const Given& given)
{
    const Words& words = given.words;
    const Command& command = findCommand(words);
    if (command.needs == NETWORK) {
        throw Mistake(words.front() + ": needs --sip");
    }
    if (command.perform == nullptr) {
        throw Mistake(words.front() + " is no command by itself");
    }
    if (command.needs == STOPPED_SERVICE && m_telephone.running()) {
        throw Mistake(words.front() + ": the service runs already");
    }
    if (command.needs == RUNNING_SERVICE && !m_telephone.running()) {
        throw Mistake(words.front() + ": the service does not run");
    }
    Step step{++m_steps, words, given.comments, given.block};
    step.lampWasOn = m_telephone.lampOn();
    if (command.needs == SERVICE && !m_telephone.running()) {
        m_telephone.start(true);
    }
    step.result = command.perform(m_telephone, Words(words.begin() + 1, words.end()));
    step.records = m_telephone.settle();
    step.log = m_telephone.recorder().takeLog();
    step.serviceRuns = m_telephone.running();
    return step;
}

}  // namespace deskphone
