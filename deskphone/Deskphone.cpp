#include "Deskphone.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "OwnProcess.h"
#include "Shows.h"
#include "fieldlog/FieldLog.h"
#include "prompt/Conversation.h"
#include "scenario/Commands.h"
#include "scenario/Player.h"
#include "scenario/ScenarioFile.h"
#include "scenario/ScenarioWriter.h"
#include "scenario/WholeFile.h"
#include "show/Comparison.h"
#include "sip/Calls.h"
#include "telephone/Telephone.h"

namespace deskphone {

namespace {

bool isConversation(const std::string& name)
{
    return name == "-" && ::isatty(STDIN_FILENO) != 0;
}

std::unique_ptr<Source> openSource(const std::string& name, Telephone& telephone, const Story& story, const Wait& wait)
{
    if (isConversation(name)) {
        return std::make_unique<Conversation>(telephone, std::cerr, story, wait);
    }
    return std::make_unique<ScenarioFile>(name, std::cerr, wait);
}

/// Null where the options ask for no network.
std::unique_ptr<Calls> openNetwork(const NetworkSettings& settings)
{
    if (!settings.given()) {
        return nullptr;
    }
    auto calls = std::make_unique<Calls>(settings);
    std::cerr << "deskphone: on the network at " << calls->place() << std::endl;
    return calls;
}

// Exit statuses.
constexpr int DIFFERENCE = 1;
constexpr int MISTAKE = 2;
constexpr int INTERRUPTED = 128;  // and the signal's number

/// One telephone's life.
class Run {
public:
    /// `toldOfSilence` is whether the user was told, in this run or an earlier one, that the machines are silent.
    Run(const Plugin& plugin, const Options& options, LogFile* logFile, const Shows& shows, bool& toldOfSilence)
        : m_calls(openNetwork(options.network)),
          m_telephone(plugin,
                      std::any_of(shows.begin(), shows.end(), [](const auto& show) { return show->showsMachines(); }),
                      m_calls == nullptr ? nullptr : &m_calls->network()),
          m_shows(shows),
          m_toldOfSilence(toldOfSilence)
    {
        m_telephone.setLogLevel(options.logLevel);
        m_telephone.recorder().writeLog(logFile);
    }

    /// Plays the scenarios and, unless its name is empty, the log. Returns the exit status.
    int play(const std::vector<std::string>& scenarios, const std::string& fieldLog)
    {
        m_keepsStory = std::any_of(scenarios.begin(), scenarios.end(), isConversation);
        if (m_keepsStory && m_calls != nullptr) {
            m_calls->tellAtOnce();
        }
        try {
            for (const std::string& scenario : scenarios) {
                const Wait wait = m_calls == nullptr ? Wait() : [this](int descriptor) {
                    m_calls->waitFor(descriptor, [this] { play(*m_calls); });
                };
                if (!play(*openSource(scenario, m_telephone, m_story, wait))) {
                    leaveNetwork();
                    return MISTAKE;
                }
            }
            leaveNetwork();
            if (!fieldLog.empty()) {
                FieldLog source(fieldLog, m_telephone);
                play(source);
                addLastComments();
                return source.report(std::cerr) ? 0 : DIFFERENCE;
            }
            addLastComments();
        } catch (const Interruption& interruption) {
            leaveNetwork();
            return INTERRUPTED + interruption.signal();
        } catch (const std::system_error& failure) {
            std::cerr << "deskphone: " << failure.what() << std::endl;
            return MISTAKE;
        }
        return 0;
    }

private:
    /// False when a mistake has ended the run.
    bool play(Source& source)
    {
        for (;;) {
            try {
                Given command;
                const bool any = source.next(command);
                command.comments.insert(command.comments.begin(), m_comments.begin(), m_comments.end());
                m_comments.clear();
                if (!any) {
                    m_comments = std::move(command.comments);
                    return true;
                }
                if (m_calls != nullptr && &source != m_calls.get()) {
                    if (m_calls->perform(command, m_telephone, [this] { play(*m_calls); })) {
                        continue;
                    }
                    m_calls->addComments(command);
                }
                const Step step = m_player.play(command);
                for (const auto& show : m_shows) {
                    show->add(step);
                }
                if (m_keepsStory) {
                    m_story.add(step);
                }
                source.played(step);
                tellOfSilence();
            } catch (const Mistake& mistake) {
                if (!source.refused(mistake)) {
                    return false;
                }
            }
        }
    }

    void leaveNetwork()
    {
        if (m_calls != nullptr) {
            m_calls->leave([this] { play(*m_calls); });
            Given last;
            m_calls->addComments(last);
            m_comments.insert(m_comments.end(), last.comments.begin(), last.comments.end());
        }
    }

    void addLastComments()
    {
        for (const auto& show : m_shows) {
            show->addComments(m_comments);
        }
    }

    void tellOfSilence()
    {
        if (!m_toldOfSilence && m_telephone.machinesAreSilent()) {
            m_toldOfSilence = true;
            std::cerr << "deskphone: the plug-in's log tells nothing of the lines' machines; what they do is not shown"
                      << std::endl;
        }
    }

    const std::unique_ptr<Calls> m_calls;  // null: there is no network
    Telephone m_telephone;
    Player m_player{m_telephone};
    bool m_keepsStory = false;  // for a person, who may save it
    Story m_story;
    std::vector<std::string> m_comments;  // that no step followed so far
    const Shows& m_shows;
    bool& m_toldOfSilence;
};

constexpr const char* BROKEN_OFF = "broken off  ";

std::string expectedFileOf(const std::string& scenario)
{
    const std::filesystem::path path(scenario);
    return (path.extension() == ".scenario" ? (path.parent_path() / path.stem()).string() : scenario) + ".expected";
}

/// Throws std::runtime_error for different scenarios whose output is expected in the same file.
void checkExpectedFiles(const std::vector<std::vector<std::string>>& runs)
{
    using std::filesystem::weakly_canonical;
    std::map<std::filesystem::path, std::string> scenarios;
    for (const auto& run : runs) {
        const std::string& scenario = run.front();
        const std::string file = expectedFileOf(scenario);
        const std::string& first = scenarios.try_emplace(weakly_canonical(file), scenario).first->second;
        if (weakly_canonical(first) != weakly_canonical(scenario)) {
            throw std::runtime_error(first + " and " + scenario + ": the output of both is expected in " + file);
        }
    }
}

/// Plays each scenario by itself and holds its output against what is expected of it, or accepts it as that.
class Proving {
public:
    Proving(const Options& options, const Plugin& plugin) : m_options(options), m_plugin(plugin) {}

    /// Returns the exit status.
    int prove()
    {
        checkExpectedFiles(m_options.runs);
        int status = 0;
        std::size_t agreeing = 0;
        for (const auto& scenarios : m_options.runs) {
            const int one = proveApart(scenarios.front());
            agreeing += one == 0 ? 1 : 0;
            status = std::max(status, one);
        }
        if (m_options.proof == Proof::CHECK && m_options.runs.size() > 1) {
            m_screen.print(std::to_string(agreeing) + " of " + std::to_string(m_options.runs.size()) + " agree\n");
        }
        return status;
    }

private:
    /// The plug-in's worker outlives the telephone, and does nothing for the next one of the same process.
    int proveApart(const std::string& scenario)
    {
        const int status =
            inAProcessOfItsOwn([this, &scenario] { return prove(scenario) | (m_toldOfSilence ? TOLD_OF_SILENCE : 0); });
        if (!WIFEXITED(status)) {
            m_screen.print(BROKEN_OFF + scenario + '\n');
            return 2;
        }
        m_toldOfSilence = m_toldOfSilence || (WEXITSTATUS(status) & TOLD_OF_SILENCE) != 0;
        return WEXITSTATUS(status) & ~TOLD_OF_SILENCE;
    }

    int prove(const std::string& scenario)
    {
        const std::string file = expectedFileOf(scenario);
        const bool accepts = m_options.proof == Proof::ACCEPT;
        const bool isNew = !std::filesystem::exists(file);
        if (!std::filesystem::exists(scenario)) {
            throw std::system_error(ENOENT, std::generic_category(), scenario);
        }
        if (isNew && !accepts) {
            throw std::runtime_error(file + " is missing; --accept writes it");
        }
        const std::string expected = isNew ? "" : readFile(file);
        Shows shows;
        shows.push_back(std::make_unique<Comparison>(
            expected.empty() ? Comparison::Form{m_options.form == Form::JSON, m_options.states} : formOf(expected)));
        const auto& comparison = static_cast<const Comparison&>(*shows.front());
        const int status = Run(m_plugin, m_options, nullptr, shows, m_toldOfSilence).play({scenario}, "");
        if (status != 0) {
            m_screen.print(BROKEN_OFF + scenario + '\n');
        } else if (accepts) {
            const bool changes = isNew || comparison.text() != expected;
            if (changes) {
                replaceFile(file, comparison.text());
            }
            m_screen.print((changes ? "written    " : "unchanged  ") + file + '\n');
        } else {
            const std::string differences = comparison.differences(expected, m_screen);
            m_screen.print((differences.empty() ? "agrees   " : "differs  ") + scenario + '\n' + differences);
            return differences.empty() ? 0 : 1;
        }
        return status;
    }

    const Options& m_options;
    const Plugin& m_plugin;
    static constexpr int TOLD_OF_SILENCE = 16;  // besides a child's exit status

    const Screen m_screen = standardOutput();
    bool m_toldOfSilence = false;
};

}  // namespace

int runDeskphone(const Options& options, const Plugin& plugin)
{
    if (options.listCommands) {
        std::cout << listOfCommands() << std::flush;
        return 0;
    }
    if (options.proof != Proof::NONE) {
        return Proving(options, plugin).prove();
    }
    const Shows shows = showsFor(options);
    const auto logFile = options.logFile.empty() ? nullptr : std::make_unique<LogFile>(options.logFile);
    int status = 0;
    bool toldOfSilence = false;
    for (const auto& scenarios : options.runs) {
        const bool isLast = &scenarios == &options.runs.back();
        status = std::max(
            status,
            Run(plugin, options, logFile.get(), shows, toldOfSilence).play(scenarios, isLast ? options.fromLog : ""));
    }
    for (const auto& show : shows) {
        status != MISTAKE ? show->finish() : show->breakOff();
    }
    return status;
}

}  // namespace deskphone
