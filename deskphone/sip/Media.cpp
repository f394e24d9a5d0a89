#include "sip/Media.h"

#include <arpa/inet.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>
#include <random>
#include <system_error>

namespace deskphone {

namespace {

constexpr std::size_t HEADER = 12;  // of RTP, in bytes
constexpr std::size_t LARGEST_PACKET = 1500;
constexpr int PACKETS_AT_ONCE = 32;  // of one call, before the others have their turn
constexpr long NANOSECONDS_A_PACKET = 1000000000L / static_cast<long>(SAMPLES_A_SECOND / SAMPLES_A_PACKET);
// What epoll gives back, beside the numbers of calls, which are positive.
constexpr int REQUESTS = 0;
constexpr int CLOCK = -1;

std::system_error failure(const char* what)
{
    return {errno, std::generic_category(), what};
}

void watch(int poll, int descriptor, int number)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = number;
    if (::epoll_ctl(poll, EPOLL_CTL_ADD, descriptor, &event) != 0) {
        throw failure("epoll_ctl");
    }
}

bool isFrom(const sockaddr_in& sender, const sockaddr_in& expected)
{
    return sender.sin_addr.s_addr == expected.sin_addr.s_addr && sender.sin_port == expected.sin_port;
}

}  // namespace

Socket::Socket(const std::string& address)
    : m_descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    sockaddr_in own{};
    own.sin_family = AF_INET;
    ::inet_pton(AF_INET, address.c_str(), &own.sin_addr);
    if (m_descriptor < 0 || ::bind(m_descriptor, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
        const std::system_error error = failure("a port for sound");
        close();
        throw error;
    }
}

sockaddr_in Socket::address() const
{
    sockaddr_in own{};
    socklen_t size = sizeof own;
    ::getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&own), &size);
    return own;
}

Media::Media(const Voice& voice, Reports reports)
    : m_voice(voice),
      m_reports(std::move(reports)),
      m_poll(::epoll_create1(EPOLL_CLOEXEC)),
      m_clock(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))
{
    if (m_poll < 0 || m_clock < 0) {
        throw failure("the thread for sound");
    }
    watch(m_poll, m_requests.descriptor(), REQUESTS);
    watch(m_poll, m_clock, CLOCK);
    itimerspec period{};
    period.it_interval.tv_nsec = period.it_value.tv_nsec = NANOSECONDS_A_PACKET;
    ::timerfd_settime(m_clock, 0, &period, nullptr);
    m_thread = std::thread([this] { run(); });
}

Media::~Media()
{
    post([this] { m_ends = true; });
    m_thread.join();
    ::close(m_clock);
    ::close(m_poll);
}

void Media::open(int call, Socket socket)
{
    post([this, call, held = std::make_shared<Socket>(std::move(socket))] {
        std::random_device random;
        Call& opened = m_calls[call];
        opened.socket = std::move(*held);
        opened.source = random();
        opened.sequence = static_cast<std::uint16_t>(random() & 0x7fff);
        opened.timestamp = random();
        watch(m_poll, opened.socket.descriptor(), call);
    });
}

void Media::direct(int call, const Path& path)
{
    post([this, call, path] {
        if (const auto found = m_calls.find(call); found != m_calls.end()) {
            found->second.path = path;
        }
    });
}

void Media::close(int call)
{
    post([this, call] { m_calls.erase(call); });
}

void Media::record(int recording, int call, std::array<Socket, NUMBER_OF_SIDES> sockets)
{
    post([this, recording, call, held = std::make_shared<decltype(sockets)>(std::move(sockets))] {
        if (const auto found = m_calls.find(call); found != m_calls.end()) {
            found->second.copies.push_back(recording);
            m_recordings.emplace(recording, Recording{call, std::move(*held), {}});
        }
    });
}

void Media::aim(int recording, const std::array<sockaddr_in, NUMBER_OF_SIDES>& ports, Codec codec)
{
    post([this, recording, ports, codec] {
        if (const auto found = m_recordings.find(recording); found != m_recordings.end()) {
            found->second.codec = codec;
            for (const Side side : {NEAR, FAR}) {
                const int socket = found->second.sockets[side].descriptor();
                // Connected, so that a closed port shows as an error of the next packet, unless it is left before.
                if (::connect(socket, reinterpret_cast<const sockaddr*>(&ports[side]), sizeof ports[side]) != 0) {
                    m_reports.fails(recording);
                }
                int forgotten = 0;
                socklen_t size = sizeof forgotten;
                ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &forgotten, &size);
            }
        }
    });
}

void Media::flow(int recording, bool flows)
{
    const std::lock_guard<std::mutex> guard(m_gate);
    m_flowing.erase(recording);
    if (flows) {
        m_flowing[recording] = false;
    }
}

void Media::endRecording(int recording)
{
    flow(recording, false);
    post([this, recording] {
        if (const auto found = m_recordings.find(recording); found != m_recordings.end()) {
            if (const auto call = m_calls.find(found->second.call); call != m_calls.end()) {
                auto& copies = call->second.copies;
                copies.erase(std::remove(copies.begin(), copies.end(), recording), copies.end());
            }
            m_recordings.erase(found);
        }
    });
}

void Media::run()
{
    while (!m_ends) {
        std::array<epoll_event, 64> events;
        const int count = ::epoll_wait(m_poll, events.data(), static_cast<int>(events.size()), -1);
        for (int at = 0; at < count; ++at) {
            const int number = events[static_cast<std::size_t>(at)].data.fd;
            if (number == REQUESTS) {
                perform();
            } else if (number == CLOCK) {
                std::uint64_t ticks = 0;
                if (::read(m_clock, &ticks, sizeof ticks) == sizeof ticks) {
                    // Late ticks are made up for, but not those of a machine that was asleep.
                    for (std::uint64_t tick = 0; tick < std::min<std::uint64_t>(ticks, 5); ++tick) {
                        for (auto& call : m_calls) {
                            speak(call.second);
                        }
                    }
                }
            } else {
                listen(number);
            }
        }
    }
    m_calls.clear();
    m_recordings.clear();
}

void Media::perform()
{
    for (std::function<void()> request; m_requests.take(request);) {
        request();
    }
}

/// Sends the next piece of the near side's voice.
void Media::speak(Call& call)
{
    const Path& path = call.path;
    if (!path.direction.sends || path.farEnd.sin_port == 0) {
        call.timestamp += SAMPLES_A_PACKET;
        call.speaks = false;
        return;
    }
    std::array<std::uint8_t, HEADER + SAMPLES_A_PACKET> packet;
    const auto put = [&packet](std::size_t at, std::uint32_t value, std::size_t size) {
        for (std::size_t byte = 0; byte < size; ++byte) {
            packet[at + byte] = static_cast<std::uint8_t>(value >> (8 * (size - 1 - byte)));
        }
    };
    const std::uint32_t marker = call.speaks ? 0 : 0x80;
    put(0, 0x80, 1);
    put(1, marker | static_cast<std::uint32_t>(path.codec), 1);
    put(2, call.sequence++, 2);
    put(4, call.timestamp, 4);
    put(8, call.source, 4);
    const Payload payload = m_voice.piece(call.said, path.codec);
    std::copy(payload.begin(), payload.end(), packet.begin() + HEADER);
    ::sendto(call.socket.descriptor(), packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&path.farEnd),
             sizeof path.farEnd);
    copy(call, NEAR, packet.data(), packet.size());
    call.said += SAMPLES_A_PACKET;
    call.timestamp += SAMPLES_A_PACKET;
    call.speaks = true;
}

/// Takes what has come in for the call. Only what was agreed on counts: the sender, and the kind of sound.
void Media::listen(int number)
{
    const auto found = m_calls.find(number);
    if (found == m_calls.end()) {
        return;
    }
    const Call& call = found->second;
    for (int taken = 0; taken < PACKETS_AT_ONCE; ++taken) {
        std::array<std::uint8_t, LARGEST_PACKET> packet;
        sockaddr_in sender{};
        socklen_t senderSize = sizeof sender;
        const ssize_t size = ::recvfrom(call.socket.descriptor(), packet.data(), packet.size(), MSG_TRUNC,
                                        reinterpret_cast<sockaddr*>(&sender), &senderSize);
        if (size < 0 && errno != ECONNREFUSED && errno != EINTR) {
            return;
        }
        const auto length = static_cast<std::size_t>(size);
        if (size > 0 && length > HEADER && length <= packet.size() && packet[0] >> 6 == 2 &&
            (packet[1] & 0x7f) == static_cast<int>(call.path.codec) && call.path.direction.receives &&
            isFrom(sender, call.path.farEnd)) {
            copy(call, FAR, packet.data(), length);
        }
    }
}

/// Copies of a packet leave as it is.
void Media::copy(const Call& call, Side side, const std::uint8_t* packet, std::size_t size)
{
    const std::lock_guard<std::mutex> guard(m_gate);
    for (const int number : call.copies) {
        const auto flowing = m_flowing.find(number);
        const Recording& recording = m_recordings.at(number);
        if (flowing == m_flowing.end() || recording.codec != call.path.codec) {
            continue;
        }
        const bool sent = ::send(recording.sockets[side].descriptor(), packet, size, MSG_NOSIGNAL) >= 0;
        if (!sent && errno != EAGAIN && errno != ENOBUFS) {
            m_flowing.erase(flowing);
            m_reports.fails(number);
        } else if (sent && !flowing->second) {
            flowing->second = true;
            m_reports.streams(number);
        }
    }
}

}  // namespace deskphone
