#include "Deskphone.h"

#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <optional>

#include "scenario/Commands.h"
#include "scenario/Player.h"
#include "show/Chart.h"
#include "show/Printers.h"
#include "telephone/Machines.h"
#include "telephone/Recorder.h"
#include "telephone/Telephone.h"

namespace deskphone {

namespace {

Printer choosePrinter(Form form)
{
    const char* const noColor = std::getenv("NO_COLOR");
    const bool coloured = ::isatty(STDOUT_FILENO) != 0 && (noColor == nullptr || *noColor == '\0');
    switch (form) {
        case Form::TEXT: return [coloured](const Step& step) { return printText(step, coloured); };
        case Form::JSON: return printJson;
        case Form::LADDER: return Ladder(terminalWidth(), coloured);
        default: return [](const Step& /*step*/) { return std::string(); };
    }
}

}  // namespace

int runDeskphone(const DeskphoneOptions& options, const Plugin& plugin)
{
    if (options.listCommands) {
        std::cout << listOfCommands() << std::flush;
        return 0;
    }
    Recorder recorder;
    recorder.watchMachines(options.form != Form::JSON || !options.chart.empty());
    std::optional<Chart> chart;
    if (!options.chart.empty()) {
        chart.emplace(options.chart);
    }
    Reached reached;
    const auto print = [&chart, &reached, printer = choosePrinter(options.form)](const Step& step) {
        if (chart) {
            chart->add(step);
        }
        reached.add(step);
        return printer(step);
    };
    const auto play = [&](const Words& scenarios) {
        Telephone telephone(plugin, recorder);
        return Player(telephone, recorder, print, std::cout, std::cerr).play(scenarios);
    };
    int status = 0;
    if (options.form != Form::COVERAGE) {
        status = play(options.scenarios);
    } else {
        // Each as if it were alone, so that any set can be asked about.
        for (const std::string& scenario : options.scenarios) {
            status = std::max(status, play({scenario}));
        }
    }
    if (status == 0 && options.form == Form::STATE_CHART) {
        std::cout << drawStates(reached) << std::flush;
    } else if (status == 0 && options.form == Form::COVERAGE) {
        std::cout << printCoverage(reached) << std::flush;
    }
    return status;
}

}  // namespace deskphone
