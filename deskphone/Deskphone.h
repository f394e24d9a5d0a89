#pragma once

#include <string>
#include <vector>

#include "Plugin.h"

struct DeskphoneOptions {
    bool json = false;
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
