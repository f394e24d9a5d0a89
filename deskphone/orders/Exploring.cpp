#include "orders/Exploring.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <iostream>
#include <system_error>
#include <vector>

#include "Orders.h"
#include "OwnProcess.h"
#include "orders/Outcomes.h"
#include "orders/Playing.h"
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
        Trail trail;
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

/// One process's part of the orders.
class Part {
public:
    /// `usual` is the order that nothing else is said of.
    Part(const OrdersAsked& asked, Playing& playing, const Outcome& usual, unsigned number)
        : m_asked(asked), m_playing(playing), m_number(number), m_job(shared->jobs[number])
    {
        if (!usual.branches.empty()) {
            m_firstPoint = usual.branches.front().point;
            m_points = usual.branches.back().point - m_firstPoint + 1;
        }
    }

    Outcomes play()
    {
        m_playing.follow(m_job.trail);
        m_playing.explain();
        m_asked.which == Orders::ALL ? playAll() : playRandom();
        return std::move(m_outcomes);
    }

private:
    Outcome play(Schedule& schedule, bool counts)
    {
        Played played = m_playing.play(schedule);
        if (counts) {
            m_outcomes.add(played.facts, played.failures, played.outcome);
            m_job.orders = m_outcomes.orders();
            m_job.failing = m_outcomes.failing();
        }
        return std::move(played.outcome);
    }

    bool mustStop() const { return shared->mustStop || m_outcomes.failing() >= MOST_FAILURES; }

    void playAll()
    {
        Exploration all(m_asked.preemptions);
        for (Code code; !mustStop() && all.next(code);) {
            // Everyone plays the few orders with one deviation. With the second one the parts go separate ways.
            const bool isOwn = code.size() > 2 || hash(code) % m_asked.jobs == m_number;
            if (code.size() == 2 && !isOwn) {
                continue;
            }
            GivenOrder order(code);
            all.played(play(order, isOwn));
        }
    }

    void playRandom()
    {
        for (std::uint64_t number = m_number; number < m_asked.count && !mustStop(); number += m_asked.jobs) {
            RandomOrder order(m_asked.seed + number, m_asked.preemptions, m_points);
            FromPoint within(m_firstPoint, order);
            play(within, true);
        }
    }

    static std::size_t hash(const Code& code) { return std::hash<std::string>()(codeText(code)); }

    const OrdersAsked& m_asked;
    Playing& m_playing;
    const unsigned m_number;
    Shared::Job& m_job;
    unsigned m_firstPoint = 0;  // where the usual order could first be another one
    unsigned m_points = 1;      // from there on
    Outcomes m_outcomes;
};

/// A process that plays a part, and the end of the pipe that its outcomes come from.
struct Process {
    pid_t id;
    int outcomes;
    std::string read = {};
    bool isOpen = true;
};

Process begin(Part part)
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
    const std::string written = part.play().written();
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
            const Trail& trail = shared->jobs[index].trail;
            outcomes.addFatal(endOfProcess(status), trail.preemptions, *trail.code == '\0' ? codeText({}) : trail.code);
        }
    }
}

}  // namespace

int explore(const Options& options, const Script& script, const Plugin& plugin)
{
    shared = &makeShared<Shared>();
    ::signal(SIGINT, onInterrupt);
    const auto begun = Clock::now();
    Playing playing(script, plugin, options.logLevel);
    const Code nothingUnusual;
    GivenOrder order(nothingUnusual);
    const Outcome usual = playing.play(order).outcome;
    std::vector<Process> processes;
    for (unsigned job = 0; job < options.orders.jobs; ++job) {
        processes.push_back(begin(Part(options.orders, playing, usual, job)));
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
