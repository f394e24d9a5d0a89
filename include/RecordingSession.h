#pragma once

#include <string>

/// The media server's recording of one call on one line. Owned by RecordingSessionController; read and written under
/// the recording controller's lock.
struct RecordingSession {
    int callID = -1;
    std::string lineURI;
    int mediaSessionHandle = -1;  // -1 until the session is reported attached or streaming
};
