// The bit stream filter over a whole stream, in each of its modes.

#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/Filters/Filters/FilterBitStream.h"
#include "fuzz/PacketScript.h"

using namespace Tarsel;
using namespace Tarsel::Proc;

static bool const silent = Fuzz::SilenceLog();

/// What the reads gave, to the source's end; no bytes for a read that failed or dropped its packet.
static std::vector<std::vector<u8>> ReadToEnd(IStreamRawEx& filter, Fuzz::PacketScript const& script) {
    std::vector<std::vector<u8>> out;
    for (auto const& step : script.packets) {
        out.emplace_back();
        Fuzz::AllowFailures([&] {
            auto const packet = filter.Read();
            if (!packet) return;
            Fuzz::Require(packet->IsKeyFrame() == step.item->IsKeyFrame() && packet->GetTime() == step.item->GetTime());
            out.back() = TestSupport::GetBytes(packet);
            // Start codes and lengths change a unit's size a little, a header comes once per packet.
            Fuzz::Require(out.back().size() <= 4 * step.item->GetSize() + 4 * script.GetHeaderBytes() + 16);
        });
    }
    Fuzz::Require(filter.Read() == nullptr);
    return out;
}

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t size) {
    Fuzz::InputReader in(input, size);
    Fuzz::PacketScript const script = Fuzz::ReadScript(in, false);
    auto const source = script.MakeSource();
    auto const filter = MakeShared<FilterBitStreamImpl>(source);
    Fuzz::AllowFailures([&] { filter->UpdateSettings(SettingsFilterBitStream(script.needed)); });
    BitStreamMode const mode = filter->GetMode();
    Fuzz::Require(mode != AAC_RAW_TO_ADTS);
    filter->GetFormatCodec();
    auto const straight = ReadToEnd(*filter, script);
    if (mode == H264_ANNEXB_TO_MP4 || mode == HEVC_ANNEXB_TO_MP4) {
        for (auto const& bytes : straight) {
            CodecParsers::NaluRangeList units;
            CodecParsers::FindMP4Nalus(bytes.data(), bytes.size(), units, 4);
        }
    }
    // A second pass gives the same: nothing was written into what the source holds, nothing is remembered.
    Test::Seek(*filter, 0);
    Fuzz::Require(ReadToEnd(*filter, script) == straight);
    return 0;
}
