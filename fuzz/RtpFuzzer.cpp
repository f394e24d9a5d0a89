// Any datagrams as a call's sound. The telephone copies those of the agreed kind as they are and no others; the
// recorder reads each or refuses it, and places it where it may be.

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "recorder/Rtp.h"
#include "recorder/Timeline.h"
#include "sip/Media.h"

using namespace deskphone;

namespace {

using Packet = std::vector<std::uint8_t>;

/// A telephone with a call that is recorded.
class Telephone {
public:
    Telephone()
    {
        Socket socket("127.0.0.1");
        m_ear = socket.address();
        m_media.open(1, std::move(socket));
        m_media.direct(1, {m_farEnd.address(), Codec::PCMA, {false, true}});
        m_media.record(1, 1, {Socket("127.0.0.1"), Socket("127.0.0.1")});
        m_media.aim(1, {m_recorder.address(), m_recorder.address()}, Codec::PCMA);
        m_media.flow(1, true);
    }

    void hear(const Packet& packet)
    {
        say(packet);
        if (packet.size() > 12 && packet[0] >> 6 == 2 && (packet[1] & 0x7f) == static_cast<int>(Codec::PCMA)) {
            expectCopyOf(packet);
        }
        // What comes after it shows that it was not copied.
        const Packet next{0x80, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, ++m_number};
        say(next);
        expectCopyOf(next);
    }

private:
    void say(const Packet& packet) const
    {
        ::sendto(m_farEnd.descriptor(), packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&m_ear),
                 sizeof m_ear);
    }
    void expectCopyOf(const Packet& packet) const
    {
        Packet copy(packet.size() + 1);
        pollfd readable{m_recorder.descriptor(), POLLIN, 0};
        int ready = -1;
        do {
            ready = ::poll(&readable, 1, 10000);
        } while (ready < 0 && errno == EINTR);  // by the fuzzer's own alarm
        if (ready != 1) {
            std::abort();
        }
        const ssize_t size = ::recv(m_recorder.descriptor(), copy.data(), copy.size(), 0);
        copy.resize(static_cast<std::size_t>(size));
        if (copy != packet) {
            std::abort();
        }
    }

    const Socket m_farEnd{"127.0.0.1"}, m_recorder{"127.0.0.1"};
    sockaddr_in m_ear{};
    std::uint8_t m_number = 0;
    const Voice m_voice{"silence"};
    Media m_media{m_voice, {[](int) {}, [](int) { std::abort(); }}};
};

void place(recorder::Track& track, const Packet& packet)
{
    constexpr std::int64_t ARRIVAL = 100000;
    recorder::RtpPacket read{};
    if (!recorder::readRtp(packet.data(), packet.size(), read)) {
        return;
    }
    const std::uint8_t* const end = packet.data() + packet.size();
    if (read.payload < packet.data() || read.payload > end ||
        read.size > static_cast<std::size_t>(end - read.payload) ||
        std::abs(track.take(read, ARRIVAL) - ARRIVAL) > 8000) {
        std::abort();
    }
}

}  // namespace

/// Each packet stands behind a byte with its size.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Telephone telephone;
    recorder::Track track;
    for (std::size_t at = 0; at < size;) {
        const std::size_t length = std::min<std::size_t>(data[at], size - at - 1);
        const Packet packet(data + at + 1, data + at + 1 + length);
        telephone.hear(packet);
        place(track, packet);
        at += 1 + length;
    }
    return 0;
}
