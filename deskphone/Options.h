#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "show/Selection.h"
#include "sip/Settings.h"

namespace deskphone {

/// What the standard output shows: every step in one of three forms, or, after the run, its picture or coverage.
enum class Form { TEXT, JSON, LADDER, STATE_CHART, COVERAGE };

/// Whether the output is held against what is expected of each scenario, or accepted as that.
enum class Proof { NONE, CHECK, ACCEPT };

/// In which orders of events the run is played: the one that comes by itself, all with few preemptions, random ones, or
/// one that was found.
enum class Orders { ANY, ALL, RANDOM, ONE };

struct OrdersAsked {
    Orders which = Orders::ANY;
    unsigned preemptions = 2;  // at most
    std::uint64_t count = 0;   // of random ones
    std::uint64_t seed = 1;
    std::string code = {};  // of the one
    unsigned jobs = 1;      // processes
};

/// What the command line asks for.
struct Options {
    Form form = Form::TEXT;
    bool states = false;       // JSON also tells of machines and the lamp
    Selection selection = {};  // of the steps, in every form
    Proof proof = Proof::NONE;
    std::string chart = {};    // the file for the sequence charts, "-" the output; empty: none
    std::string fromLog = {};  // a log from the field to play after the last run's scenarios; empty: none
    std::string logFile = {};  // for the plug-in's log; empty: none
    std::string save = {};     // the file for what was played; empty: none
    std::string plugin = {};   // the file; empty: this program's own
    int logLevel = 3;          // at the beginning
    NetworkSettings network = {};
    OrdersAsked orders = {};
    bool listCommands = false;  // instead of playing
    /// The scenarios, "-" being standard input. Each of these lists is played as one run, on a telephone of its own.
    std::vector<std::vector<std::string>> runs = {};
};

/// Reads the command line into the options. Returns false, with the program's exit status, when nothing is left to do
/// but to end: what was to be told has been printed. Throws std::runtime_error for options that do not go together.
bool readOptions(int argc, char** argv, Options& options, int& status);

}  // namespace deskphone
