#include "scenario/Player.h"

#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <utility>

#include "Activity.h"
#include "prompt/Prompt.h"
#include "prompt/Status.h"
#include "scenario/Commands.h"
#include "scenario/Scenario.h"
#include "telephone/Recorder.h"
#include "telephone/Telephone.h"

namespace deskphone {

namespace {

// The prompt's own words, which are no commands of scenarios.
constexpr const char* HELP = "help";
constexpr const char* STATUS = "status";
constexpr const char* STATUS_HELP =
    "  status                                    the mode, the lamp, the lines and their sessions\n";

// The places whose words are remembered.
constexpr const char* LINE = "LINE";
constexpr const char* HANDLE = "H";

}  // namespace

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
    const bool lampWasOn = m_telephone.lampOn();
    if (command.needs == SERVICE && !m_telephone.running()) {
        m_telephone.start(true);
    }
    Step step{++m_steps, words, {}, command.perform(m_telephone, Words(words.begin() + 1, words.end())), lampWasOn};
    runtime::waitUntilIdle();
    step.records = m_recorder.take();
    remember(step);
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
    Prompt prompt([this](const Words& words) { return completions(words); });
    std::string line;
    for (int number = 1; prompt.next(line); ++number) {
        try {
            const Words words = splitLine(line);
            if (words == Words{STATUS}) {
                prompt.show(describeTelephone(m_telephone, m_recorder));
            } else if (words == Words{HELP}) {
                prompt.show(listOfCommands() + "At the prompt:\n  help [COMMAND]\n" + STATUS_HELP);
            } else if (words == Words{HELP, STATUS}) {
                prompt.show(STATUS_HELP);
            } else if (words.size() == 2 && words.front() == HELP) {
                prompt.show(describeCommand(words[1]));
            } else {
                playCommand(words);
            }
        } catch (const Mistake& mistake) {
            report("-", number, mistake);
        }
    }
}

void Player::remember(const Step& step)
{
    // In every command that has one of these places, it is the first.
    const std::string place = placeAfter({step.command.front()});
    if (step.command.size() > 1 && (place == LINE || place == HANDLE)) {
        m_seen[place].insert(step.command[1]);
    }
    for (const auto& records : step.records) {
        for (const Record& record : records) {
            if (const auto* const event = std::get_if<MachineEvent>(&record)) {
                m_seen[LINE].insert(event->line);
            }
        }
    }
    if (const int* const handle = std::get_if<int>(&step.result);
        handle != nullptr && step.command.front() == "LMSCreateSession") {
        m_seen[HANDLE].insert(std::to_string(*handle));
    }
}

/// The fixed words that can follow these; where a line or a handle is due, those seen so far.
Words Player::completions(const Words& words) const
{
    if (words == Words{HELP}) {
        return nextWords({});
    }
    Words next = nextWords(words);
    if (words.empty()) {
        next.insert(next.end(), {HELP, STATUS});
    } else if (const auto seen = m_seen.find(placeAfter(words)); seen != m_seen.end()) {
        std::transform(seen->second.begin(), seen->second.end(), std::back_inserter(next), asWord);
    }
    return next;
}

void Player::report(const std::string& name, int line, const std::exception& mistake)
{
    m_errors << name << ':' << line << ": " << mistake.what() << std::endl;
}

}  // namespace deskphone
