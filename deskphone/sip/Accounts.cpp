#include "sip/Accounts.h"

#include <sofia-sip/url.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <stdexcept>

#include "scenario/WholeFile.h"
#include "scenario/Words.h"

namespace deskphone {

namespace {

constexpr std::size_t LONGEST_URI = 256;

/// By account; none where there is no file. Throws std::runtime_error.
std::map<std::string, std::string> readPasswords(const std::string& file)
{
    std::map<std::string, std::string> passwords;
    std::istringstream content(file.empty() ? "" : readFile(file));
    int number = 0;
    for (std::string line; std::getline(content, line);) {
        ++number;
        Words words;
        try {
            words = splitLine(line);
        } catch (const Mistake&) {
            words = {""};
        }
        if (!words.empty() && words.size() != 2) {
            throw std::runtime_error(file + ':' + std::to_string(number) + ": expected SIP-URI PASSWORD");
        }
        if (!words.empty()) {
            passwords[words[0]] = words[1];
        }
    }
    return passwords;
}

}  // namespace

bool readUri(const std::string& text, SipUri& uri)
{
    const bool isPlain = text.size() <= LONGEST_URI && std::all_of(text.begin(), text.end(), [](char c) {
                             return c > ' ' && c < '\x7f' && c != '<' && c != '>' && c != '"' && c != '?';
                         });
    su_home_t home[1] = {SU_HOME_INIT(home)};
    const url_t* const url = isPlain ? url_make(home, text.c_str()) : nullptr;
    const bool isSip = url != nullptr && url->url_type == url_sip && url->url_host != nullptr && *url->url_host != '\0';
    if (isSip) {
        uri = {url->url_user == nullptr ? "" : url->url_user, url->url_host};
    }
    su_home_deinit(home);
    return isSip;
}

Accounts::Accounts(const NetworkSettings& settings)
{
    const auto passwords = readPasswords(settings.passwords);
    for (const std::string& account : settings.accounts) {
        SipUri uri;
        if (!readUri(account, uri) || uri.user.empty()) {
            throw std::runtime_error("--account " + account + ": expected a SIP URI as sip:USER@HOST");
        }
        const auto password = passwords.find(account);
        m_all.push_back({account, uri.user, uri.host, password == passwords.end() ? "" : password->second});
    }
}

const Account* Accounts::find(const std::string& uri) const
{
    const auto found = std::find_if(m_all.begin(), m_all.end(), [&uri](const Account& one) { return one.uri == uri; });
    return found == m_all.end() ? nullptr : &*found;
}

const Account* Accounts::calledBy(const sip_t& invitation) const
{
    const url_t* const asked = invitation.sip_request->rq_url;
    const std::string user = asked->url_user == nullptr ? "" : asked->url_user;
    const char* const to = invitation.sip_to->a_url->url_host;
    const Account* best = nullptr;
    for (const Account& account : m_all) {
        if (account.user == user && (best == nullptr || (to != nullptr && account.host == to))) {
            best = &account;
        }
    }
    return best;
}

}  // namespace deskphone
