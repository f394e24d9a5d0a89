#pragma once

#include <string>

namespace deskphone {

/// What a telephone's services hand on to a network, where there is one. Each operation is called on any of the
/// plug-in's threads, possibly with locks of the plug-in held, and returns at once.
class Network {
public:
    virtual ~Network() = default;

    /// Call control was given this handle for the recording session of the call; 0 for none.
    virtual void sessionCreated(int session, int call) = 0;
    virtual void attach(int session, const std::string& recorder) = 0;
    virtual void detach(int session) = 0;
    virtual void setDirection(int media, bool sends) = 0;
    virtual void showRecordingStatus(int call, const std::string& status) = 0;
};

}  // namespace deskphone
