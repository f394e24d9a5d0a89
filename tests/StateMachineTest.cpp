#include "RecordingStateMachine.h"

#include <gmock/gmock.h>

#include <locale>

#include <algorithm>
#include <cctype>

#include "Fakes.h"
#include "Logging.h"
#include "RecordingSessionController.h"
#include "Transitions.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using namespace transitions;

// clang-format off
/// How a fresh machine is brought into each state, all with a known session, and the state that it comes from.
struct Route { int state; int previous; std::vector<Event> events; };
const Route ROUTES[] = {
    {IDLE,      CALL,      {IN_CALL, NOT_IN_CALL}},
    {CALL,      IDLE,      {IN_CALL}},
    {ACTIVE,    IDLE,      {IN_CALL, NOT_IN_CALL, ACTIVATE}},
    {REQUESTED, ACTIVE,    {ACTIVATE, IN_CALL}},
    {STREAMING, REQUESTED, {ACTIVATE, IN_CALL, ATTACHED}},
    {SILENT,    REQUESTED, {ACTIVATE, IN_CALL, DONT_STREAM}},
    {AWAY,      STREAMING, {ACTIVATE, IN_CALL, ATTACHED, DESELECTED}},
    {FAILED,    REQUESTED, {ACTIVATE, IN_CALL, ERROR}},
};
// clang-format on

/// The machine of line sip:100 with session 1, and a journal of what leaves it: its calls, the start and the end of a
/// recording as the store notes them, warnings and errors. The newest one has the log.
struct Line : runtime::LogSink {
    explicit Line(bool withSessions = true, bool withStore = true)
        : machine(&eventLayer, withSessions ? &sessions : nullptr, withStore ? &store : nullptr)
    {
        *sessions.getSession(sessions.createSession()) = {5, "sip:100", 12};
        store.setDataItem(CALL_RECORDER_ADDRESS_CONFIG, "later@host");
        store.setDataItem(CALL_RECORDER_ADDRESS, "rec@host");
        runtime::setLogLevel(LOG_LEVEL_DETAIL);
        runtime::setLogSink(this);
    }
    ~Line() override
    {
        runtime::setLogSink(nullptr);
        runtime::setLogLevel(0);
    }

    void log(const char* component, const char* source, int level, int, const std::string& text) override
    {
        EXPECT_EQ(source, std::string("./src/") + component);
        if (component == std::string("RecordingConfigManager")) {
            if (text.rfind("eventRecording", 0) == 0) {
                journal.call("store", text);
            }
        } else if (level <= LOG_LEVEL_WARNING) {
            journal.call(level == LOG_LEVEL_WARNING ? "warning" : "error", text);
        }
        if (component == std::string("RecordingStateMachine")) {
            traces.push_back(std::to_string(level) + " " + text);
            if (onTransition && text.find("ExecuteAction") != std::string::npos) {
                onTransition();
            }
        }
    }

    /// What the events make the machine do.
    Lines after(const std::vector<Event>& events)
    {
        for (const Event& event : events) {
            event.raise(machine);
        }
        return journal.take();
    }
    void bringInto(int state) { after(ROUTES[state - IDLE].events); }

    Journal journal;
    FakeEventLayer eventLayer{journal};
    RecordingSessionController sessions{&eventLayer};
    RecordingConfigManager store{nullptr};
    RecordingStateMachine machine;
    Lines traces;                        // the machine's own
    std::function<void()> onTransition;  // made, but its action has not run
};

const std::string SESSION = "1; lURI=sip:100; cID=5; msID=12";

std::string dumped(int state, const Event& event, int previous, const std::string& session = SESSION)
{
    return "[ cSTA=" + STATES[state] + "; pEVT=" + event.name + "; pSTA=" + STATES[previous] + "; mrsID=" + session +
           "]";
}

/// "ACT_in_call" for MRS_STA_IN_CALL.
std::string actionOf(int state)
{
    std::string name = STATES[state].substr(std::string("MRS_STA_").size());
    std::transform(name.begin(), name.end(), name.begin(), [](char c) { return static_cast<char>(std::tolower(c)); });
    return "ACT_" + name;
}

TEST(RecordingStateMachine, MakesExactlyItsTransitionsWithTheirCallsInOrder)
{
    for (const Route& route : ROUTES) {
        for (const Event& event : EVENTS) {
            SCOPED_TRACE(STATES[route.state] + " on " + event.name);
            Line line;
            line.bringInto(route.state);
            ASSERT_EQ(line.machine.dump(), dumped(route.state, route.events.back(), route.previous));
            const Transition nothing{route.previous, event, route.state, NOTHING};
            const Transition* const found = transitionFrom(route.state, event.name);
            const Transition& expected = found != nullptr ? *found : nothing;
            EXPECT_EQ(line.after({event}), expected.calls);
            EXPECT_EQ(line.machine.dump(), dumped(expected.next, event, expected.state));
            EXPECT_EQ(line.machine.getState(), expected.next);
            EXPECT_EQ(line.machine.getStateName(), STATES[expected.next]);
            EXPECT_EQ(line.machine.getSessionInCall(), expected.next != IDLE && expected.next != ACTIVE);
        }
    }
}

TEST(RecordingStateMachine, StartsIdleAndTakesTheHandleOfEveryCallButZero)
{
    Line line;
    EXPECT_EQ(line.machine.getState(), 1);
    EXPECT_EQ(line.machine.getStateName(), "MRS_STA_IDLE");
    EXPECT_FALSE(line.machine.getSessionInCall());
    EXPECT_THAT(line.traces, ElementsAre("5 getState(): returning state 1",
                                         "5 getStateName(): returning state MRS_STA_IDLE", "5 getSessionInCall()"));
    line.after({STREAM});
    EXPECT_EQ(line.machine.dump(), dumped(IDLE, STREAM, IDLE, "0"));

    line.bringInto(IDLE);
    line.machine.EVT_in_call(0);
    EXPECT_EQ(line.machine.dump(), dumped(CALL, IN_CALL, IDLE));
    line.after({ACTIVATE, ATTACHED});
    line.machine.EVT_in_call(7);
    EXPECT_EQ(line.machine.dump(), dumped(STREAMING, IN_CALL, REQUESTED, "7")) << "also without a transition";
    EXPECT_EQ(line.journal.take(), NOTHING);
}

TEST(RecordingStateMachine, IsDumpedAlikeInEveryLocale)
{
    struct Grouped : std::numpunct<char> {
        std::string do_grouping() const override { return "\3"; }
    };
    Line line;
    const std::locale before = std::locale::global(std::locale(std::locale(), new Grouped));
    line.machine.EVT_in_call(1234567);
    const std::string dump = line.machine.dump();
    std::locale::global(before);
    EXPECT_THAT(dump, HasSubstr("mrsID=1234567"));
}

TEST(RecordingStateMachine, FinishesItsActionWhateverFails)
{
    const auto noLine = [](const std::string& verb) {
        return "warning(setDatasetSynchronizationLock(): lineURI == \"\"; Could not " + verb +
               " config manager for incoming changes.)";
    };
    const std::string notSent = "error(Failed to retrieve recording session associated with m_mrsID == 1)";

    Line unnamed;
    unnamed.sessions.getSession(1)->lineURI.clear();
    EXPECT_THAT(unnamed.after({ACTIVATE, IN_CALL}), ElementsAre(ATTACH[0], noLine("lock")));

    Line ended;
    ended.bringInto(STREAMING);
    ended.sessions.destroySession(1);
    EXPECT_THAT(ended.after({ERROR}),
                ElementsAre("error(invalid session or direction)", DETACH[0], noLine("unlock"), notSent, notSent));

    Line withoutTable(false, true);
    EXPECT_THAT(withoutTable.after({ACTIVATE, IN_CALL}), ElementsAre(ATTACH[0], noLine("lock")));
    EXPECT_THAT(withoutTable.after({ATTACHED}), ElementsAre(notSent));
    EXPECT_THAT(withoutTable.after({NOT_IN_CALL}), ElementsAre(DETACH[0], noLine("unlock"), notSent));
    EXPECT_EQ(withoutTable.machine.dump(), dumped(ACTIVE, NOT_IN_CALL, STREAMING, "1"));

    Line withoutStore(true, false);
    EXPECT_THAT(withoutStore.after({ACTIVATE, IN_CALL}),
                ElementsAre("error(m_configManager==NULL. Cannot call commsIfc->attachRecSession.)"));
    EXPECT_EQ(withoutStore.after({ATTACHED}), START);
    EXPECT_THAT(withoutStore.after({NOT_IN_CALL}), ElementsAre(DETACH[0], DETACH[2]));

    Line zero;
    zero.sessions.storeSession(0, *new RecordingSession{5, "sip:100", 12});
    zero.machine.EVT_in_call(0);
    EXPECT_THAT(zero.after({ACTIVATE, ATTACHED}),
                ElementsAre("attach(0, rec@host)", noLine("lock"),
                            "error(Invalid m_mrsID==0. Cannot call setDirection(..,dir=sendonly))", START[1]))
        << "the handle 0 is no session to lock for or to direct, even if there were one";
}

TEST(RecordingStateMachine, WarnsAndMakesNoCallAfterAStateThatDoesNotLeadToItsNewOne)
{
    for (const Transition& row : TRANSITIONS) {
        for (int previous = ILLEGAL; previous <= FAILED; ++previous) {
            SCOPED_TRACE(STATES[row.next] + " after " + STATES[previous]);
            const bool leadsThere = std::any_of(std::begin(TRANSITIONS), std::end(TRANSITIONS), [&](const auto& other) {
                return other.state == previous && other.next == row.next;
            });
            Line line;
            line.bringInto(row.state);
            line.onTransition = [&] {  // no event leads from there
                line.machine.setState(previous);
                line.machine.setState(row.next);
            };
            const Lines calls = line.after({row.event});
            if (row.next == REQUESTED && previous == AWAY) {
                EXPECT_EQ(calls, ATTACH);
            } else {
                const std::string warning = "warning(" + actionOf(row.next) +
                                            ": Unexpected previous state (=" + std::to_string(previous) + ") )";
                EXPECT_EQ(calls == Lines{warning}, !leadsThere) << testing::PrintToString(calls);
            }
            EXPECT_EQ(line.machine.dump(), dumped(row.next, row.event, previous)) << "the transition stays made";
        }
    }
}

TEST(RecordingStateMachine, MakesNoTransitionFromTheIllegalState)
{
    Line line;
    line.machine.setState(ILLEGAL);
    for (const Event& event : EVENTS) {
        line.traces.clear();
        EXPECT_EQ(line.after({event}), NOTHING);
        EXPECT_THAT(line.traces, ElementsAre("5 getState(): returning state 0",
                                             testing::EndsWith("::ExecuteAction(event=" + event.name +
                                                               "): current state = ILLEGAL_STATE; no transition made"),
                                             "5 ACT_no_action"));
        EXPECT_EQ(line.machine.dump(), dumped(ILLEGAL, event, IDLE));
    }
}

}  // namespace
