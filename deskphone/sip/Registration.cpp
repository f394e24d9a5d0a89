#include "sip/Registration.h"

#include <utility>

namespace deskphone {

Registration::Registration(nua_handle_t* handle, const std::string& registrar, const std::string& user, Tell tell)
    : Dialog(handle), m_tell(std::move(tell))
{
    nua_register(m_handle, NUTAG_REGISTRAR(registrar.c_str()), NUTAG_M_USERNAME(user.c_str()), TAG_END());
}

void Registration::end()
{
    nua_unregister(m_handle, TAG_END());
}

void Registration::happened(const SipEvent& event)
{
    if (event.kind == nua_r_register && event.status >= 200 && event.status != m_status) {
        m_status = event.status;
        m_tell("registration: " + std::to_string(event.status) + ' ' + event.phrase);
    }
}

}  // namespace deskphone
