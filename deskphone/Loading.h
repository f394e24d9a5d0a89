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

/// Returns when the program runs on the runtime with chosen orders; if it does not, begins it anew on that one, which
/// lies in a folder of its own beside this program's. Throws std::runtime_error when this program comes without it, and
/// std::system_error when it cannot be begun.
void runOnChosenOrders(char** arguments);

/// Loads the plug-in as the framework does, and this program's module on top of it. An empty name is this program's own
/// plug-in. Throws std::runtime_error with what is missing.
Loaded load(const std::string& pluginFile);

}  // namespace deskphone
