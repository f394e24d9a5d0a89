#include "fieldlog/FieldLog.h"

#include <algorithm>
#include <utility>

#include "fieldlog/Operations.h"
#include "telephone/Telephone.h"

namespace deskphone {

namespace {

constexpr std::size_t LONGEST_SIDE = 1000;

/// The lines without a machine in a list of them.
std::vector<std::string> emptyIn(std::string_view list)
{
    static constexpr std::string_view end = "]==(nil), in state:";
    std::vector<std::string> lines;
    for (std::size_t next = list.find(LIST_ENTRY); next != std::string_view::npos;) {
        list.remove_prefix(next + LIST_ENTRY.size());
        next = list.find(LIST_ENTRY);
        std::string_view entry = list.substr(0, next);
        entry = entry.substr(0, entry.find_last_not_of(" \n") + 1);
        if (entry.size() >= end.size() && entry.substr(entry.size() - end.size()) == end) {
            lines.emplace_back(entry.substr(0, entry.size() - end.size()));
        }
    }
    return lines;
}

/// The line that then has an entry in the list, with a machine or without.
std::optional<std::string> lineEntered(std::string_view text)
{
    std::vector<std::string> places;
    for (const char* const format :
         {"getCallRecordingOn(line = %s)", "getCallRecordingUserControllable(line = %s)",
          "LMSCreateSession(lineURI=%s, callID=%d)", "getRecordingStateMachineCreateNewIfNeeded(lineURI = \"%s\")"}) {
        places.clear();
        if (readPlaces(format, text, places)) {
            return places[0];
        }
    }
    places.clear();
    if (readPlaces("setLineStatus(uri = \"%s\", state = %d, callid=%d, remoteURI=%s)", text, places)) {
        const bool isActedOn = places[1] == "1" || places[1] == "5" || places[1] == "11" || places[1] == "16";
        return isActedOn ? std::optional(places[0]) : std::nullopt;
    }
    return std::nullopt;
}

/// What the record says about the look-up of the service, if anything.
std::optional<ServiceContext::Answer> answerAt(const NextRecords& records, std::size_t at, std::string_view service)
{
    const FieldRecord& record = records[at];
    const std::string_view text = record.kind->format;
    if (record.kind->component == "MediaRecordingHelper" && text.size() > service.size() &&
        text.substr(text.size() - service.size() - 1) == std::string(" ").append(service)) {
        return text.front() == 'C' ? ServiceContext::MISSING : ServiceContext::WRONG;
    }
    bool found = service == "MediaControlServiceIfc" && text.substr(0, 8) == "retval =";
    if (service == "CommunicationsServiceEventIfc" && record.is("sendRecordingStatus(status = %s)")) {
        // It is sent, unless an error follows at once: the session or the service is missing.
        const auto first = records.begin() + static_cast<std::ptrdiff_t>(at);
        found = std::none_of(first, first + std::min<std::ptrdiff_t>(records.end() - first, 5),
                             [](const FieldRecord& one) { return one.kind->level == LOG_LEVEL_ERROR; });
    }
    return found ? std::optional(ServiceContext::PRESENT) : std::nullopt;
}

}  // namespace

FieldLog::FieldLog(const std::string& name, Telephone& telephone)
    : m_name(name),
      m_telephone(telephone),
      m_records(name, !telephone.running()),
      m_beginsInside(!m_records.next().empty() && !beginsForSure(m_records.next().front()) &&
                     std::any_of(m_records.next().begin(), m_records.next().end(), beginsForSure)),
      m_unclear(m_beginsInside)
{
    const int level = m_records.highestLevel();
    m_comparison.setLevel(level);
    telephone.recorder().keepLog(LOG_LEVEL_DETAIL);  // whatever the level that the log goes up to becomes
    if (level == 0) {
        assume("there is no record of the plug-in", 1);
    } else if (level < LOG_LEVEL_TRACE) {
        assume("no record tells what the plug-in was given: that takes level 5, better 6", 1);
    } else if (level < LOG_LEVEL_DETAIL) {
        assume("no record of level 6: changes of the mode are not told, and what has that level is not compared", 1);
    }
    if (const int before = m_records.handlesBefore(); before > 0) {
        assume("sessions are counted from 1: the log's handles have " + std::to_string(before) + " more", 1);
    }
}

FieldLog::~FieldLog()
{
    m_telephone.recorder().keepLog(0);
}

bool FieldLog::next(Given& command)
{
    while (m_told.empty()) {
        if (m_records.next().empty()) {
            m_comparison.end();
            assumeMissing();
            tellLeftOut();
            command = {{}, std::exchange(m_comments, {})};
            return false;
        }
        if (!take()) {
            tellCommand();
        }
    }
    command = {m_told.front(), std::exchange(m_comments, {})};
    return true;
}

/// Takes the first record if an operation goes on with it.
bool FieldLog::take()
{
    const FieldRecord& first = m_records.next().front();
    const int level = m_comparison.level();
    if (first.kind->level > level) {
        m_comparison.setLevel(first.kind->level);
    }
    const bool taken = m_comparison.take(m_records.next());
    if (m_comparison.level() != level) {
        assume("the log goes up to level " + std::to_string(m_comparison.level()) + " from about here on", first.line);
    }
    assumeMissing();
    if (taken) {
        m_unclear = false;
        tellLeftOut();
        m_records.pass();
    }
    return taken;
}

void FieldLog::assumeMissing()
{
    for (const std::size_t line : m_comparison.takeMissing()) {
        assume("the log lacks records here that the replay logs", line);
    }
}

/// Tells what is to be played for the first record, or leaves it out.
void FieldLog::tellCommand()
{
    const FieldRecord& first = m_records.next().front();
    const bool repeated = m_comparison.isRepeated(first);
    if (m_records.isDoubled() && (repeated || m_records.isTimeExact())) {
        assume("the record stands twice; the second one is passed over", first.line);
        m_records.pass();
        return;
    }
    Told told = repeated ? Told{} : commandAt(m_records.next(), m_comparison.level());
    if (first.is("getSessionInCall()") && m_knownMachine && !repeated) {
        told = {{"isInCall", *m_knownMachine}, "the log does not tell which line is asked about; one that is known"};
    }
    if (told.command.empty() || (m_unclear && !beginsForSure(first))) {
        leaveOut();
        return;
    }
    tellLeftOut();
    m_unclear = false;
    if (told.assumed != nullptr) {
        assume(told.assumed, first.line);
    }
    const bool starts = told.command.front() == "start";
    if (starts && m_telephone.running()) {
        m_told.push_back({"stop"});
        assume("the service starts while it runs: it was stopped before", first.line);
    }
    tellLookUps(starts);
    if (!starts && !m_telephone.running()) {
        m_told.push_back({"start"});
        m_startAssumed = true;
        assume("the log begins after the start of the service, which is played first; what went before is not known",
               first.line);
    }
    if (!starts) {
        tellQuestions();
    }
    m_told.push_back(std::move(told.command));
}

/// Who asks whether a line is in a call leaves nothing in the log but an empty entry in the next list.
void FieldLog::tellQuestions()
{
    const NextRecords& records = m_records.next();
    const auto list = std::find_if(records.begin(), records.end(), [](const FieldRecord& record) {
        return record.is(MACHINE_LIST) || record.is("init()");
    });
    if (list == records.end() || list->is("init()")) {
        return;
    }
    for (const std::string& line : emptyIn(list->text)) {
        const auto enters = [&name = line](const FieldRecord& record) { return lineEntered(record.text) == name; };
        if (m_listed.count(line) == 0 && std::none_of(records.begin(), list, enters)) {
            m_listed.insert(line);
            m_told.push_back({"isInCall", line});
            assume("a line without a machine is listed: isInCall was asked of it", list->line);
        }
    }
}

/// Services are looked up when the service starts, or when they are needed first; the log tells what was found.
void FieldLog::tellLookUps(bool starts)
{
    const NextRecords& records = m_records.next();
    const auto isEnd = [&](const FieldRecord& record) {
        return starts
                   ? record.is("getDataItem:(item=%s)") || record.is("m_configManager NULL. Failed to initialize MRS.")
                   : beginsFromOutside(record);
    };
    std::size_t end = 1;
    while (end < records.size() && !isEnd(records[end])) {
        ++end;
    }
    for (const char* const service : {starts ? "PhysicalInterfaceServiceIfc" : "CommunicationsServiceEventIfc",
                                      starts ? "LocalMgmtIfc" : "MediaControlServiceIfc"}) {
        std::optional<Answer> answer;
        for (std::size_t at = 0; at < end && !answer; ++at) {
            answer = answerAt(records, at, service);
        }
        if (!answer && starts) {
            answer = Answer::PRESENT;
        }
        if (answer) {
            setAnswer(service, *answer, records.front().line);
        }
    }
}

void FieldLog::setAnswer(const std::string& service, Answer answer, std::size_t line)
{
    if (answer != Answer::PRESENT && m_lookedUp.count(service) != 0) {
        m_told.push_back({"reset"});
        m_lookedUp.clear();
        assume("a service is not found that was: its look-up was reset before", line);
    }
    if (m_answers[service] != answer) {
        m_answers[service] = answer;
        m_told.push_back({answer == Answer::PRESENT   ? "present"
                          : answer == Answer::MISSING ? "missing"
                                                      : "wrong",
                          service});
    }
}

void FieldLog::played(const Step& step)
{
    ++m_commands;
    const bool tells = m_told.size() == 1;
    m_told.pop_front();
    noteLookUps(step);
    if (m_startAssumed && step.command.front() == "start") {
        m_startAssumed = false;
        return;
    }
    m_comparison.expect(step.log);
    if (tells && !take()) {
        leaveOut();
    }
    const std::string& name = step.command.front();
    for (const auto& ofThread : step.log) {
        std::optional<std::string> entered;
        for (const LogLine& log : ofThread) {
            if (std::optional<std::string> line = lineEntered(log.text)) {
                entered = *m_listed.insert(std::move(*line)).first;
            }
            // The machines that speak while a line's status is told are other lines'.
            const bool hasMachine = (log.component == "RecordingStateMachine" && name != "setLineStatus") ||
                                    name == "getRecordingStateMachineCreateNewIfNeeded";
            if (hasMachine && entered) {
                m_knownMachine = entered;
            }
        }
    }
    if (name == "stop") {
        m_knownMachine.reset();
        m_listed.clear();
    }
}

void FieldLog::noteLookUps(const Step& step)
{
    for (const auto& records : step.records) {
        for (const Record& record : records) {
            const Call* const call = std::get_if<Call>(&record);
            if (call != nullptr && call->name == "SvcRTEContext.getService") {
                const auto& service = std::get<std::string>(call->arguments.front());
                if (m_answers[service] == Answer::PRESENT) {
                    m_lookedUp.insert(service);
                }
            }
        }
    }
}

bool FieldLog::refused(const Mistake& mistake)
{
    assume(std::string("passed over: ") + mistake.what(), m_records.next().front().line);
    leaveOut();
    m_told.clear();
    return true;
}

/// Passes over the first record: the replay has nothing for it.
void FieldLog::leaveOut()
{
    const FieldRecord& record = m_records.next().front();
    m_leftOutFrom = m_leftOutFrom == 0 ? record.line : m_leftOutFrom;
    m_leftOutTo = record.line;
    if (!m_beginsInside) {
        m_comparison.leaveOut(record);
        m_unclear = true;
    }
    m_records.pass();
}

void FieldLog::tellLeftOut()
{
    if (m_leftOutFrom != 0) {
        assume(m_beginsInside ? "the log begins inside an operation: passed over up to where one begins"
               : m_unclear    ? "no record tells what begins here: passed over up to where it is clear"
                              : "the replay does not log this",
               m_leftOutFrom, m_leftOutTo);
    }
    m_leftOutFrom = 0;
    m_beginsInside = false;
}

void FieldLog::assume(const std::string& what, std::size_t line, std::size_t last)
{
    const auto [known, isNew] = m_assumptions.try_emplace(what, Place{line, 0});
    known->second.more += isNew ? 0 : 1;
    m_comments.push_back((last > line ? "# lines " + std::to_string(line) + " to " + std::to_string(last)
                                      : "# line " + std::to_string(line)) +
                         " of the log: " + what);
}

bool FieldLog::report(std::ostream& output) const
{
    const LogComparison::Difference& difference = m_comparison.firstDifference();
    std::map<std::string, Place> assumptions = m_assumptions;
    const auto add = [&assumptions](const char* what, const FieldRecords::Lines& lines) {
        if (lines.count > 0) {
            assumptions[what] = {lines.first, lines.count - 1};
        }
    };
    const FieldRecords::Lines& unknown = m_records.unknown();
    add("names a component without a text of it that is known: passed over", unknown);
    add("another process logs at the same time: its records are passed over", m_records.ofOthers());
    add("the record is cut: what is missing was taken to agree", m_comparison.cut());
    add("the log ends before its last command does", {m_comparison.endsEarly() ? 1U : 0U, m_records.linesRead()});
    std::string text;
    std::vector<std::pair<std::size_t, std::string>> inOrder;
    inOrder.reserve(assumptions.size());
    for (const auto& [what, place] : assumptions) {
        inOrder.emplace_back(place.line, what + (place.more == 0 ? "" : " (" + std::to_string(place.more) + " more)"));
    }
    std::sort(inOrder.begin(), inOrder.end());
    for (const auto& [line, what] : inOrder) {
        text += m_name + ':' + std::to_string(line) + ": " + what + '\n';
    }
    if (m_commands == 0) {
        output << text << "0 commands; nothing was compared" << std::endl;
        return false;
    }
    text += std::to_string(m_commands) + (m_commands == 1 ? " command" : " commands") + "; the replay logs ";
    if (difference.line == 0) {
        // Little was compared when more was passed over.
        const bool provesLittle = unknown.count > m_comparison.agreeing();
        output << text << "the same"
               << (provesLittle ? " where the log is known: " + std::to_string(m_comparison.agreeing()) +
                                      " records, while " + std::to_string(unknown.count) + " lines were passed over"
                                : "")
               << std::endl;
        return !provesLittle;
    }
    const auto side = [](const std::string& record) {
        return (record.empty() ? "nothing" : shortened(quoted(record), LONGEST_SIDE)) + '\n';
    };
    text += "something else, first at " + m_name + ':' + std::to_string(difference.line) + '\n';
    output << text << "  the log:    " << side(difference.field) << "  the replay: " << side(difference.replay)
           << std::flush;
    return false;
}

}  // namespace deskphone
