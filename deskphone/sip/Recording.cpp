#include "sip/Recording.h"

#include <algorithm>
#include <random>
#include <utility>

namespace deskphone {

Recording::Recording(Numbers numbers, nua_handle_t* handle, Media& media, const SipStack& stack, RecordingOwner& owner)
    : Dialog(handle),
      m_numbers(numbers),
      m_media(media),
      m_address(stack.address()),
      m_contact("<sip:" + stack.address() + ':' + std::to_string(stack.port()) + ">;+sip.src"),
      m_owner(owner),
      m_descriptionIdentity(std::random_device()())
{
    std::array<Socket, NUMBER_OF_SIDES> sockets{Socket(m_address), Socket(m_address)};
    std::transform(sockets.begin(), sockets.end(), m_own.begin(), [](const Socket& one) { return one.address(); });
    media.record(numbers.own, numbers.call, std::move(sockets));
}

Recording::~Recording()
{
    m_media.endRecording(m_numbers.own);
}

void Recording::attach(const RecordedCall& call, Codec codec, bool callIsHeld)
{
    m_codec = m_offered.codec = codec;
    m_callIsHeld = callIsHeld;
    const RecordingBody body = writeRecordingBody(description(m_offered), writeMetadata(call));
    invite(body.contentType.c_str(), body.text);
}

void Recording::invite(const char* contentType, const std::string& body)
{
    m_inviteUnderWay = true;
    nua_invite(m_handle, SIPTAG_REQUIRE_STR("siprec"), SIPTAG_CONTACT_STR(m_contact.c_str()),
               SIPTAG_CONTENT_TYPE_STR(contentType), SIPTAG_PAYLOAD_STR(body.c_str()), TAG_END());
}

void Recording::setDirection(bool sends)
{
    m_wanted = sends;
    update("");
    offerIfNeeded();
}

void Recording::holdCall(bool held)
{
    m_callIsHeld = held;
    update(held ? "the call is held" : "the call goes on");
}

void Recording::useCodec(Codec codec)
{
    m_codec = codec;
    offerIfNeeded();
}

void Recording::tryAgain()
{
    m_inviteUnderWay = false;
    offerIfNeeded();
}

void Recording::end()
{
    if (m_state == ENDED) {
        return;
    }
    m_state == ATTACHING ? nua_cancel(m_handle, TAG_END()) : nua_bye(m_handle, TAG_END());
    m_state = ENDED;
    m_media.endRecording(m_numbers.own);
}

void Recording::fail(int status, const std::string& why)
{
    if (m_state == ATTACHED) {
        nua_bye(m_handle, TAG_END());
    }
    if (m_state != ENDED) {
        m_state = ENDED;
        m_media.endRecording(m_numbers.own);
        m_owner.failed(*this, status, why);
    }
}

void Recording::firstCopiesSent()
{
    if (m_flows) {
        m_owner.streams(*this, "the first copies have left");
    }
}

void Recording::happened(const SipEvent& event)
{
    if (m_state == ENDED) {
        // A CANCEL that has crossed the answer.
        if (event.kind == nua_r_invite && event.status >= 200 && event.status < 300) {
            nua_bye(m_handle, TAG_END());
        }
        return;
    }
    switch (event.kind) {
        case nua_r_invite: answered(event); break;
        case nua_i_invite: offered(event); break;
        case nua_i_bye:
            m_state = ATTACHING;  // there is no dialog left to end
            fail(503, "ended by the recorder");
            break;
        case nua_i_terminated:
            m_state = ATTACHING;
            fail(event.status >= 300 ? event.status : 503, event.phrase);
            break;
        default: break;
    }
}

/// Our INVITE, the first or one that changes the direction.
void Recording::answered(const SipEvent& event)
{
    if (event.status < 200) {
        return;
    }
    const std::string status = std::to_string(event.status) + ' ' + event.phrase;
    const bool first = m_state == ATTACHING;
    m_inviteUnderWay = false;
    if (event.status < 300) {
        m_state = ATTACHED;
        bool takes = false;
        if (!agree(bodyOf(event), m_offered.codec, takes)) {
            fail(488, "the recorder's answer does not take both sides");
            return;
        }
        m_agreed = {m_offered.sends && takes, m_offered.codec};
        // The answer to an offer to send nothing tells nothing of the recorder.
        m_recorderTakes = m_offered.sends ? takes : m_recorderTakes;
        if (first) {
            m_owner.attached(*this);
        }
        update(m_recorderTakes ? "the call is held" : "paused by the recorder");
        offerIfNeeded();
    } else if (!first && event.status == 491) {
        m_inviteUnderWay = true;
        m_owner.mustWait(*this);
    } else if (first || event.status == 408 || event.status == 481 || m_offered.codec != m_agreed.codec) {
        fail(event.status, status);
    } else {
        // As it was before. Without the recorder's consent no copies flow.
        m_wanted = m_agreed.sends;
        update("the recorder refuses the change: " + status);
    }
}

/// An INVITE of the recorder: it pauses, goes on, or takes the sound elsewhere.
void Recording::offered(const SipEvent& event)
{
    const std::string body = bodyOf(event);
    bool takes = m_recorderTakes;
    if (!body.empty() && !agree(body, m_agreed.codec, takes)) {
        nua_respond(m_handle, 488, "Not Acceptable Here", TAG_END());
        return;
    }
    // While we send nothing, it offers nothing else, and means no pause of its own.
    m_recorderTakes = takes || (m_recorderTakes && !m_agreed.sends);
    m_agreed.sends = m_wanted.value_or(true) && takes;
    nua_respond(m_handle, SIP_200_OK, SIPTAG_CONTACT_STR(m_contact.c_str()), SIPTAG_CONTENT_TYPE_STR("application/sdp"),
                SIPTAG_PAYLOAD_STR(description(m_agreed).c_str()), TAG_END());
    update(m_recorderTakes ? "the recorder goes on" : "paused by the recorder");
    offerIfNeeded();
}

/// Takes where the recorder wants the sound, and whether it takes any for now; false, with nothing changed, when it
/// cannot take both sides in this codec.
bool Recording::agree(const std::string& text, Codec codec, bool& takes)
{
    std::vector<Stream> streams;
    if (!readDescription(text, streams) || streams.size() != NUMBER_OF_SIDES) {
        return false;
    }
    std::array<sockaddr_in, NUMBER_OF_SIDES> ports{};
    bool both = true;
    for (const Side side : {NEAR, FAR}) {
        const Stream& stream = streams[side];
        if (!stream.usable() || std::count(stream.codecs.begin(), stream.codecs.end(), codec) == 0) {
            return false;
        }
        ports[side] = stream.address;
        both = both && stream.direction.receives;
    }
    if (both) {
        m_media.aim(m_numbers.own, ports, codec);
    }
    takes = both;
    return true;
}

std::string Recording::description(const Terms& terms)
{
    std::vector<Stream> streams;
    for (const Side side : {NEAR, FAR}) {
        Stream stream;
        stream.address = m_own[side];
        stream.codecs = {terms.codec};
        stream.direction = {terms.sends, false};
        stream.label = streamLabels[side];
        streams.push_back(stream);
    }
    return writeDescription(m_descriptionIdentity, m_descriptionVersion++, m_address, streams);
}

/// Agrees with the recorder on what the plug-in wants and the call brings, if that is something else than was agreed on
/// last. While nothing is sent, the codec can wait.
void Recording::offerIfNeeded()
{
    const bool sends = m_wanted.value_or(m_agreed.sends);
    const Terms terms{sends, sends ? m_codec : m_agreed.codec};
    if (m_state == ATTACHED && !m_inviteUnderWay && !(terms == m_agreed) && (m_recorderTakes || !sends)) {
        m_offered = terms;
        invite("application/sdp", description(terms));
    }
}

/// Has the copies flow as they may, and tells whether they can as far as the recorder and the call are concerned.
void Recording::update(const std::string& why)
{
    const bool flows =
        m_state == ATTACHED && m_wanted.value_or(false) && m_agreed.sends && m_recorderTakes && !m_callIsHeld;
    if (flows != m_flows) {
        m_flows = flows;
        m_media.flow(m_numbers.own, flows);
    }
    const bool couldStream = m_recorderTakes && !m_callIsHeld;
    if (m_state == ATTACHED && couldStream != m_couldStream) {
        m_couldStream = couldStream;
        couldStream ? m_owner.streams(*this, why) : m_owner.streamsNot(*this, why);
    }
}

}  // namespace deskphone
