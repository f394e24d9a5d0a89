#pragma once

#include <string>

#include "Deskphone.h"
#include "telephone/Plugin.h"

namespace deskphone {

/// What is loaded when the program starts, and never unloaded: the plug-in keeps a thread's body for the rest of the
/// process.
struct Loaded {
    Plugin plugin;
    decltype(&runDeskphone) run;
};

/// Loads the plug-in as the framework does, and this program's module on top of it. An empty name is this program's own
/// plug-in. Throws std::runtime_error with what is missing.
Loaded load(const std::string& pluginFile);

}  // namespace deskphone
