// Start-code scanning against a plain loop and against a copy of the same bytes, framing conversion, SPS decoding.
// Compare rates within one run only.

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/StartCode.h"
#include "contracts/Conf/IFormatCodec.h"
#include "tests/support/BitWriter.h"
#include "tests/support/H264Builder.h"
#include "tests/support/Packets.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace {

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;
using TestSupport::NaluBytes;

// Units of random bytes as an entropy coder gives them, 4 MiB in all.
std::vector<NaluBytes> const& Units(std::size_t unitSize) {
    static std::vector<NaluBytes> units;
    static std::size_t present = 0;
    if (present == unitSize) return units;
    present = unitSize;
    units.clear();
    std::mt19937_64 random(1);
    for (std::size_t total = 0; total < (std::size_t{4} << 20); total += unitSize) {
        NaluBytes raw = {0x61};
        while (raw.size() + 1 < unitSize) raw.push_back(static_cast<u8>(random()));
        raw.push_back(0x80);
        units.push_back(TestSupport::AddEmulationPrevention(raw));
    }
    return units;
}

void SetRate(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

u8 const* PlainFind(u8 const* begin, u8 const* end, u8 third) {
    for (; end - begin >= 3; ++begin)
        if (begin[0] == 0 && begin[1] == 0 && begin[2] == third) return begin;
    return end;
}

template <u8 const* (*Find)(u8 const*, u8 const*, u8)>
void ScanStartCodes(benchmark::State& state) {
    auto const data = TestSupport::JoinAnnexB(Units(static_cast<std::size_t>(state.range(0))));
    u8 const* const end = data.data() + data.size();
    for (auto _ : state) {
        std::size_t count = 0;
        for (u8 const* code = Find(data.data(), end, 1); code != end; code = Find(code + 3, end, 1)) ++count;
        benchmark::DoNotOptimize(count);
    }
    SetRate(state, data.size());
}
BENCHMARK_TEMPLATE(ScanStartCodes, PlainFind)->Name("Scan/plain")->Arg(1000)->Arg(20000);
BENCHMARK_TEMPLATE(ScanStartCodes, Details::FindZeroZeroScalar)->Name("Scan/scalar")->Arg(1000)->Arg(20000);
BENCHMARK_TEMPLATE(ScanStartCodes, FindZeroZero)->Name("Scan/vector")->Arg(1000)->Arg(20000);

void CopyBytes(benchmark::State& state) {
    auto const data = TestSupport::JoinAnnexB(Units(20000));
    std::vector<u8> copy(data.size());
    for (auto _ : state) {
        std::memcpy(copy.data(), data.data(), data.size());
        benchmark::ClobberMemory();
    }
    SetRate(state, data.size());
}
BENCHMARK(CopyBytes);

void LengthsToStartCodesInPlace(benchmark::State& state) {
    auto const data = TestSupport::JoinMP4(Units(static_cast<std::size_t>(state.range(0))), 4);
    auto const packet = TestSupport::MakePacket(data, false);
    AVPacket* const inner = packet->GetAVPacket();
    auto const original = data;
    for (auto _ : state) {
        ReplaceLengthsWithStartCodes(packet, 4);
        // Put the length fields back, which is as much work as the conversion itself and counts.
        for (std::size_t at = 0; at < original.size();) {
            std::memcpy(inner->data + at, original.data() + at, 4);
            at += 4 + ((std::size_t{original[at]} << 24) | (std::size_t{original[at + 1]} << 16) |
                       (std::size_t{original[at + 2]} << 8) | original[at + 3]);
        }
        benchmark::ClobberMemory();
    }
    SetRate(state, data.size());
}
BENCHMARK(LengthsToStartCodesInPlace)->Arg(1000)->Arg(20000);

void KeyPacketToAnnexB(benchmark::State& state) {
    auto const packet = TestSupport::MakePacket(TestSupport::JoinMP4(Units(20000), 4), true);
    auto const header = TestSupport::MakeBlob(TestSupport::JoinAvcC({TestSupport::BuildSPS(TestSupport::MakeSPS())},
                                                                    {TestSupport::BuildPPS(TestSupport::MakePPS())}));
    for (auto _ : state)
        benchmark::DoNotOptimize(Mp4toAnnexB(packet, 4, header, Conf::IFormatCodecVideo::CODEC_ID_H264));
    SetRate(state, packet->GetSize());
}
BENCHMARK(KeyPacketToAnnexB);

void AnnexBToLengths(benchmark::State& state) {
    auto const packet = TestSupport::MakePacket(TestSupport::JoinAnnexB(Units(20000)), false);
    for (auto _ : state) benchmark::DoNotOptimize(AnnexBtoMp4(packet, 4));
    SetRate(state, packet->GetSize());
}
BENCHMARK(AnnexBToLengths);

void DecodeSPS(benchmark::State& state) {
    H264SPS sps = TestSupport::MakeSPS();
    if (state.range(0) != 0) {
        sps.vui_parameters_present_flag = sps.vui.timing_info_present_flag = sps.vui.bitstream_restriction_flag = 1;
        sps.vui.num_units_in_tick = 1;
        sps.vui.time_scale = 50;
    }
    auto const extradata = TestSupport::JoinAnnexB({TestSupport::BuildSPS(sps)});
    for (auto _ : state) benchmark::DoNotOptimize(DecodeH264SPS(extradata.data(), extradata.size()));
}
BENCHMARK(DecodeSPS)->Arg(0)->Arg(1)->ArgName("vui");

}  // namespace
