#pragma once

#include <string>

#include "RecordingEventLayer.h"

class CSfi;
class MediaRecordingService;
class PhysicalInterfaceServiceIfc;
class SvcRTEContext;

/// The event layer on the platform's services. Attach and detach are queued to the asynchronous thread; everything
/// else is a call on the caller's thread.
///
/// Holds no lock and owns nothing; a platform service that is missing is logged, and the operation does nothing.
class RecordingEventLayerAdapter : public RecordingEventLayer {
public:
    /// Looks up the key lamps and starts the asynchronous thread.
    RecordingEventLayerAdapter(SvcRTEContext* context, MediaRecordingService* service);
    /// Stops the asynchronous thread and waits for it.
    ~RecordingEventLayerAdapter() override;

    bool setDirection(int msHandle, MediaControlServiceIfc::MediaDirection mediaDirection) override;
    void callRecordingStatus(const std::string& lineURI, int callID, const std::string& status) override;
    void updateCallRecordingFPKLamp() override;
    void callAttachSession(int mrsID, const std::string& recUri) override;
    void callDetachSession(int mrsID) override;
    void setCallRecMode(const std::string& mode) override;

private:
    SvcRTEContext* m_context;
    PhysicalInterfaceServiceIfc* m_physicalInterface;
    CSfi* m_csfi;
    MediaRecordingService* m_service;
};
