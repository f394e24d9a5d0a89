#pragma once

#include <optional>
#include <string>
#include <utility>

#include "fieldlog/FieldRecords.h"
#include "telephone/Step.h"

namespace deskphone {

/// Holds what the replay logs against a telephone's log. Addresses don't count, nor the order between threads.
class LogComparison {
public:
    /// A side without a record is empty.
    struct Difference {
        std::size_t line = 0;  // of the log; 0: there is none
        std::string field;
        std::string replay;
    };

    /// What came of a command.
    struct Compared {
        int level;                // up to which the log goes from here on: lower if it has no more records of the last
        std::size_t end = 0;      // the last line that agrees
        std::size_t missing = 0;  // the line where the log lacks records of the replay; 0: it does not
        bool differs = false;     // beyond that
    };

    /// Uses the records that the replay, up to this level, logs too; those of operations that ran at the same time may
    /// stand between them.
    Compared compare(const KeptLog& log, FieldRecords& records, int level);
    /// The replay has nothing for this record.
    void leaveOut(const FieldRecord& record);

    /// The first one in the log.
    const Difference& firstDifference() const { return m_first; }
    /// How many records agree.
    std::size_t agreeing() const { return m_agreeing; }
    /// Records that were cut by the length that a log has for a line, and taken for the replay's.
    const FieldRecords::Lines& cut() const { return m_cut; }
    /// The log ends before what the last commands log does.
    bool endsEarly() const { return m_endsEarly; }

private:
    class Thread;

    void note(std::size_t line, std::string field, std::string replay);

    Difference m_first;
    std::size_t m_agreeing = 0;
    FieldRecords::Lines m_cut;
    bool m_endsEarly = false;
};

}  // namespace deskphone
