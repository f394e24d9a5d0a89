#pragma once

#include <functional>
#include <string>

#include "sip/SipStack.h"

namespace deskphone {

/// An account's place at a registrar (RFC 3261, 10), which the library keeps fresh. For the SIP thread.
class Registration : public Dialog {
public:
    using Tell = std::function<void(const std::string& what)>;

    Registration(nua_handle_t* handle, const std::string& registrar, const std::string& user, Tell tell);
    void end();

private:
    void happened(const SipEvent& event) override;

    const Tell m_tell;
    int m_status = 0;  // as last told
};

}  // namespace deskphone
