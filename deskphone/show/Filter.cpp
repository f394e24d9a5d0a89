#include "show/Filter.h"

#include <algorithm>
#include <utility>

#include "scenario/Commands.h"
#include "scenario/Words.h"

namespace deskphone {

namespace {

// The places of commands that name a line; in every command that has one of them, it is the first.
constexpr const char* LINE = "LINE";
constexpr const char* HANDLE = "H";

// The value told of a line is the line, this and what is told.
constexpr char BEHIND_LINE = ';';

template <typename Test>
bool anyRecord(const Step& step, Test test)
{
    return std::any_of(step.records.begin(), step.records.end(),
                       [&test](const auto& ofThread) { return std::any_of(ofThread.begin(), ofThread.end(), test); });
}

bool warns(const Step& step)
{
    return anyRecord(step, [](const Record& record) {
        const auto* const log = std::get_if<LogLine>(&record);
        return log != nullptr && log->level <= LOG_LEVEL_WARNING;
    });
}

/// The entries, [id, key, value] each, if the call tells any.
List toldBy(const Call& call)
{
    return call.name == "LocalMgmtIfc.publishData" ? std::get<List>(call.arguments[0]) : List{};
}

std::string textAt(std::size_t index, const Value& entry)
{
    return std::get<std::string>(std::get<List>(entry)[index]);
}

}  // namespace

Filter::Filter(Selection selection, std::vector<std::unique_ptr<Show>> shows)
    : m_selection(std::move(selection)),
      m_shows(std::move(shows)),
      m_lines(m_selection.lines.begin(), m_selection.lines.end())
{
}

void Filter::add(const Step& step)
{
    const bool selected = selects(step);
    for (const auto& show : m_shows) {
        selected ? show->add(step) : show->passOver(step);
    }
}

void Filter::passOver(const Step& step)
{
    selects(step);
    for (const auto& show : m_shows) {
        show->passOver(step);
    }
}

void Filter::finish()
{
    for (const auto& show : m_shows) {
        show->finish();
    }
}

void Filter::breakOff()
{
    for (const auto& show : m_shows) {
        show->breakOff();
    }
}

/// Which line a step touches, and what it changes, is also told by the machines.
bool Filter::showsMachines() const
{
    return !m_lines.empty() || m_selection.changes ||
           std::any_of(m_shows.begin(), m_shows.end(), [](const auto& show) { return show->showsMachines(); });
}

bool Filter::selects(const Step& step)
{
    noteSession(step);
    const bool changed = changes(step);
    const bool inRange = step.number >= m_selection.first && step.number <= m_selection.last;
    const bool ofLine = m_lines.empty() || touches(step);
    const bool ofKind = (!m_selection.changes && !m_selection.warnings) || (m_selection.changes && changed) ||
                        (m_selection.warnings && warns(step));
    if (!step.serviceRuns) {
        m_handles.clear();
    }
    return inRange && ofLine && ofKind;
}

bool Filter::touches(const Step& step) const
{
    const Words& words = step.command;
    const auto* const answer = std::get_if<std::string>(&step.result);
    if (answer != nullptr && commandNamed(words.front()).result == std::string(LINE) && m_lines.count(*answer) > 0) {
        return true;
    }
    const std::string place = placeAfter({words.front()});
    int handle = 0;
    if (place == LINE ? m_lines.count(words[1]) > 0
        : place == HANDLE
            ? readNumber(words[1], handle) && m_handles.count(handle) > 0
            : std::any_of(words.begin() + 1, words.end(), [this](const std::string& word) { return isTold(word); })) {
        return true;
    }
    return anyRecord(step, [this](const Record& record) {
        const auto* const call = std::get_if<Call>(&record);
        const auto* const event = std::get_if<MachineEvent>(&record);
        const auto* const refusal = std::get_if<Refusal>(&record);
        return (call != nullptr && touches(*call)) || (event != nullptr && m_lines.count(event->line) > 0) ||
               (refusal != nullptr && m_lines.count(refusal->line) > 0);
    });
}

bool Filter::touches(const Call& call) const
{
    if (call.name == "CSfi.attachRecSession" || call.name == "CSfi.detachRecSession") {
        return m_handles.count(std::get<int>(call.arguments[0])) > 0;
    }
    if (call.name == "CommunicationsServiceEventIfc.callRecordingStatus") {
        return m_lines.count(std::get<std::string>(call.arguments[0])) > 0;
    }
    const List told = toldBy(call);
    return std::any_of(told.begin(), told.end(), [this](const Value& entry) { return isTold(textAt(2, entry)); });
}

/// Whether the value is told of one of the lines.
bool Filter::isTold(const std::string& value) const
{
    const std::size_t end = value.rfind(BEHIND_LINE);
    return end != std::string::npos && m_lines.count(value.substr(0, end)) > 0;
}

void Filter::noteSession(const Step& step)
{
    const int* const handle = std::get_if<int>(&step.result);
    if (handle == nullptr || commandNamed(step.command.front()).result != std::string(HANDLE)) {
        return;
    }
    if (m_lines.count(step.command[1]) > 0) {
        m_handles.insert(*handle);
    } else {
        m_handles.erase(*handle);
    }
}

bool Filter::changes(const Step& step)
{
    bool lampOn = step.lampWasOn;
    bool changed = false;
    for (const auto& ofThread : step.records) {
        for (const Record& record : ofThread) {
            if (const auto* const event = std::get_if<MachineEvent>(&record)) {
                changed = changed || (!event->to.empty() && event->to != event->from);
            } else if (const auto* const call = std::get_if<Call>(&record)) {
                const bool lamp = lampSetBy(*call).value_or(lampOn);
                changed = tellsNews(*call) || lamp != lampOn || changed;
                lampOn = lamp;
            }
        }
    }
    return changed;
}

bool Filter::tellsNews(const Call& call)
{
    bool news = false;
    for (const Value& entry : call.refused ? List{} : toldBy(call)) {
        std::string what = textAt(0, entry);
        std::string value = textAt(2, entry);
        if (what == "call-recording-active") {
            const std::size_t end = std::min(value.rfind(BEHIND_LINE), value.size());
            what += ' ' + value.substr(0, end);
            value.erase(0, end);
        }
        const auto [known, isNew] = m_told.try_emplace(what, value);
        news = news || isNew || known->second != value;
        known->second = value;
    }
    return news;
}

}  // namespace deskphone
