#include "orders/Exploring.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <iostream>
#include <new>
#include <system_error>
#include <vector>

#include "Orders.h"
#include "orders/OrderedRun.h"
#include "orders/Outcomes.h"
#include "orders/WholeOperations.h"
#include "scenario/Words.h"
#include "show/Screen.h"

namespace deskphone {

namespace {

using namespace runtime::orders;
using Clock = std::chrono::steady_clock;

/// A story that fails so often is told well enough; each failing order leaves its threads' memory behind.
constexpr std::uint64_t MOST_FAILURES = 1000;

/// What the processes share while they play.
struct Shared {
    struct Job {
        std::atomic<std::uint64_t> orders;
        std::atomic<std::uint64_t> failing;
        char code[200];  // of the order that is played
    };

    std::atomic<bool> mustStop;
    Job jobs[256];
};

Shared* shared = nullptr;

void onInterrupt(int /*signal*/)
{
    shared->mustStop = true;
}

std::system_error failure(const char* what)
{
    return {errno, std::generic_category(), what};
}

/// Counts points from this one on.
class FromPoint : public Schedule {
public:
    FromPoint(unsigned first, Schedule& schedule) : m_first(first), m_schedule(schedule) {}

    unsigned choose(const Branch& branch) override
    {
        Branch later = branch;
        later.point -= m_first;
        return m_schedule.choose(later);
    }

private:
    const unsigned m_first;
    Schedule& m_schedule;
};

/// Notes the code of the order that is played while it is played: it may end the process.
class Noted : public Schedule {
public:
    Noted(Schedule& schedule, Shared::Job& job) : m_schedule(schedule), m_job(job) { *m_job.code = '\0'; }

    unsigned choose(const Branch& branch) override
    {
        const unsigned chosen = m_schedule.choose(branch);
        if (chosen != branch.usual()) {
            m_code.push_back({branch.point, chosen});
            std::strncpy(m_job.code, codeText(m_code).c_str(), sizeof m_job.code - 1);
        }
        return chosen;
    }

private:
    Schedule& m_schedule;
    Shared::Job& m_job;
    Code m_code;
};

/// Plays orders of a script in this process.
class Playing {
public:
    Playing(const Options& options, const Script& script, const Plugin& plugin)
        : m_options(options),
          m_script(script),
          m_plugin(plugin),
          m_staticData(reinterpret_cast<void*>(plugin.createService))
    {
        const Code usual;
        GivenOrder order(usual);
        if (const auto branches = play(order).outcome.branches; !branches.empty()) {
            m_firstPoint = branches.front().point;
            m_points = branches.back().point - m_firstPoint + 1;
        }
    }

    /// The part of one process.
    Outcomes playPart(unsigned part)
    {
        m_job = &shared->jobs[part];
        if (m_script.allowed.count(Judge::SEQUENTIAL) == 0) {
            m_explained = outcomesOfWholeOperations([this](Schedule& schedule) { return play(schedule).facts; });
        }
        m_options.orders.which == Orders::ALL ? playAll(part) : playRandom(part);
        return std::move(m_outcomes);
    }

private:
    struct Played {
        Outcome outcome;
        Facts facts;
        std::set<std::string> failures;
    };

    Played play(Schedule& schedule)
    {
        auto run = std::make_unique<OrderedRun>(m_script, m_plugin, m_options.logLevel, false);
        Noted noted(schedule, *m_job);
        Played played{run->play(noted), run->facts(), run->failures()};
        run.reset();
        m_staticData.restore();
        return played;
    }

    Outcome playAndCount(Schedule& schedule, bool counts)
    {
        Played played = play(schedule);
        if (played.failures.empty() && !m_explained.empty() && m_explained.count(lasting(played.facts)) == 0) {
            played.failures.insert("no order of whole operations leads to these states and stored values");
        }
        if (counts) {
            m_outcomes.add(played.facts, played.failures, played.outcome);
            m_job->orders = m_outcomes.orders();
            m_job->failing = m_outcomes.failing();
        }
        return std::move(played.outcome);
    }

    bool mustStop() const { return shared->mustStop || m_outcomes.failing() >= MOST_FAILURES; }

    void playAll(unsigned part)
    {
        Exploration all(m_options.orders.preemptions);
        for (Code code; !mustStop() && all.next(code);) {
            // Everyone plays the few orders with one deviation. With the second one the parts go separate ways.
            const bool isOwn = code.size() > 2 || hash(code) % m_options.orders.jobs == part;
            if (code.size() == 2 && !isOwn) {
                continue;
            }
            GivenOrder order(code);
            all.played(playAndCount(order, isOwn));
        }
    }

    void playRandom(unsigned part)
    {
        const OrdersAsked& asked = m_options.orders;
        for (std::uint64_t number = part; number < asked.count && !mustStop(); number += asked.jobs) {
            RandomOrder order(asked.seed + number, asked.preemptions, m_points);
            FromPoint within(m_firstPoint, order);
            playAndCount(within, true);
        }
    }

    static std::size_t hash(const Code& code) { return std::hash<std::string>()(codeText(code)); }

    const Options& m_options;
    const Script& m_script;
    const Plugin& m_plugin;
    const StaticData m_staticData;
    std::set<Facts> m_explained;
    unsigned m_firstPoint = 0;  // where the usual order could first be another one
    unsigned m_points = 1;      // from there on
    Outcomes m_outcomes;
    Shared::Job* m_job = shared->jobs;
};

/// A process that plays a part, and the end of the pipe that its outcomes come from.
struct Process {
    pid_t id;
    int outcomes;
    std::string read = {};
    bool isOpen = true;
};

Process begin(Playing& playing, unsigned part)
{
    int ends[2];
    if (::pipe(ends) != 0) {
        throw failure("pipe");
    }
    const pid_t child = ::fork();
    if (child < 0) {
        throw failure("fork");
    }
    if (child > 0) {
        ::close(ends[1]);
        return {child, ends[0]};
    }
    ::signal(SIGINT, SIG_IGN);  // the parent's to heed
    const std::string written = playing.playPart(part).written();
    for (std::size_t at = 0; at < written.size();) {
        const ssize_t length = ::write(ends[1], written.data() + at, written.size() - at);
        if (length < 0) {
            ::_exit(1);
        }
        at += static_cast<std::size_t>(length);
    }
    ::_exit(0);
}

class Progress {
public:
    explicit Progress(unsigned jobs) : m_jobs(jobs) {}
    ~Progress()
    {
        if (m_isShown) {
            std::cerr << "\r\x1b[K" << std::flush;
        }
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show()
    {
        if (!m_isShown) {
            return;
        }
        std::uint64_t orders = 0;
        std::uint64_t failing = 0;
        for (unsigned job = 0; job < m_jobs; ++job) {
            orders += shared->jobs[job].orders;
            failing += shared->jobs[job].failing;
        }
        const std::chrono::duration<double> seconds = Clock::now() - m_begin;
        std::cerr << '\r' << orders << " orders, "
                  << static_cast<std::uint64_t>(static_cast<double>(orders) / seconds.count()) << " a second, "
                  << failing << " with a failure\x1b[K" << std::flush;
    }

private:
    const bool m_isShown = ::isatty(STDERR_FILENO) != 0;
    const unsigned m_jobs;
    const Clock::time_point m_begin = Clock::now();
};

/// Reads what the processes write until all have ended.
void await(std::vector<Process>& processes, Outcomes& outcomes)
{
    Progress progress(static_cast<unsigned>(processes.size()));
    for (std::size_t open = processes.size(); open > 0; progress.show()) {
        std::vector<pollfd> ends;
        ends.reserve(processes.size());
        for (const Process& process : processes) {
            ends.push_back({process.isOpen ? process.outcomes : -1, POLLIN, 0});
        }
        constexpr int betweenShows = 200;
        ::poll(ends.data(), ends.size(), betweenShows);
        for (std::size_t index = 0; index < processes.size(); ++index) {
            char piece[4096];
            if (ends[index].revents == 0) {
                continue;
            }
            if (const ssize_t length = ::read(processes[index].outcomes, piece, sizeof piece); length > 0) {
                processes[index].read.append(piece, static_cast<std::size_t>(length));
            } else {
                processes[index].isOpen = false;
                ::close(processes[index].outcomes);
                --open;
            }
        }
    }
    for (std::size_t index = 0; index < processes.size(); ++index) {
        int status = 0;
        while (::waitpid(processes[index].id, &status, 0) < 0 && errno == EINTR) {
        }
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
            outcomes.merge(processes[index].read);
        } else {
            outcomes.addFatal(WIFSIGNALED(status)
                                  ? std::string("it ended the process: ") + ::strsignal(WTERMSIG(status))
                                  : "it ended the process",
                              *shared->jobs[index].code == '\0' ? codeText({}) : shared->jobs[index].code);
        }
    }
}

}  // namespace

int explore(const Options& options, const Script& script, const Plugin& plugin)
{
    void* const memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw failure("mmap");
    }
    shared = new (memory) Shared();
    ::signal(SIGINT, onInterrupt);
    const auto begun = Clock::now();
    Playing playing(options, script, plugin);
    std::vector<Process> processes;
    for (unsigned job = 0; job < options.orders.jobs; ++job) {
        processes.push_back(begin(playing, job));
    }
    Outcomes outcomes;
    await(processes, outcomes);
    const std::chrono::duration<double> seconds = Clock::now() - begun;
    const Screen screen = standardOutput();
    char took[64];
    std::snprintf(took, sizeof took, ", %.1f s", seconds.count());
    const bool isRandom = options.orders.which == Orders::RANDOM;
    screen.print(counted(outcomes.orders(), isRandom ? "random order" : "order") + " with up to " +
                 counted(options.orders.preemptions, "preemption") + took +
                 (shared->mustStop                      ? ", interrupted"
                  : outcomes.failing() >= MOST_FAILURES ? ", not all"
                                                        : "") +
                 '\n' + outcomes.report(screen));
    return outcomes.failing() == 0 ? 0 : 1;
}

}  // namespace deskphone
