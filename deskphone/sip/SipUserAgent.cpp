#include "sip/SipUserAgent.h"

#include <arpa/inet.h>
#include <sofia-sip/url.h>

#include <algorithm>
#include <ctime>
#include <random>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "communicationsServiceTexts.h"
#include "scenario/Words.h"

namespace deskphone {

namespace {

constexpr std::size_t MOST_CALLS = 200;
constexpr std::chrono::milliseconds INDICATION_DELAY{50};

std::string timeOfDay()
{
    timespec now{};
    std::timespec_get(&now, TIME_UTC);
    std::tm local{};
    ::localtime_r(&now.tv_sec, &local);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%H:%M:%S", &local);
    std::snprintf(text + length, sizeof text - length, ".%03d", static_cast<int>(now.tv_nsec / 1000000));
    return text;
}

/// Before a change that crossed one of the other side is tried again (RFC 3261, 14.1).
std::chrono::milliseconds timeToWait(bool beganDialog)
{
    const auto part = static_cast<int>(std::random_device()() % 191);
    return std::chrono::milliseconds(beganDialog ? 2100 + 10 * part : 10 * part);
}

/// What another party says, in a comment of one line.
std::string harmless(std::string text)
{
    constexpr std::size_t longest = 200;
    text.resize(std::min(text.size(), longest));
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
    return text;
}

template <typename Map>
void eraseFrom(Map& dialogs, const Dialog* dialog)
{
    const auto found =
        std::find_if(dialogs.begin(), dialogs.end(), [dialog](const auto& one) { return one.second.get() == dialog; });
    if (found != dialogs.end()) {
        dialogs.erase(found);
    }
}

NetworkSettings checked(const NetworkSettings& settings)
{
    in_addr address{};
    if (::inet_pton(AF_INET, settings.address.c_str(), &address) != 1) {
        throw std::runtime_error("--sip " + settings.address + ": expected an IPv4 address of this machine");
    }
    for (const auto& [option, text] :
         {std::pair("--registrar ", settings.registrar), std::pair("--recorder ", settings.recorder)}) {
        if (SipUri uri; !text.empty() && !readUri(text, uri)) {
            throw std::runtime_error(option + text + ": expected a SIP URI as sip:USER@HOST");
        }
    }
    return settings;
}

}  // namespace

std::unique_ptr<UserAgent> UserAgent::start(const NetworkSettings& settings, Happenings& happenings)
{
    return std::make_unique<SipUserAgent>(settings, happenings);
}

SipUserAgent::SipUserAgent(const NetworkSettings& settings, Happenings& happenings)
    : m_settings(checked(settings)),
      m_happenings(happenings),
      m_voice(settings.voice),
      m_accounts(settings),
      m_stack(settings,
              [this](nua_handle_t* handle, Dialog* dialog, const SipEvent& event) { happened(handle, dialog, event); }),
      m_media(m_voice, {[this](int recording) {
                            m_stack.post([this, recording] {
                                withRecording(recording, [](Recording& one) { one.firstCopiesSent(); });
                            });
                        },
                        [this](int recording) {
                            m_stack.post([this, recording] {
                                withRecording(recording, [](Recording& one) { one.portIsClosed(); });
                            });
                        }})
{
    m_stack.perform([this] {
        m_takesCalls = true;
        if (!m_settings.registrar.empty()) {
            registerAccounts();
        }
    });
}

void SipUserAgent::registerAccounts()
{
    for (const Account& account : m_accounts.all()) {
        const std::string name = '<' + account.uri + '>';
        nua_handle_t* const handle =
            nua_handle(m_stack.agent(), nullptr, SIPTAG_TO_STR(name.c_str()), SIPTAG_FROM_STR(name.c_str()), TAG_END());
        m_registrations.push_back(std::make_unique<Registration>(
            handle, m_settings.registrar, account.user,
            [this, uri = account.uri](const std::string& what) { report(uri + ' ' + what); }));
        introduce(*m_registrations.back(), account.uri);
    }
}

/// Lets the dialog answer challenges in the name of the line.
void SipUserAgent::introduce(Dialog& dialog, const std::string& line) const
{
    if (const Account* const account = m_accounts.find(line)) {
        dialog.knowAs(account->user, account->password);
    }
}

SipUserAgent::~SipUserAgent()
{
    m_stack.perform([this] {
        m_takesCalls = false;
        m_recordings.clear();
        m_calls.clear();
        m_registrations.clear();
    });
}

std::string SipUserAgent::place() const
{
    return m_stack.address() + ':' + std::to_string(m_stack.port());
}

std::string SipUserAgent::dial(const std::string& line, const std::string& uri, int& call)
try {
    std::string wrong;
    m_stack.perform([&] {
        if (SipUri far; !readUri(uri, far)) {
            wrong = uri + " is no SIP URI; expected sip:USER@HOST";
        } else if (m_calls.size() >= MOST_CALLS) {
            wrong = "there are " + std::to_string(MOST_CALLS) + " calls already";
        } else {
            call = ++m_lastCall;
            nua_handle_t* const handle =
                nua_handle(m_stack.agent(), nullptr, NUTAG_URL(uri.c_str()), SIPTAG_TO_STR(('<' + uri + '>').c_str()),
                           SIPTAG_FROM_STR(('<' + line + '>').c_str()), TAG_END());
            auto& dialled = m_calls[call] = std::make_unique<PhoneCall>(
                call, handle, PhoneCall::Parties{line, uri, false}, m_media, m_stack.address(), *this);
            tell(call, "calls " + uri + " from " + line);
            introduce(*dialled, line);
            dialled->dial();
        }
    });
    return wrong;
} catch (const std::system_error& failure) {
    return failure.what();
}

PhoneCall* SipUserAgent::find(int call)
{
    const auto found = m_calls.find(call);
    return found == m_calls.end() ? nullptr : found->second.get();
}

std::string SipUserAgent::withCall(int call, const std::function<std::string(PhoneCall&)>& use)
{
    std::string wrong;
    m_stack.perform([&] {
        PhoneCall* const found = find(call);
        const std::string name = "call " + std::to_string(call);
        if (found == nullptr) {
            wrong = call > 0 && call <= m_lastCall ? name + " has ended" : "there is no " + name;
        } else if (const std::string failure = use(*found); !failure.empty()) {
            wrong = name + ' ' + failure;
        }
    });
    return wrong;
}

std::string SipUserAgent::answer(int call)
{
    return withCall(call, [](PhoneCall& one) { return one.answer(); });
}

std::string SipUserAgent::hangUp(int call)
{
    return withCall(call, [](PhoneCall& one) { return one.hangUp(); });
}

std::string SipUserAgent::hold(int call)
{
    return withCall(call, [](PhoneCall& one) { return one.hold(true); });
}

std::string SipUserAgent::resume(int call)
{
    return withCall(call, [](PhoneCall& one) { return one.hold(false); });
}

bool SipUserAgent::isRinging(int call)
{
    bool rings = false;
    m_stack.perform([&] {
        const PhoneCall* const one = find(call);
        rings = one != nullptr && one->isRinging();
    });
    return rings;
}

int SipUserAgent::callOn(const std::string& line, std::string& farEnd)
{
    int number = 0;
    m_stack.perform([&] {
        for (const auto& [one, call] : m_calls) {
            if (call->parties().line == line && !call->hasEnded()) {
                number = one;
                farEnd = call->parties().farEnd;
            }
        }
    });
    return number;
}

bool SipUserAgent::leave()
{
    bool left = false;
    m_stack.perform([&] {
        for (const auto& call : m_calls) {
            call.second->hangUp();
        }
        if (std::exchange(m_takesCalls, false)) {
            for (const auto& registration : m_registrations) {
                registration->end();
            }
        }
        left = m_calls.empty() && m_recordings.empty();
    });
    return left;
}

void SipUserAgent::sessionCreated(int session, int call)
{
    m_stack.post([this, session, call] {
        if (session == 0) {
            return;
        }
        const PhoneCall* const recorded = find(call);
        m_sessions[call] = session;
        if (const auto early = m_early.find(session); early != m_early.end()) {
            beginRecording(session, call, early->second);
            m_early.erase(early);
        }
        if (call > 0 && call <= m_lastCall && (recorded == nullptr || recorded->hasEnded())) {
            destroySession(call, "call " + std::to_string(call) + " has ended meanwhile");
        }
    });
}

void SipUserAgent::destroySession(int call, const std::string& why)
{
    if (const auto session = m_sessions.find(call); session != m_sessions.end()) {
        report(why, {"LMSDestroySession", std::to_string(session->second)});
        m_sessions.erase(session);
    }
}

void SipUserAgent::withRecording(int recording, const std::function<void(Recording&)>& use)
{
    if (const auto found = m_recordings.find(recording); found != m_recordings.end() && !found->second->hasEnded()) {
        use(*found->second);
    }
}

void SipUserAgent::withRecordingsOf(int call, const std::function<void(Recording&)>& use)
{
    for (const auto& recording : m_recordings) {
        if (recording.second->numbers().call == call && !recording.second->hasEnded()) {
            use(*recording.second);
        }
    }
}

template <typename Chosen>
void SipUserAgent::endRecordings(Chosen isChosen)
{
    for (const auto& recording : m_recordings) {
        if (isChosen(recording.second->numbers())) {
            Recording::Numbers ignored{};
            saysNoMore(recording.first, ignored);
            recording.second->end();
        }
    }
}

void SipUserAgent::attach(int session, const std::string& recorder)
{
    m_stack.post([this, session, recorder] {
        const auto known = std::find_if(m_sessions.begin(), m_sessions.end(),
                                        [session](const auto& one) { return one.second == session; });
        if (known != m_sessions.end()) {
            beginRecording(session, known->first, recorder);
        } else {
            // Call control is told the session's handle in a moment; the plug-in's worker was quicker.
            m_early[session] = recorder;
        }
    });
}

void SipUserAgent::beginRecording(int session, int call, const std::string& address)
{
    const auto refuse = [&](int status, const std::string& why) {
        report("recording of call " + std::to_string(call) + ": " + why,
               {"LMSEventErrorStatus", std::to_string(session), std::to_string(status)});
    };
    const PhoneCall* const recorded = find(call);
    SipUri uri;
    const bool isUri = readUri(address, uri);
    const std::string& recorder = isUri ? address : m_settings.recorder;
    if (recorded == nullptr || !recorded->stands()) {
        refuse(481, "the call does not stand");
        return;
    }
    if (!isUri && !readUri(recorder, uri)) {
        refuse(416, "the recorder's address " + quoted(address) + " is no SIP URI");
        return;
    }
    endRecordings([session](const Recording::Numbers& numbers) { return numbers.session == session; });
    const int number = ++m_lastRecording;
    const PhoneCall::Parties& parties = recorded->parties();
    nua_handle_t* const handle =
        nua_handle(m_stack.agent(), nullptr, NUTAG_URL(recorder.c_str()), SIPTAG_TO_STR(('<' + recorder + '>').c_str()),
                   SIPTAG_FROM_STR(('<' + parties.line + '>').c_str()), TAG_END());
    try {
        auto& recording = m_recordings[number] =
            std::make_unique<Recording>(Recording::Numbers{session, call, number}, handle, m_media, m_stack, *this);
        introduce(*recording, parties.line);
        recording->attach({recorded->identity(), {parties.line, parties.farEnd}, recorded->begin(), std::time(nullptr)},
                          recorded->codec(), recorded->isHeld());
    } catch (const std::system_error& failure) {
        refuse(503, failure.what());
    }
}

void SipUserAgent::detach(int session)
{
    m_stack.post([this, session] {
        m_early.erase(session);
        endRecordings([session](const Recording::Numbers& numbers) { return numbers.session == session; });
    });
}

void SipUserAgent::setDirection(int media, bool sends)
{
    if (!sends) {
        m_media.flow(media, false);  // from this moment on
        // Told at once, while the command that asks is being played: what comes after it may ask for the sound again.
        if (Recording::Numbers numbers{}; saysNoMore(media, numbers)) {
            reportOf(numbers, "paused by the telephone", {"LMSEventNotStreaming"});
        }
    }
    m_stack.post([this, media, sends] {
        withRecording(media, [sends](Recording& recording) { recording.setDirection(sends); });
    });
}

void SipUserAgent::showRecordingStatus(int call, const std::string& status)
{
    using namespace communicationsServiceTexts;
    const bool on = status == content_callrecording_OnFirstTime || status == content_feature_on ||
                    status == content_feature_onForceIndication;
    m_stack.post([this, call, on] {
        if (find(call) != nullptr) {
            m_shownOn[call] = on;
            indicateSoon(call);
        }
    });
}

/// Tells the far end whether the call is recorded, once all that belongs together has come: the plug-in shows its
/// status beside the request to detach, and often twice.
void SipUserAgent::indicateSoon(int call)
{
    m_stack.after(INDICATION_DELAY, [this, call] {
        if (PhoneCall* const found = find(call)) {
            const bool isRecorded = std::any_of(m_recordings.begin(), m_recordings.end(), [call](const auto& one) {
                return one.second->numbers().call == call && !one.second->hasEnded();
            });
            found->indicate(!isRecorded ? "off" : m_shownOn[call] ? "on" : "paused");
        }
    });
}

void SipUserAgent::happened(nua_handle_t* handle, Dialog* dialog, const SipEvent& event)
{
    if (dialog != nullptr) {
        dialog->handle(event);
        if (dialog->isOver()) {
            eraseFrom(m_calls, dialog);
            eraseFrom(m_recordings, dialog);
            m_happenings.put({});  // who waits for this looks again
        }
    } else if (event.kind == nua_i_invite) {
        comesIn(handle, event);
    } else if (handle != nullptr && (event.kind == nua_i_terminated || event.kind == nua_i_options)) {
        nua_handle_destroy(handle);
    }
}

void SipUserAgent::comesIn(nua_handle_t* handle, const SipEvent& event)
{
    const Account* const account = m_accounts.calledBy(*event.message);
    if (!m_takesCalls || account == nullptr || m_calls.size() >= MOST_CALLS) {
        account == nullptr ? nua_respond(handle, SIP_404_NOT_FOUND, TAG_END())
                           : nua_respond(handle, SIP_486_BUSY_HERE, TAG_END());
        return;
    }
    su_home_t home[1] = {SU_HOME_INIT(home)};
    const char* const from = url_as_string(home, event.message->sip_from->a_url);
    const std::string farEnd = harmless(from == nullptr ? "" : from);
    su_home_deinit(home);
    const int number = ++m_lastCall;
    try {
        auto& call = m_calls[number] = std::make_unique<PhoneCall>(
            number, handle, PhoneCall::Parties{account->uri, farEnd, true}, m_media, m_stack.address(), *this);
        if (call->receive(event)) {
            tell(number, "rings on " + account->uri + ", from " + farEnd);
        }
    } catch (const std::system_error& failure) {
        tell(number, std::string("cannot come in: ") + failure.what());
    }
}

void SipUserAgent::report(const std::string& note, Words command)
{
    m_happenings.put({std::move(command), {"# " + timeOfDay() + ' ' + harmless(note)}});
}

void SipUserAgent::tell(int call, const std::string& what)
{
    report("call " + std::to_string(call) + ' ' + what);
}

void SipUserAgent::stands(int call, const std::string& why)
{
    report("call " + std::to_string(call) + ' ' + why,
           {"LMSCreateSession", m_calls.at(call)->parties().line, std::to_string(call)});
}

void SipUserAgent::heldChanged(int call, bool held, const std::string& why)
{
    tell(call, why);
    withRecordingsOf(call, [held](Recording& recording) { recording.holdCall(held); });
}

void SipUserAgent::codecChanged(int call, Codec codec)
{
    withRecordingsOf(call, [codec](Recording& recording) { recording.useCodec(codec); });
}

void SipUserAgent::mustWait(int call, bool beganDialog)
{
    m_stack.after(timeToWait(beganDialog), [this, call] {
        if (PhoneCall* const found = find(call)) {
            found->tryAgain();
        }
    });
}

void SipUserAgent::ended(int call, const std::string& why)
{
    endRecordings([call](const Recording::Numbers& numbers) { return numbers.call == call; });
    const std::string note = "call " + std::to_string(call) + ' ' + why;
    m_shownOn.erase(call);
    m_sessions.count(call) > 0 ? destroySession(call, note) : report(note);
}

/// The handle of the session becomes the command's first argument.
void SipUserAgent::reportOf(const Recording::Numbers& numbers, const std::string& note, Words command)
{
    command.insert(command.begin() + 1, std::to_string(numbers.session));
    report("recording of call " + std::to_string(numbers.call) + ": " + note, std::move(command));
}

/// Whether the recording was said to stream until now; then puts what it is known by into `numbers`.
bool SipUserAgent::saysNoMore(int recording, Recording::Numbers& numbers)
{
    const std::lock_guard<std::mutex> guard(m_lock);
    const auto streaming = m_streaming.find(recording);
    if (streaming == m_streaming.end()) {
        return false;
    }
    numbers = streaming->second;
    m_streaming.erase(streaming);
    return true;
}

void SipUserAgent::attached(const Recording& recording)
{
    reportOf(recording.numbers(), "the recorder takes it",
             {"LMSEventAttached", std::to_string(recording.numbers().own), std::to_string(recording.numbers().call)});
}

void SipUserAgent::streams(const Recording& recording, const std::string& why)
{
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_streaming.insert_or_assign(recording.numbers().own, recording.numbers());
    }
    reportOf(recording.numbers(), why,
             {"LMSEventStreaming", std::to_string(recording.numbers().own), std::to_string(recording.numbers().call)});
}

void SipUserAgent::streamsNot(const Recording& recording, const std::string& why)
{
    Recording::Numbers ignored{};
    saysNoMore(recording.numbers().own, ignored);
    reportOf(recording.numbers(), why, {"LMSEventNotStreaming"});
}

void SipUserAgent::failed(const Recording& recording, int status, const std::string& why)
{
    Recording::Numbers ignored{};
    saysNoMore(recording.numbers().own, ignored);
    reportOf(recording.numbers(), why, {"LMSEventErrorStatus", std::to_string(status)});
}

void SipUserAgent::mustWait(const Recording& recording)
{
    const int number = recording.numbers().own;
    m_stack.after(timeToWait(true), [this, number] { withRecording(number, [](Recording& one) { one.tryAgain(); }); });
}

}  // namespace deskphone
