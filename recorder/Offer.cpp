#include "Offer.h"

#include <arpa/inet.h>
#include <sofia-sip/msg_header.h>
#include <sofia-sip/sip_header.h>
#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <map>
#include <sstream>
#include <stdexcept>

namespace recorder {

namespace {

constexpr const char* SDP_TYPE = "application/sdp";
constexpr const char* METADATA_TYPE = "application/rs-metadata+xml";
constexpr const char* MULTIPART = "multipart/";
constexpr std::size_t MOST_STREAMS = 16;
constexpr std::size_t LONGEST_OFFER = 16384;

bool beginsWith(const std::string& text, const std::string& beginning)
{
    return ::strncasecmp(text.c_str(), beginning.c_str(), beginning.size()) == 0;
}

void take(const std::string& type, const std::string& content, Body& body)
{
    std::string* const place = ::strcasecmp(type.c_str(), SDP_TYPE) == 0        ? &body.sdp
                               : ::strcasecmp(type.c_str(), METADATA_TYPE) == 0 ? &body.metadata
                                                                                : nullptr;
    if (place != nullptr && place->empty()) {
        *place = content;
    }
}

/// What a part's header says of its type.
std::string typeIn(const std::string& header)
{
    const std::string name = "Content-Type:";
    std::istringstream lines(header);
    for (std::string line; std::getline(lines, line);) {
        if (beginsWith(line, name)) {
            const std::size_t type = std::min(line.find_first_not_of(" \t", name.size()), line.size());
            return line.substr(type, line.find_first_of("; \t\r", type) - type);
        }
    }
    return "";
}

/// Takes a body apart (RFC 2046). The parser of the SIP library ends the program at some that are torn.
void takeParts(const std::string& text, const std::string& boundary, Body& body)
{
    const std::string edge = "\r\n--" + boundary;
    const std::string all = "\r\n" + text;
    std::size_t begin = all.find(edge);
    if (boundary.empty() || begin == std::string::npos) {
        throw std::runtime_error("a torn multipart body");
    }
    while (all.compare(begin += edge.size(), 2, "--") != 0) {
        const std::size_t end = all.find(edge, begin);
        const std::size_t content = all.find("\r\n\r\n", begin);
        if (end == std::string::npos || content > end) {
            throw std::runtime_error("a torn multipart body");
        }
        take(typeIn(all.substr(begin, content - begin)), all.substr(content + 4, end - std::min(end, content + 4)),
             body);
        begin = end;
    }
}

/// A description of one stream.
struct Described {
    std::string kind;
    std::uint16_t port = 0;
    std::string transport;
    std::vector<int> formats;
    std::map<int, std::string> encodings = {{0, "PCMU/8000"}, {8, "PCMA/8000"}};  // by format
    in_addr address = {INADDR_NONE};
    bool sends = true;
    std::string label;
    std::string refusal;
};

std::runtime_error unreadable(const std::string& line)
{
    return std::runtime_error("unreadable SDP: " + line);
}

/// Reads a number that the text begins with. Where it ends is put into `end`.
template <typename Number>
bool readNumber(const std::string& text, Number& number, std::size_t& end)
{
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    end = static_cast<std::size_t>(read.ptr - text.data());
    return read.ec == std::errc{};
}

/// The value of a line m=: KIND PORT TRANSPORT FORMAT...
void readMedia(const std::string& value, Described& stream)
{
    std::istringstream words(value);
    std::string port;
    std::string format;
    std::size_t end = 0;
    words >> stream.kind >> port >> stream.transport;
    if (!readNumber(port, stream.port, end) || (end != port.size() && port[end] != '/')) {
        throw unreadable("m=" + value);
    }
    stream.refusal = "m=" + stream.kind + " 0 " + stream.transport;
    while (words >> format) {
        stream.refusal += ' ' + format;
        if (int number = 0; readNumber(format, number, end) && end == format.size()) {
            stream.formats.push_back(number);
        }
    }
    if (format.empty()) {
        throw unreadable("m=" + value);
    }
}

/// The value of a line c=. An address that is none becomes one that no packet can come from.
in_addr readAddress(const std::string& value)
{
    std::istringstream words(value);
    std::string net;
    std::string type;
    std::string text;
    words >> net >> type >> text;
    in_addr address{};
    return type == "IP4" && ::inet_pton(AF_INET, text.c_str(), &address) == 1 ? address : in_addr{INADDR_NONE};
}

/// The value of a line a=.
void readAttribute(const std::string& text, Described& stream)
{
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string name = text.substr(0, colon);
    const std::string value = text.substr(std::min(colon + 1, text.size()));
    int format = 0;
    std::size_t end = 0;
    if (name == "sendrecv" || name == "sendonly" || name == "recvonly" || name == "inactive") {
        stream.sends = name == "sendrecv" || name == "sendonly";
    } else if (name == "label") {
        stream.label = value;
    } else if (name == "rtpmap" && readNumber(value, format, end)) {
        stream.encodings[format] = value.substr(std::min(value.find_first_not_of(' ', end), value.size()));
    }
}

OfferedStream offeredAs(const Described& stream)
{
    OfferedStream offered;
    offered.refusal = stream.refusal;
    if (stream.kind != "audio" || stream.transport != "RTP/AVP" || stream.port == 0) {
        return offered;
    }
    for (const int format : stream.formats) {
        const auto encoding = stream.encodings.find(format);
        const std::string name = encoding == stream.encodings.end() ? "" : encoding->second + '/';
        const bool isALaw = beginsWith(name, "PCMA/8000/");
        if (format >= 0 && format < 128 && (isALaw || beginsWith(name, "PCMU/8000/"))) {
            offered.isALaw = isALaw;
            offered.payloadType = static_cast<std::uint8_t>(format);
            offered.isUsable = stream.address.s_addr != INADDR_NONE;
            break;
        }
    }
    offered.source.sin_family = AF_INET;
    offered.source.sin_port = htons(stream.port);
    offered.source.sin_addr = stream.address;
    offered.isSent = stream.sends && stream.address.s_addr != INADDR_ANY;
    offered.label = stream.label;
    return offered;
}

}  // namespace

Body readBody(const sip_t& message)
{
    Body body;
    const msg_content_type_t* const type = message.sip_content_type;
    const msg_payload_t* const payload = message.sip_payload;
    if (type == nullptr || payload == nullptr || payload->pl_data == nullptr) {
        return body;
    }
    const std::string text(payload->pl_data, payload->pl_len);
    if (beginsWith(type->c_type, MULTIPART)) {
        const char* const parameter = ::msg_params_find(type->c_params, "boundary=");
        std::string boundary = parameter == nullptr ? "" : parameter;
        boundary.erase(std::remove(boundary.begin(), boundary.end(), '"'), boundary.end());
        takeParts(text, boundary, body);
    } else {
        take(type->c_type, text, body);
    }
    return body;
}

std::vector<OfferedStream> readOffer(const std::string& sdp)
{
    if (sdp.size() > LONGEST_OFFER) {
        throw std::runtime_error("an SDP of " + std::to_string(sdp.size()) + " bytes");
    }
    if (sdp.compare(0, 3, "v=0") != 0) {
        throw unreadable("it does not begin with v=0");
    }
    Described session;  // what holds for all streams
    std::vector<Described> streams;
    std::istringstream lines(sdp);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        const bool isPlain =
            std::all_of(line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) >= ' '; });
        if (!isPlain || line.size() < 2 || line[1] != '=') {
            throw unreadable("a line that none may have");
        }
        Described& described = streams.empty() ? session : streams.back();
        const std::string value = line.substr(2);
        if (line[0] == 'c') {
            described.address = readAddress(value);
        } else if (line[0] == 'a') {
            readAttribute(value, described);
        } else if (line[0] == 'm') {
            streams.push_back(session);
            readMedia(value, streams.back());
        }
    }
    if (streams.empty() || streams.size() > MOST_STREAMS) {
        throw std::runtime_error("an offer of " + std::to_string(streams.size()) + " streams");
    }
    std::vector<OfferedStream> offered;
    std::transform(streams.begin(), streams.end(), std::back_inserter(offered), offeredAs);
    return offered;
}

}  // namespace recorder
