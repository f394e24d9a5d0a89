#pragma once

#include <algorithm>
#include <iterator>
#include <string>

#include "Fakes.h"
#include "RecordingStateMachine.h"

/// The state machine's transitions, stated for all tests: they do not read the machine's own tables.
namespace transitions {

struct Event {
    std::string name;
    void (*raise)(RecordingStateMachine&);
};

// clang-format off
enum State : int { ILLEGAL, IDLE, CALL, ACTIVE, REQUESTED, STREAMING, SILENT, AWAY, FAILED };
inline const std::string STATES[] = {
    "ILLEGAL_STATE", "MRS_STA_IDLE", "MRS_STA_IN_CALL", "MRS_STA_ACTIVATED", "MRS_STA_ATTACH_REQUESTED",
    "MRS_STA_STREAMING", "MRS_STA_NON_STREAMING", "MRS_STA_LINE_DESELECTED", "MRS_STA_ERROR"};

inline const Event IN_CALL     {"MRS_EVT_IN_CALL",         [](auto& machine) { machine.EVT_in_call(1); }};
inline const Event NOT_IN_CALL {"MRS_EVT_NOT_IN_CALL",     [](auto& machine) { machine.EVT_not_in_call(); }};
inline const Event ACTIVATE    {"MRS_EVT_ACTIVATE",        [](auto& machine) { machine.EVT_activate(); }};
inline const Event DEACTIVATE  {"MRS_EVT_DEACTIVATE",      [](auto& machine) { machine.EVT_deactivate(); }};
inline const Event ATTACHED    {"MRS_EVT_ATTACHED",        [](auto& machine) { machine.EVT_attached(); }};
inline const Event ERROR       {"MRS_EVT_ERROR",           [](auto& machine) { machine.EVT_error(); }};
inline const Event STREAM      {"MRS_EVT_STREAM",          [](auto& machine) { machine.EVT_streaming(); }};
inline const Event DONT_STREAM {"MRS_EVT_DONT_STREAM",     [](auto& machine) { machine.EVT_non_streaming(); }};
inline const Event SELECTED    {"MRS_EVT_LINE_SELECTED",   [](auto& machine) { machine.EVT_line_selected(); }};
inline const Event DESELECTED  {"MRS_EVT_LINE_DESELECTED", [](auto& machine) { machine.EVT_line_deselected(); }};
inline const Event EVENTS[] = {
    IN_CALL, NOT_IN_CALL, ACTIVATE, DEACTIVATE, ATTACHED, ERROR, STREAM, DONT_STREAM, SELECTED, DESELECTED};

inline const Lines NOTHING;
inline const Lines ATTACH      {"attach(1, rec@host)", "store(eventRecordingStarted(line = sip:100))"};
inline const Lines UNLOCK      {"store(eventRecordingStopped(line = sip:100))"};
inline const Lines DETACH      {"detach(1)", UNLOCK[0], "status(sip:100, 5, content_feature_off)"};
inline const Lines START       {"setDirection(12, 3)", "status(sip:100, 5, content_callrecording_OnFirstTime)"};
inline const Lines RESUME      {"setDirection(12, 3)", "status(sip:100, 5, content_feature_on)"};
inline const Lines AGAIN       {"status(sip:100, 5, content_feature_onForceIndication)"};
inline const Lines PAUSE       {"setDirection(12, 2)", "status(sip:100, 5, content_feature_off)"};
inline const Lines NOT_STARTED {"status(sip:100, 5, content_callrecording_FailedToStart)"};
inline const Lines FAIL        {"setDirection(12, 2)", DETACH[0], DETACH[1], DETACH[2],
                                "status(sip:100, 5, content_common_failed)"};

/// Every transition: state, event, next state, the calls that it makes in order, on line sip:100 with session 1. Other
/// events do nothing.
struct Transition { int state; Event event; int next; Lines calls; };
inline const Transition TRANSITIONS[] = {
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

/// What an event leads to; null when it does nothing.
inline const Transition* transitionFrom(int state, const std::string& event)
{
    const auto* const found = std::find_if(std::begin(TRANSITIONS), std::end(TRANSITIONS), [&](const Transition& row) {
        return row.state == state && row.event.name == event;
    });
    return found == std::end(TRANSITIONS) ? nullptr : found;
}

}  // namespace transitions
