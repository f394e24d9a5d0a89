#include "prompt/Conversation.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "prompt/Status.h"
#include "scenario/Commands.h"
#include "scenario/WholeFile.h"
#include "telephone/Telephone.h"

namespace deskphone {

namespace {

namespace fs = std::filesystem;

constexpr const char* GREETING =
    "A telephone with the recording service. Type help for the commands; exit or Ctrl-D leaves.\n";

/// A word of the prompt's own, which is no command of scenarios.
struct OwnWord {
    enum Argument { NONE, COMMAND_OR_NONE, FILE };

    const char* name;
    const char* words;
    Argument argument;
    const char* purpose;
};

constexpr OwnWord ownWords[]{
    {"help", "help [COMMAND]", OwnWord::COMMAND_OR_NONE, "the commands, or one of them"},
    {"status", "status", OwnWord::NONE, "the mode, the lamp, the lines and their sessions"},
    {"play", "play FILE", OwnWord::FILE, "plays a scenario"},
    {"save", "save FILE", OwnWord::FILE, "writes what was played so far as a scenario"},
    {"exit", "exit", OwnWord::NONE, "leaves; so do quit and Ctrl-D"},
    {"quit", "exit", OwnWord::NONE, "leaves; so do quit and Ctrl-D"},
};

const OwnWord* findOwn(const std::string& name)
{
    const auto* const found = std::find_if(std::begin(ownWords), std::end(ownWords),
                                           [&name](const OwnWord& word) { return name == word.name; });
    return found == std::end(ownWords) ? nullptr : found;
}

std::string describe(const OwnWord& word)
{
    constexpr std::size_t column = 42;
    std::string text = std::string("  ") + word.words;
    text.resize(column + 2, ' ');
    return text + word.purpose + '\n';
}

/// All that can stand first in a line.
Words firstWords()
{
    Words words = nextWords({});
    for (const OwnWord& word : ownWords) {
        words.emplace_back(word.name);
    }
    return words;
}

bool isCommand(const std::string& name)
{
    const Words names = nextWords({});
    return std::find(names.begin(), names.end(), name) != names.end();
}

volatile std::sig_atomic_t interrupted = 0;

/// A scenario that Ctrl-C ends instead of the program.
class StoppableFile : public ScenarioFile {
public:
    StoppableFile(const std::string& name, std::ostream& errors, Wait wait)
        : ScenarioFile(name, errors, std::move(wait)), m_errors(errors)
    {
        interrupted = 0;
        struct sigaction action {};
        action.sa_handler = [](int /*signal*/) { interrupted = 1; };
        action.sa_flags = SA_RESTART;
        ::sigaction(SIGINT, &action, &m_before);
    }
    ~StoppableFile() override { ::sigaction(SIGINT, &m_before, nullptr); }
    StoppableFile(const StoppableFile&) = delete;
    StoppableFile& operator=(const StoppableFile&) = delete;

    bool next(Given& command) override
    {
        if (interrupted != 0) {
            m_errors << "play: stopped" << std::endl;
        }
        return interrupted == 0 && ScenarioFile::next(command);
    }

private:
    std::ostream& m_errors;
    struct sigaction m_before {};
};

Mistake unknown(const std::string& name)
{
    const std::string nearest = nearestOf(firstWords(), name);
    return Mistake("unknown command " + quoted(name) +
                   (nearest.empty() ? "; help lists those that there are" : "; did you mean " + nearest + '?'));
}

void checkNumberOfWords(const OwnWord& own, const Words& words)
{
    const std::string expected = std::string("; expected ") + own.words;
    if (words.size() > (own.argument == OwnWord::NONE ? 1U : 2U)) {
        throw Mistake(quoted(words[own.argument == OwnWord::NONE ? 1 : 2]) + " is one word too many" + expected);
    }
    if (own.argument == OwnWord::FILE && (words.size() < 2 || words[1].empty())) {
        throw Mistake(words.front() + ": FILE is missing" + expected);
    }
}

/// The files of the folder that the name begun is in.
Words filesLike(const std::string& begun)
{
    const std::string folder = begun.substr(0, begun.rfind('/') + 1);
    Words files;
    std::error_code error;
    for (fs::directory_iterator entry(folder.empty() ? "." : folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code unknown;
        files.push_back(asWord(folder + entry->path().filename().string() + (entry->is_directory(unknown) ? "/" : "")));
    }
    return files;
}

}  // namespace

Conversation::Conversation(Telephone& telephone, std::ostream& errors, const Story& story, Wait wait)
    : m_telephone(telephone), m_errors(errors), m_story(story), m_wait(std::move(wait))
{
}

bool Conversation::next(Given& command)
{
    if (!m_greeted) {
        m_greeted = true;
        m_prompt.show(GREETING);
    }
    command = {};
    if (nextOfFile(command)) {
        return true;
    }
    std::string comment;
    for (std::string line; !m_left && m_prompt.next(line);) {
        command.words = splitLine(line, &comment);
        if (!comment.empty()) {
            command.comments.push_back(comment);
        }
        if (command.words.empty()) {
            continue;
        }
        if (isCommand(command.words.front())) {
            if (!m_blocks.take(command)) {
                return true;
            }
            continue;
        }
        perform(command.words);
        if (nextOfFile(command)) {
            return true;
        }
    }
    command.words.clear();
    return false;
}

/// False at the file's end, and when none is played.
bool Conversation::nextOfFile(Given& command)
{
    try {
        if (m_file != nullptr && m_file->next(command)) {
            return true;
        }
    } catch (const std::system_error& failure) {
        m_errors << failure.what() << std::endl;
    }
    m_file = nullptr;
    return false;
}

/// A line that begins with none of the scenarios' commands.
void Conversation::perform(const Words& words)
{
    const std::string& name = words.front();
    const OwnWord* const own = findOwn(name);
    if (own == nullptr) {
        throw unknown(name);
    }
    checkNumberOfWords(*own, words);
    try {
        if (name == "help") {
            m_prompt.show(helpOn(words));
        } else if (name == "status") {
            m_prompt.show(deskphone::describe(m_telephone.status()));
        } else if (name == "play") {
            if (m_blocks.isOpen()) {
                throw Mistake("play: commands are given at once; expected end before it");
            }
            m_file = std::make_unique<StoppableFile>(words[1] == "-" ? "./-" : words[1], m_errors, m_wait);
        } else if (name == "save") {
            save(words[1]);
        } else {
            m_left = true;
        }
    } catch (const std::system_error& failure) {
        throw Mistake(name + ": " + failure.what());
    }
}

std::string Conversation::helpOn(const Words& words) const
{
    if (words.size() > 1) {
        const OwnWord* const own = findOwn(words[1]);
        if (own == nullptr && !isCommand(words[1])) {
            throw unknown(words[1]);
        }
        return own != nullptr ? describe(*own) : describeCommand(words[1]);
    }
    std::string text = listOfCommands() + "\nThe prompt:\n";
    for (const OwnWord& word : ownWords) {
        text += std::string_view(word.words).find(word.name) == 0 ? describe(word) : "";
    }
    return text;
}

void Conversation::save(const std::string& file)
{
    if (m_saved.count(file) == 0 && fs::exists(file)) {
        throw Mistake("save: " + quoted(file) + " exists already; expected a new file");
    }
    replaceFile(file, m_story.text());
    m_saved.insert(file);
    m_prompt.show("saved in " + file + '\n');
}

void Conversation::played(const Step& step)
{
    Words before{step.command.front()};
    for (std::size_t index = 1; index < step.command.size(); ++index) {
        m_seen[placeAfter(before)].insert(step.command[index]);
        before.push_back(step.command[index]);
    }
    for (const auto& records : step.records) {
        for (const Record& record : records) {
            if (const auto* const event = std::get_if<MachineEvent>(&record)) {
                m_seen["LINE"].insert(event->line);
            }
        }
    }
    if (const int* const number = std::get_if<int>(&step.result)) {
        m_seen[commandNamed(step.command.front()).result].insert(std::to_string(*number));
    }
}

/// A person sees the line.
bool Conversation::refused(const Mistake& mistake)
{
    if (m_file != nullptr) {
        m_file->refused(mistake);
        m_file = nullptr;
    } else {
        m_errors << mistake.what() << std::endl;
    }
    return true;
}

/// Where a line, a handle or a call's number is due, those seen so far.
Words Conversation::completions(const Words& words, const std::string& begun) const
{
    if (words.empty()) {
        return firstWords();
    }
    if (const OwnWord* const own = findOwn(words.front())) {
        return own->argument == OwnWord::NONE || words.size() > 1 ? Words{}
               : own->argument == OwnWord::FILE                   ? filesLike(begun)
                                                                  : firstWords();
    }
    Words next = nextWords(words);
    const std::string place = placeAfter(words);
    for (const char* const remembered : {"LINE", "H", "CALLID"}) {
        if (const auto seen = m_seen.find(remembered); place == remembered && seen != m_seen.end()) {
            std::transform(seen->second.begin(), seen->second.end(), std::back_inserter(next), asWord);
        }
    }
    return next;
}

}  // namespace deskphone
