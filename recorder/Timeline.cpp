#include "Timeline.h"

#include <algorithm>
#include <cstdlib>
#include <ratio>

#include "StereoFile.h"

namespace recorder {

namespace {

constexpr std::int64_t LONGEST_SILENCE = std::int64_t{10} * 60 * SAMPLES_PER_SECOND;
// How far a stream's timestamps may be from the time when its packets arrive before they are no longer believed.
constexpr std::int64_t TOLERANCE = SAMPLES_PER_SECOND;
constexpr std::int64_t TOLERANCE_AFTER_PAUSE = SAMPLES_PER_SECOND / 10;
constexpr std::uint16_t FARTHEST_SEQUENCE = 3000;

}  // namespace

std::int64_t Timeline::placeOf(Clock::time_point time, std::int64_t length, std::int64_t& leftOut)
{
    using Samples = std::chrono::duration<std::int64_t, std::ratio<1, SAMPLES_PER_SECOND>>;
    m_start = m_start.value_or(time);
    const auto place = std::chrono::duration_cast<Samples>(time - *m_start);
    const auto shortened = std::max(place - Samples(length + LONGEST_SILENCE), Samples(0));
    *m_start += shortened;
    leftOut = shortened.count();
    return (place - shortened).count();
}

std::int64_t Track::take(const RtpPacket& packet, std::int64_t arrival)
{
    m_place += static_cast<std::int32_t>(packet.timestamp - m_timestamp);
    m_timestamp = packet.timestamp;
    const std::int64_t tolerance = m_hasBegun ? TOLERANCE : TOLERANCE_AFTER_PAUSE;
    if (!m_isKnown || packet.source != m_source || std::abs(m_place - arrival) > tolerance) {
        m_isKnown = true;
        m_source = packet.source;
        m_place = arrival;
    }
    count(packet);
    return m_place;
}

void Track::count(const RtpPacket& packet)
{
    ++m_packets;
    const auto step = static_cast<std::uint16_t>(packet.sequence - m_sequence);
    if (!m_hasBegun) {
        m_hasBegun = true;
    } else if (step > 0 && step < FARTHEST_SEQUENCE) {
        m_lost += step - 1;
    } else if (step > 0x10000 - FARTHEST_SEQUENCE) {
        // One that was overtaken, and counted as lost then.
        --m_lost;
        return;
    }
    m_sequence = packet.sequence;
}

}  // namespace recorder
