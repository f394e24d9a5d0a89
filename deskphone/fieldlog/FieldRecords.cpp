#include "fieldlog/FieldRecords.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
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

constexpr std::size_t LONGEST_GAP = 128;    // between a component's name and its text
constexpr std::size_t LENGTH_OF_SHAPE = 8;  // of the beginnings that are compared
constexpr std::size_t MOST_MIXED = 16;      // records that may stand between the lines of one

constexpr std::size_t NOWHERE = std::string_view::npos;

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
            const std::string_view beginning = beginningOf(*text);
            if (!beginning.empty() && line[at] == beginning.front() &&
                line.compare(at, beginning.size(), beginning) == 0 &&
                (longest == nullptr || beginning.size() > beginningOf(*longest).size())) {
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
            const std::size_t separator = line.find(": ", from);
            return Found{text, separator < behindTag ? separator + 2 : line.rfind(' ', behindTag - 1) + 1};
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
                place = at;
            }
        }
    }
    return first;
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

}  // namespace

FieldRecords::FieldRecords(const std::string& name) : m_name(name), m_file(std::fopen(name.c_str(), "re"), std::fclose)
{
    if (m_file == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    if (std::fseek(m_file.get(), 0, SEEK_END) == 0) {
        m_size = static_cast<double>(std::ftell(m_file.get()));
        std::rewind(m_file.get());
    }
    read();
}

double FieldRecords::partRead() const
{
    return m_size > 0 ? std::min(m_read / m_size, 1.0) : 0;
}

int FieldRecords::highestLevel(std::size_t from) const
{
    int level = 0;
    for (std::size_t at = from; at < m_next.size(); ++at) {
        level = std::max(level, m_next[at].kind->level);
    }
    return level;
}

void FieldRecords::passUsed()
{
    while (!m_next.empty() && m_next.front().used) {
        m_bytes -= m_next.front().lines.size();
        m_next.pop_front();
    }
    read();
}

void FieldRecords::read()
{
    for (std::string line; m_next.size() < MOST_RECORDS && m_bytes < MOST_BYTES && !m_allRead;) {
        if (!readLine(line)) {
            m_allRead = true;
            return;
        }
        ++m_line;
        add(std::move(line));
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
        m_buffer.resize(AT_ONCE);
        m_buffer.resize(std::fread(m_buffer.data(), 1, AT_ONCE, m_file.get()));
        m_taken = 0;
        m_read += static_cast<double>(m_buffer.size());
        if (m_buffer.empty()) {
            if (std::ferror(m_file.get()) != 0) {
                throw std::system_error(errno, std::generic_category(), m_name);
            }
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

void FieldRecords::add(std::string&& line)
{
    bool named = false;
    if (const std::optional<Found> found = findRecord(line, named)) {
        m_bytes += line.size();
        m_next.push_back({m_line, found->text, std::move(line), found->begin});
        return;
    }
    if (!m_next.empty() && (m_next.back().begin == 0 || !beginAlike(line, m_next.back().lines))) {
        continueRecord(line);
    } else if (named) {
        m_firstUnknown = ++m_unknown == 1 ? m_line : m_firstUnknown;
    }
}

void FieldRecords::continueRecord(const std::string& line)
{
    auto record = m_next.rbegin();
    if (line.compare(0, LIST_ENTRY.size(), LIST_ENTRY) == 0) {
        // Records of other threads may have come in between.
        const auto farthest = record + static_cast<std::ptrdiff_t>(std::min(m_next.size(), MOST_MIXED));
        record = std::find_if(record, farthest, [](const FieldRecord& before) { return before.is(MACHINE_LIST); });
        if (record == farthest) {
            return;
        }
    }
    if (record->lines.size() < MOST_BYTES) {
        record->lines.append("\n").append(line);
        m_bytes += line.size() + 1;
    }
}

}  // namespace deskphone
