#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace deskphone {

namespace {

/// What is wrong with a file to write, "" for nothing. With it forgotten, the scenario that follows would be
/// overwritten.
std::string refusedFile(const std::string& file)
{
    return std::filesystem::path(file).extension() == ".scenario" ? file + " is a scenario; expected a file to write"
           : file.empty()                                         ? "expected a file to write"
                                                                  : "";
}

/// Reads A-B; false when it is none.
bool readSteps(const std::string& text, Selection& selection)
{
    const char* const end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, selection.first);
    if (first.ec != std::errc{} || first.ptr == end || *first.ptr != '-') {
        return false;
    }
    const auto last = std::from_chars(first.ptr + 1, end, selection.last);
    return last.ec == std::errc{} && last.ptr == end && selection.first >= 1 && selection.first <= selection.last;
}

bool areSame(const std::string& one, const std::string& other)
{
    std::error_code noneIsThere;
    return one == other || std::filesystem::equivalent(one, other, noneIsThere);
}

/// Reads ADDRESS[:PORT]; false when it is none.
bool readPlace(const std::string& text, NetworkSettings& network)
{
    const std::size_t colon = text.find(':');
    network.address = text.substr(0, colon);
    if (colon == std::string::npos) {
        return !network.address.empty();
    }
    const char* const end = text.data() + text.size();
    const auto port = std::from_chars(text.data() + colon + 1, end, network.port);
    return port.ec == std::errc{} && port.ptr == end && network.port >= 0 && network.port <= 65535 &&
           !network.address.empty();
}

using Names = std::vector<std::string>;

/// No option of the first list goes with another one of the second.
struct Apart {
    Names ones;
    Names others;
};

const std::vector<Apart> apart{
    {{"--json", "--ladder", "--statechart", "--coverage"}, {"--json", "--ladder", "--statechart", "--coverage"}},
    {{"--check", "--accept", "--explore", "--random", "--order"},
     {"--check", "--accept", "--order", "--coverage", "--from-log", "--sip"}},
    {{"--check", "--accept", "--explore", "--random"},
     {"--ladder", "--statechart", "--chart", "--save", "--log-file", "--line", "--steps", "--only"}},
    {{"--explore", "--random"}, {"--json"}},
    {{"--order"}, {"--preemptions", "--jobs"}},
    {{"--coverage"}, {"--chart", "--line", "--steps", "--only", "--sip"}},
};

void checkApart(const CLI::App& app)
{
    for (const auto& [ones, others] : apart) {
        for (const std::string& one : ones) {
            for (const std::string& other : others) {
                if (one != other && app.count(one) > 0 && app.count(other) > 0) {
                    throw std::runtime_error(one + " does not go with " + other);
                }
            }
        }
    }
}

/// The state machine can be drawn by itself.
bool playsNothing(const Options& options, const std::vector<std::string>& scenarios)
{
    return options.form == Form::STATE_CHART && scenarios.empty() && options.fromLog.empty();
}

void checkCombination(const Options& options, const std::vector<std::string>& scenarios)
{
    if (options.proof != Proof::NONE &&
        (scenarios.empty() || std::find(scenarios.begin(), scenarios.end(), "-") != scenarios.end())) {
        throw std::runtime_error("--check and --accept: expected SCENARIO files");
    }
    if (options.network.given() && options.network.accounts.empty()) {
        throw std::runtime_error("--sip: expected at least one --account");
    }
    const bool saves = options.save == "-";
    if ((saves || options.chart == "-") && (options.form != Form::TEXT || options.save == options.chart)) {
        throw std::runtime_error(std::string(saves ? "--save" : "--chart") +
                                 " - is the standard output: expected no other form");
    }
    if (options.logFile == "-") {
        throw std::runtime_error("--log-file: expected a file to write, not -");
    }
    if (options.fromLog == "-" && std::find(scenarios.begin(), scenarios.end(), "-") != scenarios.end()) {
        throw std::runtime_error("the standard input is either the log or a scenario");
    }
    std::vector<std::pair<std::string, std::string>> others{{options.fromLog, "played"}};
    std::transform(scenarios.begin(), scenarios.end(), std::back_inserter(others),
                   [](const std::string& scenario) { return std::pair(scenario, "played"); });
    for (const auto& [option, file] : {std::pair("--chart", options.chart), std::pair("--save", options.save),
                                       std::pair("--log-file", options.logFile)}) {
        for (const auto& [other, use] : others) {
            if (!file.empty() && file != "-" && areSame(file, other)) {
                throw std::runtime_error(std::string(option) + " would overwrite " + other + ", which is " + use);
            }
        }
        others.emplace_back(file, "written");
    }
    if (playsNothing(options, scenarios) &&
        !(options.chart.empty() && options.save.empty() && options.logFile.empty())) {
        throw std::runtime_error("--statechart without SCENARIO plays nothing: expected no other file");
    }
}

std::vector<std::vector<std::string>> runsOf(const std::vector<std::string>& scenarios, const Options& options)
{
    if (playsNothing(options, scenarios)) {
        return {};
    }
    if (scenarios.empty()) {
        return options.fromLog.empty() ? std::vector<std::vector<std::string>>{{"-"}}
                                       : std::vector<std::vector<std::string>>{{}};
    }
    if (options.form != Form::COVERAGE && options.proof == Proof::NONE) {
        return {scenarios};
    }
    // Each as if it were alone, so that any set can be asked about.
    std::vector<std::vector<std::string>> runs;
    runs.reserve(scenarios.size());
    for (const std::string& scenario : scenarios) {
        runs.push_back({scenario});
    }
    return runs;
}

}  // namespace

bool readOptions(int argc, char** argv, Options& options, int& status)
{
    std::vector<std::string> scenarios;
    CLI::App app(
        "A desk telephone for a workstation: plays commands to the call-recording plug-in and shows what "
        "the plug-in does to the telephone.",
        "deskphone");
    app.set_version_flag("--version", "deskphone " DESKPHONE_VERSION);
    app.add_flag("--json")->description("Print one JSON object a line");
    app.add_flag("--ladder")->description("Draw arrows between the telephone's services, as wide as the terminal");
    app.add_flag("--statechart")
        ->description("Print the state machine as Mermaid, with how often the SCENARIOs, if any, made each transition");
    app.add_flag("--coverage")
        ->description(
            "Print which transitions and actions of the state machine the SCENARIOs reached, each played on a telephone "
            "of its own");
    app.add_option(
           "--chart", options.chart,
           "Also write the run as sequence charts in Mermaid to this Markdown file, or, for a name in .svg, as a picture; "
           "- prints the charts instead of the text")
        ->check(refusedFile)
        ->type_name("FILE");
    app.add_option("--save", options.save, "Also write what is played as a scenario to this file")->type_name("FILE");
    app.add_option("--from-log", options.fromLog,
                   "Play what this log of a telephone tells, after the SCENARIOs, and compare the replay's log with it")
        ->type_name("FILE");
    app.add_option("--log-file", options.logFile, "Also write the plug-in's log, as far as --log goes, to this file")
        ->check(refusedFile)
        ->type_name("FILE");
    app.add_flag("--states", options.states, "With --json: also what the lines' machines do and when the lamp changes")
        ->needs("--json");
    app.add_flag("--check")->description(
        "Play each SCENARIO on a telephone of its own and compare its output with NAME.expected beside it");
    app.add_flag("--accept")
        ->description("Write these files from the output of the SCENARIOs that are played to the end");
    std::string steps;
    std::vector<std::string> kinds;
    app.add_option("--line", options.selection.lines,
                   "Show only the steps that touch this line; may come again for others")
        ->type_name("LINE")
        ->allow_extra_args(false);
    app.add_option("--steps", steps, "Show only the steps from A to B")->type_name("A-B");
    app.add_option("--only", kinds,
                   "Show only the steps with changes (of a state, the lamp or a told value) or with warnings; may come "
                   "twice")
        ->check(CLI::IsMember({"changes", "warnings"}))
        ->option_text("changes|warnings")
        ->allow_extra_args(false);
    std::string place;
    CLI::Option* const sip =
        app.add_option(
               "--sip", place,
               "Take and make calls on a network, with this address of this machine; port 0 is any that is free")
            ->type_name("ADDRESS[:PORT=5060]");
    const auto withSip = [sip](CLI::Option* option) { return option->needs(sip); };
    withSip(app.add_option("--account", options.network.accounts, "A line of the telephone; may come again for others"))
        ->type_name("SIP-URI")
        ->allow_extra_args(false);
    withSip(app.add_option("--registrar", options.network.registrar, "Register the accounts there"))
        ->type_name("SIP-URI");
    withSip(app.add_option("--passwords", options.network.passwords,
                           "The accounts' passwords: a line \"SIP-URI PASSWORD\" for each"))
        ->type_name("FILE");
    withSip(app.add_option("--voice", options.network.voice, "What the near side of a call says"))
        ->option_text("tone[:HZ]|silence|FILE.wav");
    withSip(app.add_option("--recorder", options.network.recorder,
                           "Where recordings go when the recorder's address is no SIP URI, as 4321"))
        ->type_name("SIP-URI");
    withSip(
        app.add_option("--patience", options.network.patience, "How long another party may take to answer a request"))
        ->check(CLI::Range(1, 300))
        ->option_text("SECONDS=32");
    OrdersAsked& orders = options.orders;
    orders.jobs = std::max(1U, std::thread::hardware_concurrency());
    app.add_flag("--explore")
        ->description(
            "Play all orders of events in which the commands between at-once and end can come, with few preemptions, "
            "and tell what they lead to");
    app.add_option("--random", orders.count, "Play so many random ones of them instead, with --explore or without")
        ->type_name("COUNT");
    app.add_option("--order", orders.code, "Play the SCENARIOs in this order of events, which was found before")
        ->type_name("CODE");
    app.add_option("--preemptions", orders.preemptions, "How often at most a thread that could go on has to wait")
        ->option_text("N=2")
        ->check(CLI::Range(9));
    app.add_option("--seed", orders.seed, "Where the random orders begin")->option_text("S=1")->needs("--random");
    app.add_option("--jobs", orders.jobs, "How many processes play orders; by default as many as there are processors")
        ->type_name("N")
        ->check(CLI::Range(1, 256));
    app.add_option("--plugin", options.plugin, "The plug-in to load instead of this program's own")->type_name("FILE");
    std::string logLevel = std::to_string(options.logLevel);
    app.add_option("--log", logLevel, "The log level at the beginning, 0 (nothing) to 6 (everything)")
        ->check(CLI::IsMember({"0", "1", "2", "3", "4", "5", "6"}))
        ->option_text("LEVEL=" + logLevel);
    app.add_option("SCENARIO", scenarios,
                   "Files to play one after the other; - or none: standard input, a prompt on a terminal")
        ->type_name("");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        options.listCommands = true;
    } catch (const CLI::ParseError& answer) {
        status = app.exit(answer) == 0 ? 0 : 2;
        return false;
    }
    const auto given = [&app](const char* option) { return app.count(option) > 0; };
    checkApart(app);
    options.form = given("--json")         ? Form::JSON
                   : given("--ladder")     ? Form::LADDER
                   : given("--statechart") ? Form::STATE_CHART
                   : given("--coverage")   ? Form::COVERAGE
                                           : Form::TEXT;
    options.proof = given("--check") ? Proof::CHECK : given("--accept") ? Proof::ACCEPT : Proof::NONE;
    orders.which = given("--random")    ? Orders::RANDOM
                   : given("--explore") ? Orders::ALL
                   : given("--order")   ? Orders::ONE
                                        : Orders::ANY;
    if (!steps.empty() && !readSteps(steps, options.selection)) {
        throw std::runtime_error("--steps: expected A-B, the numbers of the first and the last step, not " + steps);
    }
    for (const std::string& kind : kinds) {
        (kind == "changes" ? options.selection.changes : options.selection.warnings) = true;
    }
    if (given("--sip") && !readPlace(place, options.network)) {
        throw std::runtime_error("--sip: expected ADDRESS[:PORT], not " + place);
    }
    checkCombination(options, scenarios);
    options.logLevel = std::stoi(logLevel);
    options.runs = runsOf(scenarios, options);
    return true;
}

}  // namespace deskphone
