#include "RecordingEventLayerAdapter.h"

#include "AsynchronousEventThread.h"
#include "CSfi.h"
#include "CommunicationsServiceEventIfc.h"
#include "Context.h"
#include "Log.h"
#include "MediaRecordingHelper.h"
#include "MediaRecordingService.h"
#include "PhysicalInterfaceServiceIfc.h"
#include "SfiRecordingController.h"

namespace {

constexpr const char* COMPONENT = "MediaRecordingService";
constexpr const char* SOURCE = "./src/RecordingEventLayerAdapter";

void request(AsynchronousEventData data)
{
    if (AsynchronousEventThread* const worker = AsynchronousEventThread::instance()) {
        worker->process(data);
    }
}

}  // namespace

RecordingEventLayerAdapter::RecordingEventLayerAdapter(SvcRTEContext* context, MediaRecordingService* service)
    : m_context(context), m_physicalInterface(nullptr), m_csfi(nullptr), m_service(service)
{
    m_csfi = contained(COMPONENT, SOURCE, "GetInstance", [] { return CSfi::GetInstance(); });
    m_physicalInterface = MediaRecordingHelper::getPhysicalInterfaceServiceIfc(*m_context);
    AsynchronousEventThread::init(m_csfi);
}

RecordingEventLayerAdapter::~RecordingEventLayerAdapter()
{
    if (AsynchronousEventThread* const worker = AsynchronousEventThread::instance()) {
        worker->terminate();
    }
}

bool RecordingEventLayerAdapter::setDirection(int msHandle, MediaControlServiceIfc::MediaDirection mediaDirection)
{
    return contained(COMPONENT, SOURCE, "setDirection", [&] {
        MRS_LOG(LOG_LEVEL_DETAIL, "setDirection()");
        MediaControlServiceIfc* const mcsIfc = MediaRecordingHelper::getMediaControlServiceIfc(*m_context);
        if (mcsIfc == nullptr) {
            MRS_LOG(LOG_LEVEL_ERROR, "mcsIfc == NULL. Coudn't call mcsIfc->setDirection");
            return false;
        }
        MRS_LOG(LOG_LEVEL_TRACE, "retval = mcsIfc->setDirection( msHandle=%d, mediaDirection=%d);", msHandle,
                mediaDirection);
        return mcsIfc->setDirection(msHandle, 0, mediaDirection);
    });
}

void RecordingEventLayerAdapter::callRecordingStatus(const std::string& lineURI, int callID, const std::string& status)
{
    contained(COMPONENT, SOURCE, "callRecordingStatus", [&] {
        CommunicationsServiceEventIfc* const commsEventIfc =
            MediaRecordingHelper::getCommunicationsServiceEventIfc(*m_context);
        if (commsEventIfc == nullptr) {
            MRS_LOG(
                LOG_LEVEL_ERROR,
                "Failed to retrive session data or commsIfc==NULL. Cannot call commsEventIfc->callRecordingStatus().");
            return;
        }
        MRS_LOG(LOG_LEVEL_DETAIL, "commsEventIfc->callRecordingStatus(\"%s\", %d, status=\"%s\")", lineURI.c_str(),
                callID, status.c_str());
        commsEventIfc->callRecordingStatus(lineURI, callID, status);
    });
}

void RecordingEventLayerAdapter::updateCallRecordingFPKLamp()
{
    contained(COMPONENT, SOURCE, "updateCallRecordingFPKLamp", [this] {
        MRS_LOG(LOG_LEVEL_DETAIL, "updateCallRecordingFPKLamp()");
        const bool recordingOn = m_service->getSelectedLineRecordingOn();
        MRS_LOG(LOG_LEVEL_TRACE, "updateCallRecordingFPKLamp() recordingOn = %s", asText(recordingOn));
        if (m_physicalInterface != nullptr) {
            m_physicalInterface->setFPKLamp(PhysDefs::KEY_FUNCTION_CALL_RECORDING,
                                            recordingOn ? PhysDefs::LAMP_ON : PhysDefs::LAMP_OFF, 5, 0);
        }
    });
}

void RecordingEventLayerAdapter::callAttachSession(int mrsID, const std::string& recUri)
{
    contained(COMPONENT, SOURCE, "callAttachSession", [&] {
        MRS_LOG(LOG_LEVEL_DETAIL, "callAttachSession()");
        if (mrsID == 0) {
            MRS_LOG(LOG_LEVEL_ERROR, "Invalid m_mrsID==0. Cannot call commsIfc->attachRecSession.");
            return;
        }
        if (m_csfi == nullptr) {
            MRS_LOG(LOG_LEVEL_ERROR, "m_csfi==NULL. Cannot call m_csfi->attachRecSession.");
            return;
        }
        MRS_LOG(LOG_LEVEL_DETAIL, "m_csfi->attachRecSession(mrsId=%d, recUri=%s)", mrsID, recUri.c_str());
        request(AsynchronousEventData(recUri, mrsID));
    });
}

void RecordingEventLayerAdapter::callDetachSession(int mrsID)
{
    MRS_LOG(LOG_LEVEL_DETAIL, "callDetachSession()");
    if (m_csfi == nullptr) {
        MRS_LOG(LOG_LEVEL_ERROR, "m_csfi==NULL. Cannot call m_csfi->detachRecSession.");
        return;
    }
    MRS_LOG(LOG_LEVEL_DETAIL, "m_csfi->detachRecSession(mrsID=%d)", mrsID);
    request(AsynchronousEventData(mrsID));
}

void RecordingEventLayerAdapter::setCallRecMode(const std::string& mode)
{
    contained(COMPONENT, SOURCE, "setCallRecMode", [&] {
        MRS_LOG(LOG_LEVEL_DETAIL, "setCallRecMode()");
        if (m_csfi == nullptr) {
            MRS_LOG(LOG_LEVEL_ERROR, "m_csfi==NULL. Cannot call m_csfi->getSfiRecordingController.");
            return;
        }
        SfiRecordingController* const controller = m_csfi->getSfiRecordingController();
        if (controller == nullptr) {
            MRS_LOG(LOG_LEVEL_ERROR, "m_csfi->getSfiRecordingController()==NULL. Cannot call setCallRecMode.");
            return;
        }
        controller->setCallRecMode(mode);
    });
}
