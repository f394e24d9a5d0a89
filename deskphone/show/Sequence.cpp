#include "show/Sequence.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "Logging.h"
#include "PhysDefs.h"
#include "scenario/Scenario.h"

namespace deskphone {

namespace {

constexpr std::size_t LONGEST_ARGUMENT = 48;

/// Who gives a command: by default the user. The telephone's own commands are nobody's.
std::optional<Party> giverOf(const std::string& command)
{
    static const std::map<std::string, std::optional<Party>> givers{
        {"setOriginatingLine", FRAMEWORK},
        {"setLineStatus", FRAMEWORK},
        {"featureKeyDefinitionChanged", FRAMEWORK},
        {"start", FRAMEWORK},
        {"stop", FRAMEWORK},
        {"reset", FRAMEWORK},
        {"dataChangedEvent", MANAGEMENT},
        {"getData", MANAGEMENT},
        {"setData", MANAGEMENT},
        {"log", std::nullopt},
        {"missing", std::nullopt},
        {"wrong", std::nullopt},
        {"present", std::nullopt},
        {"refuse", std::nullopt},
        {"accept", std::nullopt},
    };
    const auto known = givers.find(command);
    return known != givers.end() ? known->second : command.compare(0, 3, "LMS") == 0 ? CALL_CONTROL : USER;
}

Party partyOf(const std::string& interface)
{
    static const std::map<std::string, Party> parties{
        {"LocalMgmtIfc", MANAGEMENT},
        {"CSfi", CALL_CONTROL},
        {"SfiRecordingController", CALL_CONTROL},
        {"MediaControlServiceIfc", MEDIA_CONTROL},
        {"CommunicationsServiceEventIfc", COMMUNICATIONS},
        {"PhysicalInterfaceServiceIfc", KEY_LAMP},
        {"InvokerResponse", USER},
    };
    const auto known = parties.find(interface);
    return known == parties.end() ? FRAMEWORK : known->second;
}

struct ToShortText {
    std::string operator()(std::monostate /*nothing*/) const { return ""; }
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(int value) const { return std::to_string(value); }
    std::string operator()(const std::string& value) const { return shortened(asWord(value), LONGEST_ARGUMENT); }
    std::string operator()(const List& list) const
    {
        // An entry of a record, whose key says nothing beside its equal id.
        const bool entry = list.size() == 3 && list[0] == list[1] && std::holds_alternative<std::string>(list[0]);
        return entry ? separated({list[0]}) + " = " + separated({list[2]}) : '[' + separated(list) + ']';
    }

    std::string separated(const List& list) const
    {
        std::string text;
        for (const Value& value : list) {
            text += (text.empty() ? "" : ", ") + std::visit(*this, value);
        }
        return text;
    }
};

Happening shown(const Call& call, RecordThread thread)
{
    const std::size_t dot = call.name.find('.');
    return {Happening::ARROW, thread, RECORDING_SERVICE, partyOf(call.name.substr(0, dot)),
            call.name.substr(dot + 1) + '(' + ToShortText().separated(call.arguments) + ')'};
}

// The length of the UTF-8 character at the beginning of the bytes; 0 when there is none.
std::size_t lengthOfCharacter(const std::string& bytes, std::size_t at)
{
    const auto byte = [&](std::size_t index) {
        return at + index < bytes.size() ? static_cast<unsigned char>(bytes[at + index]) : 0U;
    };
    const unsigned first = byte(0);
    const std::size_t length = first < 0x80                     ? 1
                               : first >= 0xc2 && first <= 0xdf ? 2
                               : first >= 0xe0 && first <= 0xef ? 3
                               : first >= 0xf0 && first <= 0xf4 ? 4
                                                                : 0;
    for (std::size_t index = 1; index < length; ++index) {
        if ((byte(index) & 0xc0U) != 0x80) {
            return 0;
        }
    }
    const bool overlong = (first == 0xe0 && byte(1) < 0xa0) || (first == 0xf0 && byte(1) < 0x90);
    const bool outside = (first == 0xed && byte(1) > 0x9f) || (first == 0xf4 && byte(1) > 0x8f);
    return overlong || outside ? 0 : length;
}

}  // namespace

std::vector<Happening> happenings(const Step& step)
{
    std::vector<Happening> shownOnes;
    const std::optional<Party> giver = giverOf(step.command.front());
    if (giver) {
        shownOnes.push_back({Happening::ARROW, CALLER, *giver, RECORDING_SERVICE, step.command.front()});
    }
    bool lampOn = step.lampWasOn;
    for (std::size_t number = 0; number < NUMBER_OF_THREADS; ++number) {
        const auto thread = static_cast<RecordThread>(number);
        for (const Record& record : step.records[thread]) {
            if (const auto* const call = std::get_if<Call>(&record)) {
                shownOnes.push_back(shown(*call, thread));
                const bool lamp = lampSetBy(record).value_or(lampOn);
                if (lamp != lampOn) {
                    lampOn = lamp;
                    shownOnes.push_back({lamp ? Happening::LAMP_ON : Happening::LAMP_OFF, thread, KEY_LAMP, KEY_LAMP,
                                         lamp ? "lamp on" : "lamp off"});
                }
            } else if (const auto* const event = std::get_if<MachineEvent>(&record)) {
                if (!event->to.empty()) {
                    shownOnes.push_back(
                        {Happening::STATE, thread, RECORDING_SERVICE, RECORDING_SERVICE, changeOf(*event), event});
                }
            } else if (const auto& log = std::get<LogLine>(record); log.level <= LOG_LEVEL_WARNING) {
                const bool error = log.level <= LOG_LEVEL_ERROR;
                shownOnes.push_back({error ? Happening::ERROR : Happening::WARNING, thread, RECORDING_SERVICE,
                                     RECORDING_SERVICE, (error ? "error: " : "warning: ") + log.text});
            }
        }
        if (thread == CALLER && giver && !std::holds_alternative<std::monostate>(step.result)) {
            shownOnes.push_back(
                {Happening::ANSWER, CALLER, RECORDING_SERVICE, *giver, std::visit(ToShortText(), step.result)});
        }
    }
    return shownOnes;
}

std::string headingOf(const Step& step)
{
    std::string text = std::to_string(step.number);
    for (const std::string& word : step.command) {
        text += ' ' + asWord(word);
    }
    return text;
}

std::string changeOf(const MachineEvent& event)
{
    return asWord(event.line) + ": " + event.from + " → " + event.to + " (" + event.event + ')';
}

std::optional<bool> lampSetBy(const Record& record)
{
    const auto* const call = std::get_if<Call>(&record);
    if (call == nullptr || call->name != "PhysicalInterfaceServiceIfc.setFPKLamp") {
        return std::nullopt;
    }
    return std::get<int>(call->arguments[1]) == PhysDefs::LAMP_ON;
}

bool lampIsOnAfter(const Step& step)
{
    bool on = step.lampWasOn;
    for (const auto& records : step.records) {
        for (const Record& record : records) {
            on = lampSetBy(record).value_or(on);
        }
    }
    return on;
}

Words charactersOf(const std::string& text)
{
    Words characters;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = lengthOfCharacter(text, at);
        if (length == 1) {
            for (const char c : visible(text[at])) {
                characters.emplace_back(1, c);
            }
        } else {
            characters.push_back(length == 0 ? "\uFFFD" : text.substr(at, length));
        }
        at += std::max<std::size_t>(length, 1);
    }
    return characters;
}

std::string shortened(const std::string& text, std::size_t length)
{
    const Words characters = charactersOf(text);
    std::string result;
    for (std::size_t at = 0; at < std::min(length, characters.size()); ++at) {
        result += at + 1 == length && characters.size() > length ? "…" : characters[at];
    }
    return result;
}

std::vector<Words> linesOf(const std::string& text, std::size_t width)
{
    Words rest = charactersOf(text);
    std::vector<Words> lines;
    while (rest.size() > width) {
        const auto full = rest.begin() + static_cast<std::ptrdiff_t>(width);
        const auto place =
            std::find_if(std::make_reverse_iterator(full), rest.rend(),
                         [](const std::string& character) { return character == " " || character == ","; });
        const auto end = place == rest.rend() ? full : place.base();
        lines.emplace_back(rest.begin(), end);
        rest.erase(rest.begin(), end);
    }
    lines.push_back(rest);
    return lines;
}

}  // namespace deskphone
