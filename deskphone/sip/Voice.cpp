#include "sip/Voice.h"

#include <sndfile.h>
// In the order in which they need each other; they define names of <cmath> anew.
// clang-format off
#include <cmath>
#include <spandsp/telephony.h>
#include <spandsp/bit_operations.h>
#include <spandsp/g711.h>
// clang-format on

#include <algorithm>
#include <charconv>
#include <memory>
#include <stdexcept>

namespace deskphone {

namespace {

constexpr double LOUDNESS = 8000;
constexpr int LONGEST_FILE = 3600;  // seconds
constexpr double PI = 3.14159265358979323846;

/// One second of a tone of a whole number of hertz fits its own end.
std::vector<std::int16_t> tone(int hertz)
{
    std::vector<std::int16_t> samples(SAMPLES_A_SECOND);
    for (std::size_t at = 0; at < samples.size(); ++at) {
        const double angle = 2 * PI * hertz * static_cast<double>(at) / SAMPLES_A_SECOND;
        samples[at] = static_cast<std::int16_t>(std::lround(LOUDNESS * std::sin(angle)));
    }
    return samples;
}

/// The first channel of the file, at this telephone's rate: of the file's samples, the nearest to each moment.
std::vector<std::int16_t> soundOf(const std::string& name)
{
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, decltype(&sf_close)> file(sf_open(name.c_str(), SFM_READ, &info), sf_close);
    if (file == nullptr) {
        throw std::runtime_error("--voice " + name + ": " + sf_strerror(nullptr));
    }
    if (info.channels < 1 || info.samplerate < 1 || info.frames < 1 || info.frames / info.samplerate > LONGEST_FILE) {
        throw std::runtime_error("--voice " + name + ": expected sound, of an hour at most");
    }
    const auto channels = static_cast<std::size_t>(info.channels);
    std::vector<std::int16_t> all(static_cast<std::size_t>(info.frames) * channels);
    all.resize(static_cast<std::size_t>(sf_readf_short(file.get(), all.data(), info.frames)) * channels);
    const std::size_t frames = all.size() / channels;
    const double step = static_cast<double>(info.samplerate) / SAMPLES_A_SECOND;
    std::vector<std::int16_t> samples;
    for (double at = 0; at < static_cast<double>(frames); at += step) {
        samples.push_back(all[static_cast<std::size_t>(at) * channels]);
    }
    if (samples.empty()) {
        throw std::runtime_error("--voice " + name + ": the file holds no sound");
    }
    return samples;
}

std::vector<std::int16_t> samplesOf(const std::string& description)
{
    constexpr const char* TONE = "tone:";
    if (description == "silence") {
        return {0};
    }
    if (description == "tone") {
        return tone(440);
    }
    if (description.compare(0, 5, TONE) == 0) {
        int hertz = 0;
        const char* const end = description.data() + description.size();
        const auto read = std::from_chars(description.data() + 5, end, hertz);
        if (read.ec != std::errc{} || read.ptr != end || hertz < 1 || hertz >= 4000) {
            throw std::runtime_error("--voice " + description + ": expected a tone from 1 to 3999 hertz");
        }
        return tone(hertz);
    }
    return soundOf(description);
}

}  // namespace

const char* nameOf(Codec codec)
{
    return codec == Codec::PCMA ? "PCMA" : "PCMU";
}

Voice::Voice(const std::string& description) : m_samples(samplesOf(description)) {}

Payload Voice::piece(std::uint64_t position, Codec codec) const
{
    Payload payload;
    std::size_t at = static_cast<std::size_t>(position % m_samples.size());
    for (std::uint8_t& byte : payload) {
        byte = codec == Codec::PCMA ? linear_to_alaw(m_samples[at]) : linear_to_ulaw(m_samples[at]);
        at = at + 1 == m_samples.size() ? 0 : at + 1;
    }
    return payload;
}

}  // namespace deskphone
