#include "fieldlog/FieldRecords.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <map>
#include <optional>
#include <system_error>

namespace deskphone {

namespace {

// How far the reading is ahead, which bounds the memory for it. What is longer than the longest line is left out.
constexpr std::size_t MOST_RECORDS = 4096;
constexpr std::size_t MOST_BYTES = std::size_t{16} << 20U;
constexpr std::size_t LONGEST_LINE = std::size_t{1} << 20U;
constexpr std::size_t AT_ONCE = std::size_t{1} << 16U;
constexpr std::size_t PROGRESS_EVERY = 64;  // of these

constexpr std::size_t LONGEST_GAP = 128;    // between a component's name and its text
constexpr std::size_t LENGTH_OF_SHAPE = 8;  // of the beginnings that are compared
constexpr std::size_t MOST_ENDS = 64;       // that are told apart
constexpr std::size_t MOST_MIXED = 64;      // records that may stand between the lines of one

constexpr std::size_t NOWHERE = std::string_view::npos;
constexpr char QUOTE = '\x01';

bool isOfWord(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

using Texts = std::map<std::string_view, std::vector<const LogText*>>;

/// The texts of each component.
const Texts& textsByComponent()
{
    static const Texts byComponent = [] {
        Texts texts;
        for (const LogText& text : logTexts()) {
            texts[text.component].push_back(&text);
        }
        return texts;
    }();
    return byComponent;
}

struct Found {
    const LogText* text;
    std::size_t begin;
    std::size_t component = 0;  // where its name begins
};

/// The text of the component behind its name, which ends at `from`.
std::optional<Found> findText(const std::vector<const LogText*>& texts, std::string_view line, std::size_t from)
{
    const std::size_t last = std::min(line.size(), from + LONGEST_GAP);
    for (std::size_t at = from + 1; at < last; ++at) {
        if (isOfWord(line[at - 1])) {
            continue;
        }
        const LogText* longest = nullptr;
        for (const LogText* const text : texts) {
            const std::string_view beginning = text->beginning;
            if (!beginning.empty() && line[at] == beginning.front() &&
                line.compare(at, beginning.size(), beginning) == 0 &&
                (longest == nullptr || beginning.size() > longest->beginning.size())) {
                longest = text;
            }
        }
        if (longest != nullptr) {
            return Found{longest, at};
        }
    }
    for (const LogText* const text : texts) {
        // It begins with any tag: behind what separates texts in many logs, else with the last word.
        const std::size_t behindTag = text->format == UNKNOWN_TAG ? line.find(UNKNOWN_TAG.substr(2), from) : NOWHERE;
        if (behindTag != NOWHERE) {
            const std::size_t quote = line.rfind(QUOTE, behindTag);
            const std::size_t separator = line.find(": ", from);
            return Found{text, quote != NOWHERE        ? quote + 1
                               : separator < behindTag ? separator + 2
                                                       : line.rfind(' ', behindTag - 1) + 1};
        }
    }
    return std::nullopt;
}

/// The plug-in's text in the line. `named` tells whether the line names a component at all.
std::optional<Found> findRecord(std::string_view line, bool& named)
{
    std::optional<Found> first;
    std::size_t place = std::string_view::npos;
    if (line.find("Recording") == std::string_view::npos && line.find("LMSEvent") == std::string_view::npos) {
        return first;
    }
    for (const auto& [component, texts] : textsByComponent()) {
        for (std::size_t at = line.find(component); at < place; at = line.find(component, at + 1)) {
            const std::size_t end = at + component.size();
            if ((at > 0 && isOfWord(line[at - 1])) || (end < line.size() && isOfWord(line[end]))) {
                continue;
            }
            named = true;
            if (const std::optional<Found> found = findText(texts, line, end)) {
                first = found;
                first->component = place = at;
            }
        }
    }
    return first;
}

std::string_view firstLine(std::string_view text)
{
    return text.substr(0, text.find('\n'));
}

char kindOf(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return std::isdigit(byte) != 0 ? '0' : std::isalpha(byte) != 0 ? 'a' : c;
}

/// Whether both lines begin alike, as lines do that begin with a time.
bool beginAlike(std::string_view one, std::string_view other)
{
    return one.size() >= LENGTH_OF_SHAPE && other.size() >= LENGTH_OF_SHAPE &&
           std::equal(one.begin(), one.begin() + LENGTH_OF_SHAPE, other.begin(),
                      [](char a, char b) { return kindOf(a) == kindOf(b); });
}

/// Passes over what is like another text: equal, but for words with a digit in them. Null when it is not.
template <typename Place>
std::optional<Place> passAlike(Place at, Place end, Place other, Place otherEnd)
{
    const auto endOfWord = [](Place from, Place to) { return std::find_if_not(from, to, isOfWord); };
    const auto hasDigit = [](Place from, Place to) {
        return std::any_of(from, to, [](char c) { return kindOf(c) == '0'; });
    };
    while (other != otherEnd) {
        if (at == end) {
            return std::nullopt;
        }
        const Place word = endOfWord(at, end);
        const Place otherWord = endOfWord(other, otherEnd);
        if (word == at || otherWord == other) {
            if (*at++ != *other++) {
                return std::nullopt;
            }
        } else if ((hasDigit(at, word) && hasDigit(other, otherWord)) || std::equal(at, word, other, otherWord)) {
            at = word;
            other = otherWord;
        } else {
            return std::nullopt;
        }
    }
    return at;
}

/// The process that logs, as syslog tells it, with the host behind the time: "host name[8]"; empty when it is not told.
std::string processOf(std::string_view line)
{
    line = line.substr(0, LONGEST_GAP);
    const std::size_t end = line.find("]:");
    const std::size_t number = line.find_last_not_of("0123456789", end - 1) + 1;
    if (end == NOWHERE || number == end || number < 2 || line[number - 1] != '[' || !isOfWord(line[number - 2])) {
        return {};
    }
    const std::size_t name = line.rfind(' ', number) + 1;
    const std::size_t behindTime = line.find(' ', line.find(':')) + 1;
    const std::string_view host = line.substr(behindTime, line.find(' ', behindTime) - behindTime);
    // A level would be written in capitals.
    const bool isHost = behindTime < name && std::any_of(host.begin(), host.end(), [](char c) { return c >= 'a'; });
    return std::string(isHost ? host : "").append(" ").append(line.substr(name, end - name));
}

bool isJson(const std::string& line)
{
    return line.size() > 1 && line.front() == '{' && line.back() == '}';
}

/// The line without colours and without the escapes of syslog or of JSON, in which each string stands between QUOTEs.
std::string unescaped(const std::string& line)
{
    const bool json = isJson(line);
    if (!json && line.find('\x1b') == NOWHERE && line.find("#01") == NOWHERE) {
        return line;
    }
    static constexpr std::string_view names = "nrtbf";
    static constexpr std::string_view controls = "\n\r\t\b\f";
    std::string text;
    for (std::size_t at = 0; at < line.size(); ++at) {
        const std::string_view rest = std::string_view(line).substr(at);
        if (json && rest.front() == '\\' && rest.size() > 1) {
            const std::size_t name = names.find(rest[1]);
            text += name == NOWHERE ? rest[1] : controls[name];
            ++at;
        } else if (json && rest.front() == '"') {
            text += QUOTE;
        } else if (rest.substr(0, 4) == "#011" || rest.substr(0, 4) == "#012") {
            text += rest[3] == '1' ? '\t' : '\n';
            at += 3;
        } else if (rest.substr(0, 2) == "\x1b[" && rest.find('m') != NOWHERE) {
            at += rest.find('m');
        } else {
            text += rest.front();
        }
    }
    return text;
}

/// The text with other handles of sessions.
std::string countedFrom(int before, const std::string& text)
{
    std::string counted;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t digits = std::min(text.find_first_of("0123456789", at), text.size());
        const std::size_t end = std::min(text.find_first_not_of("0123456789", digits), text.size());
        counted.append(text, at, digits - at);
        std::string_view name = std::string_view(text).substr(0, digits);
        name = name.substr(0, name.find_last_not_of(" =:") + 1);
        const auto endsIn = [name](std::string_view word) {
            return name.size() >= word.size() && name.substr(name.size() - word.size()) == word;
        };
        int handle = 0;
        std::from_chars(text.data() + digits, text.data() + end, handle);
        if (handle != 0 && (endsIn("recordingSessionHandle") || endsIn("(handle") || endsIn(" handle") ||
                            endsIn("mrsID") || endsIn("mrsId") || endsIn("MediaSession requested"))) {
            counted += std::to_string(handle - before);
        } else {
            counted.append(text, digits, end - digits);
        }
        at = end;
    }
    return counted;
}

}  // namespace

bool isCutLength(std::size_t length)
{
    for (const std::size_t limit : {std::size_t{256}, std::size_t{1024}}) {
        if (length <= limit && length + 2 >= limit) {
            return true;
        }
    }
    return false;
}

FieldRecords::FieldRecords(const std::string& name, bool countsFromStart)
    : m_name(name),
      m_showsProgress(::isatty(STDERR_FILENO) != 0),
      m_file(name == "-" ? stdin : std::fopen(name.c_str(), "re"))
{
    if (m_file == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    if (std::fseek(m_file.get(), 0, SEEK_END) == 0) {
        m_size = static_cast<std::size_t>(std::ftell(m_file.get()));
        std::rewind(m_file.get());
    }
    read();
    learnEnds();
    if (countsFromStart) {
        learnHandles();
    }
}

void FieldRecords::CloseFile::operator()(std::FILE* file) const
{
    if (file != stdin) {
        std::fclose(file);
    }
}

int FieldRecords::highestLevel() const
{
    int level = 0;
    for (const FieldRecord& record : m_next) {
        level = std::max(level, record.kind->level);
    }
    return level;
}

void FieldRecords::pass()
{
    m_passed = std::move(m_next.front());
    m_bytes -= m_passed.length;
    m_next.pop_front();
    read();
    // What is left of another process is followed once that starts anew.
    while (!m_others.empty() && !m_next.empty() && m_others.count(m_next.front().process) != 0) {
        if (m_next.front().is("init()")) {
            m_others.erase(m_next.front().process);
        } else {
            noteOther(m_next.front());
            m_next.pop_front();
            read();
        }
    }
}

void FieldRecords::noteOther(const FieldRecord& record)
{
    m_bytes -= record.length;
    m_ofOthers.first = m_ofOthers.count == 0 ? record.line : std::min(m_ofOthers.first, record.line);
    ++m_ofOthers.count;
}

void FieldRecords::read()
{
    for (std::string line; m_next.size() < MOST_RECORDS && m_bytes < MOST_BYTES && !m_allRead;) {
        if (!readLine(line)) {
            m_allRead = true;
            return;
        }
        ++m_line;
        add(line);
    }
}

/// Without its end. Lines may hold any bytes.
bool FieldRecords::readLine(std::string& line)
{
    line.clear();
    for (bool any = false;;) {
        const std::string_view rest = std::string_view(m_buffer).substr(m_taken);
        const std::size_t end = rest.find('\n');
        line.append(rest.substr(0, std::min(end, LONGEST_LINE - line.size())));
        any = any || !rest.empty();
        if (end != std::string_view::npos) {
            m_taken += end + 1;
            break;
        }
        refill();
        if (m_buffer.empty()) {
            if (!any) {
                return false;
            }
            break;
        }
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return true;
}

void FieldRecords::refill()
{
    m_buffer.resize(AT_ONCE);
    m_buffer.resize(std::fread(m_buffer.data(), 1, AT_ONCE, m_file.get()));
    m_taken = 0;
    if (std::ferror(m_file.get()) != 0) {
        throw std::system_error(errno, std::generic_category(), m_name);
    }
    // The cursor goes back to the line's beginning, for what else is printed there.
    if (m_showsProgress && m_buffer.empty()) {
        std::fprintf(stderr, "%*s\r", static_cast<int>(m_name.size() + 16), "");
    } else if (m_showsProgress && m_refilled++ % PROGRESS_EVERY == 0) {
        const std::size_t read = m_refilled * AT_ONCE;
        const std::size_t shown = m_size > 0 ? std::min<std::size_t>(read / (m_size / 100 + 1), 100) : read >> 20U;
        std::fprintf(stderr, "%s: %zu %s\r", m_name.c_str(), shown, m_size > 0 ? "%" : "MiB");
    }
}

void FieldRecords::add(const std::string& line)
{
    bool named = false;
    const std::string plain = unescaped(line);
    if (const std::optional<Found> found = findRecord(plain, named)) {
        m_countsFromThere = m_countsFromThere && found->text->format != "init()";
        std::string_view text = std::string_view(plain).substr(found->begin);
        text = text.substr(0, isJson(line) ? text.find(QUOTE) : NOWHERE);
        const std::string beginning = plain.substr(0, found->component);
        m_next.push_back({m_line, found->text, cleaned(text), beginning, processOf(beginning), line.size(),
                          isCutLength(line.size())});
        m_bytes += line.size();
        dropOthers();
    } else if (const bool bare = named && (m_next.empty() || m_next.back().beginning.empty());
               (bare || m_next.empty() || !continueRecord(plain)) && named) {
        m_unknown.first = ++m_unknown.count == 1 ? m_line : m_unknown.first;
    }
}

/// While the process logs that the next record is of, others' records are passed over.
void FieldRecords::dropOthers()
{
    const std::string& process = m_next.front().process;
    if (process.empty() || m_next.back().process != process) {
        return;
    }
    FieldRecord last = std::move(m_next.back());
    const auto isOther = [&process](const FieldRecord& record) {
        return !record.process.empty() && record.process != process;
    };
    for (m_next.pop_back(); !m_next.empty() && isOther(m_next.back()); m_next.pop_back()) {
        m_others.insert(m_next.back().process);
        noteOther(m_next.back());
    }
    m_next.push_back(std::move(last));
}

/// False when it is no line of a record.
bool FieldRecords::continueRecord(const std::string& line)
{
    std::string_view text = line;
    const std::size_t entry = line.find(LIST_ENTRY);
    const std::string process = processOf(line);
    // Records of other threads and processes may have come in between.
    const auto farthest = m_next.rbegin() + static_cast<std::ptrdiff_t>(std::min(m_next.size(), MOST_MIXED));
    const auto record = std::find_if(m_next.rbegin(), farthest, [&](const FieldRecord& before) {
        return (entry == NOWHERE || before.is(MACHINE_LIST)) &&
               (before.process.empty() || process.empty() || before.process == process);
    });
    if (record == farthest) {
        return false;
    }
    if (entry != NOWHERE) {
        text.remove_prefix(entry);
        if (record->text.find(text.substr(0, text.find("]=="))) != NOWHERE) {
            return false;  // no line stands in a list twice
        }
    } else if (const std::string_view beginning = record->beginning;
               !beginning.empty() && beginAlike(line, record->beginning + std::string(record->kind->component))) {
        const std::size_t separator = beginning.rfind(": ");
        const std::string_view common = beginning.substr(0, separator == NOWHERE ? 0 : separator + 2);
        const auto behind = passAlike(text.begin(), text.end(), common.begin(), common.end());
        if (common.empty() || !behind) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(*behind - text.begin()));
    }
    if (record->text.size() < MOST_BYTES) {
        record->text.append("\n").append(cleaned(text));
        record->length += line.size() + 1;
        record->cut = record->cut || isCutLength(line.size());
        record->key = 0;
        m_bytes += line.size() + 1;
    }
    return true;
}

/// Learns what stands behind the texts from those of which the end is known, the same at least twice.
void FieldRecords::learnEnds()
{
    std::map<std::string, std::size_t> ends;
    for (const FieldRecord& record : m_next) {
        std::vector<std::string> places;
        const std::string format = std::string(record.kind->format) + "%s";
        if (format.find("%s") + 2 < format.size() || format.find("%p") != NOWHERE ||
            !readPlaces(format, firstLine(record.text), places)) {
            continue;
        }
        const std::string& end = places.back();
        const auto isLike = [&end](const auto& known) {
            const auto behind = passAlike(end.begin(), end.end(), known.first.begin(), known.first.end());
            return behind && *behind == end.end();
        };
        const auto known = std::find_if(ends.begin(), ends.end(), isLike);
        if (known != ends.end()) {
            ++known->second;
        } else if (!end.empty() && !isOfWord(end.front()) && ends.size() < MOST_ENDS) {
            ends.emplace(end, 1);
        }
    }
    for (const auto& [end, count] : ends) {
        if (count > 1) {
            m_ends.push_back(end);
        }
    }
    std::sort(m_ends.begin(), m_ends.end(),
              [](const std::string& one, const std::string& other) { return one.size() > other.size(); });
    if (!m_ends.empty()) {
        for (FieldRecord& record : m_next) {
            record.text = cleaned(record.text);
        }
    }
}

/// Lines of a text without what stands behind them in this log, and with handles that count from its start.
std::string FieldRecords::cleaned(std::string_view text) const
{
    std::string lines;
    while (!m_ends.empty() && !text.empty()) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(line.size());
        for (const std::string& end : m_ends) {
            if (const auto before = passAlike(line.rbegin(), line.rend(), std::string_view(end).rbegin(),
                                              std::string_view(end).rend())) {
                line = line.substr(0, static_cast<std::size_t>(line.rend() - *before));
                break;
            }
        }
        lines.append(line).append(text.substr(0, 1));
        text.remove_prefix(std::min<std::size_t>(text.size(), 1));
    }
    lines.append(text);
    return m_countsFromThere ? countedFrom(m_handlesBefore, lines) : lines;
}

/// The first session of a log that begins late tells how many there were before.
void FieldRecords::learnHandles()
{
    const auto first = std::find_if(m_next.begin(), m_next.end(), [](const FieldRecord& record) {
        return record.is("init()") || record.is("createSession(): created session handle %i");
    });
    std::vector<std::string> places;
    if (first == m_next.end() || !readPlaces(first->kind->format, first->text, places) || places.empty()) {
        return;
    }
    std::from_chars(places[0].data(), places[0].data() + places[0].size(), m_handlesBefore);
    m_handlesBefore = std::max(m_handlesBefore - 1, 0);
    m_countsFromThere = m_handlesBefore > 0;
    for (FieldRecord& record : m_next) {
        m_countsFromThere = m_countsFromThere && !record.is("init()");
        record.text = m_countsFromThere ? countedFrom(m_handlesBefore, record.text) : record.text;
    }
}

bool FieldRecords::isDoubled() const
{
    const FieldRecord& first = m_next.front();
    return m_passed.kind == first.kind && m_passed.beginning == first.beginning &&
           firstLine(m_passed.text) == firstLine(first.text);
}

bool FieldRecords::isTimeExact() const
{
    const std::string& beginning = m_next.front().beginning;
    const std::size_t point = beginning.find_first_of(".,");
    return point != NOWHERE &&
           std::min(beginning.find_first_not_of("0123456789", point + 1), beginning.size()) - point > 6;
}

}  // namespace deskphone
