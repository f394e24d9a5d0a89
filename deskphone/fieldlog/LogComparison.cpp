#include "fieldlog/LogComparison.h"

#include <algorithm>
#include <cctype>

namespace deskphone {

namespace {

/// How many records, of both sides together, are passed over at most to find two that agree again.
constexpr std::size_t FARTHEST = 64;

/// Where none of so many records has a level, the log has lost it.
constexpr std::size_t ENOUGH = 16;

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

/// Whether a text's lines are those of the record, among which others' lines may stand, each with anything in front.
bool agreeByLine(std::string_view expected, std::string_view field)
{
    if (!agree(trimmed(takeLine(expected)), trimmed(takeLine(field)))) {
        return false;
    }
    while (!field.empty()) {
        const std::string_view line = takeLine(field);
        std::string_view rest = expected;
        const std::string_view wanted = takeLine(rest);
        const std::size_t begin = line.find(wanted.substr(0, LIST_ENTRY.size()));
        if (!expected.empty() && begin != std::string_view::npos &&
            agree(trimmed(wanted), trimmed(line.substr(begin)))) {
            expected = rest;
        } else if (line.find(LIST_ENTRY) != std::string_view::npos) {
            return false;
        }
    }
    return trimmed(expected).empty();
}

/// Whether it has just the length at which logs cut a line or a text.
bool isCutLength(std::size_t length)
{
    for (const std::size_t limit : {std::size_t{256}, std::size_t{1024}}) {
        if (length <= limit && length + 2 >= limit) {
            return true;
        }
    }
    return false;
}

bool agreeAsFarAsCut(std::string_view expected, const FieldRecord& record)
{
    const std::string_view text = record.text();
    return (isCutLength(text.size()) || isCutLength(record.lines.size())) &&
           agreeing(expected, text).second == text.size();
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
    return std::string(record.kind->component).append(": ").append(record.text());
}

}  // namespace

bool LogComparison::matches(const LogLine& expected, const FieldRecord& record) const
{
    if (record.used || expected.component != record.kind->component) {
        return false;
    }
    const std::string_view one = trimmed(expected.text);
    const std::string_view other = trimmed(record.text());
    if (agree(one, other)) {
        return true;
    }
    return (record.text().find('\n') != std::string_view::npos && agreeByLine(one, record.text())) ||
           agreeAsFarAsCut(expected.text, record);
}

void LogComparison::use(FieldRecord& record, const LogLine& expected)
{
    record.used = true;
    if (record.lines.size() < expected.text.size() + record.begin && agreeAsFarAsCut(expected.text, record) &&
        !agree(trimmed(expected.text), trimmed(record.text()))) {
        m_firstCut = ++m_cut == 1 ? record.line : m_firstCut;
    }
}

int LogComparison::compare(const KeptLog& log, FieldRecords& records, int level)
{
    NextRecords& next = records.next();
    std::size_t at = 0;  // in the log
    std::array<std::size_t, NUMBER_OF_THREADS> done{};
    const auto rest = [&](std::size_t thread) { return log[thread].size() - done[thread]; };
    const auto takes = [&](std::size_t thread, std::size_t skipped, std::size_t place) {
        return skipped < rest(thread) && place < next.size() &&
               matches(log[thread][done[thread] + skipped], next[place]);
    };
    for (;;) {
        while (at < next.size() && next[at].used) {
            ++at;
        }
        for (std::size_t one = 0; one < NUMBER_OF_THREADS; ++one) {
            while (rest(one) > 0 && log[one][done[one]].level > level) {
                ++done[one];
            }
        }
        std::size_t thread = 0;
        while (thread < NUMBER_OF_THREADS && !takes(thread, 0, at)) {
            ++thread;
        }
        if (thread < NUMBER_OF_THREADS) {
            use(next[at++], log[thread][done[thread]++]);
            continue;
        }
        thread = 0;
        while (thread < NUMBER_OF_THREADS && rest(thread) == 0) {
            ++thread;
        }
        if (thread == NUMBER_OF_THREADS) {
            return level;
        }
        if (at == next.size() && records.allRead()) {
            m_endsEarly = true;
            return level;
        }
        const int lost = log[thread][done[thread]].level;
        if (lost >= LOG_LEVEL_INFO && next.size() - at >= ENOUGH && records.highestLevel(at) < lost) {
            level = lost - 1;
            continue;
        }
        // One side lacks records, or something stands between them: the nearest two that agree tell how many.
        const std::size_t farthest = std::min(FARTHEST, rest(thread));
        std::size_t skipped = rest(thread);
        std::size_t passed = 0;
        for (std::size_t sum = 1; sum <= farthest && sum < skipped + passed + 1; ++sum) {
            for (std::size_t replay = 0; replay <= sum; ++replay) {
                if (takes(thread, replay, at + sum - replay)) {
                    skipped = replay;
                    passed = sum - replay;
                    sum = FARTHEST;
                    break;
                }
            }
        }
        if (skipped > 0) {
            const bool ends = at >= next.size();
            const LogLine& wanted = log[thread][done[thread]];
            note(ends ? records.linesRead() : next[at].line, ends ? "" : named(next[at]), named(wanted));
            if (passed > 0 && isOfKind(wanted, next[at])) {
                next[at].used = true;  // the same with other values, no operation by itself
            }
        }
        done[thread] += skipped;
        at += passed;
    }
}

void LogComparison::leaveOut(FieldRecord& record)
{
    record.used = true;
    note(record.line, named(record), "");
}

void LogComparison::note(std::size_t line, std::string field, std::string replay)
{
    if (m_first.line == 0 || line < m_first.line) {
        m_first = {line, std::move(field), std::move(replay)};
    }
}

}  // namespace deskphone
