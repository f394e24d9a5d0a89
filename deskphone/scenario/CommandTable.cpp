#include <tuple>
#include <type_traits>
#include <utility>

#include "LMSEventObserverIfc.h"
#include "ManagementRecord.h"
#include "MediaRecordingHelper.h"
#include "RecordingStateMachine.h"
#include "scenario/Commands.h"
#include "telephone/Telephone.h"

namespace deskphone {

namespace {

/// The argument that the word stands for. A word left out stands for what is empty: "", 0, false.
template <typename Type>
Type argument(const Words& words, std::size_t index)
{
    if (index >= words.size()) {
        return Type{};
    }
    if constexpr (std::is_same_v<Type, std::string>) {
        return words[index];
    } else if constexpr (std::is_same_v<Type, bool>) {
        return words[index] == "true";
    } else {
        int number = 0;
        readNumber(words[index], number);
        return static_cast<Type>(number);
    }
}

/// The object of the system that performs the operations of Class, null when there is none.
template <typename Class>
Class* performer(Telephone& telephone)
{
    if constexpr (std::is_same_v<Class, MediaRecordingService>) {
        return telephone.service();
    } else if constexpr (std::is_same_v<Class, RecordingConfigManager>) {
        return telephone.store();
    } else if constexpr (std::is_same_v<Class, RecordingController>) {
        return telephone.controller();
    } else {
        return telephone.observer();
    }
}

template <typename Class, typename Result, typename... Parameters>
constexpr std::size_t numberOfParameters(Result (Class::* /*operation*/)(Parameters...))
{
    return sizeof...(Parameters);
}

template <typename Class, typename Result, typename... Parameters, std::size_t... Index>
Value perform(Result (Class::*operation)(Parameters...), Telephone& telephone, [[maybe_unused]] const Words& words,
              std::index_sequence<Index...> /*of the parameters*/)
{
    Class* const object = performer<Class>(telephone);
    if (object == nullptr) {
        return {};
    }
    std::tuple<std::decay_t<Parameters>...> arguments{argument<std::decay_t<Parameters>>(words, Index)...};
    if constexpr (std::is_void_v<Result>) {
        (object->*operation)(std::get<Index>(arguments)...);
        return {};
    } else {
        return (object->*operation)(std::get<Index>(arguments)...);
    }
}

/// A command that is one operation of the system with the words as its arguments.
template <auto Operation>
Value operation(Telephone& telephone, const Words& words)
{
    return perform(Operation, telephone, words, std::make_index_sequence<numberOfParameters(Operation)>());
}

/// A record of the management system, from pairs of words.
struct Pairs : runtime::ManagementRecord {
    explicit Pairs(const Words& words)
    {
        for (std::size_t at = 0; at + 1 < words.size(); at += 2) {
            give(words[at], words[at + 1]);
        }
    }
};

Value dataChangedEvent(Telephone& telephone, const Words& words)
{
    Pairs record(words);
    telephone.service()->dataChangedEvent(record);
    return {};
}

Value getData(Telephone& telephone, const Words& words)
{
    if (telephone.store() == nullptr) {
        return {};
    }
    runtime::ManagementRecord record;
    for (const std::string& tag : words) {
        record.name(tag);
    }
    const bool allKnown = telephone.store()->getData(record);
    return List{allKnown, Management::entriesOf(record)};
}

Value setData(Telephone& telephone, const Words& words)
{
    Pairs record(words);
    return telephone.store() == nullptr ? Value() : telephone.store()->setData(record);
}

Value machineState(Telephone& telephone, const Words& words)
{
    RecordingStateMachine* const machine = telephone.controller()->getRecordingStateMachineCreateNewIfNeeded(words[0]);
    return machine == nullptr ? Value() : machine->getState();
}

Value handleMessage(Telephone& telephone, const Words& words)
{
    const std::string executable = words.size() > 1 ? words[1] : "service";
    telephone.sendMessage(words[0], executable == "service" ? telephone.serviceExecutable()
                                    : executable == "wrong" ? telephone.otherExecutable()
                                                            : nullptr);
    return {};
}

template <ServiceContext::Answer ANSWER>
Value lookUp(Telephone& telephone, const Words& words)
{
    telephone.context().setAnswer(words[0], ANSWER);
    return {};
}

template <bool ACCEPTS>
Value accept(Telephone& telephone, const Words& words)
{
    if (words[0] == "publish") {
        telephone.management().accept(ACCEPTS);
    } else {
        telephone.mediaControl().accept(ACCEPTS);
    }
    return {};
}

}  // namespace

const std::vector<Command>& commands()
{
    using Service = MediaRecordingService;
    using Store = RecordingConfigManager;
    using Controller = RecordingController;
    using Observer = LMSEventObserverIfc;

    // clang-format off
    static const std::vector<Command> table{
        {"activateRecording", "LINE", SERVICE, "the user starts recording", operation<&Service::activateRecording>},
        {"deactivateRecording", "LINE", SERVICE, "the user stops recording", operation<&Service::deactivateRecording>},
        {"setOriginatingLine", "LINE", SERVICE, "the line to select when another is released",
         operation<&Service::setOriginatingLine>},
        {"setLineStatus", "LINE STATE [CALLID=0 [REMOTE=\"\"]]", SERVICE,
         "1 or 5 releases the line, 11 or 16 selects it", operation<&Service::setLineStatus>},
        {"featureKeyDefinitionChanged", "INDEX FUNCTION [FLAG=false]", SERVICE,
         "a key's function; 56 is call recording", operation<&Service::featureKeyDefinitionChanged>},
        {"dataChangedEvent", "ID VALUE [ID VALUE]...", SERVICE, "the management system reports changed values",
         dataChangedEvent},
        {"getCallRecordingOn", "LINE", SERVICE, "whether recording is on for a line",
         operation<&Service::getCallRecordingOn>},
        {"getSelectedLineRecordingOn", "", SERVICE, "whether recording is on for the selected line",
         operation<&Service::getSelectedLineRecordingOn>},
        {"getRecordingActive", "", SERVICE, "the line activation last set", operation<&Service::getRecordingActive>},
        {"getRecordingMode", "", SERVICE, "the mode in force", operation<&Service::getRecordingMode>},
        {"getRecorderAddress", "", SERVICE, "the recorder's address in force", operation<&Service::getRecorderAddress>},
        {"getRecordingAudibleNotification", "", SERVICE, "the audible notification in force",
         operation<&Service::getRecordingAudibleNotification>},
        {"getRecordingModeConfig", "", SERVICE, "the mode that is set", operation<&Service::getRecordingModeConfig>},
        {"getRecorderAddressConfig", "", SERVICE, "the recorder's address that is set",
         operation<&Service::getRecorderAddressConfig>},
        {"getRecordingAudibleNotificationConfig", "", SERVICE, "the audible notification that is set",
         operation<&Service::getRecordingAudibleNotificationConfig>},
        {"setRecordingModeConfig", "VALUE", SERVICE, "sets disabled, manual, autostart or allcalls",
         operation<&Service::setRecordingModeConfig>},
        {"setRecorderAddressConfig", "VALUE", SERVICE, "sets where recordings go",
         operation<&Service::setRecorderAddressConfig>},
        {"setRecordingAudibleNotificationConfig", "VALUE", SERVICE, "sets the audible notification",
         operation<&Service::setRecordingAudibleNotificationConfig>},

        {"getData", "TAG...", SERVICE, "the management system reads values", getData},
        {"setData", "TAG VALUE [TAG VALUE]...", SERVICE, "the management system writes values", setData},
        {"getDataItem", "ITEM", SERVICE, "a data item of the store", operation<&Store::getDataItem>},
        {"setDataItem", "ITEM VALUE", SERVICE, "writes a data item of the store", operation<&Store::setDataItem>},
        {"getRecordingActivation", "LINE", SERVICE, "a line's activation in the store",
         operation<&Store::getRecordingActivation>},
        {"setRecordingActivation", "LINE BOOL", SERVICE, "writes a line's activation in the store",
         operation<&Store::setRecordingActivation>},
        {"eventRecordingStarted", "LINE", SERVICE, "tells the store that a line records",
         operation<&Store::eventRecordingStarted>},
        {"eventRecordingStopped", "LINE", SERVICE, "tells the store that a line records no more",
         operation<&Store::eventRecordingStopped>},
        {"resynchronizeDataSets", "", SERVICE, "puts the settings into force",
         operation<&Store::resynchronizeDataSets>},

        {"getSelectedLine", "", SERVICE, "the line that the lamp tells about", operation<&Controller::getSelectedLine>},
        {"isInCall", "LINE", SERVICE, "whether a line has a recording session", operation<&Controller::isInCall>},
        {"getCallRecordingActivated", "LINE", SERVICE, "a line's activation",
         operation<&Controller::getCallRecordingActivated>},
        {"getCallRecordingAutostarts", "LINE", SERVICE, "whether a new session records by itself",
         operation<&Controller::getCallRecordingAutostarts>},
        {"getCallRecordingUserControllable", "LINE", SERVICE, "whether the user may start and stop recording",
         operation<&Controller::getCallRecordingUserControllable>},
        {"setCallRecMode", "MODE", SERVICE, "tells the controller of a new mode",
         operation<&Controller::setCallRecMode>},
        {"dumpStateMachines", "", SERVICE, "logs the lines' machines at level 6",
         operation<&Controller::dumpStateMachines>},
        {"getRecordingStateMachineCreateNewIfNeeded", "LINE", SERVICE, "the state of the line's machine", machineState},

        {"LMSCreateSession", "LINE CALLID", SERVICE, "call control sets up a recording session",
         operation<&Observer::LMSCreateSession>},
        {"LMSDestroySession", "H", SERVICE, "the session ends", operation<&Observer::LMSDestroySession>},
        {"LMSEventAttached", "H MEDIA CALLID", SERVICE, "the session is attached to its call",
         operation<&Observer::LMSEventAttached>},
        {"LMSEventStreaming", "H MEDIA CALLID", SERVICE, "the session streams",
         operation<&Observer::LMSEventStreaming>},
        {"LMSEventNotStreaming", "H", SERVICE, "the session streams no more",
         operation<&Observer::LMSEventNotStreaming>},
        {"LMSEventErrorStatus", "H CODE", SERVICE, "the session has failed", operation<&Observer::LMSEventErrorStatus>},

        {"handleMessage", "TEXT [service|none|wrong]", SERVICE, "a text message, with this executable", handleMessage},
        {"reset", "", NOTHING, "forgets the services looked up",
         [](Telephone&, const Words&) { MediaRecordingHelper::reset(); return Value(); }},
        {"start", "[store|no-store]", STOPPED_SERVICE, "makes the service and initialises it",
         [](Telephone& telephone, const Words& words) { telephone.start(words != Words{"no-store"}); return Value(); }},
        {"stop", "", RUNNING_SERVICE, "destroys the service",
         [](Telephone& telephone, const Words&) { telephone.stop(); return Value(); }},

        {"log", "LEVEL", NOTHING, "logging is on up to this level",
         [](Telephone& telephone, const Words& words) { telephone.setLogLevel(argument<int>(words, 0)); return Value(); }},
        {"missing", "NAME", NOTHING, "the look-up finds nothing", lookUp<ServiceContext::MISSING>},
        {"wrong", "NAME", NOTHING, "the look-up finds a service of another type", lookUp<ServiceContext::WRONG>},
        {"present", "NAME", NOTHING, "the look-up finds the service", lookUp<ServiceContext::PRESENT>},
        {"refuse", "publish|direction", NOTHING, "published records or direction changes are refused", accept<false>},
        {"accept", "publish|direction", NOTHING, "published records or direction changes are accepted", accept<true>},
    };
    // clang-format on
    return table;
}

}  // namespace deskphone
