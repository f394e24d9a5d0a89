#pragma once

#include <ctime>
#include <string>

#include "sip/Media.h"
#include "sip/Sdp.h"
#include "sip/SipStack.h"

namespace deskphone {

/// What calls tell the user agent of.
class CallOwner {
public:
    virtual ~CallOwner() = default;

    virtual void tell(int call, const std::string& what) = 0;
    virtual void stands(int call, const std::string& why) = 0;
    /// The sound of the call was halted, by either side, or goes on.
    virtual void heldChanged(int call, bool held, const std::string& why) = 0;
    virtual void codecChanged(int call, Codec codec) = 0;
    /// Our change was refused for now; tryAgain() is due in a moment.
    virtual void mustWait(int call, bool beganDialog) = 0;
    virtual void ended(int call, const std::string& why) = 0;
};

/// A call, from its first INVITE to its end. For the SIP thread.
class PhoneCall : public Dialog {
public:
    struct Parties {
        std::string line;
        std::string farEnd;
        bool incoming;
    };

    PhoneCall(int number, nua_handle_t* handle, Parties parties, Media& media, const std::string& address,
              CallOwner& owner);
    ~PhoneCall() override;

    void dial();
    /// Takes the INVITE that came in; false when it was answered with a refusal.
    bool receive(const SipEvent& event);

    // What is wrong, "" for nothing.
    std::string answer();
    std::string hangUp();
    std::string hold(bool holds);
    /// Tells the far end, if it wants to know, that the call is recorded: on, off or paused.
    void indicate(const std::string& recording);
    void tryAgain();

    int number() const { return m_number; }
    const Parties& parties() const { return m_parties; }
    const std::string& identity() const { return m_identity; }
    std::time_t begin() const { return m_begin; }
    Codec codec() const { return m_path.codec; }
    bool isRinging() const { return m_state == RINGING; }
    bool stands() const { return m_state == STANDING; }
    bool hasEnded() const { return m_state == ENDED; }
    bool isHeld() const { return m_weHold || m_farEndHolds; }

private:
    enum State { BEGINS, CALLING, RINGING, ANSWERING, STANDING, ENDED };

    void happened(const SipEvent& event) override;
    void answered(const SipEvent& event);
    void offered(const SipEvent& event);
    bool agree(const std::string& description, bool isAnswer);
    Stream ownStream() const;
    std::string description(bool isAnswer);
    void offerAnew();
    void updateHeld(const std::string& why);
    bool mustOffer() const { return m_weHold != m_holdOffered || m_indicated != m_indicationOffered; }
    void end(const std::string& why);

    const int m_number;
    const Parties m_parties;
    Media& m_media;
    const std::string m_address;
    CallOwner& m_owner;

    State m_state = BEGINS;
    std::string m_identity;   // the Call-ID
    std::time_t m_begin = 0;  // since when it stands
    sockaddr_in m_own;        // for sound
    std::uint64_t m_descriptionIdentity;
    unsigned m_descriptionVersion = 0;
    std::vector<Stream> m_farStreams;
    std::size_t m_farStream = 0;  // the one that is used
    Path m_path = {{}, Codec::PCMA, {}};
    bool m_offered = false;         // by us, in an answer to an INVITE without a description
    bool m_inviteUnderWay = false;  // ours, within the call; or waits to be sent again
    bool m_holdOffered = false;     // what it offers
    std::string m_indicated;        // of the recording; empty: nothing yet
    std::string m_indicationOffered;
    bool m_farEndIsRecordAware = false;
    bool m_weHold = false;
    bool m_farEndHolds = false;
    bool m_wasHeld = false;
};

}  // namespace deskphone
