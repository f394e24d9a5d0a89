#pragma once

#include <netinet/in.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <utility>

namespace deskphone {

/// A UDP socket for sound, on an address of this machine and a port that the system chooses.
class Socket {
public:
    Socket() = default;
    /// Throws std::system_error.
    explicit Socket(const std::string& address);
    ~Socket() { close(); }
    Socket(Socket&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    Socket& operator=(Socket&& other) noexcept
    {
        close();
        m_descriptor = std::exchange(other.m_descriptor, -1);
        return *this;
    }

    int descriptor() const { return m_descriptor; }
    sockaddr_in address() const;

private:
    void close()
    {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }

    int m_descriptor = -1;
};

}  // namespace deskphone
