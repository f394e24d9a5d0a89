#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "telephone/Recorder.h"
#include "telephone/Step.h"

namespace deskphone {

class Telephone;

/// What an order led to, by name: the state of a line, the lamp, a stored or told value, what a command answered, the
/// calls of a thread.
using Facts = std::map<std::string, std::string>;
/// The only fact of an order that was not played to its end: what ended it.
constexpr const char* FINDING = "finding";

/// Follows what happens on a telephone in one order, and finds what must not be in any. For one thread at a time.
class Judge {
public:
    // What is checked, as it can be allowed.
    static constexpr const char* EVENTS = "events";          // each posted one delivered once, in order
    static constexpr const char* REQUESTS = "requests";      // each of a machine's performed once, in order
    static constexpr const char* BALANCE = "balance";        // of a session's attachings and detachings
    static constexpr const char* MACHINES = "machines";      // step by their table
    static constexpr const char* LAMP = "lamp";              // tells what the query answers
    static constexpr const char* TOLD = "told";              // is what is stored
    static constexpr const char* SEQUENTIAL = "sequential";  // whole operations, one after the other, explain it
    static const std::set<std::string> CHECKS;

    Judge(Telephone& telephone, const std::set<std::string>& allowed) : m_telephone(telephone), m_allowed(allowed) {}

    /// A command begins, on the thread that plays it, and has returned.
    void begins(int step, const Words& command);
    void returned(const Step& step);
    /// The dispatcher begins to deliver this event, as the controller traces it.
    void delivers(const std::string& trace);
    /// What is recorded.
    void follow(const Record& record, const Turn& turn);
    /// From now on the calls count as facts.
    void countCalls() { m_countsCalls = true; }

    /// The telephone is idle. Gives a change event that is still to come at the run's end.
    void rest(bool atEnd);
    /// What it led to; to be asked for at rest.
    Facts facts();
    /// Without those that are allowed.
    const std::set<std::string>& failures() const { return m_failures; }
    /// What is never allowed.
    void fail(const std::string& what) { m_failures.insert(what); }

private:
    struct Post {
        std::string event;
        int step;
        int life;           // of the service
        std::size_t begin;  // on a clock that goes on with each command's begin and end
        std::size_t end = ~std::size_t{0};
    };
    struct Delivery {
        std::string event;
        int life;
        bool isMatched = false;
    };
    using Requests = std::vector<std::string>;

    void fail(const char* check, const std::string& what);
    void follow(const Call& call);
    void follow(const MachineEvent& event);
    void checkEvents();
    void checkRequests();
    void checkLamp(bool atEnd);
    void checkTold();

    Telephone& m_telephone;
    const std::set<std::string>& m_allowed;
    std::set<std::string> m_failures;

    std::size_t m_clock = 0;
    int m_life = 0;  // counts the service's ends
    std::vector<Post> m_posts;
    std::vector<Delivery> m_deliveries;
    std::set<int> m_sessions;                     // that exist
    std::map<std::string, std::string> m_states;  // of the machines, by address
    Requests m_asked;                             // of the worker, by the machines
    Requests m_performed;
    std::map<std::string, std::string> m_told;      // by tag
    std::map<std::string, bool> m_toldActivations;  // by line
    bool m_lampWasSet = false;
    bool m_modeChangeIsToCome = false;
    bool m_countsCalls = false;
    std::map<std::string, std::string> m_calls;    // by thread
    std::map<std::string, std::string> m_results;  // by command
};

}  // namespace deskphone
