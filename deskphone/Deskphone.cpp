#include "Deskphone.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <system_error>
#include <utility>

#include "prompt/Conversation.h"
#include "scenario/Commands.h"
#include "scenario/Player.h"
#include "scenario/ScenarioFile.h"
#include "show/Chart.h"
#include "show/Coverage.h"
#include "show/Filter.h"
#include "show/JsonShow.h"
#include "show/Ladder.h"
#include "show/Picture.h"
#include "show/StateChart.h"
#include "show/TextShow.h"
#include "telephone/Telephone.h"

namespace deskphone {

namespace {

using Shows = std::vector<std::unique_ptr<Show>>;

std::unique_ptr<Show> showOnOutput(const Options& options)
{
    const Screen screen = standardOutput();
    switch (options.form) {
        case Form::JSON: return std::make_unique<JsonShow>(screen, options.states);
        case Form::LADDER: return std::make_unique<Ladder>(screen);
        case Form::STATE_CHART: return std::make_unique<StateChart>(screen);
        case Form::COVERAGE: return std::make_unique<Coverage>(screen);
        default: return std::make_unique<TextShow>(screen);
    }
}

Shows showsFor(const Options& options)
{
    Shows shows;
    if (!options.chart.empty()) {
        if (std::filesystem::path(options.chart).extension() == ".svg") {
            shows.push_back(std::make_unique<Picture>(options.chart, std::cerr));
        } else {
            shows.push_back(std::make_unique<Chart>(options.chart));
        }
    }
    if (options.chart != "-") {
        shows.push_back(showOnOutput(options));
    }
    if (options.selection.isAll()) {
        return shows;
    }
    Shows filtered;
    filtered.push_back(std::make_unique<Filter>(options.selection, std::move(shows)));
    return filtered;
}

std::unique_ptr<Source> openSource(const std::string& name, Telephone& telephone)
{
    if (name == "-" && ::isatty(STDIN_FILENO) != 0) {
        return std::make_unique<Conversation>(telephone, std::cerr);
    }
    return std::make_unique<ScenarioFile>(name, std::cerr);
}

/// One telephone's life.
class Run {
public:
    /// `toldOfSilence` is whether the user was told, in this run or an earlier one, that the machines are silent.
    Run(const Plugin& plugin, int logLevel, const Shows& shows, bool& toldOfSilence)
        : m_telephone(plugin,
                      std::any_of(shows.begin(), shows.end(), [](const auto& show) { return show->showsMachines(); })),
          m_shows(shows),
          m_toldOfSilence(toldOfSilence)
    {
        m_telephone.setLogLevel(logLevel);
    }

    /// Returns the exit status.
    int play(const std::vector<std::string>& scenarios)
    {
        try {
            for (const std::string& scenario : scenarios) {
                if (!play(*openSource(scenario, m_telephone))) {
                    return 2;
                }
            }
        } catch (const std::system_error& failure) {
            std::cerr << "deskphone: " << failure.what() << std::endl;
            return 2;
        }
        return 0;
    }

private:
    /// False when a mistake has ended the run.
    bool play(Source& source)
    {
        for (Given command;;) {
            try {
                if (!source.next(command)) {
                    return true;
                }
                const Step step = m_player.play(command);
                for (const auto& show : m_shows) {
                    show->add(step);
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

    void tellOfSilence()
    {
        if (!m_toldOfSilence && m_telephone.machinesAreSilent()) {
            m_toldOfSilence = true;
            std::cerr << "deskphone: the plug-in's log tells nothing of the lines' machines; what they do is not shown"
                      << std::endl;
        }
    }

    Telephone m_telephone;
    Player m_player{m_telephone};
    const Shows& m_shows;
    bool& m_toldOfSilence;
};

}  // namespace

int runDeskphone(const Options& options, const Plugin& plugin)
{
    if (options.listCommands) {
        std::cout << listOfCommands() << std::flush;
        return 0;
    }
    const Shows shows = showsFor(options);
    int status = 0;
    bool toldOfSilence = false;
    for (const auto& scenarios : options.runs) {
        status = std::max(status, Run(plugin, options.logLevel, shows, toldOfSilence).play(scenarios));
    }
    for (const auto& show : shows) {
        status == 0 ? show->finish() : show->breakOff();
    }
    return status;
}

}  // namespace deskphone
