#pragma once

#include <string>

/// The recording service as the framework's executable for it offers it to others.
class MediaRecordingServiceIfc {
public:
    virtual void activateRecording(const std::string& lineURI) = 0;
    virtual void deactivateRecording(const std::string& lineURI) = 0;

protected:
    ~MediaRecordingServiceIfc() = default;
};
