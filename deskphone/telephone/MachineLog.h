#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "telephone/Step.h"

namespace deskphone {

/// A line's machine as the controller lists it.
struct Machine {
    std::string line;
    std::string address;
    std::string state;
    std::string session;  // empty: none
};

/// MRS_STA_IDLE is known as IDLE, MRS_EVT_STREAM as STREAM.
std::string shortName(std::string_view name);

/// Reads from the plug-in's log what the lines' machines do, and what the controller refuses to have them do. For one
/// thread at a time.
///
/// A machine logs its events with its address, not its line. Which line it is follows from the operation that made it:
/// the controller traces that operation with the line, and what the same thread then logs of a machine that is not
/// known yet is this line's. Where no operation tells, the controller's list of all machines does.
class MachineLog {
public:
    static constexpr const char* CONTROLLER = "RecordingController";  // read from LOG_LEVEL_TRACE on
    static constexpr const char* MACHINE = "RecordingStateMachine";   // read from LOG_LEVEL_DETAIL on

    /// Reads what a thread has logged: adds the event or refusal that it tells of to the thread's records, or completes
    /// the last event there with its action.
    void read(std::string_view component, const std::string& text, RecordThread thread, std::vector<Record>& records);

    /// Whether an event was read whose line is not known: nameLines() fills it in, once a list was read.
    bool missesLines() const { return m_missesLines; }
    void nameLines(Records& records);

    /// The machines as the controller last listed them, by line; lines without a machine are left out.
    std::vector<Machine> listed() const;

    /// The mode in which the controller last decided whether a request is allowed.
    const std::string& mode() const { return m_mode; }

    /// The line's machine lies at this address.
    void know(const std::string& address, const std::string& line) { m_lines[address] = line; }
    /// The machines are gone.
    void forgetMachines();
    /// Whether any event was ever read.
    bool hasReadEvents() const { return m_hasReadEvents; }

private:
    std::unordered_map<std::string, std::string> m_lines;                       // by their machines' addresses
    std::array<std::optional<std::string>, NUMBER_OF_THREADS> m_operatedLines;  // by the thread that operates on it
    std::string m_list;
    std::string m_mode;
    bool m_missesLines = false;
    bool m_hasReadEvents = false;
};

}  // namespace deskphone
