#pragma once

#include <memory>
#include <string>

#include "sip/Queue.h"
#include "sip/Settings.h"
#include "telephone/Network.h"
#include "telephone/Step.h"

namespace deskphone {

/// What the network has caused: a command, with what is told of it; or, without words, only something to tell.
using Happenings = Queue<Given>;

/// The telephone on its network: takes and makes calls, and records them.
///
/// It runs threads of its own and puts what happens into a queue. The operations are for one thread. Those that answer
/// a text answer what is wrong, "" for nothing.
class UserAgent : public Network {
public:
    /// Throws std::runtime_error when there can be none with these settings. The queue is not owned.
    static std::unique_ptr<UserAgent> start(const NetworkSettings& settings, Happenings& happenings);

    /// The address and port that it listens on.
    virtual std::string place() const = 0;

    /// Begins a call; its number is put into `call`.
    virtual std::string dial(const std::string& line, const std::string& uri, int& call) = 0;
    virtual std::string answer(int call) = 0;
    virtual std::string hangUp(int call) = 0;
    virtual std::string hold(int call) = 0;
    virtual std::string resume(int call) = 0;
    /// Whether the call has come in and waits for an answer.
    virtual bool isRinging(int call) = 0;
    /// The number and the far end of the line's latest call; 0 and "" where it has none.
    virtual int callOn(const std::string& line, std::string& farEnd) = 0;

    /// Ends all calls. Whether there are none left to wait for.
    virtual bool leave() = 0;
};

}  // namespace deskphone
