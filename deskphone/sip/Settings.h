#pragma once

#include <string>
#include <vector>

namespace deskphone {

/// What the command line says of the network.
struct NetworkSettings {
    std::string address = {};  // numeric, this machine's; empty: there is no network
    int port = 5060;           // 0: the system chooses
    std::vector<std::string> accounts = {};
    std::string registrar = {};  // SIP URI for all accounts; empty: none
    std::string passwords = {};  // the file with a line for each account: SIP-URI PASSWORD
    std::string voice = "tone";  // what the near side says: tone[:HZ], silence or the name of a WAV file
    std::string recorder = {};   // SIP URI in place of a recorder's address that is none; empty: that is refused
    int patience = 32;           // seconds for the other side to answer a request

    bool given() const { return !address.empty(); }
};

}  // namespace deskphone
