#include <sys/wait.h>

#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "Deskphone.h"
#include "OwnProcess.h"
#include "Shows.h"
#include "orders/Exploring.h"
#include "orders/Outcomes.h"
#include "orders/Playing.h"
#include "scenario/Words.h"
#include "telephone/LogFile.h"

namespace deskphone {

namespace {

constexpr const char* UNFIT =
    "the order does not fit: it holds for the scenario, the plug-in and the --log with which it was found";

/// The exit status of the work, a mistake's included, which is reported.
int statusOf(const std::function<int()>& work)
{
    try {
        return work();
    } catch (const Mistake& mistake) {
        std::cerr << mistake.what() << '\n';
        return 2;
    }
}

/// Plays the one order and shows it.
class Showing {
public:
    Showing(const Options& options, const Script& script, const Plugin& plugin)
        : m_options(options),
          m_code(readCode(options.orders.code)),
          m_script(script),
          m_playing(script, plugin, options.logLevel)
    {
        m_playing.follow(m_trail);
    }

    /// Returns the exit status.
    int show()
    {
        const int end = inAProcessOfItsOwn([this] { return statusOf([this] { return showAndJudge(); }); });
        if (WIFEXITED(end)) {
            return WEXITSTATUS(end);
        }
        showUpTo(m_trail.point);
        std::cerr << "deskphone: " << endOfProcess(end) << '\n';
        return 1;
    }

private:
    int showAndJudge()
    {
        const auto logFile = m_options.logFile.empty() ? nullptr : std::make_unique<LogFile>(m_options.logFile);
        m_playing.explain();
        const Played played = show({true, logFile.get()});
        if (played.outcome.code != m_code) {
            throw std::runtime_error(UNFIT);
        }
        for (const std::string& failure : played.failures) {
            std::cerr << "deskphone: " << failure << '\n';
        }
        return played.failures.empty() ? 0 : 1;
    }

    /// What ended the process may end it earlier this time.
    void showUpTo(unsigned point)
    {
        const auto show = [this, &point] {
            this->show({true, nullptr, point});
            return 0;
        };
        while (!WIFEXITED(inAProcessOfItsOwn(show)) && m_trail.point > 0) {
            point = m_trail.point - 1;
        }
    }

    Played show(const Kept& kept)
    {
        const Shows shows = showsFor(m_options);
        runtime::orders::GivenOrder order(m_code);
        Played played = m_playing.play(order, kept);
        for (const auto& show : shows) {
            for (const Step& step : played.steps) {
                show->add(step);
            }
            show->addComments(m_script.lastComments);
            show->finish();
        }
        return played;
    }

    const Options& m_options;
    const runtime::orders::Code m_code;
    const Script& m_script;
    Trail& m_trail = makeShared<Trail>();
    Playing m_playing;
};

}  // namespace

/// This module's: on the runtime with chosen orders.
int runDeskphone(const Options& options, const Plugin& plugin)
{
    return statusOf([&] {
        const Script script(options.runs.front());
        return options.orders.which == Orders::ONE ? Showing(options, script, plugin).show()
                                                   : explore(options, script, plugin);
    });
}

}  // namespace deskphone
