#pragma once

#include <signal.h>

#include <stdexcept>

namespace deskphone {

/// The program was asked to end, as by Ctrl-C.
class Interruption : public std::runtime_error {
public:
    explicit Interruption(int signal) : std::runtime_error("interrupted"), m_signal(signal) {}
    int signal() const { return m_signal; }

private:
    int m_signal;
};

/// While it lives, SIGINT and SIGTERM are taken from its descriptor, in this thread and those that it starts.
class Interruptions {
public:
    Interruptions();
    ~Interruptions();
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;

    int descriptor() const { return m_descriptor; }
    /// Throws Interruption if one has come.
    void check() const;

private:
    sigset_t m_before{};
    int m_descriptor;
};

}  // namespace deskphone
