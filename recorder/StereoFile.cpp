#include "StereoFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace recorder {

namespace {

constexpr std::int64_t HELD_BACK = std::int64_t{2} * SAMPLES_PER_SECOND;
constexpr std::int64_t WRITTEN_AT_ONCE = SAMPLES_PER_SECOND / 2;

}  // namespace

StereoFile::StereoFile(const std::string& name)
{
    // What people say is nobody else's business.
    const int descriptor = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    SF_INFO format{};
    format.samplerate = SAMPLES_PER_SECOND;
    format.channels = NUMBER_OF_SIDES;
    format.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    m_file = ::sf_open_fd(descriptor, SFM_WRITE, &format, SF_TRUE);
    if (m_file == nullptr) {
        ::close(descriptor);
        throw std::system_error(EIO, std::generic_category(), name + ": " + ::sf_strerror(nullptr));
    }
    ::sf_command(m_file, SFC_UPDATE_HEADER_NOW, nullptr, 0);
}

StereoFile::~StereoFile()
{
    ::sf_close(m_file);
}

bool StereoFile::put(Side side, std::int64_t at, const std::vector<std::int16_t>& samples)
{
    if (at < m_written) {
        return false;
    }
    const std::int64_t last = at + static_cast<std::int64_t>(samples.size());
    if (last - m_written > HELD_BACK + WRITTEN_AT_ONCE) {
        writeUntil(std::min(at, last - HELD_BACK));
    }
    const auto needed = static_cast<std::size_t>(last - m_written) * NUMBER_OF_SIDES;
    m_heldBack.resize(std::max(m_heldBack.size(), needed));
    std::size_t place = static_cast<std::size_t>(at - m_written) * NUMBER_OF_SIDES + side;
    for (const std::int16_t sample : samples) {
        m_heldBack[place] = sample;
        place += NUMBER_OF_SIDES;
    }
    return true;
}

void StereoFile::finish()
{
    writeUntil(end());
}

void StereoFile::writeUntil(std::int64_t at)
{
    const std::int64_t known = std::min(at - m_written, heldBack());
    write(m_heldBack.data(), static_cast<std::size_t>(known));
    m_heldBack.erase(m_heldBack.begin(), m_heldBack.begin() + known * NUMBER_OF_SIDES);
    const std::vector<std::int16_t> silence(static_cast<std::size_t>(SAMPLES_PER_SECOND * NUMBER_OF_SIDES));
    while (m_written < at) {
        write(silence.data(), static_cast<std::size_t>(std::min<std::int64_t>(at - m_written, SAMPLES_PER_SECOND)));
    }
    ::sf_command(m_file, SFC_UPDATE_HEADER_NOW, nullptr, 0);
}

void StereoFile::write(const std::int16_t* samples, std::size_t frames)
{
    const auto count = static_cast<sf_count_t>(frames);
    if (::sf_writef_short(m_file, samples, count) != count) {
        throw std::runtime_error(std::string("the recording cannot be written: ") + ::sf_strerror(m_file));
    }
    m_written += count;
}

}  // namespace recorder
