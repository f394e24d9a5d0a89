// Any bytes as a SIP message: what telephone and recorder take from its body is bounded, and no text of another party
// gets out of the line that it is written into.

#include <sofia-sip/msg.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_util.h>

#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "recorder/Metadata.h"
#include "recorder/Offer.h"
#include "sip/Sdp.h"
#include "sip/SipStack.h"

namespace {

void read(const sip_t& message)
{
    std::vector<deskphone::Stream> streams;
    if (deskphone::readDescription(deskphone::bodyOf({nua_i_invite, 0, "", &message, nullptr}), streams) &&
        streams.size() > 16) {
        std::abort();
    }
    const recorder::Body body = recorder::readBody(message);
    recorder::labelOf(body.metadata, "sip:100@office");
    for (const recorder::OfferedStream& stream : recorder::readOffer(body.sdp)) {
        if ((stream.isUsable && stream.source.sin_port == 0) ||
            stream.refusal.find_first_of("\r\n") != std::string::npos) {
            std::abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    msg_t* const message = ::msg_make(::sip_default_mclass(), 0, data, static_cast<ssize_t>(size));
    const sip_t* const sip = message == nullptr ? nullptr : ::sip_object(message);
    if (sip != nullptr) {
        try {
            read(*sip);
        } catch (const std::runtime_error&) {
            // The recorder refuses it.
        }
    }
    ::msg_destroy(message);
    return 0;
}
