#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "telephone/Party.h"
#include "telephone/Step.h"

namespace deskphone {

/// An arrow of a sequence chart, or, but for ARROW and ANSWER, a note of what has changed, was not done or is wrong.
struct Happening {
    enum Kind { ARROW, ANSWER, STATE, LAMP_ON, LAMP_OFF, ERROR, WARNING, IGNORED, REFUSED };

    Kind kind;
    RecordThread thread;
    Party from;
    Party to;
    std::string text;
    const MachineEvent* event = nullptr;  // of STATE; lives in the step
};

/// The headings of the parties' columns.
constexpr std::array<std::string_view, NUMBER_OF_PARTIES> partyNames{"user",  "service", "framework", "management",
                                                                     "calls", "media",   "comms",     "lamp"};

/// What a step shows in a chart, in order: its command, the records of the caller's thread, the answer, the records of
/// the other threads. Of the log only errors and warnings; arguments are cut where they are long.
std::vector<Happening> happenings(const Step& step);

/// The words of the step's command as they are written, with its number in front.
std::string headingOf(const Step& step);
/// A comment without its #.
std::string bareComment(const std::string& comment);
/// "LINE: OLD → NEW (EVENT)", or "LINE: EVENT in STATE" where the event is ignored.
std::string textOf(const MachineEvent& event);
/// Which request was refused, and in which mode.
std::string textOf(const Refusal& refusal);

}  // namespace deskphone
