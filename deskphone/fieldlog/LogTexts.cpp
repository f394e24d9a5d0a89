#include "fieldlog/LogTexts.h"

#include <algorithm>

#include "Logging.h"

namespace deskphone {

namespace {

constexpr std::string_view DIGITS = "0123456789";

/// The length of the number at the beginning of the text; 0: none.
std::size_t lengthOfNumber(std::string_view text)
{
    const std::size_t sign = !text.empty() && text.front() == '-' ? 1 : 0;
    const std::size_t end = std::min(text.find_first_not_of(DIGITS, sign), text.size());
    return end == sign ? 0 : end;
}

}  // namespace

bool readPlaces(std::string_view format, std::string_view text, std::vector<std::string>& places)
{
    const std::size_t sign = format.find('%');
    if (text.substr(0, sign) != format.substr(0, sign)) {
        return false;
    }
    if (sign == std::string_view::npos) {
        return true;
    }
    text.remove_prefix(sign);
    const char kind = format[sign + 1];
    format.remove_prefix(sign + 2);
    if (kind == 'd' || kind == 'i') {
        const std::size_t length = lengthOfNumber(text);
        places.emplace_back(text.substr(0, length));
        return length > 0 && readPlaces(format, text.substr(length), places);
    }
    // What follows an empty rest of the format is the end of the text.
    const std::string_view next = format.substr(0, format.find('%'));
    const std::size_t before = places.size();
    std::size_t end = format.empty() ? text.size() : text.rfind(next);
    while (end != std::string_view::npos) {
        places.resize(before);
        if (kind == 's') {
            places.emplace_back(text.substr(0, end));
        }
        if (readPlaces(format, text.substr(end), places)) {
            return true;
        }
        end = end == 0 || format.empty() ? std::string_view::npos : text.rfind(next, end - 1);
    }
    return false;
}

const std::vector<LogText>& logTexts()
{
    static const std::vector<LogText> texts{
#include "log-texts.inc"  // what src/ logs, drawn from it when this is built
        {"RecordingController", LOG_LEVEL_DETAIL, MACHINE_LIST},
        {"MediaRecordingHelper", LOG_LEVEL_ERROR, "Cannot find PhysicalInterfaceServiceIfc"},
        {"MediaRecordingHelper", LOG_LEVEL_ERROR, "Cannot find CommunicationsServiceEventIfc"},
        {"MediaRecordingHelper", LOG_LEVEL_ERROR, "Cannot find MediaControlServiceIfc"},
        {"MediaRecordingHelper", LOG_LEVEL_ERROR, "Cannot find LocalMgmtIfc"},
        {"MediaRecordingHelper", LOG_LEVEL_ERROR, "Service returned by context is not PhysicalInterfaceServiceIfc"},
        {"MediaRecordingHelper", LOG_LEVEL_ERROR, "Service returned by context is not CommunicationsServiceEventIfc"},
        {"MediaRecordingHelper", LOG_LEVEL_ERROR, "Service returned by context is not MediaControlServiceIfc"},
        {"MediaRecordingHelper", LOG_LEVEL_ERROR, "Service returned by context is not LocalMgmtIfc"},
    };
    return texts;
}

}  // namespace deskphone
