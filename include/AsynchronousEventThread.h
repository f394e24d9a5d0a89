#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "Semaphore.h"
#include "Threadable.h"

class CSfi;
template <typename Record>
class RecordQueueView;

enum AsynchronousRequestType : int { ASYNC_ATTACH_REC_SESSION = 0, ASYNC_DETACH_REC_SESSION = 1 };

/// A request to call control.
struct AsynchronousEventData {
    AsynchronousEventData(const std::string& uri, int handle);
    explicit AsynchronousEventData(int handle);
    AsynchronousEventData(AsynchronousEventData& other) = default;

    std::string recUri;  // empty in a detach request
    int mrsID;
    int requestType;
};

/// Performs attach and detach requests towards call control on one thread for the whole process, one at a time, in
/// the order in which they were queued. Requesters, on any thread, never wait and never learn the outcome.
class AsynchronousEventThread final : public Threadable {
public:
    /// Stops nothing: terminate() comes first.
    ~AsynchronousEventThread() override;
    void run() override;

    /// Creates the instance and starts its thread; does nothing when there is one. Called by one thread at a time.
    static void init(CSfi* csfi);
    /// Null before init().
    static AsynchronousEventThread* instance();

    /// Queues a copy of the request; drops it once terminate() has begun.
    void process(AsynchronousEventData& data);
    /// Stops the thread for good and waits for it; a request being performed is finished, those still queued are
    /// dropped. The instance stays.
    void terminate();

private:
    friend struct WorkerAccess;

    explicit AsynchronousEventThread(CSfi* csfi);
    RecordQueueView<AsynchronousEventData> queue();
    void perform(const AsynchronousEventData& data);

    static AsynchronousEventThread* m_instance;

    std::atomic<CSfi*> m_csfi;
    Semaphore m_queueLock{1, 1, false};
    std::vector<AsynchronousEventData*> m_queue;  // guarded by m_queueLock; the oldest in front
    Semaphore m_queueSignal{0, 1, false};
    std::atomic<bool> m_running{true};
};
