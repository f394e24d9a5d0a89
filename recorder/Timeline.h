#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "Rtp.h"

namespace recorder {

/// How the time of day becomes places in a recording, which are counted in samples from its beginning.
class Timeline {
public:
    using Clock = std::chrono::steady_clock;

    /// The place of what arrives at this time in a recording that has this length so far. Silence before it that is
    /// longer than ten minutes is shortened to that; `leftOut` is set to what was left out.
    std::int64_t placeOf(Clock::time_point time, std::int64_t length, std::int64_t& leftOut);

private:
    std::optional<Clock::time_point> m_start;  // when the first packet came; later by each silence that was shortened
};

/// The packets of one stream: where in the recording each belongs, and how many are missing.
class Track {
public:
    /// The place of a packet that arrived at a place in the recording.
    std::int64_t take(const RtpPacket& packet, std::int64_t arrival);

    /// The sender stops here: the next packet begins anew.
    void pause() { m_hasBegun = false; }
    bool hasBegun() const { return m_hasBegun; }

    long packets() const { return m_packets; }
    long lost() const { return m_lost; }

private:
    void count(const RtpPacket& packet);

    bool m_hasBegun = false;
    bool m_isKnown = false;        // whether the following are
    std::uint32_t m_source = 0;    // SSRC
    std::uint16_t m_sequence = 0;  // of the last packet
    std::uint32_t m_timestamp = 0;
    std::int64_t m_place = 0;
    long m_packets = 0;
    long m_lost = 0;
};

}  // namespace recorder
