#pragma once

#include <sndfile.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace recorder {

constexpr int SAMPLES_PER_SECOND = 8000;

enum Side { NEAR, FAR, NUMBER_OF_SIDES };

/// A WAV file with the near side on the left and the far side on the right, whose pieces arrive in about their order.
///
/// The last two seconds are held back for what arrives late. What was written before is a valid file at any time.
class StereoFile {
public:
    /// Makes the file, which must not exist yet. Throws std::system_error.
    explicit StereoFile(const std::string& name);
    ~StereoFile();
    StereoFile(const StereoFile&) = delete;
    StereoFile& operator=(const StereoFile&) = delete;

    /// Puts samples where they belong, counted from the beginning of the file; what comes between is silence. Returns
    /// false if that place is written already. Throws std::runtime_error when the file cannot be written.
    bool put(Side side, std::int64_t at, const std::vector<std::int16_t>& samples);

    /// Writes what was held back. Throws as put() does.
    void finish();

    /// The length so far, in samples.
    std::int64_t end() const { return m_written + heldBack(); }

private:
    std::int64_t heldBack() const { return static_cast<std::int64_t>(m_heldBack.size()) / NUMBER_OF_SIDES; }
    void writeUntil(std::int64_t at);
    void write(const std::int16_t* samples, std::size_t frames);

    SNDFILE* m_file;
    std::int64_t m_written = 0;
    std::vector<std::int16_t> m_heldBack;  // a sample of each side in turn, from m_written on
};

}  // namespace recorder
