#include "sip/Interruption.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace deskphone {

Interruptions::Interruptions()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGINT);
    ::sigaddset(&signals, SIGTERM);
    m_descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (m_descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, &m_before);
}

Interruptions::~Interruptions()
{
    ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    ::close(m_descriptor);
}

void Interruptions::check() const
{
    signalfd_siginfo signal{};
    if (::read(m_descriptor, &signal, sizeof signal) == sizeof signal) {
        throw Interruption(static_cast<int>(signal.ssi_signo));
    }
}

}  // namespace deskphone
