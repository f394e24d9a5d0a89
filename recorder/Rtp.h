#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>

namespace recorder {

/// What a packet of RTP (RFC 3550) says, as far as a recording needs it. The payload lies in the packet read.
struct RtpPacket {
    std::uint16_t sequence;
    std::uint32_t timestamp;
    std::uint32_t source;  // SSRC
    std::uint8_t payloadType;
    const std::uint8_t* payload;
    std::size_t size;
};

/// Reads a packet of so many bytes. False for one that is none or lies about its lengths.
bool readRtp(const std::uint8_t* data, std::size_t size, RtpPacket& packet);

/// A UDP socket that RTP arrives at.
class RtpSocket {
public:
    /// Binds an even port of this address (host order), which the system chooses. Throws std::system_error.
    explicit RtpSocket(in_addr_t address);
    ~RtpSocket();
    RtpSocket(const RtpSocket&) = delete;
    RtpSocket& operator=(const RtpSocket&) = delete;

    int descriptor() const { return m_descriptor; }
    std::uint16_t port() const { return m_port; }

private:
    const in_addr_t m_address;
    int m_descriptor = -1;
    std::uint16_t m_port = 0;

    void bindTo(std::uint16_t port);
};

}  // namespace recorder
