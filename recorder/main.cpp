#include <arpa/inet.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>

#include "Loop.h"
#include "Server.h"

namespace recorder {

namespace {

/// Where to listen, the address in host order.
struct Place {
    in_addr_t address = INADDR_LOOPBACK;
    std::uint16_t port = 5060;
};

/// Reads ADDRESS[:PORT]. Throws CLI::ValidationError for anything else.
Place readPlace(const std::string& text)
{
    Place place;
    const std::size_t colon = text.find(':');
    in_addr address{};
    if (::inet_pton(AF_INET, text.substr(0, colon).c_str(), &address) != 1 || address.s_addr == INADDR_ANY) {
        throw CLI::ValidationError("--listen", text + " is no address of this machine, as 192.0.2.1");
    }
    place.address = ntohl(address.s_addr);
    if (colon != std::string::npos && !CLI::detail::lexical_cast(text.substr(colon + 1), place.port)) {
        throw CLI::ValidationError("--listen", text + " ends with no port, from 0 to 65535");
    }
    return place;
}

/// What a person, or another program, says on standard input. At its end the recorder goes on without.
class Commands {
public:
    Commands(const Loop& loop, Server& server) : m_server(server), m_end(loop)
    {
        struct stat kind {};
        // Files, and /dev/null, can't be waited for.
        if (::isatty(STDIN_FILENO) != 0 ||
            (::fstat(STDIN_FILENO, &kind) == 0 && (S_ISFIFO(kind.st_mode) || S_ISSOCK(kind.st_mode)))) {
            m_watch = std::make_unique<Watch>(loop, STDIN_FILENO, [this] { read(); });
        }
    }

private:
    void read()
    {
        std::array<char, 1024> text{};
        const ssize_t length = ::read(STDIN_FILENO, text.data(), text.size());
        if (length <= 0 || m_text.size() > text.size()) {
            m_end.set(std::chrono::milliseconds(0), [this] { m_watch.reset(); });
            return;
        }
        m_text.append(text.data(), static_cast<std::size_t>(length));
        for (std::size_t end = 0; (end = m_text.find('\n')) != std::string::npos; m_text.erase(0, end + 1)) {
            try {
                m_server.command(m_text.substr(0, end));
            } catch (const std::runtime_error& mistake) {
                std::cerr << "recorder: " << mistake.what() << std::endl;
            }
        }
    }

    Server& m_server;
    std::string m_text;  // the line that is not complete yet
    std::unique_ptr<Watch> m_watch;
    Timer m_end;  // of the watch, which cannot go while it calls back
};

/// Blocks SIGINT and SIGTERM. Returns a descriptor that can be read when one of them has come.
int watchedSignals()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGINT);
    ::sigaddset(&signals, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    const int descriptor = ::signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return descriptor;
}

int run(int argc, char** argv)
{
    CLI::App app(
        "Records the calls that session recording clients (RFC 7866) send: for each session a stereo WAV file, the\n"
        "client's own side left and the other right, and its metadata beside it.");
    std::string listen = "127.0.0.1";
    std::string folder = ".";
    int refusal = 0;
    int delay = 0;
    app.add_option("--listen", listen, "Where to listen for SIP; the default port is 5060, 0 lets the system choose")
        ->type_name("ADDRESS[:PORT]")
        ->capture_default_str();
    app.add_option("--folder", folder, "For the recordings; it is made if it does not exist")
        ->type_name("FOLDER")
        ->capture_default_str();
    app.add_option("--refuse", refusal, "Refuse sessions with this status of SIP, as by the command")
        ->type_name("STATUS")
        ->check(CLI::Range(300, 699));
    app.add_option("--delay", delay, "Answer sessions so much later, as by the command")
        ->type_name("MILLISECONDS")
        ->check(CLI::NonNegativeNumber);
    app.footer(std::string("The first line printed says where it listens. Commands on standard input:\n") +
               Server::help());
    Place place;
    try {
        app.parse(argc, argv);
        place = readPlace(listen);
    } catch (const CLI::ParseError& failure) {
        return app.exit(failure) == 0 ? 0 : 2;
    }
    const int signals = watchedSignals();
    std::filesystem::create_directories(folder);
    Loop loop;
    Server server(loop, place.address, place.port, folder);
    server.refuse(refusal);
    server.delay(std::chrono::milliseconds(delay));
    const Commands commands(loop, server);
    const Watch ending(loop, signals, [&] {
        signalfd_siginfo signal{};
        while (::read(signals, &signal, sizeof signal) == static_cast<ssize_t>(sizeof signal)) {
            server.quit();
        }
    });
    loop.run();
    return 0;
}

}  // namespace

}  // namespace recorder

int main(int argc, char** argv)
{
    try {
        return recorder::run(argc, argv);
    } catch (const std::exception& failure) {
        std::cerr << "recorder: " << failure.what() << std::endl;
        return 2;
    }
}
