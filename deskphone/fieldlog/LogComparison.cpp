#include "fieldlog/LogComparison.h"

#include <algorithm>
#include <cctype>
#include <tuple>
#include <vector>

namespace deskphone {

namespace {

// How many records of each side are looked at, at most, to find how they go on together.
constexpr std::size_t MOST_WANTED = 32;
constexpr std::size_t FARTHEST = 128;

// Where none of so many records has a level, the log has lost it.
constexpr std::size_t ENOUGH = 16;
constexpr std::size_t ENOUGH_AT_END = 2;

std::string_view trimmed(std::string_view text)
{
    return text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
}

/// How far the texts agree, addresses aside: the lengths of what does.
std::pair<std::size_t, std::size_t> agreeing(std::string_view one, std::string_view other)
{
    const auto skipDigits = [](std::string_view text, std::size_t at) {
        while (at < text.size() && std::isxdigit(static_cast<unsigned char>(text[at])) != 0) {
            ++at;
        }
        return at;
    };
    std::size_t a = 0;
    std::size_t b = 0;
    while (a < one.size() && b < other.size() && one[a] == other[b]) {
        const bool address = one[a] == 'x' && a > 0 && one[a - 1] == '0';
        a = address ? skipDigits(one, a + 1) : a + 1;
        b = address ? skipDigits(other, b + 1) : b + 1;
    }
    return {a, b};
}

bool agree(std::string_view one, std::string_view other)
{
    return one == other || agreeing(one, other) == std::pair(one.size(), other.size());
}

std::string_view takeLine(std::string_view& text)
{
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    return line;
}

/// Whether the lines are the same; of one that is cut, as far as it goes.
bool agreeAsLine(std::string_view expected, std::string_view field, bool cut)
{
    return agree(trimmed(expected), trimmed(field)) ||
           (cut && !field.empty() && agreeing(expected, field).second == field.size());
}

/// Whether a text's lines are those of the record, among which others' lines may stand.
bool agreeByLine(std::string_view expected, std::string_view field, bool cut)
{
    if (!agreeAsLine(takeLine(expected), takeLine(field), cut)) {
        return false;
    }
    while (!field.empty()) {
        const std::string_view line = takeLine(field);
        std::string_view rest = expected;
        const std::string_view wanted = takeLine(rest);
        if (!expected.empty() && agreeAsLine(wanted, line, cut)) {
            expected = rest;
        } else if (line.substr(0, LIST_ENTRY.size()) == LIST_ENTRY) {
            return false;
        }
    }
    return trimmed(expected).empty();
}

bool agreeAsFarAsCut(std::string_view expected, const FieldRecord& record)
{
    return (isCutLength(record.text.size()) || isCutLength(record.length)) &&
           agreeing(expected, record.text).second == record.text.size();
}

bool agree(const LogLine& expected, const FieldRecord& record)
{
    return expected.component == record.kind->component &&
           (agree(trimmed(expected.text), trimmed(record.text)) || agreeAsFarAsCut(expected.text, record) ||
            ((record.cut || record.text.find('\n') != std::string::npos) &&
             agreeByLine(trimmed(expected.text), record.text, record.cut)));
}

bool isOfKind(const LogLine& log, const FieldRecord& record)
{
    const std::string_view beginning = beginningOf(*record.kind);
    return log.component == record.kind->component && log.text.compare(0, beginning.size(), beginning) == 0;
}

std::string named(const LogLine& log)
{
    return log.component + ": " + log.text;
}

std::string named(const FieldRecord& record)
{
    return std::string(record.kind->component).append(": ").append(record.text);
}

}  // namespace

/// What a thread has logged, as far as the log is known to go on with it.
class LogComparison::Thread {
public:
    Thread(LogComparison& whole, const std::vector<LogLine>& log, FieldRecords& records, Compared& result)
        : m_whole(whole), m_records(records), m_next(records.next()), m_result(result)
    {
        for (const LogLine& line : log) {
            m_log.push_back(&line);
        }
    }

    void compare()
    {
        while (leaveLevelsOut()) {
            std::size_t free = m_at;
            while (free < m_next.size() && m_next[free].used) {
                ++free;
            }
            if (free < m_next.size() && takes(*m_log[m_done], free, false)) {
                m_at = free;
                take();
            } else if (free == m_next.size() && m_records.allRead()) {
                if (!takeBack(FARTHEST)) {
                    m_whole.m_endsEarly = true;
                    return;
                }
            } else if (!lowersLevel()) {
                findNext();
            }
        }
    }

private:
    /// Passes over what the level leaves out. Returns whether anything is left.
    bool leaveLevelsOut()
    {
        while (m_done < m_log.size() && m_log[m_done]->level > m_result.level) {
            ++m_done;
        }
        return m_done < m_log.size();
    }

    /// Threads may have crossed: gives the operation that has this record a later one like it, behind the line, and so
    /// on with what follows in that operation. Returns the later one's line, 0 when there is none, and the last line
    /// that the operation then has of these. May only try.
    std::pair<std::size_t, std::size_t> exchange(std::size_t at, std::size_t behind, bool tries) const
    {
        FieldRecord& held = m_next[at];
        const auto isLike = [&held, behind](const FieldRecord& other) {
            return !other.used && other.line > behind && other.kind == held.kind &&
                   agree(trimmed(other.text), trimmed(held.text));
        };
        const auto begin = m_next.begin() + static_cast<std::ptrdiff_t>(at);
        const auto end = m_next.begin() + static_cast<std::ptrdiff_t>(std::min(m_next.size(), at + FARTHEST));
        const auto later = std::find_if(begin, end, isLike);
        if (later == end) {
            return {0, 0};
        }
        std::pair<std::size_t, std::size_t> next{held.before, later->line};
        if (held.before != 0 && later->line >= held.before) {
            const auto following =
                std::find_if(begin, end, [&held](const FieldRecord& other) { return other.line == held.before; });
            next = following == end
                       ? std::pair<std::size_t, std::size_t>()
                       : exchange(static_cast<std::size_t>(following - m_next.begin()), later->line, tries);
            if (next.first == 0) {
                return {0, 0};
            }
        }
        if (!tries) {
            held.used = false;
            std::tie(later->used, later->before, later->passedFrom) = std::tuple(true, next.first, held.passedFrom);
        }
        return {later->line, next.second};
    }

    bool takes(const LogLine& expected, std::size_t at, bool exchanges) const
    {
        return (!m_next[at].used || exchanges) && agree(expected, m_next[at]) &&
               (!m_next[at].used || exchange(at, 0, true).first != 0);
    }

    void take()
    {
        FieldRecord& record = m_next[m_at];
        if (record.used) {
            exchange(m_at, 0, false);
        }
        const LogLine& expected = *m_log[m_done];
        if (!agree(trimmed(expected.text), trimmed(record.text)) &&
            (record.cut || agreeAsFarAsCut(expected.text, record))) {
            m_whole.m_cut.first = ++m_whole.m_cut.count == 1 ? record.line : m_whole.m_cut.first;
        }
        record.used = true;
        record.before = 0;
        record.passedFrom = m_passedFrom;
        if (m_last != nullptr) {
            m_last->before = record.line;
        }
        m_last = &record;
        m_passedFrom = 0;
        m_result.end = std::max(m_result.end, record.line);
        ++m_whole.m_agreeing;
        ++m_at;
        ++m_done;
    }

    /// Whether the log has lost the level that it lacks here. At its end, what is left must agree without that level.
    bool lowersLevel()
    {
        const int lost = m_log[m_done]->level;
        if (lost < LOG_LEVEL_INFO || m_records.highestLevel(m_at) >= lost) {
            return false;
        }
        if (m_next.size() - m_at < ENOUGH) {
            std::size_t at = m_at;
            for (std::size_t done = m_done; done < m_log.size() && at < m_next.size(); ++done) {
                if (m_log[done]->level < lost && !takes(*m_log[done], at++, false)) {
                    return false;
                }
            }
            if (at < m_at + ENOUGH_AT_END) {
                return false;
            }
        }
        m_result.level = lost - 1;
        return true;
    }

    /// One side lacks records, or others' stand between them: where most of what follows agrees tells which.
    void findNext()
    {
        Agreeing next = nextAgreeing(false);
        const auto begin = m_next.begin() + static_cast<std::ptrdiff_t>(m_at);
        if (std::any_of(begin, m_next.end(), [](const FieldRecord& record) { return record.used; })) {
            const Agreeing other = nextAgreeing(true);
            next = std::tie(other.missing, other.end) < std::tie(next.missing, next.end) ? other : next;
        }
        if (next.skipped > 0 && takeBack(next.any ? next.passed : FARTHEST)) {
            return;
        }
        if (next.skipped > 0) {
            noteMissing(next.skipped, next.passed);
        }
        for (std::size_t at = m_at; at < m_at + next.passed && m_passedFrom == 0; ++at) {
            m_passedFrom = m_next[at].used ? 0 : m_next[at].line;
        }
        m_done += next.skipped;
        m_at += next.passed;
        if (next.any) {
            take();
        }
    }

    /// How both sides go on: up to the first two records that agree, some are skipped in the replay and passed over in
    /// the log. From there on some are missing.
    struct Agreeing {
        bool any = false;
        std::size_t skipped = 0;
        std::size_t passed = 0;
        std::size_t missing = 0;
        std::size_t end = 0;  // the last line that either has then, or another operation instead
    };

    Agreeing nextAgreeing(bool exchanges) const
    {
        const std::size_t rows = std::min(MOST_WANTED, m_log.size() - m_done);
        const std::size_t columns = std::min(FARTHEST, m_next.size() - m_at);
        std::vector<char> same((rows + 1) * (columns + 1));
        std::vector<std::size_t> most(same.size());  // that agree from there on
        Agreeing first;
        const auto place = [columns](std::size_t row, std::size_t column) { return row * (columns + 1) + column; };
        for (std::size_t row = rows; row-- > 0;) {
            const LogLine& expected = *m_log[m_done + row];
            const bool counts = expected.level <= m_result.level;
            first.missing += counts ? 1 : 0;
            for (std::size_t column = columns; column-- > 0;) {
                const std::size_t here = place(row, column);
                same[here] = counts && takes(expected, m_at + column, exchanges) ? 1 : 0;
                most[here] = std::max({most[place(row + 1, column)], most[place(row, column + 1)],
                                       same[here] != 0 ? most[place(row + 1, column + 1)] + 1 : 0});
            }
        }
        first.missing -= most[0];
        for (std::size_t row = 0, column = 0; row < rows && column < columns;) {
            if (same[place(row, column)] == 0) {
                const bool skips = most[place(row + 1, column)] == most[place(row, column)];
                ++(skips ? row : column);
                continue;
            }
            if (!first.any) {
                first = {true, row, column, first.missing};
            }
            first.end = std::max(first.end, m_next[m_at + column].line);
            if (m_next[m_at + column].used) {
                first.end = std::max(first.end, exchange(m_at + column, 0, true).second);
            }
            ++row;
            ++column;
        }
        first.skipped = first.any ? first.skipped : rows;
        return first;
    }

    /// Takes a record that another operation has, which passed over this one's to come to it: that one lacks it.
    bool takeBack(std::size_t farthest)
    {
        for (std::size_t at = m_at; at < std::min(m_next.size(), m_at + farthest); ++at) {
            FieldRecord& record = m_next[at];
            if (!record.used || record.passedFrom == 0 || !agree(*m_log[m_done], record)) {
                continue;
            }
            const auto from = std::find_if(m_next.begin(), m_next.end(), [&record](const FieldRecord& other) {
                return other.line >= record.passedFrom;
            });
            m_whole.note(record.passedFrom, named(*from), named(*m_log[m_done]));
            m_result.missing = m_result.missing == 0 ? record.passedFrom : m_result.missing;
            m_at = at;
            record.used = false;
            --m_whole.m_agreeing;
            m_passedFrom = 0;
            take();
            return true;
        }
        return false;
    }

    void noteMissing(std::size_t skipped, std::size_t passed)
    {
        const LogLine& wanted = *m_log[m_done];
        const auto from = std::find_if(m_next.begin() + static_cast<std::ptrdiff_t>(m_at), m_next.end(),
                                       [](const FieldRecord& record) { return !record.used; });
        const bool ends = from == m_next.end();
        const std::size_t line = ends ? m_records.linesRead() : from->line;
        m_whole.note(line, ends ? "" : named(*from), named(wanted));
        if (!ends && isOfKind(wanted, *from) && (passed > 0 || m_done + skipped == m_log.size())) {
            from->used = true;  // the same with other values, no operation by itself
            m_result.differs = true;
        } else if (m_result.missing == 0) {
            m_result.missing = line;
        }
        m_result.differs = m_result.differs || passed > 0;
    }

    LogComparison& m_whole;
    std::vector<const LogLine*> m_log;
    std::size_t m_done = 0;  // of it
    FieldRecords& m_records;
    NextRecords& m_next;
    std::size_t m_at = 0;           // of these
    std::size_t m_passedFrom = 0;   // the line of the first one passed over since the last one taken; 0: none
    FieldRecord* m_last = nullptr;  // that was taken
    Compared& m_result;
};

LogComparison::Compared LogComparison::compare(const KeptLog& log, FieldRecords& records, int level)
{
    Compared result{level};
    for (const auto& ofThread : log) {
        Thread(*this, ofThread, records, result).compare();
    }
    return result;
}

void LogComparison::leaveOut(const FieldRecord& record)
{
    note(record.line, named(record), "");
}

void LogComparison::note(std::size_t line, std::string field, std::string replay)
{
    if (m_first.line == 0 || line < m_first.line) {
        m_first = {line, std::move(field), std::move(replay)};
    }
}

}  // namespace deskphone
