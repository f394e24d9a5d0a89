#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace deskphone {

/// How sound is carried: the payload types of RTP, which are the same numbers.
enum class Codec : std::uint8_t { PCMU = 0, PCMA = 8 };
const char* nameOf(Codec codec);

constexpr std::size_t SAMPLES_A_SECOND = 8000;
/// What a packet carries: 20 ms.
constexpr std::size_t SAMPLES_A_PACKET = 160;
using Payload = std::array<std::uint8_t, SAMPLES_A_PACKET>;

/// What the near side says, over and over.
class Voice {
public:
    /// tone[:HZ], silence, or the name of a sound file. Throws std::runtime_error, with what is wrong.
    explicit Voice(const std::string& description);

    /// The piece that begins after so many samples.
    Payload piece(std::uint64_t position, Codec codec) const;

private:
    std::vector<std::int16_t> m_samples;  // at least one
};

}  // namespace deskphone
