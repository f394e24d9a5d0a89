#include "MediaRecordingService.h"

#include <cstdlib>
#include <list>
#include <new>
#include <utility>
#include <vector>

#include "CSfi.h"
#include "Context.h"
#include "LMSEventDispatcher.h"
#include "LocalMgmtIfc.h"
#include "Log.h"
#include "ManageableData.h"
#include "MediaRecordingDefs.h"
#include "MediaRecordingHelper.h"
#include "RecordingConfigManager.h"
#include "RecordingController.h"
#include "RecordingEventLayerAdapter.h"
#include "TarnTags.h"

namespace {

constexpr const char* COMPONENT = "MediaRecordingService";
constexpr const char* SOURCE = "./src/MediaRecordingService";

}  // namespace

MediaRecordingService* MediaRecordingService::m_pthis = nullptr;

MediaRecordingService* createMediaRecordingService()
{
    return new (std::nothrow) MediaRecordingService();
}

MediaRecordingService* MediaRecordingService::GetInstance()
{
    if (m_pthis == nullptr) {
        m_pthis = new (std::nothrow) MediaRecordingService();
    }
    return m_pthis;
}

void MediaRecordingService::Destroy()
{
    delete m_pthis;
    m_pthis = nullptr;
}

MediaRecordingService::MediaRecordingService() = default;

MediaRecordingService::~MediaRecordingService()
{
    // The dispatcher's thread may be delivering until it is stopped: it must find a closed controller by then, not the
    // event layer and the store, which go first.
    if (m_recordingController != nullptr) {
        m_recordingController->close();
    }
    delete m_eventLayer;
    delete m_configManager;
    delete m_lmsEventDispatcher;
    delete m_recordingController;
}

void MediaRecordingService::init(Context& context, Executable* executable, MgmtAgentIfc* mgmtAgent)
{
    init(context, executable, mgmtAgent,
         contained(COMPONENT, SOURCE, "init", [&] { return new RecordingConfigManager(&context); }));
}

void MediaRecordingService::init(Context& context, Executable* executable, MgmtAgentIfc* mgmtAgent,
                                 RecordingConfigManager* configManager)
{
    MRS_LOG(LOG_LEVEL_TRACE, "init()");
    m_context = &context;
    contained(COMPONENT, SOURCE, "init", [&] {
        m_eventLayer = new RecordingEventLayerAdapter(m_context, this);
        m_recordingController = new RecordingController(m_eventLayer, configManager);
    });
    m_subscribingService = executable;
    m_mgmtAgent = mgmtAgent;
    m_localMgmtIfc = MediaRecordingHelper::getLocalMgmtIfc(*m_context);
    observeDataItems();
    setRecordingConfigManager(configManager);
    if (m_configManager == nullptr) {
        MRS_LOG(LOG_LEVEL_ERROR, "m_configManager NULL. Failed to initialize MRS.");
        return;
    }
    if (m_recordingController == nullptr) {
        return;
    }
    const std::string mode = m_configManager->getDataItem(CALL_RECORDING_MODE);
    m_eventLayer->setCallRecMode(mode);
    MRS_LOG(LOG_LEVEL_DETAIL, "Create LMSEventDispatcher");
    m_lmsEventDispatcher =
        contained(COMPONENT, SOURCE, "init", [this] { return new LMSEventDispatcher(m_recordingController); });
    if (m_lmsEventDispatcher == nullptr) {
        return;
    }
    contained(COMPONENT, SOURCE, "registerLMSEventObserver", [this] {
        if (CSfi* const csfi = CSfi::GetInstance()) {
            csfi->registerLMSEventObserver(m_lmsEventDispatcher);
        } else {
            MRS_LOG(LOG_LEVEL_ERROR, "m_csfi==NULL. Cannot call m_csfi->registerLMSEventObserver.");
        }
    });
    MRS_LOG(LOG_LEVEL_DETAIL, "Set Sfi initial CallRecMode value to %s", mode.c_str());
}

void MediaRecordingService::observeDataItems()
{
    if (m_localMgmtIfc == nullptr) {
        return;
    }
    contained(COMPONENT, SOURCE, "observeDataItems", [this] {
        std::list<std::string> tags = {MediaRecordingDefs::tarnTagCallRecordingMode,
                                       MediaRecordingDefs::tarnTagMobilityDataUpdates,
                                       MediaRecordingDefs::tarnTagMobilityUserDataUpdate};
        m_localMgmtIfc->subscribeData(tags, m_mgmtAgent);
    });
}

bool MediaRecordingService::getCallRecordingOn(const std::string& line)
{
    return contained(COMPONENT, SOURCE, "getCallRecordingOn", [&] {
        MRS_LOG(LOG_LEVEL_TRACE, "getCallRecordingOn(line = %s)", line.c_str());
        const bool activated = m_configManager != nullptr && m_configManager->getRecordingActivation(line);
        const bool inCall = m_recordingController != nullptr && m_recordingController->isInCall(line);
        if (m_configManager == nullptr) {
            return false;
        }
        const std::string mode = m_configManager->getDataItem(CALL_RECORDING_MODE);
        if (mode == "manual") {
            return activated;
        }
        if (mode == "autostart") {
            return activated || !inCall;
        }
        return mode == "allcalls";
    });
}

bool MediaRecordingService::getSelectedLineRecordingOn()
{
    return contained(COMPONENT, SOURCE, "getSelectedLineRecordingOn", [this] {
        return getCallRecordingOn(m_recordingController != nullptr ? m_recordingController->getSelectedLine()
                                                                   : std::string());
    });
}

void MediaRecordingService::dataChangedEvent(ManageableData& data)
{
    contained(COMPONENT, SOURCE, "dataChangedEvent", [&] {
        std::vector<std::string> ids;
        data.getRootIds(ids);
        for (const std::string& id : ids) {
            contained(COMPONENT, SOURCE, "dataChangedEvent", [&] { dataChanged(data, id); });
        }
    });
}

void MediaRecordingService::dataChanged(ManageableData& data, const std::string& id)
{
    std::string value;
    if (id.compare(0, TarnTags::FUNCTION_KEY_ID.size(), TarnTags::FUNCTION_KEY_ID) == 0) {
        data.interogate(id, id, value);
        if (std::strtol(value.c_str(), nullptr, 10) == PhysDefs::KEY_FUNCTION_CALL_RECORDING) {
            updateLamp();
        }
    } else if (id == MediaRecordingDefs::tarnTagCallRecordingMode) {
        data.interogate(id, id, value);
        if (m_recordingController != nullptr) {
            m_recordingController->setCallRecMode(value);
        }
        if (m_eventLayer != nullptr) {
            m_eventLayer->setCallRecMode(value);
        }
        updateLamp();
    } else if (id == MediaRecordingDefs::tarnTagMobilityUserDataUpdate) {
        updateLamp();
    }
}

void MediaRecordingService::featureKeyDefinitionChanged(int keyIndex, PhysDefs::keyFunctionType keyFunction, bool)
{
    MRS_LOG(LOG_LEVEL_TRACE, "featureKeyDefinitionChanged(keyIndex = %d, keyFunction = %d)", keyIndex, keyFunction);
    if (keyFunction == PhysDefs::KEY_FUNCTION_CALL_RECORDING) {
        updateLamp();
    }
}

/// Under the controller's lock: otherwise two threads could ask and set the lamp in crossed order and leave it wrong.
void MediaRecordingService::updateLamp()
{
    if (m_recordingController != nullptr && m_eventLayer != nullptr) {
        const auto guard = m_recordingController->lock();
        m_eventLayer->updateCallRecordingFPKLamp();
    }
}

std::string MediaRecordingService::getRecordingActive()
{
    return getDataItem(CALL_RECORDING_ACTIVE, "");
}

std::string MediaRecordingService::getRecordingMode()
{
    return getDataItem(CALL_RECORDING_MODE, "manual");
}

std::string MediaRecordingService::getRecorderAddress()
{
    return getDataItem(CALL_RECORDER_ADDRESS, "4321");
}

std::string MediaRecordingService::getRecordingAudibleNotification()
{
    return getDataItem(CALL_RECORDING_AUDIBLE_NOTIFICATION, "none");
}

std::string MediaRecordingService::getRecordingModeConfig()
{
    return getDataItem(CALL_RECORDING_MODE_CONFIG, "manual");
}

std::string MediaRecordingService::getRecorderAddressConfig()
{
    return getDataItem(CALL_RECORDER_ADDRESS_CONFIG, "4321");
}

std::string MediaRecordingService::getRecordingAudibleNotificationConfig()
{
    return getDataItem(CALL_RECORDING_AUDIBLE_NOTIFICATION_CONFIG, "none");
}

std::string MediaRecordingService::getDataItem(RecordingDataItemType item, const char* fallback)
{
    if (m_configManager == nullptr) {
        MRS_LOG(LOG_LEVEL_ERROR, "MediaRecordingService is not initialized");
        return fallback;
    }
    return m_configManager->getDataItem(item);
}

bool MediaRecordingService::setRecordingModeConfig(const std::string& value, std::string&)
{
    return setDataItem(CALL_RECORDING_MODE_CONFIG, value);
}

bool MediaRecordingService::setRecorderAddressConfig(const std::string& value, std::string&)
{
    return setDataItem(CALL_RECORDER_ADDRESS_CONFIG, value);
}

bool MediaRecordingService::setRecordingAudibleNotificationConfig(const std::string& value, std::string&)
{
    return setDataItem(CALL_RECORDING_AUDIBLE_NOTIFICATION_CONFIG, value);
}

bool MediaRecordingService::setDataItem(RecordingDataItemType item, const std::string& value)
{
    if (m_configManager == nullptr) {
        MRS_LOG(LOG_LEVEL_ERROR, "MediaRecordingService is not initialized");
        return false;
    }
    return m_configManager->setDataItem(item, value);
}

void MediaRecordingService::activateRecording(const std::string& line)
{
    if (m_recordingController != nullptr) {
        m_recordingController->activateRecording(line);
    }
}

void MediaRecordingService::deactivateRecording(const std::string& line)
{
    if (m_recordingController != nullptr) {
        m_recordingController->deactivateRecording(line);
    }
}

void MediaRecordingService::setOriginatingLine(std::string line)
{
    if (m_recordingController != nullptr) {
        m_recordingController->setOriginatingLine(std::move(line));
    }
}

void MediaRecordingService::setLineStatus(std::string line, ELineState state, int callId, std::string remoteURI)
{
    if (m_recordingController != nullptr) {
        m_recordingController->setLineStatus(std::move(line), state, callId, std::move(remoteURI));
    }
}

RecordingController* MediaRecordingService::getRecordingController()
{
    return m_recordingController;
}

RecordingConfigManager* MediaRecordingService::getRecordingConfigManager()
{
    return m_configManager;
}

void MediaRecordingService::setRecordingConfigManager(RecordingConfigManager* configManager)
{
    m_configManager = configManager;
}

Executable* MediaRecordingService::getSubscribingService()
{
    return m_subscribingService;
}
