#include "sip/Metadata.h"

#include <cstdint>
#include <random>

namespace deskphone {

namespace {

/// Escaped for XML. What XML cannot hold becomes a question mark.
std::string escaped(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '&': result += "&amp;"; break;
            case '<': result += "&lt;"; break;
            case '>': result += "&gt;"; break;
            case '"': result += "&quot;"; break;
            case '\'': result += "&apos;"; break;
            default: result += static_cast<unsigned char>(c) < ' ' || static_cast<unsigned char>(c) > '~' ? '?' : c;
        }
    }
    return result;
}

/// A random UUID in Base64.
std::string newIdentity()
{
    constexpr const char* digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::random_device random;
    std::array<std::uint8_t, 18> bytes{};  // 16, and two of padding
    for (std::size_t at = 0; at < 16; ++at) {
        bytes[at] = static_cast<std::uint8_t>(random());
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0f) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3f) | 0x80);
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::uint32_t three = static_cast<std::uint32_t>(bytes[at] << 16 | bytes[at + 1] << 8 | bytes[at + 2]);
        for (const int shift : {18, 12, 6, 0}) {
            text += digits[three >> shift & 0x3f];
        }
    }
    text.replace(text.size() - 2, 2, "==");
    return text;
}

std::string inUtc(std::time_t time)
{
    std::tm utc{};
    ::gmtime_r(&time, &utc);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

}  // namespace

std::string writeMetadata(const RecordedCall& call)
{
    const std::string session = newIdentity();
    const std::string from = "<associate-time>" + inUtc(call.recordedFrom) + "</associate-time>";
    std::array<std::string, NUMBER_OF_SIDES> participants{newIdentity(), newIdentity()};
    std::array<std::string, NUMBER_OF_SIDES> streams{newIdentity(), newIdentity()};
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
        "<recording xmlns=\"urn:ietf:params:xml:ns:recording:1\">\r\n"
        "  <datamode>complete</datamode>\r\n"
        "  <session session_id=\"" +
        session + "\">\r\n    <sipSessionID>" + escaped(call.identity) + "</sipSessionID>\r\n    <start-time>" +
        inUtc(call.begin) + "</start-time>\r\n  </session>\r\n";
    for (const Side side : {NEAR, FAR}) {
        text += "  <participant participant_id=\"" + participants[side] + "\">\r\n    <nameID aor=\"" +
                escaped(call.parties[side]) + "\"/>\r\n  </participant>\r\n";
    }
    for (const Side side : {NEAR, FAR}) {
        text += "  <stream stream_id=\"" + streams[side] + "\" session_id=\"" + session + "\">\r\n    <label>" +
                streamLabels[side] + "</label>\r\n  </stream>\r\n";
    }
    text += "  <sessionrecordingassoc session_id=\"" + session + "\">\r\n    " + from +
            "\r\n  </sessionrecordingassoc>\r\n";
    for (const Side side : {NEAR, FAR}) {
        text += "  <participantsessionassoc participant_id=\"" + participants[side] + "\" session_id=\"" + session +
                "\">\r\n    " + from + "\r\n  </participantsessionassoc>\r\n";
    }
    for (const Side side : {NEAR, FAR}) {
        text += "  <participantstreamassoc participant_id=\"" + participants[side] + "\">\r\n    <send>" +
                streams[side] + "</send>\r\n    <recv>" + streams[side == NEAR ? FAR : NEAR] + "</recv>\r\n    " +
                from + "\r\n  </participantstreamassoc>\r\n";
    }
    return text + "</recording>\r\n";
}

RecordingBody writeRecordingBody(const std::string& description, const std::string& metadata)
{
    const std::string boundary = "part-" + std::to_string(std::random_device()());
    return {"multipart/mixed;boundary=" + boundary,
            "--" + boundary + "\r\nContent-Type: application/sdp\r\n\r\n" + description + "\r\n--" + boundary +
                "\r\nContent-Type: application/rs-metadata+xml\r\nContent-Disposition: recording-session\r\n\r\n" +
                metadata + "\r\n--" + boundary + "--\r\n"};
}

}  // namespace deskphone
