#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "Loop.h"
#include "Offer.h"
#include "Rtp.h"
#include "StereoFile.h"
#include "Timeline.h"

namespace recorder {

/// One recording: the streams that a client sends, and the files that come of them. Knows nothing of SIP but offers and
/// answers.
class Session {
public:
    /// Whom a session tells how it goes.
    class Listener {
    public:
        virtual void tell(int session, const std::string& what) = 0;
        /// Nothing can be written any more: the session is to be ended, but not from within this call.
        virtual void failed(int session) = 0;

    protected:
        ~Listener() = default;
    };

    /// The files are named `path`.wav, `path`.xml, `path`-2.xml and so on. Neither loop nor listener are owned.
    Session(int number, const Loop& loop, in_addr_t address, std::string path, Listener& listener);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Takes the client's offer, the first one or a changed one, and its metadata. `client` is the URI of who sends it;
    /// what is said there is the near side. Throws std::runtime_error when there is nothing to record in it, and
    /// std::system_error when ports or files cannot be had.
    void follow(const Body& body, const std::string& client);

    /// Takes metadata alone. Throws std::system_error when it cannot be saved.
    void saveMetadata(const std::string& metadata);

    /// The answer to the last offer.
    std::string answer() { return describe(false); }

    /// Whether this recorder wants no packets, which the next offer says.
    void pause(bool paused) { m_isPausedHere = paused; }
    bool isPausedHere() const { return m_isPausedHere; }

    /// An offer of what was agreed so far, but for a pause that begins or ends.
    std::string offer();

    /// Takes the client's answer to it. Throws std::runtime_error when it does not fit.
    void takeAnswer(const std::string& sdp);

    /// From now on the system refuses the packets that still come.
    void closePorts();

private:
    struct Stream {
        OfferedStream offered = {};
        std::unique_ptr<RtpSocket> socket = {};
        std::unique_ptr<Watch> watch = {};
        std::uint16_t port = 0;  // 0: refused
        Side side = NEAR;
        bool isAccepted = false;  // what arrives; otherwise the client promised to send nothing
        Track track = {};
    };

    void open(Stream& stream, const std::string& nearLabel);
    Side freeSide(const OfferedStream& offered, const std::string& nearLabel) const;
    std::string describe(bool isOffer);
    void agree();
    void receiveAll();
    void receive(Stream& stream);
    void record(Stream& stream, const std::uint8_t* data, std::size_t size);
    std::int64_t now();
    void fail(const std::string& why);
    void tell(const std::string& what) const { m_listener.tell(m_number, what); }

    const int m_number;
    const Loop& m_loop;
    const in_addr_t m_address;
    const std::string m_path;
    Listener& m_listener;
    std::unique_ptr<StereoFile> m_file;  // none before the first offer and after a failure
    std::deque<Stream> m_streams;        // as in the offer
    bool m_isPausedHere = false;
    bool m_isFlowing = false;  // what the user was told last
    Timeline m_timeline;
    int m_metadata = 0;      // how many were saved
    int m_descriptions = 0;  // how many were made
    long m_late = 0;
    long m_unexpected = 0;  // while paused
    long m_foreign = 0;     // from another address
    long m_unreadable = 0;
};

}  // namespace recorder
