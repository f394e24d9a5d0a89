// The prompt where no library for line editing is to be had, as when building for the telephone itself.

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <memory>

#include "prompt/Prompt.h"

namespace deskphone {

namespace {

constexpr const char* PROMPT = "deskphone> ";

/// Lets Ctrl-C drop a line instead of ending the program.
class Interruptible {
public:
    Interruptible()
    {
        sigset_t interrupt;
        ::sigemptyset(&interrupt);
        ::sigaddset(&interrupt, SIGINT);
        ::pthread_sigmask(SIG_BLOCK, &interrupt, &m_mask);
        struct sigaction action {};
        action.sa_handler = [](int /*signal*/) {};
        ::sigaction(SIGINT, &action, &m_action);
    }
    ~Interruptible()
    {
        ::sigaction(SIGINT, &m_action, nullptr);
        ::pthread_sigmask(SIG_SETMASK, &m_mask, nullptr);
    }
    Interruptible(const Interruptible&) = delete;
    Interruptible& operator=(const Interruptible&) = delete;

    /// False when Ctrl-C came before a line. Only here can it come.
    bool waitForLine() const
    {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        return ::ppoll(&input, 1, nullptr, &m_mask) >= 0 || errno != EINTR;
    }

private:
    sigset_t m_mask{};
    struct sigaction m_action {};
};

}  // namespace

Prompt::Prompt(const Completer& /*knowing*/, const Wait& /*wait*/)
    : m_screen(::isatty(STDOUT_FILENO) != 0 ? stdout : stderr)
{
}

bool Prompt::next(std::string& line)
{
    const Interruptible interruptible;
    show(PROMPT);
    while (!interruptible.waitForLine()) {
        show(std::string("\n") + PROMPT);
    }
    char* buffer = nullptr;
    std::size_t capacity = 0;
    const ssize_t length = ::getline(&buffer, &capacity, stdin);
    const std::unique_ptr<char, decltype(&std::free)> owner(buffer, std::free);
    if (length <= 0) {
        show("\n");
        return false;
    }
    const auto size = static_cast<std::size_t>(length);
    line.assign(buffer, buffer[size - 1] == '\n' ? size - 1 : size);
    return true;
}

void Prompt::show(const std::string& text)
{
    std::fputs(text.c_str(), m_screen);
    std::fflush(m_screen);
}

}  // namespace deskphone
