#pragma once

#include <string>
#include <vector>

#include "telephone/Plugin.h"

namespace deskphone {

/// What the standard output shows: every step in one of three forms, or, after the run, its picture or coverage.
enum class Form { TEXT, JSON, LADDER, STATE_CHART, COVERAGE };

struct DeskphoneOptions {
    Form form = Form::TEXT;
    std::string chart = {};              // the file for the sequence charts; empty: none
    bool listCommands = false;           // instead of playing
    std::vector<std::string> scenarios;  // "-": standard input
};

/// Plays the scenarios on a telephone with this plug-in; returns the program's exit status, having reported what went
/// wrong. Throws std::exception where the telephone itself fails.
///
/// The one entry to the module libdeskphone.so. The program loads the plug-in first: the module takes the operations
/// of the plug-in's classes from it.
extern "C" __attribute__((visibility("default"))) int runDeskphone(const DeskphoneOptions& options,
                                                                   const Plugin& plugin);

}  // namespace deskphone
