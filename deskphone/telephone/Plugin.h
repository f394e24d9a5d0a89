#pragma once

#include "MediaRecordingService.h"
#include "MediaRecordingServiceInvoker.h"

namespace deskphone {

/// The plug-in's two factories. What they make belongs to the caller.
struct Plugin {
    decltype(&createMediaRecordingService) createService;
    decltype(&createMediaRecordingServiceInvoker) createInvoker;
};

}  // namespace deskphone
