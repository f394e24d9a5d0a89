#pragma once

#include "Options.h"
#include "orders/Script.h"
#include "telephone/Plugin.h"

namespace deskphone {

/// Plays the script in all orders that the options ask for, in processes beside each other, and prints what they led
/// to. Returns the exit status.
int explore(const Options& options, const Script& script, const Plugin& plugin);

}  // namespace deskphone
