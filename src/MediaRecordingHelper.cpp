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

// Two threads that miss the cache at the same time both ask the context and store the same pointer.
template <typename Ifc>
Ifc* lookUp(std::atomic<Ifc*>& cache, SvcRTEContext& context, const char* name, const char* notFound,
            const char* wrongType, bool wrongTypeWhenNotFound = false)
{
    if (Ifc* const known = cache) {
        return known;
    }
    Executable* const service =
        contained(COMPONENT, SOURCE, name, static_cast<Executable*>(nullptr), [&] { return context.getService(name); });
    if (service == nullptr) {
        MRS_LOG(LOG_LEVEL_ERROR, "%s", notFound);
        if (wrongTypeWhenNotFound) {
            MRS_LOG(LOG_LEVEL_ERROR, "%s", wrongType);
        }
        return nullptr;
    }
    Ifc* const found = dynamic_cast<Ifc*>(service);
    cache = found;
    if (found == nullptr) {
        MRS_LOG(LOG_LEVEL_ERROR, "%s", wrongType);
    }
    return found;
}

}  // namespace

std::atomic<PhysicalInterfaceServiceIfc*> MediaRecordingHelper::m_physIfc{nullptr};
std::atomic<CommunicationsServiceEventIfc*> MediaRecordingHelper::m_commsEventIfc{nullptr};
std::atomic<MediaControlServiceIfc*> MediaRecordingHelper::m_mcsIfc{nullptr};
std::atomic<LocalMgmtIfc*> MediaRecordingHelper::m_localMgmtIfc{nullptr};

PhysicalInterfaceServiceIfc* MediaRecordingHelper::getPhysicalInterfaceServiceIfc(SvcRTEContext& context)
{
    return lookUp(m_physIfc, context, "PhysicalInterfaceServiceIfc", "Cannot find PhysicalInterfaceServiceIfc",
                  "Service returned by context is not PhysicalInterfaceServiceIfc");
}

CommunicationsServiceEventIfc* MediaRecordingHelper::getCommunicationsServiceEventIfc(SvcRTEContext& context)
{
    return lookUp(m_commsEventIfc, context, "CommunicationsServiceEventIfc",
                  "Cannot find CommunicationsServiceEventIfc",
                  "Service returned by context is not CommunicationsServiceEventIfc");
}

MediaControlServiceIfc* MediaRecordingHelper::getMediaControlServiceIfc(SvcRTEContext& context)
{
    return lookUp(m_mcsIfc, context, "MediaControlServiceIfc", "Cannot find MediaControlServiceIfc",
                  "Service returned by context is not MediaControlServiceIfc");
}

LocalMgmtIfc* MediaRecordingHelper::getLocalMgmtIfc(SvcRTEContext& context)
{
    return lookUp(m_localMgmtIfc, context, "LocalMgmtIfc", "Cannot find LocalMgmtIfc",
                  "Service returned by context is not LocalMgmtIfc", true);
}

void MediaRecordingHelper::reset()
{
    m_physIfc = nullptr;
    m_commsEventIfc = nullptr;
    m_mcsIfc = nullptr;
    m_localMgmtIfc = nullptr;
}
