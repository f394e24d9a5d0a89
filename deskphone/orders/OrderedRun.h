#pragma once

#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Orders.h"
#include "orders/Judge.h"
#include "orders/Script.h"
#include "telephone/Plugin.h"
#include "telephone/Telephone.h"

namespace deskphone {

/// What is kept of an order, and how far it is played.
struct Kept {
    bool steps = false;          // to be shown
    LogFile* logFile = nullptr;  // for the plug-in's log; null: none
    unsigned points = std::numeric_limits<unsigned>::max();
};

/// A script played once in one order: the commands of a block on a thread each, in the order that a schedule chooses;
/// the others one after the other, as in any run.
///
/// Like a host that keeps the rules, it starts and stops the service with no other command inside it.
class OrderedRun : private Caller, private Follower {
public:
    /// None of these is owned.
    OrderedRun(const Script& script, const Plugin& plugin, int logLevel, const Kept& kept);
    ~OrderedRun() override;
    OrderedRun(const OrderedRun&) = delete;
    OrderedRun& operator=(const OrderedRun&) = delete;

    /// Once. The schedule is asked within blocks only, and only what it was asked stands in the outcome's branches.
    /// Throws Mistake, with its place, for a command outside of blocks that cannot be played.
    runtime::orders::Outcome play(runtime::orders::Schedule& schedule);

    /// What it led to, and what must not be in any order; with the outcome's finding, if there is one, in both.
    const Facts& facts() const { return m_facts; }
    const std::set<std::string>& failures() const { return m_judge.failures(); }
    const std::vector<Step>& steps() const { return m_steps; }

private:
    class Giver;
    class WithinBlocks;
    struct Piece {
        Turn turn;
        bool begins;  // a command; else a record
    };

    void run() override;
    void beforeCall() override;
    void recorded(const Record& record, const Turn& turn) override;
    void logged(const char* component, const std::string& text, const Turn& turn) override;

    Step give(std::size_t command, int number);
    void playAlone(std::size_t command);
    void playBlock(std::size_t begin, std::size_t end);
    void giveAtOnce(Giver& giver);
    void endUnfinished(Records records);
    void cutIntoSteps(Records records);

    const Script& m_script;
    const Kept m_kept;
    std::unique_ptr<Telephone> m_telephone;
    Judge m_judge;
    bool m_inBlock = false;
    std::vector<std::unique_ptr<Giver>> m_givers;  // of the block
    Giver* m_alone = nullptr;                      // who starts or stops the service
    std::string m_mistake;
    Facts m_facts;
    std::vector<Piece> m_pieces;  // of the block, in their order
    std::size_t m_blockBegin = 0;
    std::vector<std::optional<Value>> m_results;  // of the block's commands that have returned
    bool m_lampWasOn = false;                     // before the block
    std::vector<Step> m_steps;
};

}  // namespace deskphone
