#include "show/Sequence.h"

#include <map>
#include <optional>

#include "scenario/Commands.h"
#include "scenario/Words.h"

namespace deskphone {

namespace {

constexpr std::size_t LONGEST_ARGUMENT = 48;

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
            call.name.substr(dot + 1) + '(' + ToShortText().separated(call.arguments) + ')' +
                (call.refused ? " refused" : "")};
}

}  // namespace

std::vector<Happening> happenings(const Step& step)
{
    std::vector<Happening> shownOnes;
    const Party giver = commandNamed(step.command.front()).giver;
    if (giver != NOBODY) {
        shownOnes.push_back({Happening::ARROW, CALLER, giver, RECORDING_SERVICE, step.command.front()});
    }
    bool lampOn = step.lampWasOn;
    for (std::size_t number = 0; number < NUMBER_OF_THREADS; ++number) {
        const auto thread = static_cast<RecordThread>(number);
        for (const Record& record : step.records[thread]) {
            if (const auto* const call = std::get_if<Call>(&record)) {
                shownOnes.push_back(shown(*call, thread));
                const bool lamp = lampSetBy(*call).value_or(lampOn);
                if (lamp != lampOn) {
                    lampOn = lamp;
                    shownOnes.push_back({lamp ? Happening::LAMP_ON : Happening::LAMP_OFF, thread, KEY_LAMP, KEY_LAMP,
                                         lamp ? "lamp on" : "lamp off"});
                }
            } else if (const auto* const event = std::get_if<MachineEvent>(&record)) {
                const bool ignored = event->to.empty();
                shownOnes.push_back({ignored ? Happening::IGNORED : Happening::STATE, thread, RECORDING_SERVICE,
                                     RECORDING_SERVICE, (ignored ? "ignored  " : "") + textOf(*event), event});
            } else if (const auto* const refusal = std::get_if<Refusal>(&record)) {
                shownOnes.push_back(
                    {Happening::REFUSED, thread, RECORDING_SERVICE, RECORDING_SERVICE, "refused  " + textOf(*refusal)});
            } else if (const auto& log = std::get<LogLine>(record); log.level <= LOG_LEVEL_WARNING) {
                const bool error = log.level <= LOG_LEVEL_ERROR;
                shownOnes.push_back({error ? Happening::ERROR : Happening::WARNING, thread, RECORDING_SERVICE,
                                     RECORDING_SERVICE, (error ? "error: " : "warning: ") + log.text});
            }
        }
        if (thread == CALLER && giver != NOBODY && !std::holds_alternative<std::monostate>(step.result)) {
            shownOnes.push_back(
                {Happening::ANSWER, CALLER, RECORDING_SERVICE, giver, std::visit(ToShortText(), step.result)});
        }
    }
    return shownOnes;
}

std::string headingOf(const Step& step)
{
    return std::to_string(step.number) + asWords(step.command);
}

std::string bareComment(const std::string& comment)
{
    const std::size_t begin = comment.find_first_not_of("# \t");
    return begin == std::string::npos ? "" : comment.substr(begin);
}

std::string textOf(const MachineEvent& event)
{
    return asWord(event.line) + ": " +
           (event.to.empty() ? event.event + " in " + event.from
                             : event.from + " → " + event.to + " (" + event.event + ')');
}

std::string textOf(const Refusal& refusal)
{
    // In this mode the user may stop a recording that runs, and start it again.
    const bool inCallOnly = refusal.mode == "autostart";
    return refusal.request + ": not in the mode " + quoted(refusal.mode) + (inCallOnly ? " outside a call" : "");
}

}  // namespace deskphone
