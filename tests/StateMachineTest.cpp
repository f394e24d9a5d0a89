#include "RecordingStateMachine.h"

#include <gmock/gmock.h>

#include <set>

#include "Fakes.h"
#include "Logging.h"
#include "RecordingConfigManager.h"
#include "RecordingSessionController.h"

using testing::ElementsAre;

namespace {

struct Event {
    std::string name;
    void (*raise)(RecordingStateMachine&);
};

// clang-format off
enum { ILLEGAL, IDLE, CALL, ACTIVE, REQUESTED, STREAMING, SILENT, AWAY, FAILED };
const std::string STATES[] = {
    "ILLEGAL_STATE", "MRS_STA_IDLE", "MRS_STA_IN_CALL", "MRS_STA_ACTIVATED", "MRS_STA_ATTACH_REQUESTED",
    "MRS_STA_STREAMING", "MRS_STA_NON_STREAMING", "MRS_STA_LINE_DESELECTED", "MRS_STA_ERROR"};

const Event IN_CALL     {"MRS_EVT_IN_CALL",         [](auto& machine) { machine.EVT_in_call(1); }};
const Event NOT_IN_CALL {"MRS_EVT_NOT_IN_CALL",     [](auto& machine) { machine.EVT_not_in_call(); }};
const Event ACTIVATE    {"MRS_EVT_ACTIVATE",        [](auto& machine) { machine.EVT_activate(); }};
const Event DEACTIVATE  {"MRS_EVT_DEACTIVATE",      [](auto& machine) { machine.EVT_deactivate(); }};
const Event ATTACHED    {"MRS_EVT_ATTACHED",        [](auto& machine) { machine.EVT_attached(); }};
const Event ERROR       {"MRS_EVT_ERROR",           [](auto& machine) { machine.EVT_error(); }};
const Event STREAM      {"MRS_EVT_STREAM",          [](auto& machine) { machine.EVT_streaming(); }};
const Event DONT_STREAM {"MRS_EVT_DONT_STREAM",     [](auto& machine) { machine.EVT_non_streaming(); }};
const Event SELECTED    {"MRS_EVT_LINE_SELECTED",   [](auto& machine) { machine.EVT_line_selected(); }};
const Event DESELECTED  {"MRS_EVT_LINE_DESELECTED", [](auto& machine) { machine.EVT_line_deselected(); }};
const Event EVENTS[] = {
    IN_CALL, NOT_IN_CALL, ACTIVATE, DEACTIVATE, ATTACHED, ERROR, STREAM, DONT_STREAM, SELECTED, DESELECTED};

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

const Lines NOTHING;
const Lines ATTACH      {"attach(1, rec@host)", "store(eventRecordingStarted(line = sip:100))"};
const Lines UNLOCK      {"store(eventRecordingStopped(line = sip:100))"};
const Lines DETACH      {"detach(1)", UNLOCK[0], "status(sip:100, 5, content_feature_off)"};
const Lines START       {"setDirection(12, 3)", "status(sip:100, 5, content_callrecording_OnFirstTime)"};
const Lines RESUME      {"setDirection(12, 3)", "status(sip:100, 5, content_feature_on)"};
const Lines AGAIN       {"status(sip:100, 5, content_feature_onForceIndication)"};
const Lines PAUSE       {"setDirection(12, 2)", "status(sip:100, 5, content_feature_off)"};
const Lines NOT_STARTED {"status(sip:100, 5, content_callrecording_FailedToStart)"};
const Lines FAIL        {"setDirection(12, 2)", DETACH[0], DETACH[1], DETACH[2],
                         "status(sip:100, 5, content_common_failed)"};

/// Every transition: state, event, next state, the calls that it makes in order. Other events do nothing.
struct Transition { int state; Event event; int next; Lines calls; };
const Transition TRANSITIONS[] = {
    {IDLE,      IN_CALL,     CALL,      NOTHING},
    {IDLE,      ACTIVATE,    ACTIVE,    NOTHING},
    {CALL,      NOT_IN_CALL, IDLE,      NOTHING},
    {CALL,      ACTIVATE,    REQUESTED, ATTACH},
    {ACTIVE,    IN_CALL,     REQUESTED, ATTACH},
    {ACTIVE,    DEACTIVATE,  IDLE,      NOTHING},
    {REQUESTED, NOT_IN_CALL, ACTIVE,    DETACH},
    {REQUESTED, DEACTIVATE,  CALL,      DETACH},
    {REQUESTED, ATTACHED,    STREAMING, START},
    {REQUESTED, ERROR,       FAILED,    NOT_STARTED},
    {REQUESTED, DONT_STREAM, SILENT,    PAUSE},
    {STREAMING, NOT_IN_CALL, ACTIVE,    DETACH},
    {STREAMING, DEACTIVATE,  CALL,      DETACH},
    {STREAMING, ERROR,       FAILED,    FAIL},
    {STREAMING, STREAM,      STREAMING, AGAIN},
    {STREAMING, DONT_STREAM, SILENT,    PAUSE},
    {STREAMING, DESELECTED,  AWAY,      PAUSE},
    {SILENT,    NOT_IN_CALL, ACTIVE,    DETACH},
    {SILENT,    DEACTIVATE,  CALL,      DETACH},
    {SILENT,    ERROR,       FAILED,    FAIL},
    {SILENT,    STREAM,      STREAMING, RESUME},
    {SILENT,    DESELECTED,  AWAY,      PAUSE},
    {AWAY,      NOT_IN_CALL, ACTIVE,    UNLOCK},
    {AWAY,      DEACTIVATE,  CALL,      UNLOCK},
    {AWAY,      ERROR,       FAILED,    FAIL},
    {AWAY,      SELECTED,    STREAMING, RESUME},
    {FAILED,    NOT_IN_CALL, ACTIVE,    UNLOCK},
    {FAILED,    DEACTIVATE,  CALL,      UNLOCK},
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

}  // namespace

TEST(RecordingStateMachine, MakesExactlyItsTransitionsWithTheirCallsInOrder)
{
    for (const Route& route : ROUTES) {
        for (const Event& event : EVENTS) {
            SCOPED_TRACE(STATES[route.state] + " on " + event.name);
            Line line;
            line.bringInto(route.state);
            ASSERT_EQ(line.machine.dump(), dumped(route.state, route.events.back(), route.previous));
            Transition expected{route.previous, event, route.state, NOTHING};
            for (const Transition& row : TRANSITIONS) {
                if (row.state == route.state && row.event.name == event.name) {
                    expected = row;
                }
            }
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
    const RecordingStateMachine another(&line.eventLayer, &line.sessions, &line.store);
    EXPECT_THAT(line.traces, ElementsAre());
    EXPECT_EQ(line.machine.getState(), 1);
    EXPECT_EQ(line.machine.getStateName(), "MRS_STA_IDLE");
    EXPECT_FALSE(line.machine.getSessionInCall());
    EXPECT_EQ(line.machine.dump(), "[ cSTA=MRS_STA_IDLE; pEVT=; pSTA=MRS_STA_IDLE; mrsID=0]");
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

TEST(RecordingStateMachine, FinishesItsActionWhateverFails)
{
    const auto noLine = [](const std::string& verb) {
        return "warning(setDatasetSynchronizationLock(): lineURI == \"\"; Could not " + verb +
               " config manager for incoming changes.)";
    };
    const std::string notSent = "error(Failed to retrieve recording session associated with m_mrsID == 1)";

    Line refused;
    refused.eventLayer.directionAnswer = false;
    refused.bringInto(STREAMING);
    EXPECT_EQ(refused.after({ERROR}), FAIL);
    EXPECT_EQ(refused.after({NOT_IN_CALL}), UNLOCK);

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
    const std::pair<std::string, std::set<int>> actions[] = {
        {"", {}},
        {"ACT_idle", {CALL, ACTIVE}},
        {"ACT_in_call", {IDLE, REQUESTED, STREAMING, SILENT, AWAY, FAILED}},
        {"ACT_activated", {IDLE, REQUESTED, STREAMING, SILENT, AWAY, FAILED}},
        {"ACT_attach_requested", {CALL, ACTIVE, AWAY}},
        {"ACT_streaming", {REQUESTED, STREAMING, SILENT, AWAY}},
        {"ACT_non_streaming", {REQUESTED, STREAMING}},
        {"ACT_line_deselected", {STREAMING, SILENT}},
        {"ACT_error", {REQUESTED, STREAMING, SILENT, AWAY}},
    };
    for (const Transition& row : TRANSITIONS) {
        const auto& [action, from] = actions[row.next];
        for (int previous = ILLEGAL; previous <= FAILED; ++previous) {
            SCOPED_TRACE(action + " after " + STATES[previous]);
            Line line;
            line.bringInto(row.state);
            line.onTransition = [&line, &row, state = previous] {  // no event leads from there
                line.machine.setState(state);
                line.machine.setState(row.next);
            };
            const Lines calls = line.after({row.event});
            const Lines warning{"warning(" + action + ": Unexpected previous state (=" + std::to_string(previous) +
                                ") )"};
            EXPECT_EQ(calls == warning, from.count(previous) == 0) << testing::PrintToString(calls);
            EXPECT_EQ(line.machine.dump(), dumped(row.next, row.event, previous)) << "the transition stays made";
            if (row.next == REQUESTED && previous == AWAY) {
                EXPECT_EQ(calls, ATTACH);
            }
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
