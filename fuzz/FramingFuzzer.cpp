// The daemon's socket framing decoder on arbitrary byte streams. The stream is decoded
// twice, whole and in pieces whose sizes the first byte chooses: both must give the same
// frames and the same verdict. Every decoded frame must encode and decode to itself.

#include <vector>

#include "Framing.h"
#include "FuzzSupport.h"

namespace {

bool sameFrame(const Frame& a, const Frame& b) { return a.kind == b.kind && a.id == b.id && a.text == b.text; }

std::vector<Frame> decodeAll(const std::string& stream, std::size_t pieceSize, bool& failed)
{
    FrameDecoder decoder;
    std::vector<Frame> frames;
    Frame frame;
    for (std::size_t at = 0; at < stream.size(); at += pieceSize) {
        const std::size_t length = std::min(pieceSize, stream.size() - at);
        decoder.feed(stream.data() + at, length);
        while (decoder.next(frame)) frames.push_back(frame);
    }
    failed = decoder.failed();
    return frames;
}

void checkRoundTrip(const Frame& frame)
{
    FrameDecoder decoder;
    const std::string encoded = encodeFrame(frame);
    decoder.feed(encoded.data(), encoded.size());
    Frame again;
    if (!decoder.next(again) || !sameFrame(frame, again)) fuzzing::fail("frame does not survive encoding", frame.text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return 0;
    const std::size_t pieceSize = data[0] % 16 + 1;
    const std::string stream = fuzzing::toText(data + 1, size - 1);
    bool wholeFailed = false;
    bool piecesFailed = false;
    const auto whole = decodeAll(stream, stream.size() + 1, wholeFailed);
    const auto pieces = decodeAll(stream, pieceSize, piecesFailed);
    if (wholeFailed != piecesFailed || whole.size() != pieces.size())
        fuzzing::fail("decoding depends on how the stream arrives", std::to_string(pieceSize));
    for (std::size_t index = 0; index < whole.size(); ++index) {
        if (!sameFrame(whole[index], pieces[index])) fuzzing::fail("frames differ", whole[index].text);
        checkRoundTrip(whole[index]);
    }
    return 0;
}
