#pragma once

#include <array>
#include <ctime>
#include <string>

#include "sip/Media.h"

namespace deskphone {

/// What a recorder is told of a call (RFC 7865), beside its sound.
struct RecordedCall {
    std::string identity;                              // the Call-ID
    std::array<std::string, NUMBER_OF_SIDES> parties;  // SIP URIs
    std::time_t begin;
    std::time_t recordedFrom;
};

/// The labels of the streams, in the description and the metadata.
constexpr std::array<const char*, NUMBER_OF_SIDES> streamLabels{"1", "2"};

/// The metadata as XML. Its identities are made anew.
std::string writeMetadata(const RecordedCall& call);

/// A body of several parts (RFC 2046): the session description and the metadata of a recording session (RFC 7866).
struct RecordingBody {
    std::string contentType;
    std::string text;
};
RecordingBody writeRecordingBody(const std::string& description, const std::string& metadata);

}  // namespace deskphone
