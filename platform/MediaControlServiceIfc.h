#pragma once

/// Media control. Must not come back into the recording service from setDirection().
class MediaControlServiceIfc {
public:
    enum MediaDirection : int { MEDIA_DIRECTION_INACTIVE = 2, MEDIA_DIRECTION_SENDONLY = 3 };

    virtual ~MediaControlServiceIfc() = default;

    /// Changes the direction of a media stream; true when it was done.
    virtual bool setDirection(int mediaSessionHandle, int stream, MediaDirection direction) = 0;
};
