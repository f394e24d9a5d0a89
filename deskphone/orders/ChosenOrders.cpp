#include <iostream>

#include "Deskphone.h"
#include "Shows.h"
#include "orders/Exploring.h"
#include "orders/OrderedRun.h"
#include "orders/Outcomes.h"
#include "scenario/Words.h"

namespace deskphone {

namespace {

/// Plays the one order and shows it; returns the exit status.
int playOne(const Options& options, const Script& script, const Plugin& plugin)
{
    const runtime::orders::Code code = readCode(options.orders.code);
    const Shows shows = showsFor(options);
    OrderedRun run(script, plugin, options.logLevel, true);
    runtime::orders::GivenOrder order(code);
    const runtime::orders::Outcome outcome = run.play(order);
    for (const auto& show : shows) {
        for (const Step& step : run.steps()) {
            show->add(step);
        }
        show->finish();
    }
    if (outcome.code != code) {
        std::cerr << "deskphone: the order does not fit: it holds for the scenario, the plug-in and the --log with "
                     "which it was found\n";
        return 2;
    }
    for (const std::string& failure : run.failures()) {
        std::cerr << "deskphone: " << failure << '\n';
    }
    return run.failures().empty() ? 0 : 1;
}

}  // namespace

/// This module's: on the runtime with chosen orders.
int runDeskphone(const Options& options, const Plugin& plugin)
{
    try {
        const Script script(options.runs.front());
        return options.orders.which == Orders::ONE ? playOne(options, script, plugin)
                                                   : explore(options, script, plugin);
    } catch (const Mistake& mistake) {
        std::cerr << mistake.what() << '\n';
        return 2;
    }
}

}  // namespace deskphone
