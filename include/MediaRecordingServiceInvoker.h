#pragma once

#include "Invoker.h"
#include "MediaRecordingExport.h"

/// Creates an invoker, owned by the caller; null when there is no memory.
extern "C" MRS_EXPORT Invoker* createMediaRecordingServiceInvoker();

/// Turns the framework's text messages "activateRecording:URI" and "deactivateRecording:URI" (URI serialised) into
/// calls on the service's executable, and answers each message exactly once. Keeps nothing between messages.
class MediaRecordingServiceInvoker : public Invoker {
public:
    void handleMessage(Executable* executable, const char* message, int, InvokerResponse* response) override;
    void initInvoker(FrameworkContext* context) override;

private:
    FrameworkContext* m_frameworkContext = nullptr;
};
