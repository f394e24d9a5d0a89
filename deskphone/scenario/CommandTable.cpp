#include "scenario/CommandTable.h"

#include <tuple>
#include <type_traits>
#include <utility>

#include "scenario/Words.h"
#include "telephone/Telephone.h"

namespace deskphone {

namespace {

/// The argument that the word stands for, or all the words. A word left out stands for what is empty: "", 0, false.
template <typename Type>
Type argument(const Words& words, std::size_t index)
{
    if constexpr (std::is_same_v<Type, Words>) {
        return words;
    } else if (index >= words.size()) {
        return Type{};
    } else if constexpr (std::is_same_v<Type, std::string>) {
        return words[index];
    } else if constexpr (std::is_same_v<Type, bool>) {
        return words[index] == "true";
    } else {
        int number = 0;
        readNumber(words[index], number);
        return static_cast<Type>(number);
    }
}

/// The telephone, or the object of the system that performs the operations of Class; null when there is none.
template <typename Class>
Class* performer(Telephone& telephone)
{
    if constexpr (std::is_same_v<Class, Telephone>) {
        return &telephone;
    } else if constexpr (std::is_same_v<Class, MediaRecordingService>) {
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

/// A command that is one operation with the words as its arguments.
template <auto Operation>
Value operation(Telephone& telephone, const Words& words)
{
    return perform(Operation, telephone, words, std::make_index_sequence<numberOfParameters(Operation)>());
}

Value start(Telephone& telephone, const Words& words)
{
    telephone.start(words != Words{"no-store"});
    return {};
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

Value report(Telephone& telephone, const Words& words)
{
    telephone.management().report(words[0] == "publish");
    return {};
}

/// The row that begins a group.
Command first(const char* group, Command command)
{
    command.group = group;
    return command;
}

}  // namespace

const std::vector<Command>& commands()
{
    using Service = MediaRecordingService;
    using Store = RecordingConfigManager;
    using Controller = RecordingController;
    using Observer = LMSEventObserverIfc;

    // clang-format off
#define OPERATION(Class, name) #name, operation<&Class::name>
    static const std::vector<Command> table{
        first("The service",
        {OPERATION(Service, activateRecording),                           "LINE",                                "the user starts recording"}),
        {OPERATION(Service, deactivateRecording),                         "LINE",                                "the user stops recording"},
        {OPERATION(Service, setOriginatingLine),                          "LINE",                                "the line to select when another is released",         FRAMEWORK},
        {OPERATION(Service, setLineStatus),                               "LINE STATE [CALLID=0 [REMOTE=\"\"]]", "1 or 5 releases the line, 11 or 16 selects it",       FRAMEWORK},
        {OPERATION(Service, featureKeyDefinitionChanged),                 "INDEX FUNCTION [FLAG=false]",         "a key's function; 56 is call recording",              FRAMEWORK},
        {OPERATION(Telephone, dataChangedEvent),                          "ID VALUE [ID VALUE]...",              "the management system reports changed values",        MANAGEMENT},
        {OPERATION(Service, getCallRecordingOn),                          "LINE",                                "whether recording is on for a line"},
        {OPERATION(Service, getSelectedLineRecordingOn),                  "",                                    "whether recording is on for the selected line"},
        {OPERATION(Service, getRecordingActive),                          "",                                    "the line activation last set"},
        {OPERATION(Service, getRecordingMode),                            "",                                    "the mode in force"},
        {OPERATION(Service, getRecorderAddress),                          "",                                    "the recorder's address in force"},
        {OPERATION(Service, getRecordingAudibleNotification),             "",                                    "the audible notification in force"},
        {OPERATION(Service, getRecordingModeConfig),                      "",                                    "the mode that is set"},
        {OPERATION(Service, getRecorderAddressConfig),                    "",                                    "the recorder's address that is set"},
        {OPERATION(Service, getRecordingAudibleNotificationConfig),       "",                                    "the audible notification that is set"},
        {OPERATION(Service, setRecordingModeConfig),                      "MODE",                                "sets disabled, manual, autostart or allcalls"},
        {OPERATION(Service, setRecorderAddressConfig),                    "VALUE",                               "sets where recordings go"},
        {OPERATION(Service, setRecordingAudibleNotificationConfig),       "VALUE",                               "sets the audible notification"},

        first("The configuration store",
        {OPERATION(Telephone, getData),                                   "TAG...",                              "the management system reads values",                  MANAGEMENT}),
        {OPERATION(Telephone, setData),                                   "TAG VALUE [TAG VALUE]...",            "the management system writes values",                 MANAGEMENT},
        {OPERATION(Store, getDataItem),                                   "ITEM",                                "a data item of the store"},
        {OPERATION(Store, setDataItem),                                   "ITEM VALUE",                          "writes a data item of the store"},
        {OPERATION(Store, getRecordingActivation),                        "LINE",                                "a line's activation in the store"},
        {OPERATION(Store, setRecordingActivation),                        "LINE BOOL",                           "writes a line's activation in the store"},
        {OPERATION(Store, eventRecordingStarted),                         "LINE",                                "tells the store that a line records"},
        {OPERATION(Store, eventRecordingStopped),                         "LINE",                                "tells the store that a line records no more"},
        {OPERATION(Store, resynchronizeDataSets),                         "",                                    "puts the settings into force"},

        first("The controller",
        {OPERATION(Controller, getSelectedLine),                          "",                                    "the line that the lamp tells about", USER, SERVICE, "LINE"}),
        {OPERATION(Controller, isInCall),                                 "LINE",                                "whether a line has a recording session"},
        {OPERATION(Controller, getCallRecordingActivated),                "LINE",                                "a line's activation"},
        {OPERATION(Controller, getCallRecordingAutostarts),               "LINE",                                "whether a new session records by itself"},
        {OPERATION(Controller, getCallRecordingUserControllable),         "LINE",                                "whether the user may start and stop recording"},
        {OPERATION(Controller, setCallRecMode),                           "MODE",                                "tells the controller of a new mode"},
        {OPERATION(Controller, dumpStateMachines),                        "",                                    "logs the lines' machines at level 6"},
        {OPERATION(Telephone, getRecordingStateMachineCreateNewIfNeeded), "LINE",                                "the state of the line's machine"},

        first("Call control",
        {"LMSCreateSession", operation<&Telephone::createSession>,        "LINE CALLID",                         "call control sets up a recording session",            CALL_CONTROL, SERVICE, "H"}),
        {OPERATION(Observer, LMSDestroySession),                          "H",                                   "the session ends",                                    CALL_CONTROL},
        {OPERATION(Observer, LMSEventAttached),                           "H MEDIA CALLID",                      "the session is attached to its call",                 CALL_CONTROL},
        {OPERATION(Observer, LMSEventStreaming),                          "H MEDIA CALLID",                      "the session streams",                                 CALL_CONTROL},
        {OPERATION(Observer, LMSEventNotStreaming),                       "H",                                   "the session streams no more",                         CALL_CONTROL},
        {OPERATION(Observer, LMSEventErrorStatus),                        "H CODE",                              "the session has failed",                              CALL_CONTROL},

        first("Messages, and the service's life",
        {"handleMessage", handleMessage,                                  "TEXT [service|none|wrong]",           "a text message, with this executable"}),
        {"reset", operation<&Telephone::resetLookUps>,                    "",                                    "forgets the services looked up",                      FRAMEWORK, NOTHING},
        {"start", start,                                                  "[store|no-store]",                    "makes the service and initialises it",                FRAMEWORK, STOPPED_SERVICE},
        {OPERATION(Telephone, stop),                                      "",                                    "destroys the service",                                FRAMEWORK, RUNNING_SERVICE},

        first("Several threads",
        {"at-once", nullptr,                                              "",                                    "the commands up to end come from a thread each",      NOBODY, NOTHING}),
        {"end", nullptr,                                                  "",                                    "ends what comes at once",                             NOBODY, NOTHING},

        first("The telephone itself",
        {"log", operation<&Telephone::setLogLevel>,                       "LEVEL",                               "logging is on up to this level",                      NOBODY, NOTHING}),
        {"missing", lookUp<ServiceContext::MISSING>,                      "NAME",                                "the look-up finds nothing",                           NOBODY, NOTHING},
        {"wrong", lookUp<ServiceContext::WRONG>,                          "NAME",                                "the look-up finds a service of another type",         NOBODY, NOTHING},
        {"present", lookUp<ServiceContext::PRESENT>,                      "NAME",                                "the look-up finds the service",                       NOBODY, NOTHING},
        {"refuse", accept<false>,                                         "publish|direction",                   "published records or direction changes are refused",  NOBODY, NOTHING},
        {"accept", accept<true>,                                          "publish|direction",                   "published records or direction changes are accepted", NOBODY, NOTHING},
        {"report", report,                                                "publish|nothing",                     "published records come back as change events or not", NOBODY, NOTHING},

        first("Calls on a network, with --sip",
        {"dial", nullptr,                                                 "LINE SIP-URI",                        "calls the far end; calls are numbered from 1",        USER, NETWORK}),
        {"answer", nullptr,                                               "CALL",                                "answers the call, once it rings",                     USER, NETWORK},
        {"hangup", nullptr,                                               "CALL",                                "ends the call, or refuses it",                        USER, NETWORK},
        {"hold", nullptr,                                                 "CALL",                                "halts the sound of the call",                         USER, NETWORK},
        {"resume", nullptr,                                               "CALL",                                "lets the sound of the call go on",                    USER, NETWORK},
        {"select", nullptr,                                               "LINE",                                "selects the line, with the line status that follows", USER, NETWORK},
        {"key", nullptr,                                                  "",                                    "the recording key: starts or stops recording",        USER, NETWORK},
        {"await", nullptr,                                                "COMMAND [WORD]...",                   "waits until the network has caused this; \"\" is any word, one word more are seconds (10)", USER, NETWORK},
    };
#undef OPERATION
    // clang-format on
    return table;
}

}  // namespace deskphone
