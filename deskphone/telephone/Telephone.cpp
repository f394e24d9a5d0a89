#include "telephone/Telephone.h"

#include <cstdio>
#include <stdexcept>

#include "Activity.h"
#include "CallControl.h"
#include "LMSEventObserverIfc.h"
#include "MediaRecordingHelper.h"
#include "RecordingStateMachine.h"

namespace deskphone {

namespace {

/// A record of the management system, from pairs of words.
struct Pairs : runtime::ManagementRecord {
    explicit Pairs(const Words& words)
    {
        for (std::size_t at = 0; at + 1 < words.size(); at += 2) {
            give(words[at], words[at + 1]);
        }
    }
};

}  // namespace

Telephone::Telephone(const Plugin& plugin, bool watchMachines, Network* network)
    : m_plugin(plugin),
      m_watchesMachines(watchMachines),
      m_keysAndLamps(m_recorder),
      m_communications(m_recorder, network),
      m_mediaControl(m_recorder, network),
      m_management(m_recorder),
      m_callControl(m_recorder, network),
      m_context(m_recorder, {{"PhysicalInterfaceServiceIfc", &m_keysAndLamps},
                             {"CommunicationsServiceEventIfc", &m_communications},
                             {"MediaControlServiceIfc", &m_mediaControl},
                             {"LocalMgmtIfc", &m_management}})
{
    m_recorder.read(watchMachines ? Recorder::Reading::EVENTS : Recorder::Reading::NOTHING);
    runtime::setLogSink(&m_recorder);
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
    m_management.serve(m_service.get());
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
    m_management.serve(nullptr);
    m_service.reset();
    m_recorder.withMachineLog([](MachineLog& log) { log.forgetMachines(); });
}

Records Telephone::settle()
{
    runtime::waitUntilIdle();
    Records records = m_recorder.take();
    if (running() && m_recorder.withMachineLog([](const MachineLog& log) { return log.missesLines(); })) {
        machines();
        m_recorder.withMachineLog([&records](MachineLog& log) { log.nameLines(records); });
    }
    addModes(records);
    return records;
}

Status Telephone::status()
{
    Status status{running(), lampOn()};
    if (running()) {
        status.hasStore = store() != nullptr;
        status.mode = m_service->getRecordingMode();
        status.selectedLine = controller()->getSelectedLine();
        status.machines = machines();
    }
    return status;
}

/// Has all that the controller logs meanwhile read; the service runs. What was recorded and not taken is lost.
template <typename Question>
void Telephone::ask(Question question)
{
    const Recorder::Reading before = m_recorder.read(Recorder::Reading::LIST);
    question(*controller());
    m_recorder.read(before);
    m_recorder.take();
}

/// A refusal's record does not tell the mode. The controller does, when it decides anew.
void Telephone::addModes(Records& records)
{
    for (auto& ofThread : records) {
        for (Record& record : ofThread) {
            if (auto* const refusal = std::get_if<Refusal>(&record); refusal != nullptr && running()) {
                ask([refusal](auto& controller) { controller.getCallRecordingUserControllable(refusal->line); });
                refusal->mode = m_recorder.withMachineLog([](const MachineLog& log) { return log.mode(); });
            }
        }
    }
}

/// As the controller lists them, the service running. What was recorded and not taken is lost.
std::vector<Machine> Telephone::machines()
{
    ask([](auto& controller) { controller.dumpStateMachines(); });
    return m_recorder.withMachineLog([](const MachineLog& log) { return log.listed(); });
}

bool Telephone::machinesAreSilent()
{
    return m_watchesMachines && m_hasMadeSession &&
           !m_recorder.withMachineLog([](const MachineLog& log) { return log.hasReadEvents(); });
}

Value Telephone::dataChangedEvent(const Words& record)
{
    if (running()) {
        Pairs pairs(record);
        m_service->dataChangedEvent(pairs);
    }
    return {};
}

Value Telephone::getData(const Words& tags)
{
    if (store() == nullptr) {
        return {};
    }
    runtime::ManagementRecord record;
    for (const std::string& tag : tags) {
        record.name(tag);
    }
    const bool allKnown = store()->getData(record);
    return List{allKnown, Management::entriesOf(record)};
}

Value Telephone::setData(const Words& record)
{
    Pairs pairs(record);
    return store() == nullptr ? Value() : store()->setData(pairs);
}

Value Telephone::getRecordingStateMachineCreateNewIfNeeded(const std::string& line)
{
    RecordingStateMachine* const machine =
        running() ? controller()->getRecordingStateMachineCreateNewIfNeeded(line) : nullptr;
    if (machine == nullptr) {
        return {};
    }
    char address[32];
    std::snprintf(address, sizeof address, "%p", static_cast<void*>(machine));
    m_recorder.withMachineLog([&](MachineLog& log) { log.know(address, line); });
    return machine->getState();
}

Value Telephone::createSession(const std::string& line, int callID)
{
    if (observer() == nullptr) {
        return {};
    }
    const int session = observer()->LMSCreateSession(line, callID);
    m_hasMadeSession = m_hasMadeSession || session != 0;
    m_callControl.sessionCreated(session, callID);
    return session;
}

void Telephone::resetLookUps()
{
    MediaRecordingHelper::reset();
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
