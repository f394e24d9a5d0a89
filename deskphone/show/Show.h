#pragma once

#include "telephone/Step.h"

namespace deskphone {

/// Makes something of the steps of a run, for one thread. Adding and finishing throw std::system_error when what is
/// made cannot be written.
class Show {
public:
    virtual ~Show() = default;

    /// The next step, as soon as it is finished.
    virtual void add(const Step& step) = 0;
    /// A step that was played but is not to be shown; its follow-ups may be.
    virtual void passOver(const Step& /*step*/) {}
    /// Comments that no step follows, before the run's end.
    virtual void addComments(const std::vector<std::string>& /*comments*/) {}
    /// The run has come to its end. Not called for a run that was broken off.
    virtual void finish() {}
    /// The run was broken off. What is made of each step as it comes, or of several, is to stand.
    virtual void breakOff() {}
    /// Whether it shows what the machines do: if no show does, that is not read from the plug-in's log.
    virtual bool showsMachines() const { return true; }
};

}  // namespace deskphone
