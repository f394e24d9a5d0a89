#pragma once

#include <string>
#include <vector>

#include "telephone/Party.h"
#include "telephone/Step.h"

namespace deskphone {

/// An arrow of a sequence chart, or, but for ARROW and ANSWER, a note of what has changed or is wrong.
struct Happening {
    enum Kind { ARROW, ANSWER, STATE, LAMP_ON, LAMP_OFF, ERROR, WARNING };

    Kind kind;
    RecordThread thread;
    Party from;
    Party to;
    std::string text;
    const MachineEvent* event = nullptr;  // of STATE; lives in the step
};

/// What a step shows in a chart, in order: its command, the records of the caller's thread, the answer, the records of
/// the other threads. Of the log only errors and warnings; arguments are cut where they are long.
std::vector<Happening> happenings(const Step& step);

/// The words of the step's command as they are written, with its number in front.
std::string headingOf(const Step& step);
/// "LINE: OLD → NEW (EVENT)".
std::string changeOf(const MachineEvent& event);

}  // namespace deskphone
