#pragma once

#include <cstddef>

namespace deskphone {

/// Who takes part in what happens on a telephone; the service calls, and is called by, each of the others.
enum Party : std::size_t {
    USER,
    RECORDING_SERVICE,
    FRAMEWORK,
    MANAGEMENT,
    CALL_CONTROL,
    MEDIA_CONTROL,
    COMMUNICATIONS,
    KEY_LAMP,
    NUMBER_OF_PARTIES,
    NOBODY = NUMBER_OF_PARTIES
};

}  // namespace deskphone
