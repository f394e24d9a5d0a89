#pragma once

#include <string>

#include "ELineState.h"
#include "MediaRecordingExport.h"
#include "PhysDefs.h"
#include "RecordingDataItemType.h"

class Context;
class Executable;
class LMSEventDispatcher;
class LocalMgmtIfc;
class ManageableData;
class MediaRecordingService;
class MgmtAgentIfc;
class RecordingConfigManager;
class RecordingController;
class RecordingEventLayer;

/// Creates a service, owned by the caller; null when there is no memory.
extern "C" MRS_EXPORT MediaRecordingService* createMediaRecordingService();

/// The recording service: builds, wires and releases the recording system, and is its face to the telephone's other
/// services.
///
/// init(), setRecordingConfigManager(), the destructor, GetInstance() and Destroy() are for one thread, with no other
/// operation running. Every other operation may be called on any thread. Before init() the getters return their
/// fallbacks, the queries false, and nothing else happens.
class MRS_EXPORT MediaRecordingService {
public:
    MediaRecordingService();
    /// Call control stops calling the observer before the destructor begins; events that it posted before may still be
    /// under way.
    virtual ~MediaRecordingService();
    MediaRecordingService(const MediaRecordingService&) = delete;
    MediaRecordingService& operator=(const MediaRecordingService&) = delete;

    /// One instance for hosts that want it; the factory's instances are others.
    static MediaRecordingService* GetInstance();
    static void Destroy();

    /// Creates the configuration store and starts the service.
    void init(Context& context, Executable* executable, MgmtAgentIfc* mgmtAgent);
    /// Starts the service with a store that belongs to it from now on. Without one (null) the service records nothing
    /// and does not register with call control. Context, executable and agent stay the caller's.
    void init(Context& context, Executable* executable, MgmtAgentIfc* mgmtAgent, RecordingConfigManager* configManager);

    /// Whether recording is on for the line: what the key lamp shows for the selected one.
    bool getCallRecordingOn(const std::string& line);
    bool getSelectedLineRecordingOn();

    /// Registers the management agent for changes of what the service follows.
    void observeDataItems();
    /// Handles change events of the management system.
    void dataChangedEvent(ManageableData& data);
    void featureKeyDefinitionChanged(int keyIndex, PhysDefs::keyFunctionType keyFunction, bool);

    /// The configuration; without a store a fixed text each.
    std::string getRecordingActive();
    std::string getRecordingMode();
    std::string getRecorderAddress();
    std::string getRecordingAudibleNotification();
    std::string getRecordingModeConfig();
    std::string getRecorderAddressConfig();
    std::string getRecordingAudibleNotificationConfig();

    /// False without a store; the second argument is left as it is.
    bool setRecordingModeConfig(const std::string& value, std::string&);
    bool setRecorderAddressConfig(const std::string& value, std::string&);
    bool setRecordingAudibleNotificationConfig(const std::string& value, std::string&);

    void activateRecording(const std::string& line);
    void deactivateRecording(const std::string& line);
    void setOriginatingLine(std::string line);
    void setLineStatus(std::string line, ELineState state, int callId, std::string remoteURI);

    /// What init() created or was given; null before. Owned by the service.
    RecordingController* getRecordingController();
    RecordingConfigManager* getRecordingConfigManager();
    /// Does not release the store that it replaces.
    void setRecordingConfigManager(RecordingConfigManager* configManager);
    Executable* getSubscribingService();

private:
    std::string getDataItem(RecordingDataItemType item, const char* fallback);
    bool setDataItem(RecordingDataItemType item, const std::string& value);
    void dataChanged(ManageableData& data, const std::string& id);
    void updateLamp();

    static MediaRecordingService* m_pthis;

    Context* m_context = nullptr;
    Executable* m_subscribingService = nullptr;
    MgmtAgentIfc* m_mgmtAgent = nullptr;
    LocalMgmtIfc* m_localMgmtIfc = nullptr;
    LMSEventDispatcher* m_lmsEventDispatcher = nullptr;
    RecordingConfigManager* m_configManager = nullptr;
    RecordingController* m_recordingController = nullptr;
    RecordingEventLayer* m_eventLayer = nullptr;
};
