#include "Server.h"

#include <arpa/inet.h>
#include <sofia-sip/nta_tag.h>
#include <sofia-sip/sip_extra.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/su_log.h>
#include <sofia-sip/su_tag.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace recorder {

namespace {

constexpr std::size_t MOST_SESSIONS = 1000;
constexpr usize_t LONGEST_MESSAGE = 65536;
constexpr std::chrono::seconds TIME_TO_END{2};
constexpr int REQUEST_PENDING = 491;

std::string dotted(in_addr_t address)
{
    std::array<char, INET_ADDRSTRLEN> text{};
    const in_addr network{htonl(address)};
    return ::inet_ntop(AF_INET, &network, text.data(), static_cast<socklen_t>(text.size()));
}

std::string uriOf(const sip_addr_t* address)
{
    if (address == nullptr) {
        return "somebody";
    }
    std::array<char, 256> text{};
    return ::url_e(text.data(), static_cast<isize_t>(text.size()), address->a_url) < static_cast<issize_t>(text.size())
               ? text.data()
               : "somebody with a long name";
}

/// The local time in a format of strftime(), with milliseconds after it.
std::string timeNow(const char* format)
{
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm parts{};
    ::localtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), format, &parts);
    std::snprintf(text.data() + length, text.size() - length, ".%03d", static_cast<int>(milliseconds));
    return text.data();
}

}  // namespace

struct Server::Call {
    Call(int itsNumber, nua_handle_t* itsHandle, const Loop& loop) : number(itsNumber), handle(itsHandle), timer(loop)
    {
    }

    const int number;
    nua_handle_t* const handle;
    Timer timer;  // of the answer, later of an offer that is tried again
    std::string client = {};
    Body body = {};                         // until it is answered
    std::unique_ptr<Session> session = {};  // from then on
};

Server::Server(Loop& loop, in_addr_t address, std::uint16_t port, std::string folder)
    : m_loop(loop), m_address(address), m_folder(std::move(folder)), m_deadline(loop)
{
    ::su_log_redirect(
        nullptr, [](void*, const char*, va_list) {}, nullptr);
    const std::string here = "sip:" + dotted(address) + ':' + std::to_string(port);
    m_agent =
        ::nua_create(loop.root(), onEvent, this, NUTAG_URL(here.c_str()), NUTAG_MEDIA_ENABLE(0), NUTAG_AUTOALERT(0),
                     NUTAG_AUTOANSWER(0), NUTAG_APPL_METHOD("UPDATE"), SIPTAG_SUPPORTED_STR("siprec, timer"),
                     SIPTAG_ALLOW_STR("INVITE, ACK, BYE, CANCEL, OPTIONS, UPDATE"),
                     SIPTAG_ACCEPT_STR("application/sdp, application/rs-metadata+xml, multipart/mixed"),
                     SIPTAG_USER_AGENT_STR("recorder"), NUTAG_M_FEATURES("+sip.srs"), NTATAG_MAXSIZE(LONGEST_MESSAGE),
                     NTATAG_UDP_MTU(LONGEST_MESSAGE), TAG_END());
    if (m_agent == nullptr) {
        throw std::runtime_error("cannot listen on " + here);
    }
    ::nua_get_params(m_agent, TAG_ANY(), TAG_END());
}

Server::~Server()
{
    while (!m_calls.empty()) {
        terminated(*m_calls.begin()->second);
    }
    ::nua_destroy(m_agent);
}

const char* Server::help()
{
    return "  refuse STATUS       refuse new sessions, with a status of SIP from 300 to 699\n"
           "  accept              take them\n"
           "  delay MILLISECONDS  answer them so much later\n"
           "  pause [SESSION]     ask the client to send nothing; without a number, that of every session\n"
           "  resume [SESSION]    ask it to send again\n"
           "  close [SESSION]     close the ports for RTP\n"
           "  end [SESSION]       end the session\n"
           "  quit                end all sessions and the program\n";
}

void Server::command(const std::string& line)
{
    std::istringstream words(line);
    std::string name;
    if (!(words >> name)) {
        return;
    }
    int number = 0;
    const bool hasNumber = static_cast<bool>(words >> number);
    if (!hasNumber && !words.eof()) {
        throw std::runtime_error("a number is expected after " + name);
    }
    const std::map<std::string, Action> actions = {
        {"pause", &Server::pause}, {"resume", &Server::resume}, {"close", &Server::closePorts}, {"end", &Server::end}};
    const auto action = actions.find(name);
    if (action != actions.end() && hasNumber) {
        const auto call = m_calls.find(number);
        if (call == m_calls.end()) {
            throw std::runtime_error("there is no session " + std::to_string(number));
        }
        (this->*action->second)(*call->second);
    } else if (action != actions.end()) {
        for (const auto& [key, call] : m_calls) {
            (this->*action->second)(*call);
        }
    } else if (name == "refuse" && number >= 300 && number <= 699) {
        refuse(number);
    } else if (name == "accept") {
        refuse(0);
    } else if (name == "delay" && number >= 0) {
        delay(std::chrono::milliseconds(number));
    } else if (name == "quit") {
        quit();
    } else {
        throw std::runtime_error("what is \"" + line + "\"? There are:\n" + help());
    }
}

void Server::onEvent(nua_event_t event, int status, const char*, nua_t*, nua_magic_t* magic, nua_handle_t* handle,
                     nua_hmagic_t* handleMagic, const sip_t* message, tagi_t* tags)
{
    Server& server = *static_cast<Server*>(magic);
    Call* const call = static_cast<Call*>(handleMagic);
    if (event == nua_r_get_params) {
        server.listen(tags);
    } else if (event == nua_r_shutdown && status >= 200) {
        server.m_loop.stop();
    } else if (event == nua_i_invite && call == nullptr) {
        server.invited(handle, *message);
    } else if (event == nua_i_state) {
        int state = 0;
        ::tl_gets(tags, NUTAG_CALLSTATE_REF(state), TAG_END());
        if (state == nua_callstate_terminated) {
            if (call != nullptr) {
                server.terminated(*call);
            }
            ::nua_handle_destroy(handle);
        }
    } else if (call != nullptr) {
        server.happened(event, status, *call, message);
    } else if (event == nua_i_options || event == nua_i_method) {
        ::nua_handle_destroy(handle);
    }
}

void Server::happened(nua_event_t event, int status, Call& call, const sip_t* message)
{
    switch (event) {
        case nua_i_invite:
        case nua_i_update: followed(call, *message); break;
        case nua_r_invite: answered(call, status, message); break;
        case nua_i_ack:
            if (message != nullptr && message->sip_payload != nullptr) {
                takeAnswer(call, *message);
            }
            break;
        case nua_i_cancel: tell(call.number, "is cancelled"); break;
        case nua_i_bye: tell(call.number, "is ended by the client"); break;
        default: break;
    }
}

void Server::listen(const tagi_t* parameters)
{
    const sip_contact_t* contact = nullptr;
    ::tl_gets(parameters, NTATAG_CONTACT_REF(contact), TAG_END());
    const char* const port = contact != nullptr ? ::url_port(contact->m_url) : "5060";
    std::cout << "listening on sip:" << dotted(m_address) << ':' << port << std::endl;
}

void Server::invited(nua_handle_t* handle, const sip_t& request)
{
    const std::string client = uriOf(request.sip_from);
    if (m_refusal != 0) {
        refuse(handle, m_refusal, client + " is refused with " + std::to_string(m_refusal));
        return;
    }
    if (m_calls.size() >= MOST_SESSIONS || m_isQuitting) {
        refuse(handle, 486, client + " is one session too many");
        return;
    }
    if (!::sip_has_feature(request.sip_require, "siprec")) {
        refuse(handle, 421, client + " asks for something else than a recording");
        return;
    }
    try {
        Body body = readBody(request);
        const int number = ++m_lastNumber;
        auto call = std::make_unique<Call>(number, handle, m_loop);
        call->client = client;
        call->body = std::move(body);
        ::nua_handle_bind(handle, call.get());
        tell(number, "is asked for by " + client);
        if (m_delay.count() == 0) {
            answer(*call);
        } else {
            call->timer.set(m_delay, [this, &waiting = *call] { answer(waiting); });
        }
        m_calls.emplace(number, std::move(call));
    } catch (const std::runtime_error& failure) {
        refuse(handle, 400, client + " sends " + failure.what());
    }
}

void Server::refuse(nua_handle_t* handle, int status, const std::string& why)
{
    tell(0, why);
    ::nua_respond(handle, status, ::sip_status_phrase(status), TAG_IF(status == 421, SIPTAG_REQUIRE_STR("siprec")),
                  TAG_END());
}

void Server::answer(Call& call)
{
    const std::string path = m_folder + '/' + timeNow("%Y%m%d-%H%M%S") + '-' + std::to_string(call.number);
    try {
        call.session = std::make_unique<Session>(call.number, m_loop, m_address, path, *this);
        call.session->follow(call.body, call.client);
        call.body = {};
        ::nua_respond(call.handle, SIP_200_OK, SIPTAG_CONTENT_TYPE_STR("application/sdp"),
                      SIPTAG_PAYLOAD_STR(call.session->answer().c_str()), TAG_END());
        tell(call.number, "is answered");
    } catch (const std::system_error& failure) {
        tell(call.number, failure.what());
        ::nua_respond(call.handle, SIP_500_INTERNAL_SERVER_ERROR, TAG_END());
    } catch (const std::runtime_error& failure) {
        tell(call.number, std::string("is refused: ") + failure.what());
        ::nua_respond(call.handle, SIP_488_NOT_ACCEPTABLE, TAG_END());
    }
}

void Server::followed(Call& call, const sip_t& request)
{
    try {
        if (call.session == nullptr) {
            throw std::runtime_error("it comes too early or too late");
        }
        const Body body = readBody(request);
        std::string description;
        if (!body.sdp.empty()) {
            call.session->follow(body, call.client);
            description = call.session->answer();
        } else {
            call.session->saveMetadata(body.metadata);
            // An INVITE without an offer asks for one.
            description = request.sip_request->rq_method == sip_method_invite ? call.session->offer() : "";
        }
        ::nua_respond(call.handle, SIP_200_OK, NUTAG_WITH_THIS(m_agent),
                      TAG_IF(!description.empty(), SIPTAG_CONTENT_TYPE_STR("application/sdp")),
                      TAG_IF(!description.empty(), SIPTAG_PAYLOAD_STR(description.c_str())), TAG_END());
    } catch (const std::runtime_error& failure) {
        tell(call.number, std::string("a change is refused: ") + failure.what());
        ::nua_respond(call.handle, SIP_488_NOT_ACCEPTABLE, NUTAG_WITH_THIS(m_agent), TAG_END());
    }
}

void Server::offer(Call& call, bool paused)
{
    if (call.session != nullptr) {
        call.session->pause(paused);
        ::nua_invite(call.handle, SIPTAG_CONTENT_TYPE_STR("application/sdp"),
                     SIPTAG_PAYLOAD_STR(call.session->offer().c_str()), TAG_END());
    }
}

void Server::answered(Call& call, int status, const sip_t* response)
{
    if (status < 200 || call.session == nullptr) {
        return;
    }
    if (status == REQUEST_PENDING) {
        // Who does not own the Call-ID waits for up to two seconds (RFC 3261, 14.1).
        static std::minstd_rand random{std::random_device{}()};
        const std::chrono::milliseconds wait(random() % 200 * 10);
        call.timer.set(wait, [this, &call] { offer(call, call.session->isPausedHere()); });
        return;
    }
    if (status >= 300 || response == nullptr) {
        tell(call.number, "the client refuses the change with " + std::to_string(status));
        return;
    }
    takeAnswer(call, *response);
}

void Server::takeAnswer(Call& call, const sip_t& message)
{
    try {
        if (call.session != nullptr) {
            call.session->takeAnswer(readBody(message).sdp);
        }
    } catch (const std::runtime_error& failure) {
        tell(call.number, std::string("the client answers with ") + failure.what());
    }
}

void Server::end(Call& call)
{
    if (call.session != nullptr) {
        tell(call.number, "is ended here");
        ::nua_bye(call.handle, TAG_END());
    } else {
        ::nua_respond(call.handle, SIP_480_TEMPORARILY_UNAVAILABLE, TAG_END());
    }
}

void Server::closePorts(Call& call)
{
    if (call.session != nullptr) {
        call.session->closePorts();
        tell(call.number, "ports are closed");
    }
}

void Server::terminated(Call& call)
{
    // What the session tells at its end finds it gone.
    const auto ended = m_calls.extract(call.number);
}

void Server::quit()
{
    if (m_isQuitting) {
        m_loop.stop();
        return;
    }
    m_isQuitting = true;
    for (const auto& [number, call] : m_calls) {
        call->session.reset();
    }
    ::nua_shutdown(m_agent);
    m_deadline.set(TIME_TO_END, [this] { m_loop.stop(); });
}

void Server::tell(int session, const std::string& what)
{
    std::cout << timeNow("%H:%M:%S") << "  " << (session != 0 ? std::to_string(session) : "-") << "  " << what
              << std::endl;
}

void Server::failed(int session)
{
    const auto call = m_calls.find(session);
    if (call != m_calls.end()) {
        ::nua_bye(call->second->handle, TAG_END());
    }
}

}  // namespace recorder
