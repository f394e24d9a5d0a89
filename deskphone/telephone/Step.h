#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Logging.h"  // the levels of log lines

namespace deskphone {

using Words = std::vector<std::string>;

/// Where a command stands: by itself, or in a block of commands that are given at once, as its first or a further one.
enum class Block { NONE, FIRST, FURTHER };

/// A command as its source gives it.
struct Given {
    Words words = {};  // at least one
    /// What was said of it before and behind it, comment by comment, each with its #.
    std::vector<std::string> comments = {};
    Block block = Block::NONE;
};

/// What goes into a call or comes out of an operation; std::monostate is nothing.
struct Value : std::variant<std::monostate, bool, int, std::string, std::vector<Value>> {
    using variant::variant;
};
using List = std::vector<Value>;

/// A call that the plug-in made on the platform.
struct Call {
    std::string name;
    List arguments;
    bool refused = false;  // by the telephone, as a scenario says
};

/// A line that the plug-in logged.
struct LogLine {
    int level;
    std::string component;
    std::string source;
    std::string text;
};

/// An event that a line's machine was given; the names are the plug-in's without their prefixes.
struct MachineEvent {
    std::string machine;  // its address
    std::string line;
    std::string event;
    std::string from;
    std::string to;      // empty: no transition
    std::string action;  // what the machine then ran
    int session = 0;     // the one that the machine knows, 0: none
};

/// A request that the controller does not carry out, because the mode leaves recording to it or to nobody.
struct Refusal {
    std::string request;
    std::string line;
    std::string mode;
};

using Record = std::variant<Call, LogLine, MachineEvent, Refusal>;

/// The threads of a record: the one that played the command, the dispatcher's, and the worker's.
enum RecordThread : std::size_t { CALLER, DISPATCHER, WORKER, NUMBER_OF_THREADS };
constexpr std::array<const char*, NUMBER_OF_THREADS> threadNames{"caller", "dispatcher", "worker"};

/// What the plug-in did, by thread, in the order in which the thread did it.
using Records = std::array<std::vector<Record>, NUMBER_OF_THREADS>;

/// What the plug-in logged, likewise.
using KeptLog = std::array<std::vector<LogLine>, NUMBER_OF_THREADS>;

/// A command that was played, with everything it caused.
struct Step {
    int number;
    Words command;
    std::vector<std::string> comments = {};
    Block block = Block::NONE;
    Records records = {};
    Value result = {};
    bool lampWasOn = false;    // before the command
    bool serviceRuns = false;  // after it
    KeptLog log = {};          // as far as it is kept for someone to compare
    // In a chosen order of events a step may come in pieces, between those of others.
    bool begins = true;
    bool ends = true;  // with the result
};

/// What the call makes of the lamp, if it sets it.
std::optional<bool> lampSetBy(const Call& call);
bool lampIsOnAfter(const Step& step);

}  // namespace deskphone
