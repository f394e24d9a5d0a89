#pragma once

#include <string>

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

    /// Uses the records that the replay, up to this level, logs too; those of operations that ran at the same time may
    /// stand between them. Returns the level, a lower one where the log has no more records of this one.
    int compare(const KeptLog& log, FieldRecords& records, int level);
    /// The replay has nothing for this record, which is used then.
    void leaveOut(FieldRecord& record);

    /// The first one in the log.
    const Difference& firstDifference() const { return m_first; }
    /// Records that were cut by the length that a log has for a line: how many were taken for the replay's, and where
    /// the first one is.
    std::size_t numberOfCut() const { return m_cut; }
    std::size_t firstCut() const { return m_firstCut; }
    /// The log ends before what the last commands log does.
    bool endsEarly() const { return m_endsEarly; }

private:
    bool matches(const LogLine& expected, const FieldRecord& record) const;
    void use(FieldRecord& record, const LogLine& expected);
    void note(std::size_t line, std::string field, std::string replay);

    Difference m_first;
    std::size_t m_cut = 0;
    std::size_t m_firstCut = 0;
    bool m_endsEarly = false;
};

}  // namespace deskphone
