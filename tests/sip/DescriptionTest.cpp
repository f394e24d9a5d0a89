// What is read of another party's session description: by the telephone, and of an offer by the recorder.

#include <arpa/inet.h>
#include <gmock/gmock.h>

#include "recorder/Offer.h"
#include "sip/Multipart.h"
#include "sip/Sdp.h"

namespace {

using namespace deskphone;
using ::testing::ElementsAre;

const std::string SESSION = "v=0\r\no=- 1 1 IN IP4 192.0.2.9\r\ns=-\r\nc=IN IP4 192.0.2.1\r\nt=0 0\r\n";

std::vector<Stream> read(const std::string& streams)
{
    std::vector<Stream> result;
    EXPECT_TRUE(readDescription(SESSION + streams, result)) << streams;
    return result;
}

std::string placeOf(const sockaddr_in& address)
{
    return ::inet_ntoa(address.sin_addr) + (':' + std::to_string(ntohs(address.sin_port)));
}

TEST(Description, ALineOfAStreamGoesBeforeThatOfTheSession)
{
    const auto streams = read(
        "a=sendonly\r\na=record:on\r\n"
        "m=audio 4000 RTP/AVP 18 0 8 0\r\na=label:far\r\n"
        "m=audio 4002/1 RTP/AVP 8\nc=IN IP4 192.0.2.2\na=inactive\na=record:paused\n");
    ASSERT_EQ(streams.size(), 2U);
    EXPECT_EQ(placeOf(streams[0].address), "192.0.2.1:4000");
    EXPECT_THAT(streams[0].codecs, ElementsAre(Codec::PCMU, Codec::PCMA));
    EXPECT_EQ(streams[0].direction, (Direction{true, false}));
    EXPECT_EQ(streams[0].label + streams[0].recording, "faron");
    EXPECT_EQ(placeOf(streams[1].address), "192.0.2.2:4002");
    EXPECT_EQ(streams[1].direction, (Direction{false, false}));
    EXPECT_EQ(streams[1].label + streams[1].recording, "paused");
}

TEST(Description, AStreamThatNothingCanBeSentToIsOfNoUse)
{
    for (const std::string stream : {
             "m=audio 0 RTP/AVP 8\r\n",
             "m=video 4000 RTP/AVP 8\r\n",
             "m=audio 4000 RTP/SAVP 8\r\n",
             "m=audio 4000 RTP/AVP 9 96\r\na=rtpmap:96 PCMA/8000\r\n",
             "m=audio 4000 RTP/AVP 8\r\na=rtpmap:8 PCMA/16000\r\n",
             "m=audio 4000 RTP/AVP 8\r\nc=IN IP6 ::1\r\n",
             "m=audio 4000 RTP/AVP 8\r\nc=IN IP4 224.0.0.1\r\n",
             "m=audio 4000 RTP/AVP 8\r\nc=IN IP4 255.255.255.255\r\n",
             "m=audio 4000 RTP/AVP 8\r\nc=IN IP4 office\r\n",
         }) {
        const auto streams = read(stream);
        ASSERT_EQ(streams.size(), 1U) << stream;
        EXPECT_FALSE(streams[0].usable()) << stream;
    }
    EXPECT_TRUE(read("m=audio 4000 RTP/AVP 8\r\na=rtpmap:8 pcma/8000/1\r\n")[0].usable());
}

TEST(Description, TheAddressOfNobodyHaltsTheSoundAndRefusesNothing)
{
    const auto streams = read("m=audio 4000 RTP/AVP 8\r\nc=IN IP4 0.0.0.0\r\n");
    EXPECT_TRUE(streams[0].usable());
    EXPECT_EQ(streams[0].direction, (Direction{true, false}));
}

TEST(Description, WhatIsMalformedOrTooLargeIsNone)
{
    const std::string stream = "m=audio 4000 RTP/AVP 8\r\n";
    std::string many;
    for (int number = 0; number < 17; ++number) {
        many += stream;
    }
    std::vector<Stream> before = read(stream);
    for (const std::string& wrong :
         {std::string(), "nonsense\r\n" + SESSION, SESSION + "m=audio 4000 RTP/AVP\r\n",
          SESSION + "m=audio 65536 RTP/AVP 8\r\n", SESSION + "m=audio -1 RTP/AVP 8\r\n", SESSION + "m=a 0b /c 8\r\n",
          SESSION + stream + "\r\n", SESSION + stream + "a=\x01\r\n", SESSION + many,
          SESSION + "m=audio 4000 RTP/AVP " + std::string(65, '8') + "\r\n",
          SESSION + stream + "i=" + std::string(16000, 'x') + "\r\n"}) {
        EXPECT_FALSE(readDescription(wrong, before)) << wrong;
        EXPECT_EQ(before.size(), 1U);
    }
}

TEST(Description, WhatIsRefusedIsAnsweredInItsPlace)
{
    const auto streams = read("m=video 4000 RTP/SAVP 97 98\r\nm=audio 4002 RTP/AVP 8\r\n");
    EXPECT_THAT(writeDescription(1, 2, "192.0.2.5", streams),
                ::testing::HasSubstr("t=0 0\r\nm=video 0 RTP/SAVP 97\r\nm=audio 4002 RTP/AVP 8\r\n"));
}

TEST(Offer, TakesTheFirstFormatThatCanBeRecordedByWhateverNumber)
{
    const auto offered =
        recorder::readOffer(SESSION +
                            "m=audio 4000 RTP/AVP 9 96 8\r\na=rtpmap:96 pcma/8000\r\na=label:near\r\na=sendonly\r\n"
                            "m=audio 4002 RTP/AVP 8 0\r\na=rtpmap:8 L16/8000\r\na=inactive\r\n"
                            "m=audio 4004 RTP/AVP 0\r\nc=IN IP4 0.0.0.0\r\n"
                            "m=video 4006 RTP/SAVP 97 98\r\n");
    ASSERT_EQ(offered.size(), 4U);
    EXPECT_TRUE(offered[0].isUsable && offered[0].isSent && offered[0].isALaw);
    EXPECT_EQ(offered[0].payloadType, 96);
    EXPECT_EQ(offered[0].label, "near");
    EXPECT_EQ(placeOf(offered[0].source), "192.0.2.1:4000");
    EXPECT_TRUE(offered[1].isUsable && !offered[1].isSent && !offered[1].isALaw);
    EXPECT_TRUE(offered[2].isUsable && !offered[2].isSent);
    EXPECT_FALSE(offered[3].isUsable);
    EXPECT_EQ(offered[3].refusal, "m=video 0 RTP/SAVP 97 98");
}

TEST(Multipart, TheFirstPartOfTheTypeIsFoundAndATornOneIsNot)
{
    const auto sdpIn = [](const std::string& body) { return partOf(body, "e", "application/sdp"); };
    const std::string text = "--e\r\nContent-Type: text/plain\r\n\r\nContent-Type: application/sdp\r\n\r\n--e\r\n";
    EXPECT_EQ(sdpIn("preamble\r\n" + text + "X: y\r\ncontent-type:\tApplication/SDP;q=1\r\n\r\nv=0\r\n\r\n--e--"),
              "v=0\r\n");
    EXPECT_EQ(sdpIn(text + "Content-Type: application/sdpx\r\n\r\nv=0\r\n--e--"), "");
    EXPECT_EQ(sdpIn("--e\r\nContent-Type: application/sdp\r\n\r\n--e--"), "");
    EXPECT_EQ(sdpIn("--e\r\nContent-Type: application/sdp\r\n\r\nv=0"), "");
    EXPECT_EQ(sdpIn("--e\r\nContent-Type:\r\n\r\nv=0\r\n--e--"), "");
}

}  // namespace
