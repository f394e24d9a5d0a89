#pragma once

#include <functional>
#include <string>

#include "Step.h"

/// Turns a finished step into what is printed for it, whole lines.
using Printer = std::function<std::string(const Step&)>;

/// For programs: one JSON object a line.
std::string printJson(const Step& step);
/// For people: the command, then what it caused, thread by thread.
std::string printText(const Step& step, bool coloured);
