#include "prompt/Conversation.h"

#include <algorithm>
#include <iterator>

#include "prompt/Status.h"
#include "scenario/Commands.h"
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

Conversation::Conversation(Telephone& telephone, std::ostream& errors)
    : m_telephone(telephone), m_errors(errors), m_prompt([this](const Words& words) { return completions(words); })
{
}

bool Conversation::next(Given& command)
{
    command = {};
    std::string comment;
    for (std::string line; m_prompt.next(line);) {
        ++m_line;
        command.words = splitLine(line, &comment);
        if (!comment.empty()) {
            command.comments.push_back(comment);
        }
        if (!command.words.empty() && !answered(command.words)) {
            return true;
        }
    }
    return false;
}

bool Conversation::answered(const Words& words)
{
    if (words == Words{STATUS}) {
        m_prompt.show(describe(m_telephone.status()));
    } else if (words == Words{HELP}) {
        m_prompt.show(listOfCommands() + "At the prompt:\n  help [COMMAND]\n" + STATUS_HELP);
    } else if (words == Words{HELP, STATUS}) {
        m_prompt.show(STATUS_HELP);
    } else if (words.size() == 2 && words.front() == HELP) {
        m_prompt.show(describeCommand(words[1]));
    } else {
        return false;
    }
    return true;
}

void Conversation::played(const Step& step)
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
        handle != nullptr && commandNamed(step.command.front()).result == std::string(HANDLE)) {
        m_seen[HANDLE].insert(std::to_string(*handle));
    }
}

bool Conversation::refused(const Mistake& mistake)
{
    m_errors << "-:" << m_line << ": " << mistake.what() << std::endl;
    return true;
}

/// The fixed words that can follow these; where a line or a handle is due, those seen so far.
Words Conversation::completions(const Words& words) const
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

}  // namespace deskphone
