#pragma once

#include "Options.h"
#include "telephone/Plugin.h"

namespace deskphone {

/// Plays what the options ask for on telephones with this plug-in; returns the program's exit status, having reported
/// what went wrong. Throws std::exception where the telephone itself fails.
///
/// The one entry to the module libdeskphone.so. The program loads the plug-in first: the module takes the operations
/// of the plug-in's classes from it.
extern "C" __attribute__((visibility("default"))) int runDeskphone(const Options& options, const Plugin& plugin);

}  // namespace deskphone
