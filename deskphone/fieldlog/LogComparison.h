#pragma once

#include <list>
#include <string>
#include <utility>
#include <vector>

#include "fieldlog/FieldRecords.h"
#include "telephone/Step.h"

namespace deskphone {

/// Holds what the replay logs against a telephone's log. Each record of the log goes to the operation that goes on with
/// it, so that operations that ran at the same time may stand mixed. Addresses don't count.
class LogComparison {
public:
    /// A side without a record is empty.
    struct Difference {
        std::size_t line = 0;  // of the log; 0: there is none
        std::string field;
        std::string replay;
    };

    LogComparison();
    ~LogComparison();

    /// Up to which the log goes at this place.
    int level() const { return m_level; }
    void setLevel(int level) { m_level = level; }

    /// The replay of a command has logged this: expected from here on, each thread's in its order.
    void expect(const KeptLog& log);
    /// Whether an operation goes on with the first of the records, for which it may skip what the log lacks. May find
    /// that the log has lost a level.
    bool take(const NextRecords& records);
    /// Nothing goes on with this record.
    void leaveOut(const FieldRecord& record);
    /// The log has ended.
    void end();

    /// Whether the record repeats the one before it, with which an operation that is not at its end went on.
    bool isRepeated(const FieldRecord& record) const;
    /// The lines where the log lacks records of the replay, found since this was asked last.
    std::vector<std::size_t> takeMissing() { return std::exchange(m_missing, {}); }

    /// The first one in the log.
    const Difference& firstDifference() const { return m_first; }
    /// How many records agree.
    std::size_t agreeing() const { return m_agreeing; }
    /// Records that were cut by the length that a log has for a line, and taken for the replay's.
    const FieldRecords::Lines& cut() const { return m_cut; }
    /// The log ends before what the last commands log does.
    bool endsEarly() const { return m_endsEarly; }

private:
    struct Expected;
    struct Operation;
    using Log = std::vector<Expected>;

    bool goesOn(Operation& operation) const;
    Operation* takeNext(const FieldRecord& record);
    Operation* takeFromOther(const FieldRecord& record);
    Operation* takeLater(const NextRecords& records);
    std::vector<int> worthBehindFirst(Log::const_iterator next, Log::const_iterator end,
                                      const NextRecords& records) const;
    bool lowerLevel(const NextRecords& records);
    void took(Operation& operation, const FieldRecord& record);
    void pass(const FieldRecord& record, const Operation* taker);
    void noteMissing(const Operation& operation, const Difference& place);
    void note(Difference difference);

    int m_level = 0;
    std::list<Operation> m_operations;  // those that took a record lately, the newest first
    std::vector<std::size_t> m_missing;
    Difference m_first;
    std::size_t m_agreeing = 0;
    FieldRecords::Lines m_cut;
    bool m_endsEarly = false;
};

}  // namespace deskphone
