#include "Shows.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <utility>

#include "show/Chart.h"
#include "show/Coverage.h"
#include "show/Filter.h"
#include "show/JsonShow.h"
#include "show/Ladder.h"
#include "show/Picture.h"
#include "show/SavedScenario.h"
#include "show/StateChart.h"
#include "show/TextShow.h"

namespace deskphone {

namespace {

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

}  // namespace

Shows showsFor(const Options& options)
{
    Shows shows;
    if (!options.chart.empty()) {
        if (std::filesystem::path(options.chart).extension() == ".svg") {
            shows.push_back(std::make_unique<Picture>(options.chart, std::cerr));
        } else {
            shows.push_back(std::make_unique<Chart>(options.chart, std::cerr));
        }
    }
    if (options.chart != "-" && options.save != "-") {
        shows.push_back(showOnOutput(options));
    }
    Shows all;
    if (!options.save.empty()) {
        all.push_back(std::make_unique<SavedScenario>(options.save));
    }
    if (options.selection.isAll()) {
        std::move(shows.begin(), shows.end(), std::back_inserter(all));
    } else {
        all.push_back(std::make_unique<Filter>(options.selection, std::move(shows)));
    }
    return all;
}

}  // namespace deskphone
