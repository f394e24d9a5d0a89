#include "scenario/Commands.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>

#include "scenario/Words.h"

namespace deskphone {

namespace {

/// The values of tags that begin so are modes.
constexpr std::string_view MODE_TAG = "call-recording-mode";

/// A place for a word in a row of the table: takes one of the choices, a number in the range, or, with neither, any
/// text.
struct Place {
    std::string name;
    Words choices = {};
    int lowest = 0;
    int highest = -1;
    Words usual = {};  // of the words that it takes, those that mean something to the system

    bool takesNumber() const { return lowest <= highest; }
    bool takes(const std::string& word) const;
    std::string expected() const;
};

/// The places whose names stand for more than any text.
const std::vector<Place> namedPlaces{
    {"CALL", {}, 1, INT_MAX},
    {"CALLID", {}, INT_MIN, INT_MAX},
    {"CODE", {}, INT_MIN, INT_MAX},
    {"FUNCTION", {}, INT_MIN, INT_MAX, {"56"}},
    {"H", {}, INT_MIN, INT_MAX},
    {"INDEX", {}, INT_MIN, INT_MAX},
    {"MEDIA", {}, INT_MIN, INT_MAX},
    {"STATE", {}, INT_MIN, INT_MAX, {"1", "5", "11", "16"}},
    {"ITEM", {}, 1, 7, {"1", "2", "3", "4", "5", "6", "7"}},
    {"LEVEL", {}, 0, 6, {"0", "1", "2", "3", "4", "5", "6"}},
    {"BOOL", {"true", "false"}},
    {"FLAG", {"true", "false"}},
    {"NAME",
     {"PhysicalInterfaceServiceIfc", "CommunicationsServiceEventIfc", "MediaControlServiceIfc", "LocalMgmtIfc"}},
    {"MODE", {}, 0, -1, {"disabled", "manual", "autostart", "allcalls"}},
    {"TAG",
     {},
     0,
     -1,
     {"call-recording-active", "call-recorder-address-config", "call-recorder-address", "call-recording-mode-config",
      "call-recording-mode", "call-recording-audible-notification-config", "call-recording-audible-notification"}},
    {"ID", {}, 0, -1, {"call-recording-mode", "mobility-user-data-update", "function-key-id"}},
};

const Place* findNamedPlace(const std::string& name)
{
    const auto found = std::find_if(namedPlaces.begin(), namedPlaces.end(),
                                    [&name](const Place& place) { return place.name == name; });
    return found == namedPlaces.end() ? nullptr : &*found;
}

bool Place::takes(const std::string& word) const
{
    if (takesNumber()) {
        int number = 0;
        return readNumber(word, number) && number >= lowest && number <= highest;
    }
    return choices.empty() || std::find(choices.begin(), choices.end(), word) != choices.end();
}

std::string Place::expected() const
{
    if (takesNumber()) {
        return lowest == INT_MIN ? "a decimal number of 32 bits"
                                 : "a number from " + std::to_string(lowest) + " to " + std::to_string(highest);
    }
    std::string text = !choices.empty() ? "" : usual.empty() ? "any text" : "any text; usually ";
    for (const Words* const words : {&choices, &usual}) {
        for (const std::string& word : *words) {
            text += (&word == &words->front() ? "" : &word == &words->back() ? " or " : ", ") + word;
        }
    }
    return text;
}

Words split(const std::string& text, char separator)
{
    Words parts;
    std::istringstream input(text);
    for (std::string part; std::getline(input, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

/// What follows a command's name, taken apart.
struct Pattern {
    std::vector<Place> places;
    std::size_t required = 0;
    std::size_t repeated = 0;  // so many places at the end may come again and again

    explicit Pattern(const std::string& words);
    bool hasPlace(std::size_t index) const { return index < places.size() || repeated > 0; }
    const Place& place(std::size_t index) const;
};

Pattern::Pattern(const std::string& words)
{
    bool optional = false;
    std::size_t group = 0;
    for (const std::string& word : split(words, ' ')) {
        const std::size_t start = word.front() == '[' ? 1 : 0;
        optional = optional || start > 0;
        if (start > 0 || !optional) {
            group = places.size();
        }
        const std::string name = word.substr(start, word.find_first_of("=].", start) - start);
        const Place* const named = findNamedPlace(name);
        places.push_back(named != nullptr ? *named : Place{name});
        if (name.find('|') != std::string::npos) {
            places.back().choices = split(name, '|');
        }
        required += optional ? 0 : 1;
        if (word.back() == '.') {
            repeated = places.size() - group;
        }
    }
}

const Place& Pattern::place(std::size_t index) const
{
    return places[index < places.size() ? index : places.size() - repeated + (index - places.size()) % repeated];
}

std::string usage(const Command& command)
{
    return std::string(command.name) + (*command.words == '\0' ? "" : " ") + command.words;
}

const Command* findNamed(const std::string& name)
{
    const auto found = std::find_if(commands().begin(), commands().end(),
                                    [&name](const Command& command) { return command.name == name; });
    return found == commands().end() ? nullptr : &*found;
}

std::optional<Place> findPlaceAfter(const Words& words)
{
    const Command* const command = findNamed(words.front());
    const Pattern pattern(command == nullptr ? "" : command->words);
    const std::size_t index = words.size() - 1;
    return pattern.hasPlace(index) ? std::optional<Place>(pattern.place(index)) : std::nullopt;
}

/// How many characters must be left out, put in, replaced or interchanged with their neighbours to make one of the
/// other, in whatever case.
std::size_t distance(const std::string& one, const std::string& other)
{
    const auto same = [&](std::size_t at, std::size_t otherAt) {
        return std::tolower(static_cast<unsigned char>(one[at])) ==
               std::tolower(static_cast<unsigned char>(other[otherAt]));
    };
    // Between their beginnings of these lengths.
    std::vector<std::vector<std::size_t>> slips(one.size() + 1, std::vector<std::size_t>(other.size() + 1));
    for (std::size_t i = 0; i <= one.size(); ++i) {
        for (std::size_t j = 0; j <= other.size(); ++j) {
            std::size_t& least = slips[i][j] = i + j;
            if (i > 0 && j > 0) {
                least = std::min(
                    {slips[i - 1][j - 1] + (same(i - 1, j - 1) ? 0 : 1), slips[i - 1][j] + 1, slips[i][j - 1] + 1});
            }
            if (i > 1 && j > 1 && same(i - 1, j - 2) && same(i - 2, j - 1)) {
                least = std::min(least, slips[i - 2][j - 2] + 1);
            }
        }
    }
    return slips.back().back();
}

}  // namespace

std::string nearestOf(const Words& known, const std::string& word)
{
    std::string nearest;
    std::size_t least = std::max<std::size_t>(word.size() / 3, 2) + 1;
    for (const std::string& one : known) {
        // A beginning is worth as much as a single slip.
        const bool begins = word.size() > 1 && one.compare(0, word.size(), word) == 0;
        const std::size_t slips = begins ? 1 : distance(word, one);
        if (slips < least && 2 * slips <= word.size()) {
            least = slips;
            nearest = one;
        }
    }
    return nearest;
}

const Command& commandNamed(const std::string& name)
{
    const Command* const command = findNamed(name);
    if (command == nullptr) {
        const std::string nearest = nearestOf(nextWords({}), name);
        throw Mistake(
            "unknown command " + quoted(name) +
            (nearest.empty() ? "; expected one of those that --help lists" : "; did you mean " + nearest + '?'));
    }
    return *command;
}

const Command& findCommand(const Words& words)
{
    const Command& command = commandNamed(words.front());
    const std::string name = words.front() + ": ";
    const Pattern pattern(command.words);
    const std::size_t given = words.size() - 1;
    for (std::size_t index = 0; index < given; ++index) {
        const std::string& word = words[index + 1];
        if (!pattern.hasPlace(index)) {
            throw Mistake(name + quoted(word) + " is one word too many; expected " + usage(command));
        }
        const Place& place = pattern.place(index);
        if (!place.takes(word)) {
            throw Mistake(name + quoted(word) + " does not fit; expected " + place.expected());
        }
    }
    if (given < pattern.required || (pattern.repeated > 0 && (given - pattern.required) % pattern.repeated != 0)) {
        throw Mistake(name + pattern.place(given).name + " is missing; expected " + usage(command));
    }
    return command;
}

std::string listOfCommands()
{
    constexpr std::size_t column = 44;
    std::string text;
    for (const Command& command : commands()) {
        if (*command.group != '\0') {
            text += std::string(text.empty() ? "" : "\n") + command.group + ":\n";
        }
        std::string line = "  " + usage(command);
        if (line.size() + 1 < column) {
            line.resize(column, ' ');
        } else {
            line += '\n' + std::string(column, ' ');
        }
        text += line + command.purpose + '\n';
    }
    return text;
}

std::string describeCommand(const std::string& name)
{
    const Command& command = commandNamed(name);
    std::string text = usage(command) + "\n  " + command.purpose + '\n';
    std::set<std::string> told;
    for (const Place& place : Pattern(command.words).places) {
        const bool tellsItself = place.name.find('|') != std::string::npos;
        if (!tellsItself && told.insert(place.name).second) {
            text += "  " + place.name + ": " + place.expected() + '\n';
        }
    }
    return text;
}

Words nextWords(const Words& words)
{
    Words next;
    if (words.empty()) {
        for (const Command& command : commands()) {
            next.emplace_back(command.name);
        }
        return next;
    }
    std::optional<Place> place = findPlaceAfter(words);
    if (place && place->name == "VALUE" && words.back().compare(0, MODE_TAG.size(), MODE_TAG) == 0) {
        place = *findNamedPlace("MODE");
    }
    if (place) {
        next = place->choices;
        next.insert(next.end(), place->usual.begin(), place->usual.end());
    }
    return next;
}

std::string placeAfter(const Words& words)
{
    const std::optional<Place> place = findPlaceAfter(words);
    return place ? place->name : "";
}

}  // namespace deskphone
