#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "scenario/Source.h"
#include "sip/Interruption.h"
#include "sip/Settings.h"
#include "sip/UserAgent.h"

namespace deskphone {

class Telephone;

/// The network as a source: gives the commands that it has caused, as far as there are any at the moment. Performs the
/// commands of the telephone on its network, which are no steps; they stand as comments before the next step.
///
/// For the player's thread. Where it waits, it throws Interruption when the program was asked to end.
class Calls : public Source {
public:
    using PlayAll = std::function<void()>;
    using Clock = std::chrono::steady_clock;

    /// Throws std::runtime_error when there can be no network with these settings.
    explicit Calls(const NetworkSettings& settings);
    ~Calls() override;

    /// For the services of the telephone.
    Network& network() { return *m_agent; }
    std::string place() const { return m_agent->place(); }

    /// Tells a person at once what no step follows.
    void tellAtOnce() { m_tellsAtOnce = true; }

    bool next(Given& command) override;
    void played(const Step& step) override;
    bool refused(const Mistake& mistake) override;

    /// Performs the command if it is one on the network; false otherwise. Waits where the command does, having all that
    /// happens meanwhile played. Throws Mistake.
    bool perform(const Given& command, Telephone& telephone, const PlayAll& playAll);
    /// Puts what was told since the last step in front of the command's own comments.
    void addComments(Given& command);
    /// Has what happens played until there is something to read; -1: until there is nothing more at the moment.
    void waitFor(int descriptor, const PlayAll& playAll);
    /// Ends all calls, and has what comes of that played.
    void leave(const PlayAll& playAll);

private:
    bool waitUntil(const std::function<bool()>& happened, int seconds, const PlayAll& playAll);
    void await(const Words& words, const PlayAll& playAll);
    void answer(int call, const PlayAll& playAll);
    void pressKey(Telephone& telephone);
    void checkLine(const Words& words) const;
    void cause(Words command);

    void wait(int descriptor, Clock::duration longest) const;

    const NetworkSettings m_settings;
    Interruptions m_interruptions;  // before there is any other thread
    Happenings m_happenings;
    bool m_tellsAtOnce = false;
    std::vector<std::string> m_comments;  // that no step has followed yet
    std::list<Words> m_caused;            // what no await has waited for
    std::unique_ptr<UserAgent> m_agent;
};

}  // namespace deskphone
