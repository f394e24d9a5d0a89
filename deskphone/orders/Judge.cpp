#include "orders/Judge.h"

#include <algorithm>
#include <cstdlib>

#include "LMSEventObserverIfc.h"
#include "scenario/Commands.h"
#include "scenario/Words.h"
#include "show/TextShow.h"
#include "telephone/StateTable.h"
#include "telephone/Telephone.h"

namespace deskphone {

namespace {

const std::string ACTIVATION = "call-recording-active";
const std::string MODE = "call-recording-mode";
const std::string DESTROY = "LMSDestroySession";

bool isPosted(const std::string& command)
{
    return command == DESTROY || command.compare(0, 8, "LMSEvent") == 0;
}

/// The operation's name and the numbers that it traces: `LMSEventAttached 1 12 7`; "" for another text.
std::string tracedEvent(const std::string& trace)
{
    const std::size_t bracket = trace.find('(');
    std::string event = trace.substr(0, bracket);
    if (!isPosted(event) || trace.compare(bracket, 2, "()") == 0) {
        return "";
    }
    for (std::size_t equals = trace.find('='); equals != std::string::npos; equals = trace.find('=', equals + 1)) {
        event += ' ' + std::to_string(std::atoi(trace.c_str() + equals + 1));
    }
    return event;
}

/// The numbers of a command may be written in several ways.
std::string postedEvent(const Words& command)
{
    std::string event = command.front();
    for (auto word = command.begin() + 1; word != command.end(); ++word) {
        event += ' ' + std::to_string(std::stoi(*word));
    }
    return event;
}

std::string stepName(int number, const Words& command)
{
    return std::to_string(number) + asWords(command);
}

std::string attaching(int session)
{
    return "attaching of " + std::to_string(session);
}

std::string detaching(int session)
{
    return "detaching of " + std::to_string(session);
}

bool isRecording(const std::string& state)
{
    return state == "ATTACH_REQUESTED" || state == "STREAMING" || state == "NON_STREAMING";
}

/// What the transition asks the worker for; "" for nothing.
std::string requestOf(const MachineEvent& event)
{
    if (event.to == "ATTACH_REQUESTED") {
        return attaching(event.session);
    }
    const bool ends = event.to == "ACTIVATED" || event.to == "IN_CALL";
    const bool fails = event.to == "ERROR" && event.from != "ATTACH_REQUESTED";
    return (ends && isRecording(event.from)) || fails ? detaching(event.session) : "";
}

const std::set<std::pair<std::string, std::string>>& transitions()
{
    static const auto* const known = [] {
        auto* const all = new std::set<std::pair<std::string, std::string>>;
        for (const Transition& transition : transitionTable()) {
            all->emplace(transition.from + ' ' + transition.event, transition.to);
        }
        return all;
    }();
    return *known;
}

}  // namespace

const std::set<std::string> Judge::CHECKS{EVENTS, REQUESTS, BALANCE, MACHINES, LAMP, TOLD, SEQUENTIAL};

void Judge::fail(const char* check, const std::string& what)
{
    if (m_allowed.count(check) == 0) {
        fail(what);
    }
}

void Judge::begins(int step, const Words& command)
{
    ++m_clock;
    const std::string& name = command.front();
    // A service that does not run is started first.
    if (isPosted(name) && (m_telephone.observer() != nullptr || !m_telephone.running())) {
        m_posts.push_back({postedEvent(command), step, m_life, m_clock});
    }
    if (name == "stop") {
        ++m_life;
    }
    if (name == "dataChangedEvent" && std::find(command.begin(), command.end(), MODE) != command.end()) {
        m_modeChangeIsToCome = false;
    }
}

void Judge::returned(const Step& step)
{
    ++m_clock;
    const auto post =
        std::find_if(m_posts.rbegin(), m_posts.rend(), [&step](const Post& one) { return one.step == step.number; });
    if (post != m_posts.rend()) {
        post->end = m_clock;
    }
    if (const int* const session = std::get_if<int>(&step.result);
        session != nullptr && *session != 0 && step.command.front() == "LMSCreateSession") {
        m_sessions.insert(*session);
    }
    if (step.command.front() == "stop") {
        // The next service begins anew, and need not tell of that.
        m_sessions.clear();
        m_told.clear();
        m_toldActivations.clear();
        m_lampWasSet = false;
        m_modeChangeIsToCome = false;
    }
    if (!std::holds_alternative<std::monostate>(step.result)) {
        m_results["result of " + stepName(step.number, step.command)] = asText(step.result);
    }
}

void Judge::delivers(const std::string& trace)
{
    const std::string event = tracedEvent(trace);
    if (event.empty()) {
        return;
    }
    m_deliveries.push_back({event, m_life});
    if (event.compare(0, DESTROY.size(), DESTROY) == 0) {
        m_sessions.erase(std::stoi(event.substr(DESTROY.size())));
    }
}

void Judge::follow(const Record& record, const Turn& turn)
{
    if (const auto* const call = std::get_if<Call>(&record)) {
        follow(*call);
        if (m_countsCalls) {
            std::string& calls =
                m_calls[turn.thread == CALLER ? "calls of " + std::to_string(turn.step)
                                              : std::string("calls of the ") + threadNames[turn.thread]];
            calls += (calls.empty() ? "" : "; ") + asText(*call);
        }
    } else if (const auto* const event = std::get_if<MachineEvent>(&record)) {
        follow(*event);
    }
}

void Judge::follow(const Call& call)
{
    if (call.name == "LocalMgmtIfc.publishData") {
        for (const Value& entry : std::get<List>(call.arguments.front())) {
            const auto& fields = std::get<List>(entry);
            const auto& tag = std::get<std::string>(fields[0]);
            const auto& value = std::get<std::string>(fields[2]);
            m_told[tag] = value;
            const std::size_t semicolon = value.rfind(';');
            if (tag == ACTIVATION && semicolon != std::string::npos) {
                m_toldActivations[value.substr(0, semicolon)] = value.substr(semicolon + 1) == "true";
            }
            m_modeChangeIsToCome = m_modeChangeIsToCome || (tag == MODE && !m_telephone.management().reports());
        }
    } else if (call.name == "CSfi.attachRecSession") {
        m_performed.push_back(attaching(std::get<int>(call.arguments.front())));
    } else if (call.name == "CSfi.detachRecSession") {
        m_performed.push_back(detaching(std::get<int>(call.arguments.front())));
    } else if (lampSetBy(call)) {
        m_lampWasSet = true;
    }
}

void Judge::follow(const MachineEvent& event)
{
    static const std::string first = initialState();
    const std::string step = event.line + ": " + event.event + " in " + event.from;
    std::string& state = m_states.try_emplace(event.machine, first).first->second;
    if (state != event.from) {
        fail(MACHINES, step + ", though the machine was in " + state);
    }
    const auto known = transitions().lower_bound({event.from + ' ' + event.event, ""});
    const bool isKnown = known != transitions().end() && known->first == event.from + ' ' + event.event;
    if (event.to != (isKnown ? known->second : "")) {
        fail(MACHINES, step + (event.to.empty() ? " is ignored" : " leads to " + event.to));
    }
    if (!event.to.empty()) {
        state = event.to;
        if (const std::string request = requestOf(event); !request.empty()) {
            m_asked.push_back(request);
        }
    }
}

void Judge::rest(bool atEnd)
{
    checkEvents();
    checkRequests();
    if (m_telephone.running()) {
        checkTold();
        checkLamp(atEnd);
    }
}

void Judge::checkEvents()
{
    for (Delivery& delivery : m_deliveries) {
        delivery.isMatched = false;
    }
    std::vector<std::pair<const Post*, std::size_t>> delivered;
    for (const Post& post : m_posts) {
        const auto found = std::find_if(m_deliveries.begin(), m_deliveries.end(), [&post](const Delivery& delivery) {
            return !delivery.isMatched && delivery.event == post.event;
        });
        if (found != m_deliveries.end()) {
            found->isMatched = true;
            delivered.emplace_back(&post, found - m_deliveries.begin());
        } else if (post.life == m_life) {
            fail(EVENTS, post.event + " was posted and is not delivered");
        }
    }
    for (const Delivery& delivery : m_deliveries) {
        if (!delivery.isMatched) {
            fail(EVENTS, delivery.event + " is delivered once more than it was posted");
        }
    }
    for (const auto& [one, place] : delivered) {
        for (const auto& [other, otherPlace] : delivered) {
            if (one->end < other->begin && place > otherPlace) {
                fail(EVENTS, one->event + " was posted before " + other->event + " and is delivered after it");
            }
        }
    }
}

/// What is still queued when the service ends is dropped, and the worker serves the first one only.
void Judge::checkRequests()
{
    const auto [asked, performed] =
        std::mismatch(m_asked.begin(), m_asked.end(), m_performed.begin(), m_performed.end());
    if (performed != m_performed.end()) {
        fail(REQUESTS, "the " + *performed + " is performed, " +
                           (asked != m_asked.end() ? "where the " + *asked + " was due" : "unasked"));
    } else if (asked != m_asked.end() && m_life == 0) {
        fail(REQUESTS, "the " + *asked + " was asked for and is not performed");
    }
    std::map<std::string, bool> attached;
    for (const std::string& request : m_performed) {
        const std::string session = request.substr(request.rfind(' ') + 1);
        const bool attaches = request == attaching(std::stoi(session));
        if (attached[session] == attaches) {
            fail(BALANCE,
                 "session " + session + " is " + (attaches ? "attached twice" : "detached without being attached"));
        }
        attached[session] = attaches;
    }
    for (const auto& [session, isAttached] : attached) {
        if (isAttached && m_life == 0 && m_sessions.count(std::stoi(session)) == 0) {
            fail(BALANCE, "session " + session + " has ended and stays attached");
        }
    }
}

/// The lamp follows a change of the mode when its change event comes back from the management system, which is the
/// scenario's to give; where it does not, the run ends with it.
void Judge::checkLamp(bool atEnd)
{
    if (m_modeChangeIsToCome) {
        if (!atEnd) {
            return;
        }
        const std::string mode = m_told[MODE];
        m_telephone.dataChangedEvent({MODE, mode});
        m_telephone.settle();
    } else if (!m_lampWasSet) {
        return;
    }
    const bool isDue = m_telephone.service()->getSelectedLineRecordingOn();
    if (m_telephone.lampOn() != isDue) {
        fail(LAMP, std::string("the lamp is ") + (isDue ? "off, and the selected line is recorded"
                                                        : "on, and the selected line is not recorded"));
    }
}

void Judge::checkTold()
{
    RecordingConfigManager* const store = m_telephone.store();
    if (store == nullptr) {
        return;
    }
    const auto check = [this](const std::string& what, const std::string& told, const std::string& stored) {
        if (told != stored) {
            fail(TOLD, what + " is " + stored + ", and " + told + " was told last");
        }
    };
    for (const auto& [tag, told] : m_told) {
        runtime::ManagementRecord record;
        record.name(tag);
        store->getData(record);
        if (tag != ACTIVATION) {
            std::string stored;
            record.interogate(tag, tag, stored);
            check(tag, quoted(told), quoted(stored));
        }
    }
    for (const auto& [line, told] : m_toldActivations) {
        check("the activation of " + asWord(line), asText(told), asText(store->getRecordingActivation(line)));
    }
}

Facts Judge::facts()
{
    Facts facts = m_results;
    facts.insert(m_calls.begin(), m_calls.end());
    facts["lamp"] = m_telephone.lampOn() ? "on" : "off";
    for (const auto& [tag, value] : m_told) {
        facts["told " + tag] = quoted(value);
    }
    const Status status = m_telephone.status();
    if (!status.running) {
        facts["service"] = "stopped";
        return facts;
    }
    facts["selected line"] = asWord(status.selectedLine);
    for (const Machine& machine : status.machines) {
        if (!machine.state.empty()) {
            facts["line " + asWord(machine.line)] =
                machine.state + (machine.session.empty() ? "" : ", session " + machine.session);
        }
    }
    std::string sessions;
    for (const int session : m_sessions) {
        sessions += (sessions.empty() ? "" : ", ") + std::to_string(session);
    }
    facts["sessions"] = sessions.empty() ? "none" : sessions;
    if (m_telephone.store() != nullptr) {
        runtime::ManagementRecord record;
        for (const std::string& tag : nextWords({"getData"})) {
            record.name(tag);
        }
        m_telephone.store()->getData(record);
        for (const auto& entry : runtime::ManagementRecord::entries(record)) {
            facts["stored " + entry.id] = quoted(entry.value);
        }
    }
    return facts;
}

}  // namespace deskphone
