#include "sip/PhoneCall.h"

#include <random>
#include <utility>

namespace deskphone {

namespace {

std::string statusOf(const SipEvent& event)
{
    return std::to_string(event.status) + ' ' + event.phrase;
}

/// RFC 7866, 6.3.
bool isRecordAware(const SipEvent& event)
{
    return event.message != nullptr && event.message->sip_supported != nullptr &&
           sip_has_supported(event.message->sip_supported, RECORD_AWARE) != 0;
}

constexpr const char* NOT_ACCEPTABLE = "Not Acceptable Here";

}  // namespace

PhoneCall::PhoneCall(int number, nua_handle_t* handle, Parties parties, Media& media, const std::string& address,
                     CallOwner& owner)
    : Dialog(handle),
      m_number(number),
      m_parties(std::move(parties)),
      m_media(media),
      m_address(address),
      m_owner(owner),
      m_descriptionIdentity(std::random_device()())
{
    Socket socket(address);
    m_own = socket.address();
    media.open(number, std::move(socket));
}

PhoneCall::~PhoneCall()
{
    m_media.close(m_number);
}

void PhoneCall::dial()
{
    m_state = CALLING;
    nua_invite(m_handle, SIPTAG_CONTENT_TYPE_STR("application/sdp"), SIPTAG_PAYLOAD_STR(description(false).c_str()),
               TAG_END());
}

bool PhoneCall::receive(const SipEvent& event)
{
    m_identity = event.message->sip_call_id->i_id;
    m_farEndIsRecordAware = isRecordAware(event);
    const std::string body = bodyOf(event);
    if (!body.empty() && !agree(body, false)) {
        nua_respond(m_handle, 488, NOT_ACCEPTABLE, TAG_END());
        m_state = ENDED;
        return false;
    }
    m_offered = body.empty();
    m_state = RINGING;
    nua_respond(m_handle, SIP_180_RINGING, TAG_END());
    return true;
}

std::string PhoneCall::answer()
{
    if (m_state != RINGING) {
        return "does not ring";
    }
    m_state = ANSWERING;
    const std::string own = description(!m_offered);
    nua_respond(m_handle, SIP_200_OK, SIPTAG_CONTENT_TYPE_STR("application/sdp"), SIPTAG_PAYLOAD_STR(own.c_str()),
                TAG_END());
    return "";
}

std::string PhoneCall::hangUp()
{
    switch (m_state) {
        case ENDED: return "has ended";
        case CALLING: nua_cancel(m_handle, TAG_END()); break;
        case RINGING: nua_respond(m_handle, 486, "Busy Here", TAG_END()); break;
        default: nua_bye(m_handle, TAG_END()); break;
    }
    end("hung up");
    return "";
}

std::string PhoneCall::hold(bool holds)
{
    if (m_state != STANDING) {
        return "does not stand";
    }
    if (m_weHold == holds) {
        return holds ? "is held already" : "is not held";
    }
    m_weHold = holds;
    if (!m_inviteUnderWay) {
        offerAnew();
    }
    updateHeld(holds ? "held" : "resumed");
    return "";
}

void PhoneCall::indicate(const std::string& recording)
{
    const bool isKnown = recording == m_indicated || (m_indicated.empty() && recording == "off");
    if (m_state != STANDING || !m_farEndIsRecordAware || isKnown) {
        return;
    }
    m_indicated = recording;
    if (!m_inviteUnderWay) {
        offerAnew();
    }
}

void PhoneCall::tryAgain()
{
    if (m_state == STANDING) {
        offerAnew();
    }
}

void PhoneCall::offerAnew()
{
    m_inviteUnderWay = true;
    m_holdOffered = m_weHold;
    m_indicationOffered = m_indicated;
    nua_invite(m_handle, SIPTAG_CONTENT_TYPE_STR("application/sdp"), SIPTAG_PAYLOAD_STR(description(false).c_str()),
               TAG_END());
}

void PhoneCall::happened(const SipEvent& event)
{
    if (m_state == ENDED) {
        // A CANCEL that has crossed the answer.
        if (event.kind == nua_r_invite && event.status >= 200 && event.status < 300) {
            nua_bye(m_handle, TAG_END());
        }
        return;
    }
    m_farEndIsRecordAware = m_farEndIsRecordAware || isRecordAware(event);
    switch (event.kind) {
        case nua_r_invite: answered(event); break;
        case nua_i_invite: offered(event); break;
        case nua_i_ack:
            if (m_offered) {
                m_offered = false;
                if (!agree(bodyOf(event), true)) {
                    nua_bye(m_handle, TAG_END());
                    end("its ACK describes no sound that is known here");
                }
            }
            break;
        case nua_i_state: {
            int state = 0;
            tl_gets(event.tags, NUTAG_CALLSTATE_REF(state), TAG_END());
            if (state == nua_callstate_ready && (m_state == ANSWERING || m_state == CALLING)) {
                m_state = STANDING;
                m_begin = std::time(nullptr);
                m_owner.stands(m_number, "stands");
                updateHeld("held by the far end");
            }
            break;
        }
        case nua_i_bye: end("ended by the far end"); break;
        case nua_i_cancel: end("given up by the far end"); break;
        case nua_i_terminated: end("over: " + statusOf(event)); break;
        default: break;
    }
}

/// Our INVITE, the first or one within the call.
void PhoneCall::answered(const SipEvent& event)
{
    if (event.status < 200) {
        if (event.status > 100) {
            m_owner.tell(m_number, statusOf(event));
        }
        return;
    }
    const bool first = m_state == CALLING;
    if (event.status == 491 && !first) {
        m_owner.mustWait(m_number, !m_parties.incoming);
        return;
    }
    m_inviteUnderWay = false;
    if (event.status < 300) {
        if (first) {
            m_identity = event.message->sip_call_id->i_id;
        }
        if (!agree(bodyOf(event), true)) {
            nua_bye(m_handle, TAG_END());
            end("its answer describes no sound that is known here");
        }
    } else if (first) {
        end("refused: " + statusOf(event));
        return;
    } else {
        m_owner.tell(m_number, "the far end refuses a change: " + statusOf(event));
    }
    if (m_state != ENDED && !first && event.status < 300 && mustOffer()) {
        offerAnew();
    }
}

/// An INVITE of the far end within the call.
void PhoneCall::offered(const SipEvent& event)
{
    const std::string body = bodyOf(event);
    if (!body.empty() && !agree(body, false)) {
        nua_respond(m_handle, 488, NOT_ACCEPTABLE, TAG_END());
        return;
    }
    m_offered = body.empty();
    const std::string own = description(!m_offered);
    nua_respond(m_handle, SIP_200_OK, SIPTAG_CONTENT_TYPE_STR("application/sdp"), SIPTAG_PAYLOAD_STR(own.c_str()),
                TAG_END());
}

/// Takes what the far end describes; false, with nothing changed, when there is no sound in it that is known here.
bool PhoneCall::agree(const std::string& text, bool isAnswer)
{
    std::vector<Stream> far;
    if (!readDescription(text, far)) {
        return false;
    }
    std::size_t used = 0;
    while (used < far.size() && !far[used].usable()) {
        ++used;
    }
    if (used == far.size() || (isAnswer && used != 0)) {
        return false;
    }
    const Stream& stream = far[used];
    const std::string recording = m_farStreams.empty() ? "" : m_farStreams[m_farStream].recording;
    if (stream.recording != recording) {
        m_owner.tell(m_number, "recording by the far end: " + stream.recording);
    }
    m_path.farEnd = stream.address;
    if (m_path.codec != stream.codecs.front()) {
        m_path.codec = stream.codecs.front();
        m_owner.codecChanged(m_number, m_path.codec);
    }
    m_farEndHolds = !stream.direction.receives;
    m_farStreams = std::move(far);
    m_farStream = used;
    updateHeld(m_farEndHolds ? "held by the far end" : "resumed by the far end");
    return true;
}

Stream PhoneCall::ownStream() const
{
    Stream stream;
    stream.address = m_own;
    stream.codecs = {Codec::PCMA, Codec::PCMU};
    stream.direction = {true, !m_weHold};
    stream.recording = m_indicated;
    return stream;
}

std::string PhoneCall::description(bool isAnswer)
{
    std::vector<Stream> streams{ownStream()};
    if (isAnswer) {
        streams.assign(m_farStreams.begin(), m_farStreams.end());
        for (Stream& stream : streams) {
            stream.address = {};
        }
        const Direction far = m_farStreams[m_farStream].direction;
        Stream& used = streams[m_farStream];
        used = ownStream();
        used.codecs = {m_path.codec};
        used.direction = {used.direction.sends && far.receives, used.direction.receives && far.sends};
    }
    return writeDescription(m_descriptionIdentity, m_descriptionVersion++, m_address, streams);
}

/// Has the sound go as it must, and tells of a call that is held or resumed.
void PhoneCall::updateHeld(const std::string& why)
{
    const bool goes = m_state == STANDING && !isHeld();
    m_path.direction = {goes, goes};
    m_media.direct(m_number, m_path);
    if (m_state == STANDING && m_wasHeld != isHeld()) {
        m_wasHeld = isHeld();
        m_owner.heldChanged(m_number, m_wasHeld, why);
    }
}

void PhoneCall::end(const std::string& why)
{
    if (m_state != ENDED) {
        m_state = ENDED;
        m_media.close(m_number);
        m_owner.ended(m_number, why);
    }
}

}  // namespace deskphone
