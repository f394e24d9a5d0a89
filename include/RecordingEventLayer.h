#pragma once

#include <string>

#include "MediaControlServiceIfc.h"

/// Everything the recording core asks of the telephone around it.
///
/// Called on whichever thread the cause arrived: with the controller's lock held, but for setCallRecMode();
/// setDirection() with the session table's lock held as well, so it must not come back into the session table.
class RecordingEventLayer {
public:
    virtual ~RecordingEventLayer() = default;

    /// False when the direction could not be changed; nothing depends on it.
    virtual bool setDirection(int mediaSessionHandle, MediaControlServiceIfc::MediaDirection direction) = 0;
    virtual void callRecordingStatus(const std::string& lineURI, int callID, const std::string& status) = 0;
    virtual void updateCallRecordingFPKLamp() = 0;
    /// Requests only: the outcome arrives later, as a media-server event.
    virtual void callAttachSession(int mrsID, const std::string& recorderAddress) = 0;
    virtual void callDetachSession(int mrsID) = 0;
    virtual void setCallRecMode(const std::string& mode) = 0;
};
