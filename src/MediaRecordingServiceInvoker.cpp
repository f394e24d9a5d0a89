#include "MediaRecordingServiceInvoker.h"

#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "Executable.h"
#include "InvokerResponse.h"
#include "Log.h"
#include "MediaRecordingServiceIfc.h"
#include "Serializer.h"

namespace {

constexpr const char* COMPONENT = "MediaRecordingServiceInvoker";
constexpr const char* SOURCE = "./src/MediaRecordingServiceInvoker";

constexpr const char* INVALID_MESSAGE = "Invalid message received";

using Operation = void (MediaRecordingServiceIfc::*)(const std::string& lineURI);

/// Calls the operation with the decoded argument. What fails in it does not show in the answer.
void call(MediaRecordingServiceIfc& service, Operation operation, const char* argument)
{
    contained(COMPONENT, SOURCE, "handleMessage", [&] {
        std::string serialised = argument;
        std::string lineURI;
        Serializer::deserialize(serialised, lineURI, false);
        (service.*operation)(lineURI);
    });
}

/// Does what the message asks for and returns the answer.
const char* handle(Executable* executable, const char* message)
{
    auto* const service = dynamic_cast<MediaRecordingServiceIfc*>(executable);
    if (service == nullptr) {
        MRS_LOG(LOG_LEVEL_ERROR, "MediaRecordingServiceInvoker - couldn't find MediaRecordingServiceIfc");
        return "MediaRecordingServiceIfc not found";
    }
    const char* const colon = std::strchr(message, ':');
    if (colon == nullptr) {
        return INVALID_MESSAGE;
    }
    const std::string_view command(message, static_cast<std::size_t>(colon - message));
    if (command == "activateRecording") {
        call(*service, &MediaRecordingServiceIfc::activateRecording, colon + 1);
        return "activateRecordingReturn:";
    }
    if (command == "deactivateRecording") {
        call(*service, &MediaRecordingServiceIfc::deactivateRecording, colon + 1);
        return "deactivateRecordingReturn:";
    }
    return INVALID_MESSAGE;
}

}  // namespace

Invoker* createMediaRecordingServiceInvoker()
{
    return new (std::nothrow) MediaRecordingServiceInvoker();
}

void MediaRecordingServiceInvoker::initInvoker(FrameworkContext* context)
{
    m_frameworkContext = context;
}

void MediaRecordingServiceInvoker::handleMessage(Executable* executable, const char* message, int,
                                                 InvokerResponse* response)
{
    MRS_LOG(LOG_LEVEL_INFO, "handleMessage: %s\n", message);
    const char* const reply = handle(executable, message);
    contained(COMPONENT, SOURCE, "setResponseText",
              [=] { response->setResponseText(reply, static_cast<int>(std::strlen(reply))); });
    contained(COMPONENT, SOURCE, "finish", [=] { response->finish(); });
}
