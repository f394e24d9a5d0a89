#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fieldlog/LogTexts.h"

namespace deskphone {

/// A record of the plug-in in a telephone's log.
struct FieldRecord {
    std::size_t line;       // where it begins, counted from 1
    const LogText* kind;    // what it was recognised by
    std::string text;       // with the lines behind it that may belong to it
    std::string beginning;  // of its line, up to the component
    std::string process;    // as far as the beginning tells it
    std::size_t length;     // of what the log has of it
    bool cut;               // one of its lines is as long as a line can be in many logs
    /// Made when it is compared first; 0: not yet.
    mutable std::uint64_t key = 0;
    mutable bool isWhole = false;  // neither cut nor of several lines, of which some may be another's

    bool is(std::string_view format) const { return kind->format == format; }
};

using NextRecords = std::deque<FieldRecord>;

/// Whether it has just the length at which logs cut a line or a text.
bool isCutLength(std::size_t length);

/// The plug-in's records in a telephone's log, in order: those that are next, so that a log of any size can be read.
/// The lines of others are passed over. On a terminal, standard error shows how much has been read.
///
/// A line is one of the plug-in if it names a component and a text of this component follows, whatever stands around
/// them. A line that is none is taken for a further line of the record before it, unless it begins as records do in
/// this log (with a time, say); if every line begins so, what stands behind that beginning is.
class FieldRecords {
public:
    /// "-" is the standard input. `countsFromStart` makes handles of sessions begin at 1, wherever the log begins.
    /// Throws std::system_error, with the name, when the log cannot be read.
    FieldRecords(const std::string& name, bool countsFromStart);

    /// The next records. Empty at the log's end.
    const NextRecords& next() const { return m_next; }
    /// The highest level of the next records.
    int highestLevel() const;
    /// Passes over the first one and reads on.
    void pass();

    /// How many lines have been read.
    std::size_t linesRead() const { return m_line; }

    /// Lines of a kind: how many there are, and where the first one is.
    struct Lines {
        std::size_t count = 0;
        std::size_t first = 0;
    };
    /// Lines that name a component and hold no text of it.
    const Lines& unknown() const { return m_unknown; }
    /// Records of processes that have logged between those of the one that is followed, up to their next start.
    const Lines& ofOthers() const { return m_ofOthers; }
    /// Whether the first record stands there a second time, byte for byte.
    bool isDoubled() const;
    /// Whether no two events have the first one's time: it is told to the microsecond.
    bool isTimeExact() const;
    /// How much higher the log counts the sessions than a service that has just started, up to the first start of the
    /// service in it. The records tell the handles less this number.
    int handlesBefore() const { return m_handlesBefore; }

private:
    struct CloseFile {
        void operator()(std::FILE* file) const;
    };

    void read();
    bool readLine(std::string& line);
    void refill();
    void add(const std::string& line);
    void dropOthers();
    void noteOther(const FieldRecord& record);
    bool continueRecord(const std::string& line);
    void learnEnds();
    std::string cleaned(std::string_view text) const;
    void learnHandles();

    const std::string m_name;
    const bool m_showsProgress;
    const std::unique_ptr<std::FILE, CloseFile> m_file;
    NextRecords m_next;
    FieldRecord m_passed{};           // the last one
    std::vector<std::string> m_ends;  // what stands behind the texts in this log
    int m_handlesBefore = 0;
    bool m_countsFromThere = false;  // the handles still do
    std::size_t m_bytes = 0;         // that m_next has of the log
    std::string m_buffer;            // what was read of the file and not yet taken
    std::size_t m_taken = 0;         // of the buffer
    std::size_t m_refilled = 0;      // times
    std::size_t m_size = 0;          // of the file; 0: not known
    std::size_t m_line = 0;
    bool m_allRead = false;
    Lines m_unknown;
    std::set<std::string> m_others;  // the processes
    Lines m_ofOthers;
};

}  // namespace deskphone
