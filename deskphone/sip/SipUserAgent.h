#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sip/Accounts.h"
#include "sip/Media.h"
#include "sip/PhoneCall.h"
#include "sip/Recording.h"
#include "sip/Registration.h"
#include "sip/SipStack.h"
#include "sip/UserAgent.h"
#include "sip/Voice.h"

namespace deskphone {

/// The user agent on Sofia-SIP.
class SipUserAgent : public UserAgent, public CallOwner, public RecordingOwner {
public:
    SipUserAgent(const NetworkSettings& settings, Happenings& happenings);
    ~SipUserAgent() override;

    std::string place() const override;
    std::string dial(const std::string& line, const std::string& uri, int& call) override;
    std::string answer(int call) override;
    std::string hangUp(int call) override;
    std::string hold(int call) override;
    std::string resume(int call) override;
    bool isRinging(int call) override;
    int callOn(const std::string& line, std::string& farEnd) override;
    bool leave() override;

    void sessionCreated(int session, int call) override;
    void attach(int session, const std::string& recorder) override;
    void detach(int session) override;
    void setDirection(int media, bool sends) override;
    void showRecordingStatus(int call, const std::string& status) override;

private:
    void tell(int call, const std::string& what) override;
    void stands(int call, const std::string& why) override;
    void heldChanged(int call, bool held, const std::string& why) override;
    void codecChanged(int call, Codec codec) override;
    void mustWait(int call, bool beganDialog) override;
    void ended(int call, const std::string& why) override;

    void attached(const Recording& recording) override;
    void streams(const Recording& recording, const std::string& why) override;
    void streamsNot(const Recording& recording, const std::string& why) override;
    void failed(const Recording& recording, int status, const std::string& why) override;
    void mustWait(const Recording& recording) override;

    void happened(nua_handle_t* handle, Dialog* dialog, const SipEvent& event);
    void comesIn(nua_handle_t* handle, const SipEvent& event);
    void introduce(Dialog& dialog, const std::string& line) const;
    void registerAccounts();
    std::string withCall(int call, const std::function<std::string(PhoneCall&)>& use);
    PhoneCall* find(int call);
    void withRecording(int recording, const std::function<void(Recording&)>& use);
    void withRecordingsOf(int call, const std::function<void(Recording&)>& use);
    template <typename Chosen>
    void endRecordings(Chosen isChosen);
    void indicateSoon(int call);
    void beginRecording(int session, int call, const std::string& address);
    void reportOf(const Recording::Numbers& numbers, const std::string& note, Words command);
    bool saysNoMore(int recording, Recording::Numbers& numbers);
    void destroySession(int call, const std::string& why);
    void report(const std::string& note, Words command = {});

    const NetworkSettings m_settings;
    Happenings& m_happenings;
    const Voice m_voice;
    const Accounts m_accounts;

    // The SIP thread's own.
    bool m_takesCalls = false;  // from when everything here stands until it leaves
    int m_lastCall = 0;
    int m_lastRecording = 0;
    std::vector<std::unique_ptr<Registration>> m_registrations;
    std::map<int, std::unique_ptr<PhoneCall>> m_calls;       // until their dialogs are over
    std::map<int, int> m_sessions;                           // the handles of recording sessions, by call
    std::map<int, bool> m_shownOn;                           // what the plug-in last showed of the call's recording
    std::map<int, std::string> m_early;                      // attach requests for sessions not known yet
    std::map<int, std::unique_ptr<Recording>> m_recordings;  // until their dialogs are over

    std::mutex m_lock;
    std::map<int, Recording::Numbers> m_streaming;  // guarded by m_lock: the recordings that are said to stream

    SipStack m_stack;
    Media m_media;
};

}  // namespace deskphone
