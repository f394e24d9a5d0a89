#include "MediaRecordingServiceInvoker.h"

#include <new>
#include <string>

#include "Executable.h"
#include "InvokerResponse.h"
#include "Log.h"
#include "MediaRecordingServiceIfc.h"
#include "Serializer.h"

namespace {

constexpr const char* COMPONENT = "MediaRecordingServiceInvoker";
constexpr const char* SOURCE = "./src/MediaRecordingServiceInvoker";

std::string decoded(std::string argument)
{
    std::string lineURI;
    Serializer::deserialize(argument, lineURI, false);
    return lineURI;
}

/// Does what the message asks for and returns the answer.
const char* handle(Executable* executable, const std::string& message)
{
    auto* const service = dynamic_cast<MediaRecordingServiceIfc*>(executable);
    if (service == nullptr) {
        MRS_LOG(LOG_LEVEL_ERROR, "MediaRecordingServiceInvoker - couldn't find MediaRecordingServiceIfc");
        return "MediaRecordingServiceIfc not found";
    }
    const std::size_t colon = message.find(':');
    if (colon != std::string::npos) {
        const std::string command = message.substr(0, colon);
        const std::string argument = message.substr(colon + 1);
        if (command == "activateRecording") {
            service->activateRecording(decoded(argument));
            return "activateRecordingReturn:";
        }
        if (command == "deactivateRecording") {
            service->deactivateRecording(decoded(argument));
            return "deactivateRecordingReturn:";
        }
    }
    return "Invalid message received";
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
    const char* const reply = contained(COMPONENT, SOURCE, "handleMessage", "Invalid message received",
                                        [&] { return handle(executable, message); });
    response->setResponseText(reply, static_cast<int>(std::char_traits<char>::length(reply)));
    response->finish();
}
