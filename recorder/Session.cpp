#include "Session.h"

#include <arpa/inet.h>
#include <spandsp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "Metadata.h"

namespace recorder {

namespace {

constexpr std::int64_t LONGEST_RECORDING = std::int64_t{24} * 60 * 60 * SAMPLES_PER_SECOND;
constexpr int MOST_METADATA = 100;

const char* nameOf(Side side)
{
    return side == NEAR ? "near" : "far";
}

std::string seconds(std::int64_t samples)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.2f s", static_cast<double>(samples) / SAMPLES_PER_SECOND);
    return text.data();
}

std::string counted(long number, const char* what)
{
    return number == 0 ? "" : ", " + std::to_string(number) + what;
}

}  // namespace

Session::Session(int number, const Loop& loop, in_addr_t address, std::string path, Listener& listener)
    : m_number(number), m_loop(loop), m_address(address), m_path(std::move(path)), m_listener(listener)
{
}

Session::~Session()
{
    if (m_file == nullptr) {
        return;
    }
    receiveAll();
    std::string summary;
    try {
        if (m_file != nullptr) {
            m_file->finish();
            summary = "recorded " + seconds(m_file->end());
        }
    } catch (const std::runtime_error& failure) {
        summary = failure.what();
    }
    for (const Stream& stream : m_streams) {
        if (stream.offered.isUsable) {
            summary += std::string("; ") + nameOf(stream.side) + ' ' + std::to_string(stream.track.packets()) +
                       " packets, " + std::to_string(stream.track.lost()) + " lost";
        }
    }
    tell(summary + counted(m_late, " late") + counted(m_unexpected, " while paused") +
         counted(m_foreign, " from elsewhere") + counted(m_unreadable, " unreadable"));
}

void Session::follow(const Body& body, const std::string& client)
{
    const std::vector<OfferedStream> offered = readOffer(body.sdp);
    if (std::none_of(offered.begin(), offered.end(), [](const auto& stream) { return stream.isUsable; })) {
        throw std::runtime_error("an offer without a stream of G.711");
    }
    if (offered.size() < m_streams.size()) {
        throw std::runtime_error("an offer that leaves out streams");
    }
    // What arrived before the change falls under what was agreed before.
    receiveAll();
    const std::string nearLabel = labelOf(body.metadata, client);
    m_streams.resize(offered.size());
    for (std::size_t i = 0; i < offered.size(); ++i) {
        m_streams[i].offered = offered[i];
        open(m_streams[i], nearLabel);
    }
    // Only now, so that a session for which there are no ports leaves no files.
    if (m_file == nullptr) {
        m_file = std::make_unique<StereoFile>(m_path + ".wav");
        tell("records " + m_path + ".wav");
    }
    saveMetadata(body.metadata);
    agree();
}

void Session::open(Stream& stream, const std::string& nearLabel)
{
    const auto others = std::count_if(m_streams.begin(), m_streams.end(),
                                      [&](const Stream& other) { return &other != &stream && other.port != 0; });
    stream.offered.isUsable = stream.offered.isUsable && others < NUMBER_OF_SIDES;
    if (!stream.offered.isUsable) {
        stream.watch.reset();
        stream.socket.reset();
        stream.port = 0;
    } else if (stream.port == 0) {
        stream.side = freeSide(stream.offered, nearLabel);
        stream.socket = std::make_unique<RtpSocket>(m_address);
        stream.watch =
            std::make_unique<Watch>(m_loop, stream.socket->descriptor(), [this, &stream] { receive(stream); });
        stream.port = stream.socket->port();
    }
}

Side Session::freeSide(const OfferedStream& offered, const std::string& nearLabel) const
{
    const auto isTaken = [this](Side side) {
        return std::any_of(m_streams.begin(), m_streams.end(),
                           [side](const Stream& other) { return other.port != 0 && other.side == side; });
    };
    const Side wanted = nearLabel.empty() || offered.label == nearLabel ? NEAR : FAR;
    return isTaken(wanted) ? static_cast<Side>(FAR - wanted) : wanted;
}

void Session::saveMetadata(const std::string& metadata)
{
    if (metadata.empty() || m_metadata == MOST_METADATA) {
        return;
    }
    ++m_metadata;
    const std::string name = m_path + (m_metadata == 1 ? "" : '-' + std::to_string(m_metadata)) + ".xml";
    std::ofstream file(name);
    file << metadata;
    file.close();
    if (!file) {
        throw std::system_error(errno, std::generic_category(), name);
    }
}

std::string Session::describe(bool isOffer)
{
    std::array<char, INET_ADDRSTRLEN> text{};
    const in_addr address{htonl(m_address)};
    const std::string here =
        std::string("IN IP4 ") + ::inet_ntop(AF_INET, &address, text.data(), static_cast<socklen_t>(text.size()));
    std::string sdp = "v=0\r\no=recorder " + std::to_string(m_number) + ' ' + std::to_string(++m_descriptions) + ' ' +
                      here + "\r\ns=-\r\nc=" + here + "\r\nt=0 0\r\n";
    for (const Stream& stream : m_streams) {
        if (stream.port == 0) {
            sdp += stream.offered.refusal + "\r\n";
            continue;
        }
        const std::string format = std::to_string(stream.offered.payloadType);
        const bool flows = !m_isPausedHere && (isOffer || stream.offered.isSent);
        sdp += "m=audio " + std::to_string(stream.port) + " RTP/AVP " + format + "\r\na=rtpmap:" + format +
               (stream.offered.isALaw ? " PCMA/8000" : " PCMU/8000") + "\r\na=" + (flows ? "recvonly" : "inactive") +
               "\r\n";
    }
    return sdp;
}

std::string Session::offer()
{
    for (Stream& stream : m_streams) {
        // The client may send as soon as it has read the offer. When it has to stop, that is agreed with its answer.
        stream.isAccepted = stream.isAccepted || !m_isPausedHere;
    }
    return describe(true);
}

void Session::takeAnswer(const std::string& sdp)
{
    const std::vector<OfferedStream> answered = readOffer(sdp);
    if (answered.size() != m_streams.size()) {
        throw std::runtime_error("an answer with another number of streams");
    }
    receiveAll();
    for (std::size_t i = 0; i < answered.size(); ++i) {
        m_streams[i].offered.isSent = answered[i].isUsable && answered[i].isSent;
    }
    agree();
}

void Session::agree()
{
    bool flows = false;
    for (Stream& stream : m_streams) {
        stream.isAccepted = stream.port != 0 && stream.offered.isSent && !m_isPausedHere;
        flows = flows || stream.isAccepted;
    }
    if (flows != m_isFlowing) {
        m_isFlowing = flows;
        tell(flows ? "expects packets" : "is paused");
        for (Stream& stream : m_streams) {
            stream.track.pause();
        }
    }
}

void Session::closePorts()
{
    receiveAll();
    for (Stream& stream : m_streams) {
        stream.watch.reset();
        stream.socket.reset();
    }
}

void Session::receiveAll()
{
    for (Stream& stream : m_streams) {
        if (stream.socket != nullptr) {
            receive(stream);
        }
    }
}

void Session::receive(Stream& stream)
{
    std::array<std::uint8_t, 2048> data{};
    // Whoever sends faster than this is read may fill the system's buffer, not this thread's time.
    for (int packets = 0; packets < 100; ++packets) {
        sockaddr_in from{};
        socklen_t length = sizeof from;
        const ssize_t size = ::recvfrom(stream.socket->descriptor(), data.data(), data.size(), MSG_TRUNC,
                                        reinterpret_cast<sockaddr*>(&from), &length);
        if (size < 0) {
            return;
        }
        const sockaddr_in& source = stream.offered.source;
        if (from.sin_addr.s_addr != source.sin_addr.s_addr || from.sin_port != source.sin_port) {
            ++m_foreign;
        } else if (static_cast<std::size_t>(size) > data.size()) {
            ++m_unreadable;
        } else if (m_file != nullptr) {
            record(stream, data.data(), static_cast<std::size_t>(size));
        }
    }
}

void Session::record(Stream& stream, const std::uint8_t* data, std::size_t size)
{
    RtpPacket packet{};
    if (!readRtp(data, size, packet) || packet.payloadType != stream.offered.payloadType || packet.size == 0) {
        ++m_unreadable;
        return;
    }
    if (!stream.isAccepted) {
        ++m_unexpected;
        return;
    }
    if (!stream.track.hasBegun()) {
        tell(std::string("first packet of the ") + nameOf(stream.side) + " side");
    }
    const std::int64_t place = stream.track.take(packet, now());
    std::vector<std::int16_t> samples(packet.size);
    std::transform(packet.payload, packet.payload + packet.size, samples.begin(),
                   stream.offered.isALaw ? ::alaw_to_linear : ::ulaw_to_linear);
    try {
        if (!m_file->put(stream.side, place, samples)) {
            ++m_late;
        } else if (m_file->end() > LONGEST_RECORDING) {
            fail("the recording has reached its greatest length");
        }
    } catch (const std::runtime_error& failure) {
        fail(failure.what());
    }
}

/// The place of what arrives now.
std::int64_t Session::now()
{
    std::int64_t leftOut = 0;
    const std::int64_t place = m_timeline.placeOf(Timeline::Clock::now(), m_file->end(), leftOut);
    if (leftOut > 0) {
        tell("leaves out " + seconds(leftOut) + " of silence");
    }
    return place;
}

void Session::fail(const std::string& why)
{
    tell(why);
    m_file.reset();
    m_listener.failed(m_number);
}

}  // namespace recorder
