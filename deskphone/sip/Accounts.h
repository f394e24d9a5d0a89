#pragma once

#include <sofia-sip/sip.h>

#include <string>
#include <vector>

#include "sip/Settings.h"

namespace deskphone {

/// A SIP URI with a host, taken apart.
struct SipUri {
    std::string user;
    std::string host;
};

/// False when it is none.
bool readUri(const std::string& text, SipUri& uri);

/// One line of the telephone, as others know it.
struct Account {
    std::string uri;
    std::string user;
    std::string host;
    std::string password;  // empty: none is known
};

/// The lines of the telephone. Never changes, so that any thread may ask.
class Accounts {
public:
    /// Throws std::runtime_error, with what is wrong in the settings.
    explicit Accounts(const NetworkSettings& settings);

    const std::vector<Account>& all() const { return m_all; }
    /// Null when there is none.
    const Account* find(const std::string& uri) const;
    /// The one that the call is for: by its name, and its host where there are several of that name. Null when there is
    /// none.
    const Account* calledBy(const sip_t& invitation) const;

private:
    std::vector<Account> m_all;
};

}  // namespace deskphone
