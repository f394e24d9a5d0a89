#include "MediaRecordingHelper.h"

#include "CommunicationsServiceEventIfc.h"
#include "Context.h"
#include "Executable.h"
#include "LocalMgmtIfc.h"
#include "Log.h"
#include "MediaControlServiceIfc.h"
#include "PhysicalInterfaceServiceIfc.h"

namespace {

constexpr const char* COMPONENT = "MediaRecordingHelper";
constexpr const char* SOURCE = "./src/MediaRecordingHelper";

/// An interface's name in the context, and what is logged when it isn't to be had.
struct Interface {
    const char* name;
    const char* notFound;
    const char* wrongType;
    bool bothWhenNotFound = false;
};

constexpr Interface PHYSICAL_INTERFACE = {
    "PhysicalInterfaceServiceIfc",
    "Cannot find PhysicalInterfaceServiceIfc",
    "Service returned by context is not PhysicalInterfaceServiceIfc",
};
constexpr Interface COMMUNICATIONS_EVENT = {
    "CommunicationsServiceEventIfc",
    "Cannot find CommunicationsServiceEventIfc",
    "Service returned by context is not CommunicationsServiceEventIfc",
};
constexpr Interface MEDIA_CONTROL = {
    "MediaControlServiceIfc",
    "Cannot find MediaControlServiceIfc",
    "Service returned by context is not MediaControlServiceIfc",
};
constexpr Interface LOCAL_MGMT = {
    "LocalMgmtIfc",
    "Cannot find LocalMgmtIfc",
    "Service returned by context is not LocalMgmtIfc",
    true,
};

// Two threads that miss the cache at the same time both ask the context and store the same pointer.
template <typename Ifc>
Ifc* lookUp(std::atomic<Ifc*>& cache, SvcRTEContext& context, const Interface& wanted)
{
    if (Ifc* const known = cache) {
        return known;
    }
    Executable* const service =
        contained(COMPONENT, SOURCE, wanted.name, [&] { return context.getService(wanted.name); });
    if (Ifc* const found = dynamic_cast<Ifc*>(service)) {
        cache = found;
        return found;
    }
    if (service == nullptr) {
        MRS_LOG(LOG_LEVEL_ERROR, "%s", wanted.notFound);
    }
    if (service != nullptr || wanted.bothWhenNotFound) {
        MRS_LOG(LOG_LEVEL_ERROR, "%s", wanted.wrongType);
    }
    return nullptr;
}

}  // namespace

std::atomic<PhysicalInterfaceServiceIfc*> MediaRecordingHelper::m_physIfc{nullptr};
std::atomic<CommunicationsServiceEventIfc*> MediaRecordingHelper::m_commsEventIfc{nullptr};
std::atomic<MediaControlServiceIfc*> MediaRecordingHelper::m_mcsIfc{nullptr};
std::atomic<LocalMgmtIfc*> MediaRecordingHelper::m_localMgmtIfc{nullptr};

PhysicalInterfaceServiceIfc* MediaRecordingHelper::getPhysicalInterfaceServiceIfc(SvcRTEContext& context)
{
    return lookUp(m_physIfc, context, PHYSICAL_INTERFACE);
}

CommunicationsServiceEventIfc* MediaRecordingHelper::getCommunicationsServiceEventIfc(SvcRTEContext& context)
{
    return lookUp(m_commsEventIfc, context, COMMUNICATIONS_EVENT);
}

MediaControlServiceIfc* MediaRecordingHelper::getMediaControlServiceIfc(SvcRTEContext& context)
{
    return lookUp(m_mcsIfc, context, MEDIA_CONTROL);
}

LocalMgmtIfc* MediaRecordingHelper::getLocalMgmtIfc(SvcRTEContext& context)
{
    return lookUp(m_localMgmtIfc, context, LOCAL_MGMT);
}

void MediaRecordingHelper::reset()
{
    m_physIfc = nullptr;
    m_commsEventIfc = nullptr;
    m_mcsIfc = nullptr;
    m_localMgmtIfc = nullptr;
}
