#pragma once

#include <optional>
#include <string>
#include <vector>

#include "telephone/Step.h"

namespace deskphone {

/// Who takes part in a sequence chart; the service calls, and is called by, each of the others.
enum Party : std::size_t {
    USER,
    RECORDING_SERVICE,
    FRAMEWORK,
    MANAGEMENT,
    CALL_CONTROL,
    MEDIA_CONTROL,
    COMMUNICATIONS,
    KEY_LAMP,
    NUMBER_OF_PARTIES
};

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
/// What the record makes of the lamp, if it is a call that sets it.
std::optional<bool> lampSetBy(const Record& record);
bool lampIsOnAfter(const Step& step);

/// Texts for drawing: the characters of a text that may hold any bytes, each of one column, UTF-8 each. Control
/// characters are made visible, bytes that are no UTF-8 replaced.
Words charactersOf(const std::string& text);
/// At most `length` characters, with … for what was cut.
std::string shortened(const std::string& text, std::size_t length);

/// The text in lines of at most `width` characters, broken behind a blank or a comma where there is one.
std::vector<Words> linesOf(const std::string& text, std::size_t width);

}  // namespace deskphone
