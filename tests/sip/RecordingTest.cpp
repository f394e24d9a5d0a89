// What the recorder makes of packets, times and metadata.

#include <gmock/gmock.h>
#include <sndfile.h>
#include <unistd.h>

#include <filesystem>

#include "recorder/Metadata.h"
#include "recorder/StereoFile.h"
#include "recorder/Timeline.h"

namespace {

using namespace recorder;

constexpr std::int64_t SECOND = SAMPLES_PER_SECOND;
constexpr std::int64_t PIECE = SECOND / 50;

/// A sender's packets, 20 ms each, which arrive when they should.
struct TrackTest : ::testing::Test {
    std::int64_t take() { return track.take(packet, arrival); }
    std::int64_t takeNext(int packets = 1)
    {
        packet.sequence = static_cast<std::uint16_t>(packet.sequence + packets);
        packet.timestamp += static_cast<std::uint32_t>(PIECE * packets);
        arrival += PIECE * packets;
        return take();
    }

    Track track;
    RtpPacket packet{0xfff0, 0xfffff000, 1, 0, nullptr, 0};
    std::int64_t arrival = 500;
};

TEST_F(TrackTest, AnHourOfPacketsLiesEdgeToEdgeThoughEveryNumberStartsAnewAndArrivalsVary)
{
    std::int64_t expected = take();
    EXPECT_EQ(expected, arrival);
    for (int number = 1; number < 3600 * 50; ++number) {
        const std::int64_t late = number % 7 * PIECE;
        arrival += late;
        ASSERT_EQ(takeNext(), expected += PIECE);
        arrival -= late;
    }
    EXPECT_EQ(track.packets(), 3600 * 50);
    EXPECT_EQ(track.lost(), 0);
}

TEST_F(TrackTest, WhatIsLostAndWhatIsOvertakenIsKnownAlsoWhereNumbersStartAnew)
{
    const std::int64_t begin = take();
    EXPECT_EQ(takeNext(18), begin + 18 * PIECE);
    EXPECT_EQ(track.lost(), 17);
    const RtpPacket newest = packet;
    packet.sequence = 0xffff;
    packet.timestamp = 0xfffff000 + 15 * static_cast<std::uint32_t>(PIECE);
    EXPECT_EQ(take(), begin + 15 * PIECE);
    EXPECT_EQ(track.lost(), 16);
    packet = newest;
    EXPECT_EQ(takeNext(), begin + 19 * PIECE);
    EXPECT_EQ(track.lost(), 16);
}

TEST_F(TrackTest, APacketLiesWhereItArrivedWhereItsTimestampCannotBeBelieved)
{
    take();
    packet.timestamp += 0x40000000;  // a jump
    EXPECT_EQ(takeNext(), arrival);
    packet.source = 2;  // another source, a little off
    packet.timestamp += 10;
    EXPECT_EQ(takeNext(), arrival);
    arrival += 2 * SECOND;  // a sender whose time stood still
    EXPECT_EQ(takeNext(), arrival);
    EXPECT_EQ(track.lost(), 0);
}

TEST_F(TrackTest, APauseIsNoLossAndIsCountedByTheTimestampsOrNot)
{
    const std::int64_t begin = take();
    track.pause();
    packet.sequence = 7;
    EXPECT_EQ(takeNext(500), begin + 500 * PIECE);
    track.pause();
    arrival += SECOND / 2;
    EXPECT_EQ(takeNext(), arrival);
    EXPECT_EQ(track.lost(), 0);
}

TEST(TimelineTest, ALongSilenceIsShortenedOnceAndWhatFollowsGoesOnFromThere)
{
    const Timeline::Clock::time_point begin{};
    const auto after = [&](std::int64_t seconds) { return begin + std::chrono::seconds(seconds); };
    std::int64_t leftOut = -1;
    Timeline timeline;
    EXPECT_EQ(timeline.placeOf(begin, 0, leftOut), 0);
    EXPECT_EQ(timeline.placeOf(after(600), SECOND, leftOut), 600 * SECOND);
    EXPECT_EQ(leftOut, 0);
    EXPECT_EQ(timeline.placeOf(after(7200), 600 * SECOND, leftOut), 1200 * SECOND);
    EXPECT_EQ(leftOut, 6000 * SECOND);
    EXPECT_EQ(timeline.placeOf(after(7201), 1200 * SECOND, leftOut), 1201 * SECOND);
    EXPECT_EQ(leftOut, 0);
}

struct StereoFileTest : ::testing::Test {
    ~StereoFileTest() override { std::filesystem::remove(name); }

    /// All samples in the file, of both sides in turn.
    std::vector<std::int16_t> content() const
    {
        SF_INFO info{};
        SNDFILE* const read = ::sf_open(name.c_str(), SFM_READ, &info);
        std::vector<std::int16_t> samples(static_cast<std::size_t>(info.frames * info.channels));
        EXPECT_EQ(::sf_readf_short(read, samples.data(), info.frames), info.frames);
        ::sf_close(read);
        return samples;
    }

    const std::string name =
        (std::filesystem::temp_directory_path() / ("recorder-test-" + std::to_string(::getpid()) + ".wav")).string();
};

TEST_F(StereoFileTest, TakesWhatIsUpToTwoSecondsLateAndRefusesTheRest)
{
    StereoFile file(name);
    EXPECT_TRUE(file.put(FAR, 3 * SECOND, {33}));
    EXPECT_TRUE(file.put(NEAR, SECOND + 1, {11, 12}));
    EXPECT_FALSE(file.put(NEAR, SECOND, {10}));
    EXPECT_TRUE(file.put(NEAR, 3 * SECOND, {31}));
    file.finish();
    std::vector<std::int16_t> expected(2 * (3 * SECOND + 1));
    expected[2 * (SECOND + 1)] = 11;
    expected[2 * (SECOND + 2)] = 12;
    expected[6 * SECOND] = 31;
    expected[6 * SECOND + 1] = 33;
    EXPECT_TRUE(content() == expected);
    EXPECT_EQ(file.end(), 3 * SECOND + 1);
}

TEST_F(StereoFileTest, IsAValidFileWhileItIsWrittenAndHoldsALongSilence)
{
    StereoFile file(name);
    EXPECT_TRUE(content().empty());
    file.put(NEAR, 0, {1});
    file.put(NEAR, 600 * SECOND, {2});
    file.put(FAR, 603 * SECOND, {3});
    const std::vector<std::int16_t> samples = content();
    ASSERT_GT(samples.size(), static_cast<std::size_t>(1200 * SECOND));
    EXPECT_EQ(samples.front(), 1);
    EXPECT_EQ(samples[1200 * SECOND], 2);
    EXPECT_EQ(std::count(samples.begin(), samples.end(), 0), static_cast<std::ptrdiff_t>(samples.size()) - 2);
}

TEST(LabelOf, FindsTheParticipantsStreamWhateverPrefixesAndDetailsThereAre)
{
    const auto metadata = [](const std::string& aor) {
        return R"(<?xml version="1.0"?><r:recording xmlns:r="urn:ietf:params:xml:ns:recording:1">
            <r:participant participant_id="A"><r:nameID aor="sip:bob@elsewhere"/></r:participant>
            <r:participant participant_id="B"><r:name/><r:nameID aor=")" +
               aor + R"("/></r:participant>
            <r:stream stream_id="1"><r:label>far</r:label></r:stream>
            <r:stream stream_id="2"><r:label>near</r:label></r:stream>
            <r:participantstreamassoc participant_id="A"><r:send>1</r:send></r:participantstreamassoc>
            <r:participantstreamassoc participant_id="B"><r:recv>1</r:recv><r:send>2</r:send></r:participantstreamassoc>
            </r:recording>)";
    };
    EXPECT_EQ(labelOf(metadata("sip:100@office"), "sip:100@office"), "near");
    EXPECT_EQ(labelOf(metadata("sip:100@OFFICE:5060;user=phone"), "sips:100@office:5061"), "near");
    EXPECT_EQ(labelOf(metadata("sip:100@office"), "sip:bob@elsewhere"), "far");
    EXPECT_EQ(labelOf(metadata("sip:100@office.example"), "sip:100@office"), "");
    EXPECT_EQ(labelOf(metadata("\"/><x y=\""), "sip:100@office"), "");
    EXPECT_EQ(labelOf("no metadata", "sip:100@office"), "");
}

}  // namespace
