#pragma once

#include <cstdio>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "fieldlog/LogTexts.h"

namespace deskphone {

/// A record of the plug-in in a telephone's log.
struct FieldRecord {
    std::size_t line;     // where it begins, counted from 1
    const LogText* kind;  // what it was recognised by
    std::string lines;    // its line, and those behind it that may belong to it
    std::size_t begin;    // where the text begins in them
    bool used = false;    // the replay has accounted for it

    std::string_view text() const { return std::string_view(lines).substr(begin); }
    bool is(std::string_view format) const { return kind->format == format; }
};

using NextRecords = std::deque<FieldRecord>;

/// The plug-in's records in a telephone's log, in order: those that are next, so that a log of any size can be read.
/// The lines of others are passed over.
///
/// A line is one of the plug-in if it names a component and a text of this component follows, whatever stands around
/// them. A line that is none is taken for a further line of the record before it, unless it begins as records do in
/// this log (with a time, say).
class FieldRecords {
public:
    /// Throws std::system_error, with the name, when the log cannot be read.
    explicit FieldRecords(const std::string& name);

    /// The next records, used ones among them; the first one is not. Empty at the log's end.
    const NextRecords& next() const { return m_next; }
    NextRecords& next() { return m_next; }
    /// The highest level of the next records, from this one on.
    int highestLevel(std::size_t from = 0) const;
    /// Passes over used records at the beginning and reads on. What next() has given ceases to be.
    void passUsed();

    /// Whether everything has been read; how many lines have; and how much of the log, from 0 to 1.
    bool allRead() const { return m_allRead; }
    std::size_t linesRead() const { return m_line; }
    double partRead() const;

    /// Lines that name a component and hold no text of it: how many there are, and where the first one is.
    std::size_t numberOfUnknown() const { return m_unknown; }
    std::size_t firstUnknown() const { return m_firstUnknown; }

private:
    void read();
    bool readLine(std::string& line);
    void add(std::string&& line);
    void continueRecord(const std::string& line);

    const std::string m_name;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_file;
    NextRecords m_next;
    std::size_t m_bytes = 0;  // in m_next
    std::string m_buffer;     // what was read of the file and not yet taken
    std::size_t m_taken = 0;  // of the buffer
    double m_read = 0;
    double m_size = 0;
    std::size_t m_line = 0;
    bool m_allRead = false;
    std::size_t m_unknown = 0;
    std::size_t m_firstUnknown = 0;
};

}  // namespace deskphone
