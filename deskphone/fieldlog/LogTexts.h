#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace deskphone {

/// A text that the plug-in logs.
struct LogText {
    std::string_view component;
    int level;
    std::string_view format;  // as for printf(): with %d and %i, %p, and %s, which is any bytes
    std::string_view beginning = format.substr(0, format.find('%'));  // in front of the first place
};

/// The list of the lines' machines, and how its lines begin.
constexpr std::string_view MACHINE_LIST = "dumpStateMachines()";
constexpr std::string_view LIST_ENTRY = "\tstateMachines[";

/// The one text that begins with a place.
constexpr std::string_view UNKNOWN_TAG = "%s is not available from this service.";

/// All texts of the plug-in but those of exceptions, which are anybody's.
const std::vector<LogText>& logTexts();

/// What stands in the places of the format, in order; addresses are left out. False when the text has another form.
/// Where a text can be read in several ways, its first place takes as much as possible.
bool readPlaces(std::string_view format, std::string_view text, std::vector<std::string>& places);

}  // namespace deskphone
