#include <dlfcn.h>
#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Deskphone.h"
#include "LogSink.h"

using namespace deskphone;

namespace {

std::runtime_error loaderError()
{
    return std::runtime_error(::dlerror());
}

/// This program's own plug-in and module lie beside the runtime library, which the loader has found already. A bare
/// name would do for dlopen() but for the sanitizers: called through them, it does not search this program's RUNPATH.
std::string besideRuntime(const char* library)
{
    Dl_info found{};
    if (::dladdr(reinterpret_cast<void*>(&runtime::setLogLevel), &found) == 0) {
        throw std::runtime_error("cannot find the runtime library");
    }
    return std::filesystem::absolute(found.dli_fname).replace_filename(library).string();
}

/// Never unloaded: the plug-in keeps a thread's body for the rest of the process.
void* load(const std::string& library, int scope)
{
    void* const loaded = ::dlopen(library.c_str(), RTLD_NOW | scope);
    if (loaded == nullptr) {
        throw loaderError();
    }
    return loaded;
}

template <typename Function>
Function* find(void* library, const char* name)
{
    void* const found = ::dlsym(library, name);
    if (found == nullptr) {
        throw loaderError();
    }
    return reinterpret_cast<Function*>(found);
}

int run(const DeskphoneOptions& options, const std::string& pluginFile)
{
    void* const library = load(pluginFile, RTLD_GLOBAL);
    const Plugin plugin{
        find<decltype(createMediaRecordingService)>(library, "createMediaRecordingService"),
        find<decltype(createMediaRecordingServiceInvoker)>(library, "createMediaRecordingServiceInvoker"),
    };
    void* module = nullptr;
    try {
        module = load(besideRuntime("libdeskphone.so"), RTLD_LOCAL);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("cannot run " + pluginFile + ": " + error.what());
    }
    return find<decltype(runDeskphone)>(module, "runDeskphone")(options, plugin);
}

/// What is wrong with the file for --chart, "" for nothing. With it forgotten, the scenario that follows would be
/// overwritten.
std::string refusedChart(const std::string& file)
{
    return std::filesystem::path(file).extension() == ".scenario" ? file + " is a scenario; expected a file to write"
           : file.empty()                                         ? "expected a file to write"
                                                                  : "";
}

void checkCombination(const DeskphoneOptions& options)
{
    const auto& scenarios = options.scenarios;
    if (std::find(scenarios.begin(), scenarios.end(), options.chart) != scenarios.end()) {
        throw std::runtime_error("--chart would overwrite the scenario " + options.chart);
    }
    if (!options.chart.empty() &&
        (options.form == Form::COVERAGE || (scenarios.empty() && options.form == Form::STATE_CHART))) {
        throw std::runtime_error(
            "--chart shows one run: expected neither --coverage nor --statechart without SCENARIO");
    }
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        DeskphoneOptions options;
        std::string logLevel = "3";
        std::string plugin;
        CLI::App app(
            "A desk telephone for a workstation: plays commands to the call-recording plug-in and shows what "
            "the plug-in does to the telephone.",
            "deskphone");
        app.set_version_flag("--version", "deskphone " DESKPHONE_VERSION);
        const std::vector<std::pair<CLI::Option*, Form>> forms = {
            {app.add_flag("--json", "Print one JSON object a line"), Form::JSON},
            {app.add_flag("--ladder", "Draw arrows between the telephone's services, as wide as the terminal"),
             Form::LADDER},
            {app.add_flag(
                 "--statechart",
                 "Print the state machine as Mermaid, with how often the SCENARIOs, if any, made each transition"),
             Form::STATE_CHART},
            {app.add_flag(
                 "--coverage",
                 "Print which transitions and actions of the state machine the SCENARIOs reached, each played on "
                 "a telephone of its own"),
             Form::COVERAGE},
        };
        for (const auto& one : forms) {
            for (const auto& other : forms) {
                if (one.first != other.first) {
                    one.first->excludes(other.first);
                }
            }
        }
        app.add_option("--chart", options.chart,
                       "Also write the run as sequence charts in Mermaid to this Markdown file")
            ->check(refusedChart)
            ->type_name("FILE");
        app.add_option("--plugin", plugin, "The plug-in to load instead of this program's own")->type_name("FILE");
        app.add_option("--log", logLevel, "The log level at the beginning, 0 (nothing) to 6 (everything)")
            ->check(CLI::IsMember({"0", "1", "2", "3", "4", "5", "6"}))
            ->option_text("LEVEL=3");
        app.add_option("SCENARIO", options.scenarios,
                       "Files to play one after the other; - or none: standard input, a prompt on a terminal")
            ->type_name("");
        try {
            app.parse(argc, argv);
        } catch (const CLI::CallForHelp&) {
            std::cout << app.help();
            options.listCommands = true;
        } catch (const CLI::ParseError& answer) {
            return app.exit(answer) == 0 ? 0 : 2;
        }
        for (const auto& [option, form] : forms) {
            options.form = option->count() > 0 ? form : options.form;
        }
        checkCombination(options);
        if (options.scenarios.empty() && options.form != Form::STATE_CHART) {
            options.scenarios.emplace_back("-");
        }
        runtime::setLogLevel(std::stoi(logLevel));
        return run(options, app.count("--plugin") == 0 ? besideRuntime("libMediaRecordingService.so")
                                                       : std::filesystem::absolute(plugin).string());
    } catch (const std::exception& failure) {
        std::cerr << "deskphone: " << failure.what() << '\n';
        return 2;
    }
}
