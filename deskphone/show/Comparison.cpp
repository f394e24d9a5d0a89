#include "show/Comparison.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "show/Alignment.h"
#include "show/JsonShow.h"
#include "show/TextShow.h"

namespace deskphone {

namespace {

constexpr const char* RED = "31";
constexpr const char* GREEN = "32";
constexpr std::string_view JSON_STEP = "{\"step\":";
constexpr std::string_view JSON_COMMAND = ",\"command\":";

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

std::string withoutAddresses(const std::string& text)
{
    std::string result;
    std::size_t done = 0;
    for (std::size_t at = 0; (at = text.find("0x", at)) != std::string::npos;) {
        at += 2;
        const std::size_t end = std::min(text.find_first_not_of("0123456789abcdef", at), text.size());
        if (end > at) {
            result.append(text, done, at - done).append("ADDRESS");
            done = at = end;
        }
    }
    return result.append(text, done);
}

/// What follows the step's number; the whole line where there is none.
std::string_view withoutNumber(std::string_view line)
{
    std::string_view rest = line;
    if (rest.substr(0, JSON_STEP.size()) == JSON_STEP) {
        rest.remove_prefix(JSON_STEP.size());
    }
    while (!rest.empty() && isDigit(rest.front())) {
        rest.remove_prefix(1);
    }
    return rest;
}

/// The line with a step's command.
bool isHeading(std::string_view line)
{
    return line.front() == '{' ? withoutNumber(line).substr(0, JSON_COMMAND.size()) == JSON_COMMAND
                               : isDigit(line.front());
}

template <typename Use>
void forEachLine(std::string_view text, Use use)
{
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        use(text.substr(0, end));
        text.remove_prefix(end);
    }
}

/// The text of a step. Views lie in the text that it was taken from.
struct Part {
    Keys lines = {};       // the heading first; without comments, which decide nothing
    std::string key = {};  // all that counts of it
};

std::vector<Part> partsOf(std::string_view text)
{
    std::vector<Part> parts;
    forEachLine(text, [&parts](std::string_view line) {
        if (line.front() == '#') {
            return;
        }
        if (parts.empty() || isHeading(line)) {
            parts.emplace_back();
        }
        parts.back().lines.push_back(line);
        parts.back().key += withoutNumber(line);
    });
    return parts;
}

Keys keysOf(const std::vector<Part>& parts)
{
    Keys keys;
    keys.reserve(parts.size());
    std::transform(parts.begin(), parts.end(), std::back_inserter(keys),
                   [](const Part& part) { return std::string_view(part.key); });
    return keys;
}

/// Puts together what differs.
class Report {
public:
    explicit Report(const Screen& screen) : m_screen(screen) {}

    void addExpected(std::string_view line) { add("    - ", line, RED); }
    void addPrinted(std::string_view line) { add("    + ", line, GREEN); }
    void addHeading(std::string_view line) { add("  ", line, ""); }

    std::string take() { return std::move(m_text); }

private:
    void add(const char* sign, std::string_view line, const char* colour)
    {
        line.remove_suffix(!line.empty() && line.back() == '\n' ? 1 : 0);
        m_text += m_screen.painted(sign + std::string(line), colour) + '\n';
    }

    const Screen& m_screen;
    std::string m_text;
};

Keys linesWithoutNumbers(const Part& part)
{
    Keys keys;
    keys.reserve(part.lines.size());
    std::transform(part.lines.begin(), part.lines.end(), std::back_inserter(keys), withoutNumber);
    return keys;
}

/// Tells what differs in a step that stands in both.
void compare(const Part& expected, const Part& printed, Report& report)
{
    report.addHeading(printed.lines.front());
    for (const Aligned& line : align(linesWithoutNumbers(expected), linesWithoutNumbers(printed))) {
        if (line.right == NOWHERE) {
            report.addExpected(expected.lines[line.left]);
        } else if (line.left == NOWHERE) {
            report.addPrinted(printed.lines[line.right]);
        }
    }
}

std::string_view commandOf(const Part& part)
{
    return withoutNumber(part.lines.front());
}

/// The beginning of the command, with its name.
std::string_view nameOf(const Part& part)
{
    static constexpr std::string_view quote = "\"";
    const std::string_view command = commandOf(part);
    const bool json = part.lines.front().front() == '{';
    return command.substr(0, json ? command.find(quote, JSON_COMMAND.size() + 2) : command.find(' ', 1));
}

using Parts = std::vector<const Part*>;

/// Tells of neighbouring steps that differ: those of the same command are taken for the same, then those of the same
/// name.
void compare(const Parts& expected, const Parts& printed, Report& report,
             std::string_view (*keyOf)(const Part&) = commandOf)
{
    const auto keys = [keyOf](const Parts& parts) {
        Keys all;
        for (const Part* const part : parts) {
            all.push_back(keyOf(*part));
        }
        return all;
    };
    Parts missing;
    Parts added;
    const auto tell = [&] {
        if (keyOf == commandOf) {
            compare(missing, added, report, nameOf);
        } else {
            for (const Part* const part : missing) {
                report.addHeading("a step is missing");
                std::for_each(part->lines.begin(), part->lines.end(), [&](auto line) { report.addExpected(line); });
            }
            for (const Part* const part : added) {
                report.addHeading("a step is new");
                std::for_each(part->lines.begin(), part->lines.end(), [&](auto line) { report.addPrinted(line); });
            }
        }
        missing.clear();
        added.clear();
    };
    for (const Aligned& step : align(keys(expected), keys(printed))) {
        if (step.right == NOWHERE) {
            missing.push_back(expected[step.left]);
        } else if (step.left == NOWHERE) {
            added.push_back(printed[step.right]);
        } else {
            tell();
            compare(*expected[step.left], *printed[step.right], report);
        }
    }
    tell();
}

}  // namespace

Comparison::Comparison(Form form)
{
    const Screen screen{m_printed, false, 0};
    m_form = form.json ? std::unique_ptr<Show>(std::make_unique<JsonShow>(screen, form.states))
                       : std::make_unique<TextShow>(screen);
}

std::string Comparison::text() const
{
    return withoutAddresses(m_printed.str());
}

std::string Comparison::differences(const std::string& expected, const Screen& screen) const
{
    const std::string printed = text();
    const std::string expectedText = withoutAddresses(expected);
    const std::vector<Part> lefts = partsOf(expectedText);
    const std::vector<Part> rights = partsOf(printed);
    Report report(screen);
    std::vector<const Part*> onlyLeft;
    std::vector<const Part*> onlyRight;
    const auto tell = [&] {
        compare(onlyLeft, onlyRight, report);
        onlyLeft.clear();
        onlyRight.clear();
    };
    for (const Aligned& step : align(keysOf(lefts), keysOf(rights))) {
        if (step.left != NOWHERE && step.right != NOWHERE) {
            tell();
        } else if (step.left != NOWHERE) {
            onlyLeft.push_back(&lefts[step.left]);
        } else {
            onlyRight.push_back(&rights[step.right]);
        }
    }
    tell();
    return report.take();
}

Comparison::Form formOf(const std::string& text)
{
    // Inside a string of JSON no quote stands without a backslash before it.
    const bool states = text.find(",\"from\":\"") != std::string::npos || text.find(",\"lamp\":") != std::string::npos;
    return {!text.empty() && text.front() == '{', states};
}

}  // namespace deskphone
