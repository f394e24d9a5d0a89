#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <string>
#include <vector>

#include "sip/Voice.h"

namespace deskphone {

/// Which way sound goes, as the one who says it sees it.
struct Direction {
    bool sends = true;
    bool receives = true;

    bool operator==(const Direction& other) const { return sends == other.sends && receives == other.receives; }
    bool operator!=(const Direction& other) const { return !(*this == other); }
};

/// One stream of a session description (RFC 4566), as far as a telephone can use it.
struct Stream {
    sockaddr_in address = {};  // port 0: refused, or of no kind that is known here
    std::vector<Codec> codecs = {};
    Direction direction = {};
    std::string label = {};      // RFC 4574
    std::string recording = {};  // a=record (RFC 7866): on, off or paused
    std::string line = {};       // the media line's kind, transport and formats, for refusing it

    bool usable() const { return address.sin_port != 0 && !codecs.empty(); }
};

/// Reads the streams of a session description. False when the text is none, or larger than any telephone's.
bool readDescription(const std::string& text, std::vector<Stream>& streams);

/// Writes one. `identity` and `version` make its origin; the streams' addresses are the sender's own.
std::string writeDescription(std::uint64_t identity, unsigned version, const std::string& address,
                             const std::vector<Stream>& streams);

}  // namespace deskphone
