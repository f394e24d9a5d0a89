#pragma once

#include <string>

/// Tells the communications service what happens to calls.
class CommunicationsServiceEventIfc {
public:
    virtual ~CommunicationsServiceEventIfc() = default;

    /// `status` is one of communicationsServiceTexts.
    virtual void callRecordingStatus(const std::string& lineURI, int callID, const std::string& status) = 0;
};
