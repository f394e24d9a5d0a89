#pragma once

#include <functional>

#include "scenario/Words.h"
#include "telephone/Step.h"

namespace deskphone {

/// Returns once the descriptor can be read; what happens elsewhere meanwhile is played. -1 is none: what has happened
/// is played, and nothing waited for.
using Wait = std::function<void(int descriptor)>;

/// Where commands come from: pulled by the run, one after the other, on its thread.
class Source {
public:
    virtual ~Source() = default;

    /// The next command; false at the end, with the comments that no command follows. May wait for it. Throws Mistake
    /// for what is no command, and std::system_error when the source cannot be read.
    virtual bool next(Given& command) = 0;

    /// The command given last, now a step.
    virtual void played(const Step& /*step*/) {}

    /// Reports what was wrong with the command given last, or thrown by next(), with its place. Returns whether the
    /// run goes on.
    virtual bool refused(const Mistake& mistake) = 0;
};

}  // namespace deskphone
