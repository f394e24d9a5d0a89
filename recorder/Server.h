#pragma once

#include <sofia-sip/nua.h>
#include <sofia-sip/sip.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "Loop.h"
#include "Session.h"

namespace recorder {

/// The SIP side: takes calls of session recording clients (RFC 7866), each of which becomes a session. Tells on
/// standard output how they go, a line each, with the time and the session's number.
class Server : public Session::Listener {
public:
    /// Listens on this address (host order) and port, 0 for one that the system chooses. Recordings go to the folder.
    /// The loop is not owned. Throws std::runtime_error when it cannot listen.
    Server(Loop& loop, in_addr_t address, std::uint16_t port, std::string folder);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// New calls are refused with this status, or taken if it is 0.
    void refuse(int status) { m_refusal = status; }
    /// New calls are answered so much later.
    void delay(std::chrono::milliseconds delay) { m_delay = delay; }

    /// Does what a line of words says, as help() explains. Throws std::runtime_error for what it does not know.
    void command(const std::string& line);
    static const char* help();

    /// Ends all sessions, then the loop.
    void quit();

private:
    struct Call;
    using Action = void (Server::*)(Call&);

    static void onEvent(nua_event_t event, int status, const char* phrase, nua_t* agent, nua_magic_t* server,
                        nua_handle_t* handle, nua_hmagic_t* call, const sip_t* message, tagi_t* tags);
    void listen(const tagi_t* parameters);
    void invited(nua_handle_t* handle, const sip_t& request);
    void refuse(nua_handle_t* handle, int status, const std::string& why);
    void answer(Call& call);
    void happened(nua_event_t event, int status, Call& call, const sip_t* message);
    void followed(Call& call, const sip_t& request);
    void answered(Call& call, int status, const sip_t* response);
    void takeAnswer(Call& call, const sip_t& message);
    void terminated(Call& call);
    void pause(Call& call) { offer(call, true); }
    void resume(Call& call) { offer(call, false); }
    void offer(Call& call, bool paused);
    void end(Call& call);
    void closePorts(Call& call);

    void tell(int session, const std::string& what) override;
    void failed(int session) override;

    Loop& m_loop;
    const in_addr_t m_address;
    const std::string m_folder;
    nua_t* m_agent;
    std::map<int, std::unique_ptr<Call>> m_calls;
    int m_lastNumber = 0;
    int m_refusal = 0;
    std::chrono::milliseconds m_delay{0};
    Timer m_deadline;  // of the end
    bool m_isQuitting = false;
};

}  // namespace recorder
