#include "orders/OrderedRun.h"

#include <algorithm>
#include <utility>

#include "Activity.h"
#include "LogSink.h"
#include "Threader.h"
#include "scenario/Player.h"
#include "scenario/Words.h"

namespace deskphone {

using namespace runtime::orders;

namespace {

/// Who comes to so many goes on for ever: most commands come to some ten.
constexpr std::size_t MOST_POINTS_OF_A_COMMAND = 10'000;

}  // namespace

/// The thread of a command in a block.
class OrderedRun::Giver : public Caller {
public:
    Giver(OrderedRun& run, std::size_t index) : Caller(static_cast<int>(index) + 1), command(index), m_run(run) {}

    void run() override
    {
        m_run.giveAtOnce(*this);
        isInside = false;
    }

    const std::size_t command;
    bool isInside = false;  // it has begun

private:
    OrderedRun& m_run;
};

/// Asks the schedule within blocks only.
class OrderedRun::WithinBlocks : public Schedule {
public:
    WithinBlocks(const OrderedRun& run, Schedule& schedule) : m_run(run), m_schedule(schedule) {}

    unsigned choose(const Branch& branch) override
    {
        if (!m_run.m_inBlock) {
            return branch.usual();
        }
        m_points.push_back(branch.point);
        return m_schedule.choose(branch);
    }

    bool wasAsked(const Branch& branch) const
    {
        return std::binary_search(m_points.begin(), m_points.end(), branch.point);
    }

private:
    const OrderedRun& m_run;
    Schedule& m_schedule;
    std::vector<unsigned> m_points;
};

OrderedRun::OrderedRun(const Script& script, const Plugin& plugin, int logLevel, const Kept& kept)
    : m_script(script),
      m_kept(kept),
      m_telephone(std::make_unique<Telephone>(plugin, true)),
      m_judge(*m_telephone, script.allowed)
{
    m_telephone->setLogLevel(logLevel);
    m_telephone->recorder().writeLog(kept.logFile);
    m_telephone->recorder().follow(this);
}

OrderedRun::~OrderedRun() = default;

Outcome OrderedRun::play(Schedule& schedule)
{
    WithinBlocks within(*this, schedule);
    const auto mostPoints = static_cast<unsigned>((m_script.commands.size() + 1) * MOST_POINTS_OF_A_COMMAND);
    Outcome outcome = runtime::orders::play(*this, within, std::min(m_kept.points, mostPoints));
    m_telephone->recorder().follow(nullptr);
    if (!m_mistake.empty()) {
        throw Mistake(m_mistake);
    }
    outcome.branches.erase(std::remove_if(outcome.branches.begin(), outcome.branches.end(),
                                          [&within](const Branch& branch) { return !within.wasAsked(branch); }),
                           outcome.branches.end());
    if (!outcome.finding.empty()) {
        m_judge.fail(outcome.finding);
        m_facts = {{FINDING, outcome.finding}};
        endUnfinished(m_telephone->recorder().take());
        // Threads that never go on stand in the middle of it.
        runtime::setLogSink(nullptr);
        static_cast<void>(m_telephone.release());
        for (auto& giver : m_givers) {
            static_cast<void>(giver.release());
        }
    }
    return outcome;
}

void OrderedRun::run()
{
    const std::vector<Given>& commands = m_script.commands;
    for (std::size_t next = 0; next < commands.size() && m_mistake.empty();) {
        if (commands[next].block == Block::NONE) {
            playAlone(next++);
        } else {
            const std::size_t begin = next++;
            while (next < commands.size() && commands[next].block == Block::FURTHER) {
                ++next;
            }
            playBlock(begin, next);
        }
    }
    m_facts = m_judge.facts();
    m_judge.rest(true);
    if (m_telephone->running()) {
        m_telephone->stop();
    }
}

Step OrderedRun::give(std::size_t command, int number)
{
    const Given& given = m_script.commands[command];
    m_judge.begins(number, given.words);
    Step step = perform(*m_telephone, *m_script.meanings[command], given, number);
    m_judge.returned(step);
    return step;
}

void OrderedRun::playAlone(std::size_t command)
{
    playedStep = static_cast<int>(command) + 1;
    if (m_kept.steps) {
        const Given& given = m_script.commands[command];
        Step& unfinished = m_steps.emplace_back();
        unfinished.number = playedStep;
        unfinished.command = given.words;
        unfinished.comments = given.comments;
        unfinished.lampWasOn = m_telephone->lampOn();
        unfinished.ends = false;
    }
    try {
        Step played = give(command, playedStep);
        played.records = m_telephone->settle();
        played.serviceRuns = m_telephone->running();
        if (m_kept.steps) {
            m_steps.back() = std::move(played);
        }
    } catch (const Mistake& mistake) {
        m_mistake = m_script.places[command] + ": " + mistake.what();
    }
    m_pieces.clear();
}

void OrderedRun::playBlock(std::size_t begin, std::size_t end)
{
    m_judge.countCalls();
    m_givers.clear();
    m_blockBegin = begin;
    m_results.assign(end - begin, {});
    m_alone = nullptr;
    m_lampWasOn = m_telephone->lampOn();
    for (std::size_t command = begin; command < end; ++command) {
        m_givers.push_back(std::make_unique<Giver>(*this, command));
        ThreadId id = 0;
        Threader().spawn(id, m_givers.back().get(), m_script.commands[command].words.front().c_str(),
                         THREAD_PRIORITY_NORMAL, 0);
    }
    m_inBlock = true;
    runtime::waitUntilIdle();
    m_inBlock = false;
    for (const auto& giver : m_givers) {
        Threader().waitForThreadCompletion(giver->threadId());
    }
    cutIntoSteps(m_telephone->settle());
    m_results.clear();
    m_judge.rest(false);
}

void OrderedRun::giveAtOnce(Giver& giver)
{
    // A host lets nobody into the service while it starts or ends.
    while (m_alone != nullptr) {
        Threader().waitForThreadCompletion(m_alone->threadId());
    }
    giver.isInside = true;
    const Words& words = m_script.commands[giver.command].words;
    const Needs needs = m_script.meanings[giver.command]->needs;
    if (needs == STOPPED_SERVICE || needs == RUNNING_SERVICE || (needs == SERVICE && !m_telephone->running())) {
        m_alone = &giver;
        for (const auto& other : m_givers) {
            if (other.get() != &giver && other->isInside) {
                Threader().waitForThreadCompletion(other->threadId());
            }
        }
    }
    m_pieces.push_back({{CALLER, giver.playedStep}, true});
    Value result;
    try {
        result = give(giver.command, giver.playedStep).result;
    } catch (const Mistake&) {
        // In this order there is nothing to start or to stop.
        result = std::string("not played");
        m_judge.returned({giver.playedStep, words, {}, Block::NONE, {}, result});
    }
    m_results[giver.command - m_blockBegin] = std::move(result);
    if (m_alone == &giver) {
        m_alone = nullptr;
    }
}

/// A point, as every call on the telephone.
void OrderedRun::beforeCall()
{
    point();
}

void OrderedRun::recorded(const Record& record, const Turn& turn)
{
    m_judge.follow(record, turn);
    m_pieces.push_back({turn, false});
}

void OrderedRun::logged(const char* component, const std::string& text, const Turn& turn)
{
    if (turn.thread == DISPATCHER && std::string_view(component) == MachineLog::CONTROLLER) {
        m_judge.delivers(text);
    }
}

/// A finding leaves a block, or a command by itself, unfinished.
void OrderedRun::endUnfinished(Records records)
{
    if (!m_results.empty()) {
        cutIntoSteps(std::move(records));
    } else if (!m_steps.empty() && !m_steps.back().ends) {
        m_steps.back().records = std::move(records);
    }
}

/// The block's records as steps that tell of them in the order in which they came: a step goes on in a further piece
/// where another thread came in between. What the dispatcher and the worker do stands with the command given last.
void OrderedRun::cutIntoSteps(Records records)
{
    const std::vector<Piece> pieces = std::exchange(m_pieces, {});
    if (!m_kept.steps || m_results.empty()) {
        return;
    }
    std::array<std::size_t, NUMBER_OF_THREADS> next{};
    const std::size_t first = m_steps.size();
    const auto goOn = [this, first](int number) {
        const Given& given = m_script.commands[static_cast<std::size_t>(number) - 1];
        const bool begins = std::none_of(m_steps.begin() + static_cast<std::ptrdiff_t>(first), m_steps.end(),
                                         [number](const Step& other) { return other.number == number; });
        Step step{number, given.words, begins ? given.comments : std::vector<std::string>{"# goes on"}, given.block};
        step.begins = begins;
        step.ends = false;
        step.serviceRuns = true;
        step.lampWasOn = m_steps.size() == first ? m_lampWasOn : lampIsOnAfter(m_steps.back());
        m_steps.push_back(std::move(step));
    };
    RecordThread last = NUMBER_OF_THREADS;
    for (const auto& [turn, begins] : pieces) {
        if (!begins && next[turn.thread] == records[turn.thread].size()) {
            break;
        }
        const bool isAnothers = turn.thread == CALLER && m_steps.back().number != turn.step;
        if (begins || isAnothers || turn.thread < last) {
            goOn(turn.thread == CALLER ? turn.step : m_steps.back().number);
        }
        last = turn.thread;
        if (!begins) {
            m_steps.back().records[turn.thread].push_back(std::move(records[turn.thread][next[turn.thread]++]));
        }
    }
    for (std::size_t command = 0; command < m_results.size(); ++command) {
        const auto number = static_cast<int>(m_blockBegin + command) + 1;
        const auto piece = std::find_if(m_steps.rbegin(), m_steps.rend(),
                                        [number](const Step& step) { return step.number == number; });
        if (piece != m_steps.rend() && m_results[command]) {
            piece->result = *m_results[command];
            piece->ends = true;
        }
    }
    m_steps.back().serviceRuns = m_telephone->running();
}

}  // namespace deskphone
