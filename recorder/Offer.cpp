#include "Offer.h"

#include <arpa/inet.h>
#include <sofia-sip/msg_mime.h>
#include <sofia-sip/sdp.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/su_alloc.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace recorder {

namespace {

constexpr const char* SDP_TYPE = "application/sdp";
constexpr const char* METADATA_TYPE = "application/rs-metadata+xml";
constexpr const char* MULTIPART = "multipart/";
constexpr std::size_t MOST_PARTS = 16;
constexpr std::size_t MOST_STREAMS = 16;
constexpr std::size_t LONGEST_OFFER = 16384;

struct HomeCloser {
    void operator()(su_home_t* home) const { ::su_home_unref(home); }
};
using Home = std::unique_ptr<su_home_t, HomeCloser>;

Home makeHome()
{
    return Home(static_cast<su_home_t*>(::su_home_new(sizeof(su_home_t))));
}

bool isType(const msg_content_type_t* type, const char* wanted)
{
    return type != nullptr && type->c_type != nullptr && ::strcasecmp(type->c_type, wanted) == 0;
}

std::string textOf(const msg_payload_t& payload)
{
    return std::string(payload.pl_data, payload.pl_len);
}

void take(const msg_content_type_t* type, const msg_payload_t* payload, Body& body)
{
    std::string* const place = isType(type, SDP_TYPE)        ? &body.sdp
                               : isType(type, METADATA_TYPE) ? &body.metadata
                                                             : nullptr;
    if (place != nullptr && payload != nullptr && place->empty()) {
        *place = textOf(*payload);
    }
}

bool isG711(const sdp_rtpmap_t& format)
{
    return format.rm_rate == 8000 && format.rm_encoding != nullptr &&
           (::strcasecmp(format.rm_encoding, "PCMA") == 0 || ::strcasecmp(format.rm_encoding, "PCMU") == 0);
}

/// False where no packet can come from.
bool readSource(const sdp_connection_t* connection, unsigned long port, sockaddr_in& source)
{
    if (connection == nullptr || connection->c_addrtype != sdp_addr_ip4 || connection->c_mcast != 0 ||
        connection->c_address == nullptr || port > UINT16_MAX ||
        ::inet_pton(AF_INET, connection->c_address, &source.sin_addr) != 1) {
        return false;
    }
    source.sin_family = AF_INET;
    source.sin_port = htons(static_cast<std::uint16_t>(port));
    return true;
}

OfferedStream readStream(const sdp_media_t& media)
{
    OfferedStream stream;
    stream.refusal = std::string("m=") + media.m_type_name + " 0 " + media.m_proto_name;
    for (const sdp_list_t* format = media.m_format; format != nullptr; format = format->l_next) {
        stream.refusal += std::string(" ") + format->l_text;
    }
    const sdp_rtpmap_t* format = media.m_rtpmaps;
    while (format != nullptr && !isG711(*format)) {
        format = format->rm_next;
    }
    if (media.m_type != sdp_media_audio || media.m_proto != sdp_proto_rtp || format == nullptr || media.m_port == 0) {
        return stream;
    }
    stream.payloadType = format->rm_pt;
    stream.isALaw = ::strcasecmp(format->rm_encoding, "PCMA") == 0;
    stream.isUsable = readSource(::sdp_media_connections(&media), media.m_port, stream.source);
    stream.isSent = (media.m_mode & sdp_sendonly) != 0 && stream.source.sin_addr.s_addr != INADDR_ANY;
    const sdp_attribute_t* const label = ::sdp_attribute_find(media.m_attributes, "label");
    if (label != nullptr && label->a_value != nullptr) {
        stream.label = label->a_value;
    }
    return stream;
}

/// KIND PORT TRANSPORT FORMAT... At a list that holds anything else the library's parser never ends, and takes all
/// memory.
bool isMediaLine(const std::string& value)
{
    constexpr const char* TOKEN = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ/-_.+*";
    std::istringstream words(value + ' ');
    int count = 0;
    for (std::string word; std::getline(words, word, ' '); ++count) {
        if (word.empty() || word.find_first_not_of(TOKEN) != std::string::npos) {
            return false;
        }
    }
    return count >= 4;
}

/// The lines of a description that a recorder uses.
std::string usedLines(const std::string& sdp)
{
    constexpr const char* USED = "vosctma";
    std::string used;
    std::istringstream lines(sdp);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        const bool isPlain =
            std::all_of(line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) >= ' '; });
        if (!isPlain || line.size() < 3 || line[1] != '=' || (line[0] == 'm' && !isMediaLine(line.substr(2)))) {
            throw std::runtime_error("unreadable SDP: a line that none may have");
        }
        if (std::strchr(USED, line[0]) != nullptr) {
            used += line + "\r\n";
        }
    }
    return used;
}

}  // namespace

Body readBody(const sip_t& message)
{
    Body body;
    const Home home = makeHome();
    const msg_content_type_t* const type = message.sip_content_type;
    const msg_payload_t* const whole = message.sip_payload;
    // Of an INVITE, the library has taken the parts out already.
    const msg_multipart_t* part = message.sip_multipart;
    if (part == nullptr && type != nullptr && whole != nullptr &&
        ::strncasecmp(type->c_type, MULTIPART, std::strlen(MULTIPART)) == 0) {
        // The parser writes into what it reads.
        part = ::msg_multipart_parse(
            home.get(), type, ::sip_payload_create(home.get(), whole->pl_data, static_cast<isize_t>(whole->pl_len)));
        if (part == nullptr) {
            throw std::runtime_error("a torn multipart body");
        }
    }
    if (part == nullptr) {
        take(type, whole, body);
    }
    for (std::size_t parts = 0; part != nullptr && parts < MOST_PARTS; part = part->mp_next, ++parts) {
        take(part->mp_content_type, part->mp_payload, body);
    }
    return body;
}

std::vector<OfferedStream> readOffer(const std::string& sdp)
{
    if (sdp.size() > LONGEST_OFFER) {
        throw std::runtime_error("an SDP of " + std::to_string(sdp.size()) + " bytes");
    }
    const std::string used = usedLines(sdp);
    const Home home = makeHome();
    sdp_parser_t* const parser = ::sdp_parse(home.get(), used.data(), static_cast<issize_t>(used.size()), 0);
    const sdp_session_t* const session = ::sdp_session(parser);
    if (session == nullptr) {
        const char* const reason = ::sdp_parsing_error(parser);
        throw std::runtime_error(std::string("unreadable SDP: ") + (reason != nullptr ? reason : "out of memory"));
    }
    std::vector<OfferedStream> streams;
    for (const sdp_media_t* media = session->sdp_media; media != nullptr; media = media->m_next) {
        streams.push_back(readStream(*media));
    }
    if (streams.empty() || streams.size() > MOST_STREAMS) {
        throw std::runtime_error("an offer of " + std::to_string(streams.size()) + " streams");
    }
    return streams;
}

}  // namespace recorder
