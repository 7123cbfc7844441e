// The frames of the daemon's socket protocol: their bytes, and a decoder that copes with
// any cutting of the stream and refuses malformed frames.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Framing.h"

namespace {

std::string bytes(std::initializer_list<int> values)
{
    std::string out;
    for (const int value : values) out += static_cast<char>(value);
    return out;
}

std::vector<Frame> decodeAll(FrameDecoder& decoder)
{
    std::vector<Frame> frames;
    Frame frame;
    while (decoder.next(frame)) frames.push_back(frame);
    return frames;
}

}  // namespace

TEST(HostFraming, RequestIsLengthKindIdAndText)
{
    EXPECT_EQ(encodeFrame(Frame{FrameKind::Request, 7, "abc"}), bytes({0, 0, 0, 8, 0x02, 0, 0, 0, 7, 'a', 'b', 'c'}));
}

TEST(HostFraming, HelloCarriesTheProtocolVersionBeforeTheName)
{
    EXPECT_EQ(encodeFrame(Frame{FrameKind::Hello, 0, "d"}), bytes({0, 0, 0, 3, 0x01, 1, 'd'}));
}

TEST(HostFraming, EventHasNoId)
{
    EXPECT_EQ(encodeFrame(Frame{FrameKind::Event, 0, "x"}), bytes({0, 0, 0, 2, 0x84, 'x'}));
}

TEST(HostFraming, FramesFedOneByteAtATimeComeOutWhole)
{
    const std::string stream = encodeFrame(Frame{FrameKind::Reply, 300, "dialstringresponse:123,1"}) +
                               encodeFrame(Frame{FrameKind::Complete, 300, ""});
    FrameDecoder decoder;
    std::vector<Frame> frames;
    for (const char c : stream) {
        decoder.feed(&c, 1);
        for (const auto& frame : decodeAll(decoder)) frames.push_back(frame);
    }
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].kind, FrameKind::Reply);
    EXPECT_EQ(frames[0].id, 300u);
    EXPECT_EQ(frames[0].text, "dialstringresponse:123,1");
    EXPECT_EQ(frames[1].kind, FrameKind::Complete);
    EXPECT_EQ(frames[1].text, "");
    EXPECT_FALSE(decoder.failed());
}

TEST(HostFraming, ManyFramesInOneChunk)
{
    std::string stream;
    for (std::uint32_t id = 1; id <= 100; ++id) stream += encodeFrame(Frame{FrameKind::Request, id, std::to_string(id)});
    FrameDecoder decoder;
    decoder.feed(stream.data(), stream.size());
    const auto frames = decodeAll(decoder);
    ASSERT_EQ(frames.size(), 100u);
    EXPECT_EQ(frames[99].id, 100u);
    EXPECT_EQ(frames[99].text, "100");
}

TEST(HostFraming, TextMayHoldAnyByte)
{
    const std::string text("a\0b\n\xff", 5);
    FrameDecoder decoder;
    const std::string stream = encodeFrame(Frame{FrameKind::Answer, 1, text});
    decoder.feed(stream.data(), stream.size());
    Frame frame;
    ASSERT_TRUE(decoder.next(frame));
    EXPECT_EQ(frame.text, text);
}

TEST(HostFraming, IncompleteFrameWaitsForMore)
{
    const std::string stream = encodeFrame(Frame{FrameKind::Request, 1, "stopdiallingrequest"});
    FrameDecoder decoder;
    decoder.feed(stream.data(), stream.size() - 1);
    Frame frame;
    EXPECT_FALSE(decoder.next(frame));
    EXPECT_FALSE(decoder.failed());
    decoder.feed(stream.data() + stream.size() - 1, 1);
    EXPECT_TRUE(decoder.next(frame));
}

TEST(HostFraming, ZeroLengthIsRefused)
{
    FrameDecoder decoder;
    const std::string stream = bytes({0, 0, 0, 0});
    decoder.feed(stream.data(), stream.size());
    Frame frame;
    EXPECT_FALSE(decoder.next(frame));
    EXPECT_TRUE(decoder.failed());
    EXPECT_EQ(decoder.error(), "frame of length 0");
}

TEST(HostFraming, OversizedFrameIsRefusedBeforeItsBodyArrives)
{
    FrameDecoder decoder;
    const std::string stream = bytes({0, 0x10, 0, 1, 0x02});
    decoder.feed(stream.data(), stream.size());
    Frame frame;
    EXPECT_FALSE(decoder.next(frame));
    EXPECT_TRUE(decoder.failed());
    EXPECT_NE(decoder.error().find("exceeds the limit"), std::string::npos);
}

TEST(HostFraming, LargestAllowedFramePasses)
{
    const std::string text(kMaxFrameLength - 5, 'x');
    const std::string stream = encodeFrame(Frame{FrameKind::Request, 1, text});
    FrameDecoder decoder;
    decoder.feed(stream.data(), stream.size());
    Frame frame;
    ASSERT_TRUE(decoder.next(frame));
    EXPECT_EQ(frame.text.size(), text.size());
}

TEST(HostFraming, UnknownKindIsRefused)
{
    FrameDecoder decoder;
    const std::string stream = bytes({0, 0, 0, 1, 0x42});
    decoder.feed(stream.data(), stream.size());
    Frame frame;
    EXPECT_FALSE(decoder.next(frame));
    EXPECT_EQ(decoder.error(), "unknown frame kind 66");
}

TEST(HostFraming, RequestWithoutItsIdIsRefused)
{
    FrameDecoder decoder;
    const std::string stream = bytes({0, 0, 0, 3, 0x02, 0, 0});
    decoder.feed(stream.data(), stream.size());
    Frame frame;
    EXPECT_FALSE(decoder.next(frame));
    EXPECT_EQ(decoder.error(), "REQUEST frame without its id");
}

TEST(HostFraming, HelloOfAnotherVersionIsRefused)
{
    FrameDecoder decoder;
    const std::string stream = bytes({0, 0, 0, 3, 0x01, 2, 'd'});
    decoder.feed(stream.data(), stream.size());
    Frame frame;
    EXPECT_FALSE(decoder.next(frame));
    EXPECT_EQ(decoder.error(), "unsupported protocol version");
}

TEST(HostFraming, DecoderStaysFailedAfterAMalformedFrame)
{
    FrameDecoder decoder;
    const std::string bad = bytes({0, 0, 0, 0});
    const std::string good = encodeFrame(Frame{FrameKind::Event, 0, "x"});
    decoder.feed(bad.data(), bad.size());
    Frame frame;
    EXPECT_FALSE(decoder.next(frame));
    decoder.feed(good.data(), good.size());
    EXPECT_FALSE(decoder.next(frame));
    EXPECT_TRUE(decoder.failed());
}

TEST(HostFraming, EncodedLengthIsTheLengthFieldOfTheEncodedFrame)
{
    for (const Frame& frame : {Frame{FrameKind::Hello, 0, "client"}, Frame{FrameKind::Reply, 7, "isfacprefixresponse:*72,1"},
                               Frame{FrameKind::Event, 0, "handledialingstartedevent:2"}, Frame{FrameKind::Welcome, 0, ""}}) {
        const std::string bytes = encodeFrame(frame);
        EXPECT_EQ(encodedFrameLength(frame), bytes.size() - 4) << frameKindName(frame.kind);
    }
}
