#pragma once

#include <deque>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <string>

#include "fieldlog/FieldRecords.h"
#include "fieldlog/LogComparison.h"
#include "scenario/Source.h"
#include "telephone/StandIns.h"

namespace deskphone {

class Telephone;

/// The log of a telephone in the field as a source: gives the commands that the plug-in was given then, and compares
/// what the replay of each logs with the log.
///
/// What one operation traces on behalf of another is known from the replay: a command is what the first record tells of
/// that no command before it has logged.
class FieldLog : public Source {
public:
    /// The telephone, which is not owned, keeps its log for the comparison as long as this lives. Throws
    /// std::system_error, with the name, when the log cannot be read.
    FieldLog(const std::string& name, Telephone& telephone);
    ~FieldLog() override;

    bool next(Given& command) override;
    void played(const Step& step) override;
    bool refused(const Mistake& mistake) override;

    /// After the run: what was assumed, and how far the replay agrees. Returns whether it does.
    bool report(std::ostream& output) const;

private:
    using Answer = ServiceContext::Answer;

    struct Place {
        std::size_t line;  // the first one
        std::size_t more;
    };

    bool take();
    void tellCommand();
    void tellQuestions();
    void tellLookUps(bool starts);
    void setAnswer(const std::string& service, Answer answer, std::size_t line);
    void noteLookUps(const Step& step);
    void assumeMissing();
    void leaveOut();
    void tellLeftOut();
    void assume(const std::string& what, std::size_t line, std::size_t last = 0);

    const std::string m_name;
    Telephone& m_telephone;
    FieldRecords m_records;
    LogComparison m_comparison;

    std::deque<Words> m_told;             // the commands to play next; the last one is told by the first record
    std::vector<std::string> m_comments;  // on the next of them
    bool m_startAssumed = false;
    bool m_beginsInside;            // an operation, and no other began yet
    bool m_unclear;                 // records may belong to an operation that is not known
    std::size_t m_leftOutFrom = 0;  // the lines left out last; 0: none
    std::size_t m_leftOutTo = 0;
    std::optional<std::string> m_knownMachine;  // a line that has a machine
    std::set<std::string> m_listed;             // the lines in the controller's list
    std::map<std::string, Answer> m_answers;    // to look-ups; PRESENT where none is set
    std::set<std::string> m_lookedUp;           // the services that the plug-in has found

    std::size_t m_commands = 0;
    std::map<std::string, Place> m_assumptions;
};

}  // namespace deskphone
