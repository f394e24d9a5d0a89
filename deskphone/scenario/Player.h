#pragma once

#include <map>
#include <ostream>
#include <set>
#include <string>

#include "show/Printers.h"
#include "telephone/Step.h"

namespace deskphone {

class Recorder;
class Telephone;

/// Plays commands to a telephone and prints each as a step once the telephone is idle again.
///
/// For one thread, which is none of the platform's: the caller in the records. Owns nothing that it is given.
class Player {
public:
    Player(Telephone& telephone, Recorder& recorder, Printer printer, std::ostream& output, std::ostream& errors);

    /// Plays the scenarios one after the other, "-" being standard input, a prompt when that is a terminal. Returns the
    /// program's exit status: 0, or 2 when a mistake or an unreadable file, reported on the errors, has ended the play.
    int play(const Words& scenarios);

    /// Plays one command; does nothing when there are no words. Throws Mistake, having called and printed nothing, and
    /// std::exception when the telephone or the output fails.
    void playCommand(const Words& words);

private:
    bool playFile(const std::string& name);
    void playPrompt();
    void remember(const Step& step);
    Words completions(const Words& words) const;
    void report(const std::string& name, int line, const std::exception& mistake);

    Telephone& m_telephone;
    Recorder& m_recorder;
    const Printer m_printer;
    std::ostream& m_output;
    std::ostream& m_errors;
    int m_steps = 0;
    std::map<std::string, std::set<std::string>> m_seen;  // words by the name of their place
};

}  // namespace deskphone
