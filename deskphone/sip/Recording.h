#pragma once

#include <array>
#include <optional>
#include <string>

#include "sip/Media.h"
#include "sip/Metadata.h"
#include "sip/Sdp.h"
#include "sip/SipStack.h"

namespace deskphone {

class Recording;

/// What recordings tell the user agent of.
class RecordingOwner {
public:
    virtual ~RecordingOwner() = default;

    virtual void attached(const Recording& recording) = 0;
    virtual void streams(const Recording& recording, const std::string& why) = 0;
    virtual void streamsNot(const Recording& recording, const std::string& why) = 0;
    /// It has ended, with a status of SIP.
    virtual void failed(const Recording& recording, int status, const std::string& why) = 0;
    /// The change was refused for now; tryAgain() is due in a moment.
    virtual void mustWait(const Recording& recording) = 0;
};

/// A recording session (RFC 7866) from one attach to its end: the dialog with the recorder, and when copies of the
/// call's sound flow to it. They do while the plug-in, the recorder and the call let them, each of which is remembered
/// apart.
///
/// For the SIP thread. Once it has ended it tells of nothing, whatever its dialog still does.
class Recording : public Dialog {
public:
    /// The numbers: the plug-in's of the session, the call's, and its own, by which media control knows it.
    struct Numbers {
        int session;
        int call;
        int own;
    };

    Recording(Numbers numbers, nua_handle_t* handle, Media& media, const SipStack& stack, RecordingOwner& owner);
    ~Recording() override;

    void attach(const RecordedCall& call, Codec codec, bool callIsHeld);
    /// By media control.
    void setDirection(bool sends);
    void holdCall(bool held);
    /// The call's sound comes in this codec from now on.
    void useCodec(Codec codec);
    void tryAgain();
    /// By call control, or with the call.
    void end();

    // By the thread for sound.
    void firstCopiesSent();
    void portIsClosed() { fail(503, "the recorder cannot be reached"); }

    const Numbers& numbers() const { return m_numbers; }
    bool hasEnded() const { return m_state == ENDED; }

private:
    enum State { ATTACHING, ATTACHED, ENDED };

    /// What we say that we send.
    struct Terms {
        bool sends;
        Codec codec;

        bool operator==(const Terms& other) const { return sends == other.sends && codec == other.codec; }
    };

    void happened(const SipEvent& event) override;
    void answered(const SipEvent& event);
    void offered(const SipEvent& event);
    bool agree(const std::string& text, Codec codec, bool& takes);
    std::string description(const Terms& terms);
    void invite(const char* contentType, const std::string& body);
    void offerIfNeeded();
    void update(const std::string& why);
    void fail(int status, const std::string& why);

    const Numbers m_numbers;
    Media& m_media;
    const std::string m_address;
    const std::string m_contact;
    RecordingOwner& m_owner;

    State m_state = ATTACHING;
    std::array<sockaddr_in, NUMBER_OF_SIDES> m_own{};
    std::uint64_t m_descriptionIdentity;
    unsigned m_descriptionVersion = 0;
    Codec m_codec = Codec::PCMA;            // the call's
    bool m_inviteUnderWay = false;          // or waits to be sent again
    Terms m_offered = {true, Codec::PCMA};  // in it
    Terms m_agreed = {false, Codec::PCMA};  // last

    std::optional<bool> m_wanted;  // by the plug-in, once it has said so
    bool m_recorderTakes = false;  // as the recorder last said
    bool m_callIsHeld = false;
    bool m_couldStream = true;  // as last told
    bool m_flows = false;
};

}  // namespace deskphone
