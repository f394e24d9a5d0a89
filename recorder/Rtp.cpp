#include "Rtp.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace recorder {

namespace {

std::uint32_t number(const std::uint8_t* data, std::size_t bytes)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        value = value << 8 | data[i];
    }
    return value;
}

}  // namespace

bool readRtp(const std::uint8_t* data, std::size_t size, RtpPacket& packet)
{
    constexpr std::size_t FIXED_HEADER = 12;
    if (size < FIXED_HEADER || data[0] >> 6 != 2) {
        return false;
    }
    const bool isPadded = (data[0] & 0x20) != 0;
    const bool isExtended = (data[0] & 0x10) != 0;
    std::size_t header = FIXED_HEADER + std::size_t{4} * (data[0] & 0x0fU);
    if (isExtended) {
        if (size < header + 4) {
            return false;
        }
        header += 4 + std::size_t{4} * number(data + header + 2, 2);
    }
    const std::size_t padding = isPadded ? data[size - 1] : 0;
    if (size < header + padding || (isPadded && padding == 0)) {
        return false;
    }
    packet.payloadType = data[1] & 0x7f;
    packet.sequence = static_cast<std::uint16_t>(number(data + 2, 2));
    packet.timestamp = number(data + 4, 4);
    packet.source = number(data + 8, 4);
    packet.payload = data + header;
    packet.size = size - header - padding;
    return true;
}

RtpSocket::RtpSocket(in_addr_t address) : m_address(address)
{
    // The odd port above belongs to this stream's RTCP, which nobody listens to: no other stream may get it.
    for (int tries = 0; tries < 100; ++tries) {
        bindTo(0);
        if (m_port % 2 == 0) {
            return;
        }
        ::close(m_descriptor);
    }
    throw std::system_error(EADDRINUSE, std::generic_category(), "no even port is free for RTP");
}

RtpSocket::~RtpSocket()
{
    ::close(m_descriptor);
}

void RtpSocket::bindTo(std::uint16_t port)
{
    m_descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(m_address);
    place.sin_port = htons(port);
    socklen_t length = sizeof place;
    auto* const generic = reinterpret_cast<sockaddr*>(&place);
    if (m_descriptor < 0 || ::bind(m_descriptor, generic, length) != 0 ||
        ::getsockname(m_descriptor, generic, &length) != 0) {
        const std::system_error failure(errno, std::generic_category(), "cannot open a port for RTP");
        ::close(m_descriptor);
        throw failure;
    }
    m_port = ntohs(place.sin_port);
}

}  // namespace recorder
