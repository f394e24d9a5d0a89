#pragma once

#include <sofia-sip/nua.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/su_tag_io.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <thread>

#include "sip/Queue.h"
#include "sip/Settings.h"

namespace deskphone {

/// The option of those who want to know whether they are recorded (RFC 7866).
constexpr const char* RECORD_AWARE = "record-aware";

/// One event of the SIP library, valid while it is handled.
struct SipEvent {
    nua_event_t kind;
    int status;
    std::string phrase;
    const sip_t* message;  // may be null
    tagi_t* tags;
};

/// The session description in the event's message, be it the body or one of its parts; a body that holds none as it is.
std::string bodyOf(const SipEvent& event);

/// A dialog with another party: what the library calls a handle, which it owns.
///
/// For the SIP thread. It lives until its dialog has ended on the network, which its owner sees by isOver().
class Dialog {
public:
    explicit Dialog(nua_handle_t* handle);
    virtual ~Dialog();
    Dialog(const Dialog&) = delete;
    Dialog& operator=(const Dialog&) = delete;

    /// Who this is where it is asked: sent at most once for each challenge of a registrar, far end or recorder.
    void knowAs(std::string user, std::string password);
    void handle(const SipEvent& event);
    bool isOver() const { return m_over; }

protected:
    virtual void happened(const SipEvent& event) = 0;

    nua_handle_t* const m_handle;

private:
    bool authenticate(const SipEvent& event);

    bool m_over = false;
    std::string m_user;
    std::string m_password;           // empty: none is known
    bool m_answersChallenge = false;  // whether what is under way does so already
};

/// The SIP library on a thread of its own.
class SipStack {
public:
    using Handler = std::function<void(nua_handle_t* handle, Dialog* dialog, const SipEvent& event)>;

    /// The handler gets the events, on the SIP thread, which are on a dialog or, with a null one, on none yet. Throws
    /// std::runtime_error when the address cannot be had.
    SipStack(const NetworkSettings& settings, Handler handler);
    /// Gives what is under way a moment to end.
    ~SipStack();
    SipStack(const SipStack&) = delete;
    SipStack& operator=(const SipStack&) = delete;

    /// For any thread: has this done on the SIP thread. The first returns at once, the second when it is done,
    /// with what it throws.
    void post(std::function<void()> request) { m_requests.put(std::move(request)); }
    void perform(const std::function<void()>& request);

    // For the SIP thread.
    nua_t* agent() const { return m_nua; }
    void after(std::chrono::milliseconds time, std::function<void()> request);

    const std::string& address() const { return m_address; }
    int port() const { return m_port; }

private:
    void step(su_root_t* root);
    void run(const NetworkSettings& settings, const std::function<void(const std::string&)>& started);
    static void event(nua_event_t kind, int status, const char* phrase, nua_t* nua, nua_magic_t* stack,
                      nua_handle_t* handle, nua_hmagic_t* dialog, const sip_t* message, tagi_t* tags);
    static int requests(su_root_magic_t* root, su_wait_t* wait, su_wakeup_arg_t* stack);

    const std::string m_address;
    const Handler m_handler;
    Queue<std::function<void()>> m_requests;

    // The thread's own, but for the port, which is set before the constructor returns.
    nua_t* m_nua = nullptr;
    int m_port = 0;
    std::multimap<std::chrono::steady_clock::time_point, std::function<void()>> m_later;
    bool m_ends = false;
    bool m_shutDown = false;

    std::thread m_thread;
};

}  // namespace deskphone
