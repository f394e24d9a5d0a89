#include "telephone/Telephone.h"

#include <stdexcept>

#include "CallControl.h"
#include "MediaRecordingHelper.h"
#include "telephone/Recorder.h"

namespace deskphone {

Telephone::Telephone(const Plugin& plugin, Recorder& recorder)
    : m_plugin(plugin),
      m_recorder(recorder),
      m_keysAndLamps(recorder),
      m_communications(recorder),
      m_mediaControl(recorder),
      m_management(recorder),
      m_callControl(recorder),
      m_context(recorder, {{"PhysicalInterfaceServiceIfc", &m_keysAndLamps},
                           {"CommunicationsServiceEventIfc", &m_communications},
                           {"MediaControlServiceIfc", &m_mediaControl},
                           {"LocalMgmtIfc", &m_management}})
{
    runtime::setLogSink(&recorder);
    runtime::setCallControl(&m_callControl);
}

Telephone::~Telephone()
{
    if (running()) {
        stop();
    }
    MediaRecordingHelper::reset();  // it keeps pointers to this telephone's services
    runtime::setCallControl(nullptr);
    runtime::setLogSink(nullptr);
}

void Telephone::start(bool withStore)
{
    m_service.reset(m_plugin.createService());
    if (m_service == nullptr) {
        throw std::runtime_error("the plug-in's factory made no service");
    }
    m_executable.serve(m_service.get());
    if (withStore) {
        m_service->init(m_context, &m_executable, &m_agent);
    } else {
        m_service->init(m_context, &m_executable, &m_agent, nullptr);
    }
}

void Telephone::stop()
{
    m_callControl.forgetObserver();
    m_executable.serve(nullptr);
    m_service.reset();
}

void Telephone::sendMessage(const std::string& message, Executable* executable)
{
    if (m_invoker == nullptr) {
        m_invoker.reset(m_plugin.createInvoker());
        if (m_invoker == nullptr) {
            throw std::runtime_error("the plug-in's factory made no invoker");
        }
        m_invoker->initInvoker(&m_frameworkContext);
    }
    RecordedResponse response(m_recorder);
    m_invoker->handleMessage(executable, message.c_str(), static_cast<int>(message.size()), &response);
}

}  // namespace deskphone
