// Any text as a message: it is answered once, with one of the answers, and at most one operation is called.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "Executable.h"
#include "InvokerResponse.h"
#include "MediaRecordingServiceIfc.h"
#include "MediaRecordingServiceInvoker.h"

namespace {

struct Service : Executable, MediaRecordingServiceIfc {
    void activateRecording(const std::string&) override { ++activated; }
    void deactivateRecording(const std::string&) override { ++deactivated; }

    int activated = 0;
    int deactivated = 0;
};

struct Response : InvokerResponse {
    void setResponseText(const char* text, int length) override
    {
        InvokerResponse::setResponseText(text, length);
        ++texts;
    }
    void finish() override { ++finished; }
    const std::string& text() const { return m_text; }

    int texts = 0;
    int finished = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::unique_ptr<Invoker> invoker(createMediaRecordingServiceInvoker());
    const std::string message(data, data + size);
    Service service;
    Response response;
    invoker->handleMessage(&service, message.c_str(), static_cast<int>(size), &response);
    const std::string expected = service.activated == 1     ? "activateRecordingReturn:"
                                 : service.deactivated == 1 ? "deactivateRecordingReturn:"
                                                            : "Invalid message received";
    if (response.texts != 1 || response.finished != 1 || response.text() != expected ||
        service.activated + service.deactivated > 1) {
        std::abort();
    }
    return 0;
}
