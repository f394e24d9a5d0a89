#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "sip/Queue.h"
#include "sip/Sdp.h"
#include "sip/Socket.h"
#include "sip/Voice.h"

namespace deskphone {

/// Where a call's sound goes to and comes from, and how.
struct Path {
    sockaddr_in farEnd;
    Codec codec;
    Direction direction;
};

/// The two sides of a recorded call, in the order of their streams.
enum Side : std::size_t { NEAR, FAR, NUMBER_OF_SIDES };

/// Carries the sound of calls, and copies of it to recorders, packet by packet as they are, on a thread of its own.
///
/// For any thread. Every operation but flow() hands its request to that thread; all return at once. A call and a
/// recording go by numbers.
class Media {
public:
    struct Reports {
        /// The first copies have left since flow() let them.
        std::function<void(int recording)> streams;
        /// The recorder's port takes no more.
        std::function<void(int recording)> fails;
    };

    /// The reports are called on the thread.
    Media(const Voice& voice, Reports reports);
    ~Media();
    Media(const Media&) = delete;
    Media& operator=(const Media&) = delete;

    void open(int call, Socket socket);
    void direct(int call, const Path& path);
    void close(int call);

    /// Copies of the call's sound go to a recorder as soon as flow() lets them.
    void record(int recording, int call, std::array<Socket, NUMBER_OF_SIDES> sockets);
    /// Where they go. Before that none leaves, and none of another codec.
    void aim(int recording, const std::array<sockaddr_in, NUMBER_OF_SIDES>& ports, Codec codec);
    /// When it returns, no copy leaves that may not.
    void flow(int recording, bool flows);
    void endRecording(int recording);

private:
    struct Recording {
        int call;
        std::array<Socket, NUMBER_OF_SIDES> sockets;
        std::optional<Codec> codec;  // none until it is aimed
    };
    struct Call {
        Socket socket;
        Path path = {};
        std::uint32_t source = 0;  // the synchronisation source
        std::uint16_t sequence = 0;
        std::uint32_t timestamp = 0;
        std::uint64_t said = 0;   // in samples
        bool speaks = false;      // whether the packet before was sent
        std::vector<int> copies;  // the recordings
    };

    void post(std::function<void()> request) { m_requests.put(std::move(request)); }
    void run();
    void perform();
    void speak(Call& call);
    void listen(int number);
    void copy(const Call& call, Side side, const std::uint8_t* packet, std::size_t size);

    const Voice& m_voice;
    const Reports m_reports;
    Queue<std::function<void()>> m_requests;

    std::mutex m_gate;              // held while copies are sent
    std::map<int, bool> m_flowing;  // the recordings that may flow, and whether that was reported; guarded by m_gate

    // The thread's own.
    int m_poll;
    int m_clock;
    bool m_ends = false;
    std::unordered_map<int, Call> m_calls;
    std::unordered_map<int, Recording> m_recordings;

    std::thread m_thread;
};

}  // namespace deskphone
