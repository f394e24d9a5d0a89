#include "AsynchronousEventThread.h"

#include "CSfi.h"
#include "Log.h"
#include "RecordQueueView.h"

namespace {

constexpr const char* COMPONENT = "AsynchronousEventThread";
constexpr const char* SOURCE = "./src/AsynchronousEventThread";

}  // namespace

AsynchronousEventData::AsynchronousEventData(const std::string& uri, int handle)
    : recUri(uri), mrsID(handle), requestType(ASYNC_ATTACH_REC_SESSION)
{
}

AsynchronousEventData::AsynchronousEventData(int handle) : mrsID(handle), requestType(ASYNC_DETACH_REC_SESSION) {}

AsynchronousEventThread* AsynchronousEventThread::m_instance = nullptr;

void AsynchronousEventThread::init(CSfi* csfi)
{
    if (m_instance == nullptr) {
        m_instance = contained(COMPONENT, SOURCE, "init", [csfi] { return new AsynchronousEventThread(csfi); });
    }
}

AsynchronousEventThread* AsynchronousEventThread::instance()
{
    return m_instance;
}

AsynchronousEventThread::AsynchronousEventThread(CSfi* csfi) : m_csfi(csfi)
{
    queue().start(*this);
}

AsynchronousEventThread::~AsynchronousEventThread() = default;

RecordQueueView<AsynchronousEventData> AsynchronousEventThread::queue()
{
    return {m_queueLock, m_queue, m_queueSignal, m_running};
}

void AsynchronousEventThread::process(AsynchronousEventData& data)
{
    contained(COMPONENT, SOURCE, "process", [&] { queue().append(std::make_unique<AsynchronousEventData>(data)); });
}

void AsynchronousEventThread::terminate()
{
    queue().stop(*this);
    m_csfi = nullptr;
}

void AsynchronousEventThread::run()
{
    queue().deliver([this](const AsynchronousEventData& data) { perform(data); });
}

void AsynchronousEventThread::perform(const AsynchronousEventData& data)
{
    CSfi* const csfi = m_csfi;
    if (csfi == nullptr) {
        return;
    }
    if (data.requestType == ASYNC_DETACH_REC_SESSION) {
        contained(COMPONENT, SOURCE, "detachRecSession", [&] { csfi->detachRecSession(data.mrsID); });
    } else {
        contained(COMPONENT, SOURCE, "attachRecSession", [&] { csfi->attachRecSession(data.mrsID, data.recUri); });
    }
}
