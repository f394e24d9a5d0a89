#include "MediaRecordingService.h"

int main()
{
    MediaRecordingService* const service = createMediaRecordingService();
    const bool answers = service->getRecorderAddress() == "4321" && !service->getSelectedLineRecordingOn();
    delete service;
    return answers ? 0 : 1;
}
