#pragma once

#include <set>
#include <string>
#include <vector>

#include "Orders.h"
#include "orders/OrderedRun.h"

namespace deskphone {

/// An order that was played, and what it led to.
struct Played {
    runtime::orders::Outcome outcome;
    Facts facts;
    std::set<std::string> failures;
    std::vector<Step> steps;
};

/// How far the order that is played has come: what is left of it where it ends the process.
struct Trail {
    char code[200];  // of its deviations so far
    unsigned preemptions;
    unsigned point;  // the last one with a choice
};

/// Plays a script in one order after the other, each on a telephone of its own, and judges what they lead to.
class Playing {
public:
    /// Neither is owned.
    Playing(const Script& script, const Plugin& plugin, int logLevel);

    /// Writes down how far it has come, there from now on; it is not owned.
    void follow(Trail& trail) { m_trail = &trail; }

    /// Finds out what whole operations lead to, which must explain from now on what any order leads to.
    void explain();
    Played play(runtime::orders::Schedule& schedule, const Kept& kept = {});

private:
    const Script& m_script;
    const Plugin& m_plugin;
    const int m_logLevel;
    const runtime::orders::StaticData m_staticData;
    Trail* m_trail = nullptr;     // null: nobody asks
    std::set<Facts> m_explained;  // empty: nothing need be
};

}  // namespace deskphone
