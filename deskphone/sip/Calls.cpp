#include "sip/Calls.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <iostream>

#include "scenario/Commands.h"
#include "scenario/Words.h"
#include "telephone/Telephone.h"

namespace deskphone {

namespace {

constexpr int USUAL_PATIENCE = 10;        // seconds
constexpr int PATIENCE_WHEN_LEAVING = 3;  // seconds
constexpr std::size_t MOST_REMEMBERED = 10000;
constexpr const char* LINE_SELECTED = "11";
constexpr std::array<std::string_view, 9> causes{"LMSCreateSession",  "LMSDestroySession",    "LMSEventAttached",
                                                 "LMSEventStreaming", "LMSEventNotStreaming", "LMSEventErrorStatus",
                                                 "setLineStatus",     "activateRecording",    "deactivateRecording"};

int numberOf(const std::string& word)
{
    int number = 0;
    readNumber(word, number);
    return number;
}

void check(const Words& words, const std::string& wrong)
{
    if (!wrong.empty()) {
        throw Mistake(words.front() + ": " + wrong);
    }
}

/// Whether the command is as awaited: word for word, where "" stands for any.
bool isAsAwaited(const Words& command, const Words& awaited)
{
    return awaited.size() <= command.size() && std::equal(awaited.begin(), awaited.end(), command.begin(),
                                                          [](const std::string& wanted, const std::string& word) {
                                                              return wanted.empty() || wanted == word;
                                                          });
}

}  // namespace

Calls::Calls(const NetworkSettings& settings) : m_settings(settings), m_agent(UserAgent::start(settings, m_happenings))
{
}

Calls::~Calls() = default;

bool Calls::next(Given& command)
{
    command = {};
    for (Given happening; m_happenings.take(happening);) {
        m_comments.insert(m_comments.end(), happening.comments.begin(), happening.comments.end());
        if (m_tellsAtOnce && happening.words.empty()) {
            for (const std::string& comment : happening.comments) {
                std::cerr << comment << std::endl;
            }
        }
        if (!happening.words.empty()) {
            command.words = std::move(happening.words);
            addComments(command);
            return true;
        }
    }
    return false;
}

void Calls::played(const Step& step)
{
    m_caused.push_back(step.command);
    if (m_caused.size() > MOST_REMEMBERED) {
        m_caused.pop_front();
    }
}

bool Calls::refused(const Mistake& mistake)
{
    std::cerr << "deskphone: " << mistake.what() << std::endl;
    return true;
}

void Calls::addComments(Given& command)
{
    command.comments.insert(command.comments.begin(), m_comments.begin(), m_comments.end());
    m_comments.clear();
}

void Calls::waitFor(int descriptor, const PlayAll& playAll)
{
    playAll();
    for (pollfd input{descriptor, POLLIN, 0}; descriptor >= 0 && ::poll(&input, 1, 0) == 0; playAll()) {
        wait(descriptor, std::chrono::hours(1));
    }
}

/// Returns when the descriptor can be read, something has happened, or the time is over.
void Calls::wait(int descriptor, Clock::duration longest) const
{
    pollfd descriptors[]{
        {descriptor, POLLIN, 0}, {m_happenings.descriptor(), POLLIN, 0}, {m_interruptions.descriptor(), POLLIN, 0}};
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(longest).count();
    ::poll(descriptors, 3, static_cast<int>(std::max<std::int64_t>(milliseconds, 0)));
    m_interruptions.check();
}

bool Calls::waitUntil(const std::function<bool()>& happened, int seconds, const PlayAll& playAll)
{
    const auto end = Clock::now() + std::chrono::seconds(seconds);
    for (playAll(); !happened(); playAll()) {
        if (Clock::now() >= end) {
            return false;
        }
        wait(-1, end - Clock::now());
    }
    return true;
}

bool Calls::perform(const Given& command, Telephone& telephone, const PlayAll& playAll)
{
    const Words& words = command.words;
    if (findCommand(words).needs != NETWORK) {
        return false;
    }
    m_comments.insert(m_comments.end(), command.comments.begin(), command.comments.end());
    const std::string& name = words.front();
    if (command.block != Block::NONE) {
        throw Mistake(name + ": is on the network; expected before at-once, or behind its end");
    }
    if (name == "dial") {
        int call = 0;
        checkLine(words);
        check(words, m_agent->dial(words[1], words[2], call));
    } else if (name == "answer") {
        answer(numberOf(words[1]), playAll);
    } else if (name == "hangup") {
        check(words, m_agent->hangUp(numberOf(words[1])));
    } else if (name == "hold") {
        check(words, m_agent->hold(numberOf(words[1])));
    } else if (name == "resume") {
        check(words, m_agent->resume(numberOf(words[1])));
    } else if (name == "select") {
        std::string farEnd;
        checkLine(words);
        const int call = m_agent->callOn(words[1], farEnd);
        cause({"setLineStatus", words[1], LINE_SELECTED, std::to_string(call), farEnd});
    } else if (name == "key") {
        pressKey(telephone);
    } else {
        await(words, playAll);
    }
    return true;
}

void Calls::checkLine(const Words& words) const
{
    if (std::find(m_settings.accounts.begin(), m_settings.accounts.end(), words[1]) == m_settings.accounts.end()) {
        throw Mistake(words[0] + ": " + quoted(words[1]) + " is no line; expected one of the accounts");
    }
}

/// Goes through the queue, as everything else does that is no command of a person.
void Calls::cause(Words command)
{
    m_happenings.put({std::move(command)});
}

/// What the key does is what its lamp tells.
void Calls::pressKey(Telephone& telephone)
{
    std::string line = telephone.status().selectedLine;
    if (line.empty()) {
        line = m_settings.accounts.front();
    }
    cause({telephone.lampOn() ? "deactivateRecording" : "activateRecording", line});
}

void Calls::answer(int call, const PlayAll& playAll)
{
    if (!waitUntil([&] { return m_agent->isRinging(call); }, USUAL_PATIENCE, playAll)) {
        throw Mistake("answer: no call " + std::to_string(call) + " has come in within " +
                      std::to_string(USUAL_PATIENCE) + " seconds");
    }
    check({"answer"}, m_agent->answer(call));
}

/// A word more than the command takes is the number of seconds.
void Calls::await(const Words& words, const PlayAll& playAll)
{
    Words awaited(words.begin() + 1, words.end());
    int seconds = USUAL_PATIENCE;
    if (awaited.size() > 1 && placeAfter(Words(awaited.begin(), awaited.end() - 1)).empty()) {
        if (!readNumber(awaited.back(), seconds) || seconds < 0) {
            throw Mistake("await: " + quoted(awaited.back()) + " does not fit; expected a number of seconds");
        }
        awaited.pop_back();
    }
    if (std::find(causes.begin(), causes.end(), commandNamed(awaited.front()).name) == causes.end()) {
        throw Mistake("await: the network never causes " + awaited.front());
    }
    const auto happened = [&] {
        const auto found = std::find_if(m_caused.begin(), m_caused.end(),
                                        [&](const Words& command) { return isAsAwaited(command, awaited); });
        if (found == m_caused.end()) {
            return false;
        }
        m_caused.erase(found);
        return true;
    };
    if (!waitUntil(happened, seconds, playAll)) {
        std::string text;
        for (const std::string& word : awaited) {
            text += ' ' + asWord(word);
        }
        throw Mistake("await: the network has not caused" + text + " within " + std::to_string(seconds) + " seconds");
    }
}

void Calls::leave(const PlayAll& playAll)
{
    try {
        waitUntil([this] { return m_agent->leave(); }, PATIENCE_WHEN_LEAVING, playAll);
    } catch (const Interruption&) {
        m_agent->leave();  // who interrupts that does not want to wait
    }
    playAll();
}

}  // namespace deskphone
