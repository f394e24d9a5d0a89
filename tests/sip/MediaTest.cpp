// When copies of a call's sound leave, and when not.

#include "sip/Media.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <future>

namespace {

using namespace deskphone;

/// A port that sound comes to.
struct Ear {
    /// The next packet's codec; fails when none comes.
    Codec hear() const
    {
        std::array<std::uint8_t, 200> packet{};
        pollfd readable{socket.descriptor(), POLLIN, 0};
        EXPECT_EQ(::poll(&readable, 1, 10000), 1) << "nothing to hear";
        EXPECT_EQ(::recv(socket.descriptor(), packet.data(), packet.size(), 0), 172);
        return static_cast<Codec>(packet[1] & 0x7f);
    }
    bool hasHeard() const
    {
        std::uint8_t byte = 0;
        return ::recv(socket.descriptor(), &byte, 1, MSG_PEEK) >= 0;
    }

    Socket socket{"127.0.0.1"};
};

/// A call whose near side speaks to an ear, and a recording of it.
struct MediaTest : ::testing::Test {
    MediaTest()
    {
        Socket socket("127.0.0.1");
        call = socket.address();
        media.open(CALL, std::move(socket));
        speak(Codec::PCMA);
        media.record(RECORDING, CALL, {Socket("127.0.0.1"), Socket("127.0.0.1")});
    }

    void speak(Codec codec) { media.direct(CALL, {farEnd.socket.address(), codec, {true, true}}); }
    void hear() const
    {
        constexpr std::array<std::uint8_t, 172> packet{0x80, static_cast<std::uint8_t>(Codec::PCMA)};
        ::sendto(farEnd.socket.descriptor(), packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&call),
                 sizeof call);
    }
    void aim(Codec codec) { media.aim(RECORDING, {near.socket.address(), far.socket.address()}, codec); }
    /// What was asked for before has been done, and packets have left since.
    void letSpeak(Codec codec) const
    {
        while (farEnd.hasHeard()) {
            farEnd.hear();
        }
        for (int packets = 0; packets < 3; packets += farEnd.hear() == codec ? 1 : 0) {
        }
    }

    static constexpr int CALL = 1;
    static constexpr int RECORDING = 7;
    sockaddr_in call{};
    const Ear farEnd, near, far;
    const Voice voice{"silence"};
    std::promise<int> streams, fails;
    Media media{voice,
                {[this](int recording) { streams.set_value(recording); },
                 [this](int recording) { fails.set_value(recording); }}};
};

TEST_F(MediaTest, NoCopyLeavesBeforeTheRecordersPortsAreKnownAndThatIsNoFailure)
{
    media.flow(RECORDING, true);
    letSpeak(Codec::PCMA);
    aim(Codec::PCMA);
    EXPECT_EQ(near.hear(), Codec::PCMA);
    EXPECT_EQ(streams.get_future().get(), RECORDING);
    EXPECT_EQ(fails.get_future().wait_for(std::chrono::seconds(0)), std::future_status::timeout);
}

TEST_F(MediaTest, ARecorderGetsNoOtherCodecThanItAgreedTo)
{
    aim(Codec::PCMA);
    media.flow(RECORDING, true);
    near.hear();
    speak(Codec::PCMU);
    letSpeak(Codec::PCMU);
    while (near.hasHeard()) {
        EXPECT_EQ(near.hear(), Codec::PCMA);
    }
    aim(Codec::PCMU);
    EXPECT_EQ(near.hear(), Codec::PCMU);
}

TEST_F(MediaTest, NoCopyLeavesOnceAPauseWasAskedFor)
{
    aim(Codec::PCMA);
    media.flow(RECORDING, true);
    near.hear();
    media.flow(RECORDING, false);
    while (near.hasHeard()) {
        near.hear();
    }
    letSpeak(Codec::PCMA);
    EXPECT_FALSE(near.hasHeard());
}

TEST_F(MediaTest, AClosedPortIsToldOnceAndTheCallGoesOn)
{
    const sockaddr_in closed = Socket("127.0.0.1").address();
    media.aim(RECORDING, {closed, closed}, Codec::PCMA);
    media.flow(RECORDING, true);
    EXPECT_EQ(fails.get_future().get(), RECORDING);
    letSpeak(Codec::PCMA);
}

TEST_F(MediaTest, AClosedPortThatTheRecorderHasLeftDoesNotCount)
{
    const sockaddr_in closed = Socket("127.0.0.1").address();
    media.aim(RECORDING, {near.socket.address(), closed}, Codec::PCMA);
    media.flow(RECORDING, true);
    near.hear();
    hear();
    letSpeak(Codec::PCMA);
    aim(Codec::PCMA);
    letSpeak(Codec::PCMA);
    hear();
    far.hear();
}

}  // namespace
