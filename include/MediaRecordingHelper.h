#pragma once

#include <atomic>

#include "MediaRecordingExport.h"

class CommunicationsServiceEventIfc;
class LocalMgmtIfc;
class MediaControlServiceIfc;
class PhysicalInterfaceServiceIfc;
class SvcRTEContext;

/// Finds the platform's services by name and keeps each one found for the rest of the process.
///
/// Called on any thread. A look-up returns the interface, owned by the platform, or null after logging why; a failed
/// look-up is not kept, so that the next call asks the context again.
class MediaRecordingHelper {
public:
    virtual ~MediaRecordingHelper() = default;

    static PhysicalInterfaceServiceIfc* getPhysicalInterfaceServiceIfc(SvcRTEContext& context);
    static CommunicationsServiceEventIfc* getCommunicationsServiceEventIfc(SvcRTEContext& context);
    static MediaControlServiceIfc* getMediaControlServiceIfc(SvcRTEContext& context);
    static LocalMgmtIfc* getLocalMgmtIfc(SvcRTEContext& context);

    /// Forgets what was found. For the framework; the plug-in never calls it.
    MRS_EXPORT static void reset();

private:
    static std::atomic<PhysicalInterfaceServiceIfc*> m_physIfc;
    static std::atomic<CommunicationsServiceEventIfc*> m_commsEventIfc;
    static std::atomic<MediaControlServiceIfc*> m_mcsIfc;
    static std::atomic<LocalMgmtIfc*> m_localMgmtIfc;
};
