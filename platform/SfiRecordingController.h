#pragma once

#include <string>

/// Call control's side of call recording.
class SfiRecordingController {
public:
    virtual ~SfiRecordingController() = default;

    virtual void setCallRecMode(std::string mode) = 0;
};
