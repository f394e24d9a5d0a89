#include "sip/Sdp.h"

#include <arpa/inet.h>
#include <sofia-sip/sdp.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <sstream>

namespace deskphone {

namespace {

constexpr std::size_t LARGEST = 16000;
constexpr std::size_t MOST_STREAMS = 16;
constexpr std::size_t LONGEST_WORD = 64;

std::string word(const char* text)
{
    const std::string all = text == nullptr ? "" : text;
    return all.size() <= LONGEST_WORD ? all : "";
}

/// Any host's own: a telephone can send there.
bool isUsable(const in_addr& address)
{
    const std::uint32_t host = ntohl(address.s_addr);
    return host != INADDR_ANY && host != INADDR_BROADCAST && !IN_MULTICAST(host);
}

void readAddress(const sdp_media_t& media, sockaddr_in& address)
{
    const sdp_connection_t* const connection = sdp_media_connections(&media);
    const bool known = connection != nullptr && connection->c_addrtype == sdp_addr_ip4 && !connection->c_mcast &&
                       connection->c_address != nullptr && media.m_port > 0 && media.m_port <= 65535;
    if (known && ::inet_pton(AF_INET, connection->c_address, &address.sin_addr) == 1 && isUsable(address.sin_addr)) {
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(media.m_port));
    }
}

void readCodecs(const sdp_media_t& media, std::vector<Codec>& codecs)
{
    for (const sdp_rtpmap_t* map = media.m_rtpmaps; map != nullptr; map = map->rm_next) {
        for (const Codec codec : {Codec::PCMA, Codec::PCMU}) {
            if (map->rm_pt == static_cast<unsigned>(codec) && map->rm_rate == SAMPLES_A_SECOND &&
                map->rm_encoding != nullptr && ::strcasecmp(map->rm_encoding, nameOf(codec)) == 0 &&
                std::find(codecs.begin(), codecs.end(), codec) == codecs.end()) {
                codecs.push_back(codec);
            }
        }
    }
}

Stream readStream(const sdp_media_t& media)
{
    Stream stream;
    const std::string type = word(media.m_type_name);
    const std::string transport = word(media.m_proto_name);
    stream.line = (type.empty() ? "audio" : type) + " 0 " + (transport.empty() ? "RTP/AVP" : transport);
    if (media.m_type == sdp_media_audio && media.m_proto == sdp_proto_rtp && media.m_rejected == 0) {
        readAddress(media, stream.address);
        readCodecs(media, stream.codecs);
    }
    const std::string format = media.m_format == nullptr ? "" : word(media.m_format->l_text);
    stream.line += ' ' + (media.m_rtpmaps != nullptr ? std::to_string(media.m_rtpmaps->rm_pt)
                          : format.empty()           ? "0"
                                                     : format);
    stream.direction = {(media.m_mode & sdp_sendonly) != 0, (media.m_mode & sdp_recvonly) != 0};
    const sdp_attribute_t* const label = sdp_attribute_find(media.m_attributes, "label");
    const sdp_attribute_t* const record =
        sdp_attribute_find2(media.m_attributes, media.m_session->sdp_attributes, "record");
    stream.label = label == nullptr ? "" : word(label->a_value);
    stream.recording = record == nullptr ? "" : word(record->a_value);
    return stream;
}

bool isToken(const std::string& text, const char* also)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [also](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               std::strchr(also, c) != nullptr;
    });
}

/// KIND PORT TRANSPORT FORMAT..., with a blank between each. At a list that holds anything else the library's parser
/// never ends, and takes all memory.
bool isMediaLine(const std::string& value)
{
    std::istringstream parts(value + ' ');
    int count = 0;
    for (std::string part; std::getline(parts, part, ' '); ++count) {
        if (!isToken(part, count == 2 ? "/-_." : count == 1 ? "/" : "-_.+*")) {
            return false;
        }
    }
    return count >= 4;
}

/// The lines that a telephone uses; false when one is none of a description.
bool takeUsedLines(const std::string& text, std::string& used)
{
    constexpr const char* USED = "vosctma";
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        const bool isPlain =
            std::all_of(line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) >= ' '; });
        if (!isPlain || line.size() < 3 || line[1] != '=' || (line[0] == 'm' && !isMediaLine(line.substr(2)))) {
            return false;
        }
        if (std::strchr(USED, line[0]) != nullptr) {
            used += line + "\r\n";
        }
    }
    return true;
}

const char* nameOf(const Direction& direction)
{
    return direction.sends ? (direction.receives ? "sendrecv" : "sendonly")
                           : (direction.receives ? "recvonly" : "inactive");
}

}  // namespace

bool readDescription(const std::string& text, std::vector<Stream>& streams)
{
    std::string used;
    if (text.size() > LARGEST || !takeUsedLines(text, used)) {
        return false;
    }
    const std::unique_ptr<sdp_parser_t, decltype(&sdp_parser_free)> parser(
        sdp_parse(nullptr, used.data(), static_cast<issize_t>(used.size()), sdp_f_mode_0000), sdp_parser_free);
    const sdp_session_t* const session = sdp_session(parser.get());
    if (session == nullptr) {
        return false;
    }
    streams.clear();
    for (const sdp_media_t* media = session->sdp_media; media != nullptr; media = media->m_next) {
        if (streams.size() == MOST_STREAMS) {
            return false;
        }
        streams.push_back(readStream(*media));
    }
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
