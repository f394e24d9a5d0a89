#include "sip/Sdp.h"

#include <arpa/inet.h>
#include <strings.h>

#include <algorithm>
#include <charconv>
#include <sstream>

namespace deskphone {

namespace {

constexpr std::size_t LARGEST = 16000;
constexpr std::size_t MOST_STREAMS = 16;
constexpr std::size_t LONGEST_WORD = 64;

/// Any host's own: a telephone can send there.
bool isUsable(const in_addr& address)
{
    const std::uint32_t host = ntohl(address.s_addr);
    return host != INADDR_BROADCAST && !IN_MULTICAST(host);
}

/// The value of a line c=. An address that is none becomes one that nothing is sent to.
in_addr readAddress(const std::string& value)
{
    std::istringstream words(value);
    std::string net, type, text;
    words >> net >> type >> text;
    in_addr address{INADDR_NONE};
    if (type != "IP4" || ::inet_pton(AF_INET, text.c_str(), &address) != 1) {
        address.s_addr = INADDR_NONE;
    }
    return address;
}

/// The value of a line m=: KIND PORT TRANSPORT FORMAT...; false when it is none.
bool readMedia(const std::string& value, Stream& stream)
{
    std::istringstream words(value);
    std::string kind, port, transport, format;
    words >> kind >> port >> transport >> format;
    std::uint16_t number = 0;
    const char* const end = port.data() + port.size();
    const auto read = std::from_chars(port.data(), end, number);
    if (format.empty() || read.ec != std::errc{} || (read.ptr != end && *read.ptr != '/') ||
        std::max({kind.size(), transport.size(), format.size()}) > LONGEST_WORD) {
        return false;
    }
    stream.line = kind + " 0 " + transport + ' ' + format;
    if (kind != "audio" || transport != "RTP/AVP") {
        return true;
    }
    stream.address.sin_port = htons(number);
    do {
        for (const Codec codec : {Codec::PCMA, Codec::PCMU}) {
            if (format == std::to_string(static_cast<int>(codec)) &&
                std::find(stream.codecs.begin(), stream.codecs.end(), codec) == stream.codecs.end()) {
                stream.codecs.push_back(codec);
            }
        }
    } while (words >> format);
    return true;
}

/// The value of a line a=.
void readAttribute(const std::string& text, Stream& stream)
{
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string name = text.substr(0, colon);
    const std::string value = text.substr(std::min(colon + 1, text.size()));
    if (name == "sendrecv" || name == "sendonly" || name == "recvonly" || name == "inactive") {
        stream.direction = {name == "sendrecv" || name == "sendonly", name == "sendrecv" || name == "recvonly"};
    } else if (name == "rtpmap") {
        // The numbers of these codecs stand for nothing else.
        stream.codecs.erase(std::remove_if(stream.codecs.begin(), stream.codecs.end(),
                                           [&value](Codec codec) {
                                               const std::string format = std::to_string(static_cast<int>(codec)) + ' ';
                                               const std::string map = format + nameOf(codec) + "/8000";
                                               return value.compare(0, format.size(), format) == 0 &&
                                                      ::strcasecmp(value.c_str(), map.c_str()) != 0 &&
                                                      ::strcasecmp(value.c_str(), (map + "/1").c_str()) != 0;
                                           }),
                            stream.codecs.end());
    } else if (value.size() <= LONGEST_WORD && name == "label") {
        stream.label = value;
    } else if (value.size() <= LONGEST_WORD && name == "record") {
        stream.recording = value;
    }
}

/// Without an address to send to, a stream is of no use. Of old, 0.0.0.0 halts the sound.
void settle(Stream& stream)
{
    if (stream.address.sin_port == 0 || !isUsable(stream.address.sin_addr)) {
        stream.address = {};
        return;
    }
    stream.address.sin_family = AF_INET;
    stream.direction.receives = stream.direction.receives && stream.address.sin_addr.s_addr != INADDR_ANY;
}

const char* nameOf(const Direction& direction)
{
    return direction.sends ? (direction.receives ? "sendrecv" : "sendonly")
                           : (direction.receives ? "recvonly" : "inactive");
}

}  // namespace

bool readDescription(const std::string& text, std::vector<Stream>& streams)
{
    if (text.size() > LARGEST || text.compare(0, 3, "v=0") != 0) {
        return false;
    }
    Stream session;  // what holds for all streams
    session.address.sin_addr.s_addr = INADDR_NONE;
    std::vector<Stream> read;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        const bool isPlain =
            std::all_of(line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) >= ' '; });
        if (!isPlain || line.size() < 2 || line[1] != '=') {
            return false;
        }
        Stream& described = read.empty() ? session : read.back();
        const std::string value = line.substr(2);
        if (line[0] == 'c') {
            described.address.sin_addr = readAddress(value);
        } else if (line[0] == 'a') {
            readAttribute(value, described);
        } else if (line[0] == 'm') {
            read.push_back(session);
            if (read.size() > MOST_STREAMS || !readMedia(value, read.back())) {
                return false;
            }
        }
    }
    std::for_each(read.begin(), read.end(), settle);
    streams = std::move(read);
    return true;
}

std::string writeDescription(std::uint64_t identity, unsigned version, const std::string& address,
                             const std::vector<Stream>& streams)
{
    std::string text = "v=0\r\no=- " + std::to_string(identity) + ' ' + std::to_string(version) + " IN IP4 " + address +
                       "\r\ns=-\r\nc=IN IP4 " + address + "\r\nt=0 0\r\n";
    for (const Stream& stream : streams) {
        if (!stream.usable()) {
            text += "m=" + stream.line + "\r\n";
            continue;
        }
        std::string formats;
        std::string maps;
        for (const Codec codec : stream.codecs) {
            const std::string type = std::to_string(static_cast<int>(codec));
            formats += ' ' + type;
            maps += "a=rtpmap:" + type + ' ' + deskphone::nameOf(codec) + "/8000\r\n";
        }
        text += "m=audio " + std::to_string(ntohs(stream.address.sin_port)) + " RTP/AVP" + formats + "\r\n" + maps +
                "a=ptime:20\r\na=" + nameOf(stream.direction) + "\r\n";
        if (!stream.label.empty()) {
            text += "a=label:" + stream.label + "\r\n";
        }
        if (!stream.recording.empty()) {
            text += "a=record:" + stream.recording + "\r\n";
        }
    }
    return text;
}

}  // namespace deskphone
