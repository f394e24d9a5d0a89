#include "fieldlog/LogComparison.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <vector>

namespace deskphone {

namespace {

// How many records of each side are looked at, at most, to find how they go on together.
constexpr std::ptrdiff_t MOST_WANTED = 32;
constexpr std::size_t MOST_NEXT = 64;

// For how many records an operation waits.
constexpr std::ptrdiff_t FARTHEST = 128;

// What a record that agrees is worth, measured in records of others that stand before it.
constexpr int AGREES = 8;

// Where an operation lacks records of a level, and none of so many has it, the log has lost it.
constexpr std::ptrdiff_t ENOUGH = 16;
constexpr std::ptrdiff_t ENOUGH_FOR_ONE = 32;

std::string_view trimmed(std::string_view text)
{
    return text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
}

std::size_t skipAddress(std::string_view text, std::size_t at)
{
    while (at < text.size() && std::isxdigit(static_cast<unsigned char>(text[at])) != 0) {
        ++at;
    }
    return at;
}

/// How far the texts agree, addresses aside: the lengths of what does.
std::pair<std::size_t, std::size_t> agreeing(std::string_view one, std::string_view other)
{
    std::size_t a = 0;
    std::size_t b = 0;
    while (a < one.size() && b < other.size() && one[a] == other[b]) {
        const bool address = one[a] == 'x' && a > 0 && one[a - 1] == '0';
        a = address ? skipAddress(one, a + 1) : a + 1;
        b = address ? skipAddress(other, b + 1) : b + 1;
    }
    return {a, b};
}

bool agree(std::string_view one, std::string_view other)
{
    return agreeing(one, other) == std::pair(one.size(), other.size());
}

/// The same for texts that agree, and for no others but by a chance of one in 2^64 (FNV-1a).
std::uint64_t keyOf(std::string_view component, std::string_view text)
{
    std::uint64_t key = 0xcbf29ce484222325;
    const auto add = [&key](char c) { key = (key ^ static_cast<unsigned char>(c)) * 0x100000001b3; };
    std::for_each(component.begin(), component.end(), add);
    text = trimmed(text);
    for (std::size_t at = 0; at < text.size();) {
        add(text[at]);
        const bool address = text[at] == 'x' && at > 0 && text[at - 1] == '0';
        at = address ? skipAddress(text, at + 1) : at + 1;
    }
    return key;
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

bool agreesInPart(std::string_view expected, const FieldRecord& record)
{
    return expected.substr(0, record.kind->beginning.size()) == record.kind->beginning &&
           (agreeAsFarAsCut(expected, record) || agreeByLine(trimmed(expected), record.text, record.cut));
}

bool isOfKind(const LogLine& log, const FieldRecord& record)
{
    std::vector<std::string> places;
    return log.component == record.kind->component && readPlaces(record.kind->format, log.text, places);
}

std::string named(const LogLine& log)
{
    return log.component + ": " + log.text;
}

std::string named(const FieldRecord& record)
{
    return std::string(record.kind->component).append(": ").append(record.text);
}

std::uint64_t keyOf(const FieldRecord& record)
{
    if (record.key == 0) {
        record.key = keyOf(record.kind->component, record.text);
        record.isWhole = !record.cut && !isCutLength(record.text.size()) && !isCutLength(record.length) &&
                         trimmed(record.text).find('\n') == std::string_view::npos;
    }
    return record.key;
}

}  // namespace

/// A record of the replay.
struct LogComparison::Expected {
    explicit Expected(const LogLine& line) : log(line), key(keyOf(line.component, line.text)) {}

    bool agrees(const FieldRecord& record) const
    {
        return key == keyOf(record) ||
               (!record.isWhole && log.component == record.kind->component && agreesInPart(log.text, record));
    }

    LogLine log;
    std::uint64_t key;
};

/// What a thread has logged in a command, as far as the log is known to go on with it.
struct LogComparison::Operation {
    explicit Operation(const std::vector<LogLine>& lines) : log(lines.begin(), lines.end()) {}

    bool ends() const { return next() == log.end(); }
    Log::const_iterator next() const { return log.begin() + done; }

    const Log log;
    std::ptrdiff_t done = 0;    // of it
    std::ptrdiff_t waited = 0;  // records since it took one
    Difference stop = {};       // the first of these
};

LogComparison::LogComparison() = default;
LogComparison::~LogComparison() = default;

void LogComparison::expect(const KeptLog& log)
{
    for (auto ofThread = log.rbegin(); ofThread != log.rend(); ++ofThread) {
        if (!ofThread->empty()) {
            m_operations.emplace_front(*ofThread);
        }
    }
}

bool LogComparison::take(const NextRecords& records)
{
    const FieldRecord& record = records.front();
    const Operation* taker = nullptr;
    do {
        taker = takeNext(record);
        taker = taker != nullptr ? taker : takeFromOther(record);
    } while (taker == nullptr && lowerLevel(records));
    taker = taker != nullptr ? taker : takeLater(records);
    if (taker != nullptr) {
        pass(record, taker);
    }
    return taker != nullptr;
}

void LogComparison::leaveOut(const FieldRecord& record)
{
    note({record.line, named(record), ""});
    pass(record, nullptr);
}

void LogComparison::end()
{
    for (Operation& operation : m_operations) {
        if (goesOn(operation) && operation.waited > 0) {
            noteMissing(operation, operation.stop);
        } else if (goesOn(operation)) {
            m_endsEarly = true;
        }
    }
    m_operations.clear();
}

bool LogComparison::isRepeated(const FieldRecord& record) const
{
    return std::any_of(m_operations.begin(), m_operations.end(), [&record](const Operation& operation) {
        return operation.waited == 0 && operation.done > 0 && !operation.ends() &&
               (operation.next() - 1)->agrees(record);
    });
}

/// Passes over what the level leaves out. Returns whether anything is left.
bool LogComparison::goesOn(Operation& operation) const
{
    while (!operation.ends() && operation.next()->log.level > m_level) {
        ++operation.done;
    }
    return !operation.ends();
}

LogComparison::Operation* LogComparison::takeNext(const FieldRecord& record)
{
    for (Operation& operation : m_operations) {
        if (goesOn(operation) && operation.next()->agrees(record)) {
            took(operation, record);
            return &operation;
        }
    }
    return nullptr;
}

/// An operation that waits may have lost the last records to another one that logs the same: then that one waits.
LogComparison::Operation* LogComparison::takeFromOther(const FieldRecord& record)
{
    const auto agrees = [&record](const Expected& expected) { return expected.agrees(record); };
    const auto isSame = [](const Expected& one, const Expected& other) { return one.key == other.key; };
    for (Operation& operation : m_operations) {
        const auto next = operation.next();
        const auto end = next + std::min(operation.waited + 1, operation.log.cend() - next);
        for (auto later = std::find_if(next, end, agrees); later != end; later = std::find_if(later + 1, end, agrees)) {
            const auto lost = later - next;
            for (Operation& other : m_operations) {
                if (&other != &operation && other.done >= lost &&
                    std::equal(next, later, other.next() - lost, isSame)) {
                    other.done -= lost;
                    operation.done += lost;
                    std::swap(other.stop, operation.stop);
                    std::swap(other.waited, operation.waited);
                    took(operation, record);
                    return &operation;
                }
            }
        }
    }
    return nullptr;
}

/// The log lacks records of an operation, or has another value: where more of what follows then agrees than if this
/// record were another operation's.
LogComparison::Operation* LogComparison::takeLater(const NextRecords& records)
{
    const FieldRecord& record = records.front();
    for (Operation& operation : m_operations) {
        const auto next = operation.next();
        const auto end = next + std::min(MOST_WANTED, operation.log.cend() - next);
        const bool differs = next != end && operation.waited == 0 && isOfKind(next->log, record);
        const auto agrees = [&](const Expected& expected) {
            return expected.log.level <= m_level && expected.agrees(record);
        };
        auto later = std::find_if(next, end, agrees);
        if (!differs && later == end) {
            continue;
        }
        const std::vector<int> worth = worthBehindFirst(next, end, records);
        const auto worthFrom = [&](auto expected) { return worth[static_cast<std::size_t>(expected - next)]; };
        const int asOthers = worthFrom(next) - 1;
        if (differs && worthFrom(next + 1) > asOthers) {
            note({record.line, named(record), named(next->log)});
            ++operation.done;
            return &operation;
        }
        const int least = std::max(asOthers, static_cast<int>(operation.waited));
        while (later != end && AGREES + worthFrom(later + 1) < least) {
            later = std::find_if(later + 1, end, agrees);
        }
        if (later != end) {
            noteMissing(operation, operation.waited > 0 ? operation.stop : Difference{record.line, named(record), ""});
            operation.done = later - operation.log.cbegin();
            took(operation, record);
            return &operation;
        }
    }
    return nullptr;
}

/// What the log behind its first record is worth, for the replay from each of these on: a record that agrees is worth
/// AGREES, and each of another operation before it costs 1.
std::vector<int> LogComparison::worthBehindFirst(Log::const_iterator next, Log::const_iterator end,
                                                 const NextRecords& records) const
{
    std::vector<int> worth(static_cast<std::size_t>(end - next) + 1);
    for (std::size_t column = std::min(MOST_NEXT, records.size()); --column > 0;) {
        int diagonal = 0;  // what the next row was worth in the column behind this one
        for (std::size_t row = worth.size() - 1; row-- > 0;) {
            const Expected& expected = *(next + static_cast<std::ptrdiff_t>(row));
            const bool agrees = expected.log.level <= m_level && expected.agrees(records[column]);
            const int taken = agrees ? AGREES + diagonal : 0;
            diagonal = worth[row];
            worth[row] = std::max({worth[row + 1], worth[row] - 1, taken});
        }
    }
    return worth;
}

/// Whether the log has lost the level that it lacks here.
bool LogComparison::lowerLevel(const NextRecords& records)
{
    const auto waits = std::find_if(m_operations.begin(), m_operations.end(),
                                    [this](Operation& operation) { return goesOn(operation); });
    if (waits == m_operations.end()) {
        return false;
    }
    const int lost = waits->next()->log.level;
    const auto lacks = [lost](const Expected& expected) { return expected.log.level >= lost; };
    const bool lacksOne = std::count_if(waits->next(), waits->log.cend(), lacks) == 1;
    const std::ptrdiff_t enough = lacksOne ? ENOUGH_FOR_ONE : std::max(ENOUGH, waits->log.cend() - waits->next());
    const auto left = static_cast<std::ptrdiff_t>(records.size());
    const auto hasLevel = [lost](const FieldRecord& record) { return record.kind->level >= lost; };
    if (lost < LOG_LEVEL_INFO || (lacksOne && left < enough) ||
        std::any_of(records.begin(), records.begin() + std::min(left, enough), hasLevel)) {
        return false;
    }
    m_level = lost - 1;
    return true;
}

void LogComparison::took(Operation& operation, const FieldRecord& record)
{
    const Expected& expected = *operation.next();
    if (expected.key != keyOf(record) && (record.cut || agreeAsFarAsCut(expected.log.text, record))) {
        m_cut.first = ++m_cut.count == 1 ? record.line : m_cut.first;
    }
    ++operation.done;
    ++m_agreeing;
}

/// The operations but this one wait, or have ended; not for ever.
void LogComparison::pass(const FieldRecord& record, const Operation* taker)
{
    for (auto operation = m_operations.begin(); operation != m_operations.end();) {
        if (&*operation == taker) {
            operation->waited = 0;
        } else if (operation->waited++ == 0 && goesOn(*operation)) {
            operation->stop = {record.line, named(record), ""};
        } else if (operation->waited > FARTHEST) {
            if (goesOn(*operation)) {
                noteMissing(*operation, operation->stop);
            }
            operation = m_operations.erase(operation);
            continue;
        }
        ++operation;
    }
}

void LogComparison::noteMissing(const Operation& operation, const Difference& place)
{
    m_missing.push_back(place.line);
    note({place.line, place.field, named(operation.next()->log)});
}

void LogComparison::note(Difference difference)
{
    if (m_first.line == 0 || difference.line < m_first.line) {
        m_first = std::move(difference);
    }
}

}  // namespace deskphone
