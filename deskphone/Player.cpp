#include "Player.h"

#include <unistd.h>
#include <cerrno>
#include <system_error>
#include <utility>

#include "Activity.h"
#include "Commands.h"
#include "Prompt.h"
#include "Recorder.h"
#include "Scenario.h"
#include "Telephone.h"

Player::Player(Telephone& telephone, Recorder& recorder, Printer printer, std::ostream& output, std::ostream& errors)
    : m_telephone(telephone), m_recorder(recorder), m_printer(std::move(printer)), m_output(output), m_errors(errors)
{
}

int Player::play(const Words& scenarios)
{
    for (const std::string& name : scenarios) {
        if (name == "-" && ::isatty(STDIN_FILENO) != 0) {
            playPrompt();
        } else if (!playFile(name)) {
            return 2;
        }
    }
    return 0;
}

void Player::playCommand(const Words& words)
{
    if (words.empty()) {
        return;
    }
    const Command& command = findCommand(words);
    if (command.needs == STOPPED_SERVICE && m_telephone.running()) {
        throw Mistake(words.front() + ": the service runs already");
    }
    if (command.needs == RUNNING_SERVICE && !m_telephone.running()) {
        throw Mistake(words.front() + ": the service does not run");
    }
    if (command.needs == SERVICE && !m_telephone.running()) {
        m_telephone.start(true);
    }
    Step step{++m_steps, words, {}, command.perform(m_telephone, Words(words.begin() + 1, words.end()))};
    runtime::waitUntilIdle();
    step.records = m_recorder.take();
    m_output << m_printer(step) << std::flush;
    if (!m_output) {
        throw std::system_error(errno, std::generic_category(), "standard output");
    }
}

bool Player::playFile(const std::string& name)
{
    try {
        ScenarioFile file(name);
        std::string line;
        for (int number = 1; file.next(line); ++number) {
            try {
                playCommand(splitLine(line));
            } catch (const Mistake& mistake) {
                report(name, number, mistake);
                return false;
            }
        }
    } catch (const std::system_error& failure) {
        m_errors << "deskphone: " << failure.what() << std::endl;
        return false;
    }
    return true;
}

void Player::playPrompt()
{
    Prompt prompt;
    std::string line;
    for (int number = 1; prompt.next(line); ++number) {
        try {
            const Words words = splitLine(line);
            if (words.empty() || words.front() != Prompt::HELP) {
                playCommand(words);
            } else if (words.size() == 1) {
                prompt.show(listOfCommands());
            } else {
                prompt.show(describeCommand(words[1]));
            }
        } catch (const Mistake& mistake) {
            report("-", number, mistake);
        }
    }
}

void Player::report(const std::string& name, int line, const std::exception& mistake)
{
    m_errors << name << ':' << line << ": " << mistake.what() << std::endl;
}
