#include "sip/SipStack.h"

#include <sofia-sip/nta_tag.h>
#include <sofia-sip/su_log.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <future>
#include <stdexcept>

#include "sip/Multipart.h"

namespace deskphone {

namespace {

constexpr su_duration_t LONGEST_STEP = 500;  // milliseconds
constexpr std::chrono::seconds PATIENCE_AT_THE_END{3};
constexpr unsigned LARGEST_MESSAGE = 65535;  // over UDP, whatever the path's own limit
constexpr unsigned LARGEST_TAKEN = 65536;
constexpr const char* MULTIPART = "multipart/";

}  // namespace

std::string bodyOf(const SipEvent& event)
{
    if (event.message == nullptr) {
        return "";
    }
    const sip_payload_t* const payload = event.message->sip_payload;
    std::string body =
        payload == nullptr || payload->pl_data == nullptr ? "" : std::string(payload->pl_data, payload->pl_len);
    const sip_content_type_t* const type = event.message->sip_content_type;
    if (type == nullptr || ::strncasecmp(type->c_type, MULTIPART, std::strlen(MULTIPART)) != 0) {
        return body;
    }
    const char* const parameter = msg_params_find(type->c_params, "boundary=");
    std::string boundary = parameter == nullptr ? "" : parameter;
    boundary.erase(std::remove(boundary.begin(), boundary.end(), '"'), boundary.end());
    std::string part = partOf(body, boundary, "application/sdp");
    return part.empty() ? body : part;
}

Dialog::Dialog(nua_handle_t* handle) : m_handle(handle)
{
    nua_handle_bind(handle, this);
}

Dialog::~Dialog()
{
    nua_handle_bind(m_handle, nullptr);
    nua_handle_destroy(m_handle);
}

void Dialog::knowAs(std::string user, std::string password)
{
    m_user = std::move(user);
    m_password = std::move(password);
}

/// Answers a challenge; false when there is none, or no better answer than before.
bool Dialog::authenticate(const SipEvent& event)
{
    const bool isAnswer = event.kind == nua_r_invite || event.kind == nua_r_register || event.kind == nua_r_bye;
    if (isAnswer && event.status >= 200 && event.status < 300) {
        m_answersChallenge = false;
    }
    if (!isAnswer || (event.status != 401 && event.status != 407) || m_password.empty() || m_answersChallenge ||
        event.message == nullptr) {
        return false;
    }
    const msg_auth_t* const challenge =
        event.status == 401 ? event.message->sip_www_authenticate : event.message->sip_proxy_authenticate;
    const char* const realm = challenge == nullptr ? nullptr : msg_params_find(challenge->au_params, "realm=");
    if (realm == nullptr || ::strcasecmp(challenge->au_scheme, "Digest") != 0) {
        return false;
    }
    m_answersChallenge = true;
    // The realm stands in its quotes already.
    const std::string answer = std::string("Digest:") + realm + ':' + m_user + ':' + m_password;
    nua_authenticate(m_handle, NUTAG_AUTH(answer.c_str()), TAG_END());
    return true;
}

void Dialog::handle(const SipEvent& event)
{
    if (!authenticate(event)) {
        happened(event);
    }
    m_over = m_over || event.kind == nua_i_terminated;
}

SipStack::SipStack(const NetworkSettings& settings, Handler handler)
    : m_address(settings.address), m_handler(std::move(handler))
{
    std::promise<std::string> started;
    m_thread = std::thread(
        [this, &settings, &started] { run(settings, [&started](const std::string& w) { started.set_value(w); }); });
    const std::string wrong = started.get_future().get();
    if (!wrong.empty()) {
        m_thread.join();
        throw std::runtime_error(wrong);
    }
}

SipStack::~SipStack()
{
    post([this] { m_ends = true; });
    m_thread.join();
}

void SipStack::perform(const std::function<void()>& request)
{
    std::packaged_task<void()> task(request);
    post([&task] { task(); });
    task.get_future().get();
}

void SipStack::run(const NetworkSettings& settings, const std::function<void(const std::string&)>& started)
{
    su_init();
    su_log_set_level(nullptr, 0);
    su_root_t* const root = su_root_create(nullptr);
    su_root_threading(root, 0);
    const std::string own =
        "sip:" + settings.address + ':' + (settings.port == 0 ? "*" : std::to_string(settings.port));
    const unsigned patience = static_cast<unsigned>(settings.patience);
    m_nua = nua_create(root, event, reinterpret_cast<nua_magic_t*>(this), NUTAG_URL(own.c_str()), NUTAG_MEDIA_ENABLE(0),
                       NUTAG_AUTOANSWER(0), NUTAG_AUTOALERT(0), NUTAG_SESSION_TIMER(0),
                       SIPTAG_ALLOW_STR("INVITE, ACK, BYE, CANCEL, OPTIONS"), SIPTAG_SUPPORTED_STR(RECORD_AWARE),
                       NUTAG_USER_AGENT("deskphone"), NTATAG_UDP_MTU(LARGEST_MESSAGE), NTATAG_MAXSIZE(LARGEST_TAKEN),
                       NTATAG_SIP_T1X64(patience * 1000), TAG_END());
    if (m_nua == nullptr) {
        su_root_destroy(root);
        su_deinit();
        started("--sip " + settings.address + ':' + std::to_string(settings.port) + ": the address is not to be had");
        return;
    }
    su_wait_t wait;
    su_wait_init(&wait);
    su_wait_create(&wait, m_requests.descriptor(), SU_WAIT_IN);
    const int registered =
        su_root_register(root, &wait, requests, reinterpret_cast<su_wakeup_arg_t*>(this), su_pri_normal);
    nua_get_params(m_nua, TAG_ANY(), TAG_END());
    while (m_port == 0) {
        su_root_step(root, LONGEST_STEP);
    }
    started("");
    while (!m_ends) {
        step(root);
    }
    nua_shutdown(m_nua);
    for (const auto end = std::chrono::steady_clock::now() + PATIENCE_AT_THE_END;
         !m_shutDown && std::chrono::steady_clock::now() < end;) {
        su_root_step(root, LONGEST_STEP / 10);
    }
    su_root_deregister(root, registered);
    if (m_shutDown) {
        nua_destroy(m_nua);
        su_root_destroy(root);
        su_deinit();
    }
}

void SipStack::step(su_root_t* root)
{
    using std::chrono::steady_clock;
    while (!m_later.empty() && m_later.begin()->first <= steady_clock::now()) {
        const auto request = std::move(m_later.begin()->second);
        m_later.erase(m_later.begin());
        request();
    }
    su_duration_t longest = LONGEST_STEP;
    if (!m_later.empty()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_later.begin()->first - steady_clock::now());
        longest = std::min<su_duration_t>(longest, std::max<su_duration_t>(left.count(), 0));
    }
    su_root_step(root, longest);
}

void SipStack::after(std::chrono::milliseconds time, std::function<void()> request)
{
    m_later.emplace(std::chrono::steady_clock::now() + time, std::move(request));
}

void SipStack::event(nua_event_t kind, int status, const char* phrase, nua_t* /*nua*/, nua_magic_t* stack,
                     nua_handle_t* handle, nua_hmagic_t* dialog, const sip_t* message, tagi_t* tags)
{
    auto& self = *reinterpret_cast<SipStack*>(stack);
    if (kind == nua_r_get_params) {
        const sip_contact_t* contact = nullptr;
        tl_gets(tags, NTATAG_CONTACT_REF(contact), TAG_END());
        const char* const port = contact == nullptr ? nullptr : contact->m_url->url_port;
        self.m_port = port == nullptr ? 5060 : std::stoi(port);
    } else if (kind == nua_r_shutdown) {
        self.m_shutDown = status >= 200;
    } else {
        self.m_handler(handle, reinterpret_cast<Dialog*>(dialog),
                       {kind, status, phrase == nullptr ? "" : phrase, message, tags});
    }
}

int SipStack::requests(su_root_magic_t* /*root*/, su_wait_t* /*wait*/, su_wakeup_arg_t* stack)
{
    auto& self = *reinterpret_cast<SipStack*>(stack);
    for (std::function<void()> request; self.m_requests.take(request);) {
        request();
    }
    return 0;
}

}  // namespace deskphone
