#pragma once

#include <netinet/in.h>
#include <sofia-sip/sip.h>

#include <cstdint>
#include <string>
#include <vector>

namespace recorder {

/// What a message of a session recording client carries (RFC 7866): alone, or as parts of one body.
struct Body {
    std::string sdp;
    std::string metadata;
};

/// Leaves empty what the message has not. Throws std::runtime_error when its body is torn.
Body readBody(const sip_t& message);

/// One stream that the client offers.
struct OfferedStream {
    bool isUsable = false;    // speech in G.711, not refused
    bool isSent = false;      // rather than paused
    std::string label = {};   // which the metadata uses for it
    sockaddr_in source = {};  // where its packets come from
    std::uint8_t payloadType = 0;
    bool isALaw = false;       // rather than µ-law
    std::string refusal = {};  // of it, in an answer
};

/// Reads an offer. Throws std::runtime_error when it is none.
std::vector<OfferedStream> readOffer(const std::string& sdp);

}  // namespace recorder
