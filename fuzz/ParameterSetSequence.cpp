// Parameter sets that change in mid-stream: as a new global header, in the packets, and merged into the header. The
// first byte chooses codec and framing, then come steps of a byte and bytes behind a two-byte size.

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "Proc/Filters/Filters/FilterBitStream.h"
#include "fuzz/PacketScript.h"

using namespace Tarsel;
using namespace Tarsel::Proc;
using namespace Tarsel::Proc::CodecParsers;

static bool const silent = Fuzz::SilenceLog();

/// More steps than a stream has headers; each may look at the whole header that the ones before have made.
static constexpr int MAX_STEPS = 12;

/// Gives the packet that was put in.
class Feed : public Test::ScriptedRaw {
  public:
    Feed() : ScriptedStream({}) {}
    iptr<IDataPacket> Read() override { return packet; }

    iptr<IDataPacket> packet;
};

static void Decode(bool hevc, std::vector<u8> const& sets) {
    u8 const* const data = sets.data();
    std::size_t const size = sets.size();
    if (hevc) {
        Fuzz::AllowFailures([&] { DecodeHEVCSPS(data, size); });
        Fuzz::AllowFailures([&] { DecodeHEVCVPS(data, size); });
    } else {
        Fuzz::AllowFailures([&] { DecodeH264SPS(data, size); });
        Fuzz::AllowFailures([&] { DecodeH264PPS(data, size); });
    }
}

static void Merge(Feed& feed, iptr<IBlob> const& added) {
    Fuzz::AllowFailures([&] {
        auto const present = feed.format->GetExtradata();
        auto const merged = MergeAllH264ParameterSets(present, added);
        Fuzz::Require(merged->GetSize() >= present->GetSize());
        Fuzz::Require(merged->GetSize() <= present->GetSize() + 2 * added->GetSize() + 16);
        // What was merged holds all of the second side, so that nothing is left to be merged.
        Fuzz::Require(MergeAllH264ParameterSets(merged, added)->GetSize() == merged->GetSize());
        feed.format->SetExtradata(merged);
    });
}

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t size) {
    Fuzz::InputReader in(input, size);
    u8 const head = in.ReadByte();
    bool const hevc = (head & 1) != 0;
    SettingsFilterBitStream settings((head & 2) != 0 ? SettingsFilterBitStream::MP4 : SettingsFilterBitStream::ANNEX_B);
    auto const feed = MakeShared<Feed>();
    feed->format->SetCodecID(hevc ? Conf::IFormatCodecVideo::CODEC_ID_H265 : Conf::IFormatCodecVideo::CODEC_ID_H264);
    auto const filter = MakeShared<FilterBitStreamImpl>(feed);
    for (int step = 0; step < MAX_STEPS && !in.IsAtEnd(); ++step) {
        u8 const kind = in.ReadByte();
        std::vector<u8> const bytes = in.ReadBytes();
        switch (kind & 3) {
            case 0:
                feed->format->SetExtradata(TestSupport::MakeBlob(bytes));
                break;
            case 1:
                feed->packet = Test::MakePacket(0, 0, 40, (kind & 4) != 0, bytes);
                Fuzz::AllowFailures([&] { filter->Read(); });
                break;
            case 2:
                Merge(*feed, TestSupport::MakeBlob(bytes));
                break;
            default:
                settings.SetStreamFormatNeeded(SettingsFilterBitStream::StreamFormat(kind % 5));
                break;
        }
        if ((kind & 3) != 1) Fuzz::AllowFailures([&] { filter->UpdateSettings(settings); });
        Decode(hevc, bytes);
        if (auto const header = filter->GetFormatCodec()->GetExtradata()) Decode(hevc, TestSupport::GetBytes(header));
    }
    return 0;
}
