// Compare figures within one run only: what is set side by side is measured in turns, and the best of the rounds
// counts.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "benchmarks/bitstream/BenchMedia.h"
#include "benchmarks/bitstream/BenchReport.h"
#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"
#include "tests/support/H264Builder.h"
#include "tests/support/Packets.h"

namespace {

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;
using namespace Tarsel::Bench;
using PacketList = std::vector<iptr<Proc::IDataPacket>>;

constexpr int ROUNDS = 7;

double Now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

template <class Call>
double Time(Call call) {
    double const start = Now();
    call();
    return Now() - start;
}

// Runs all in turns and gives each one's shortest time.
std::vector<double> Best(std::vector<std::function<double()>> const& timed) {
    std::vector<double> best(timed.size(), 1e9);
    for (int round = 0; round < ROUNDS; ++round)
        for (std::size_t i = 0; i < timed.size(); ++i) best[i] = std::min(best[i], timed[i]());
    return best;
}

// Keeps a result that nothing else looks at.
template <class T>
void Keep(T const& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

// --- Start codes -----------------------------------------------------------------------------------------------------

// The least that can be done with each byte, by vectors.
u64 SumWords(Bytes const& data) {
    using Block = u64 __attribute__((vector_size(16)));
    Block sums[8] = {};
    u8 const* position = data.data();
    for (std::size_t left = data.size() / sizeof(sums); left != 0; --left, position += sizeof(sums)) {
        for (std::size_t j = 0; j < 8; ++j) {
            Block block;
            std::memcpy(&block, position + j * sizeof(block), sizeof(block));
            sums[j] += block;
        }
    }
    u64 sum = 0;
    for (Block const& part : sums) sum += part[0] + part[1];
    return sum;
}

std::size_t CountByMemmem(Bytes const& data) {
    std::size_t count = 0;
    u8 const* position = data.data();
    u8 const* const end = position + data.size();
    while (void const* found = memmem(position, static_cast<std::size_t>(end - position), "\0\0\1", 3)) {
        ++count;
        position = static_cast<u8 const*>(found) + 3;
    }
    return count;
}

// Looks at every third byte: one above 1 can't be part of a start code.
std::size_t CountBySkippingThree(Bytes const& data) {
    std::size_t count = 0;
    u8 const* p = data.data() + 2;
    u8 const* const end = data.data() + data.size();
    while (p < end) {
        if (*p > 1) {
            p += 3;
        } else if (*p == 0) {
            ++p;
        } else {
            if (p[-1] == 0 && p[-2] == 0) ++count;
            p += 3;
        }
    }
    return count;
}

void MeasureScan(Stream const& annexB, std::vector<Row>& rows) {
    constexpr std::size_t SIZE = std::size_t{256} << 20;
    Bytes data;
    data.reserve(SIZE + (std::size_t{4} << 20));
    for (std::size_t i = 0; data.size() < SIZE; i = (i + 1) % annexB.packets.size())
        data.insert(data.end(), annexB.packets[i].data.begin(), annexB.packets[i].data.end());
    std::size_t found[3] = {};
    auto const best = Best({
        [&] { return Time([&] { Keep(SumWords(data)); }); },
        [&] {
            NaluRangeList units;
            double const seconds = Time([&] { FindAnnexBNalus(data.data(), data.size(), units); });
            found[0] = units.size();
            return seconds;
        },
        [&] { return Time([&] { found[1] = CountByMemmem(data); }); },
        [&] { return Time([&] { found[2] = CountBySkippingThree(data); }); },
    });
    if (found[0] == 0 || found[0] != found[1] || found[0] != found[2])
        TARSEL_THROW(std::runtime_error, "the scans don't agree");
    auto const rate = [&](std::size_t i) { return static_cast<double>(data.size()) / best[i] / 1e9; };
    rows.push_back({"reading memory", rate(0), "GB/s", {}});
    rows.push_back(
        {"FindAnnexBNalus, " + std::to_string(found[0]) + " units in 256 MB",
         rate(1),
         "GB/s",
         {{"skip by three", rate(1) / rate(3), 2}, {"memmem", rate(1) / rate(2)}, {"reading", rate(1) / rate(0)}}});
    rows.push_back({"memmem", rate(2), "GB/s", {}});
    rows.push_back({"skip by three", rate(3), "GB/s", {}});
}

// --- Packets ---------------------------------------------------------------------------------------------------------

PacketList MakePackets(Stream const& stream) {
    PacketList packets;
    for (Packet const& packet : stream.packets) packets.push_back(TestSupport::MakePacket(packet.data, packet.key));
    return packets;
}

// Seconds of `convert` over fresh copies of the packets, each dropped once it is converted.
template <class Convert>
double TimePackets(Stream const& stream, Convert convert) {
    PacketList packets = MakePackets(stream);
    return Time([&] {
        for (auto& packet : packets) Keep(convert(std::move(packet)));
    });
}

void MeasureFraming(Stream const& mp4, Stream const& annexB, std::vector<Row>& rows) {
    auto const header = TestSupport::MakeBlob(mp4.extradata);
    int const lengthSize = GetAvccNALULengthSize(mp4.extradata.data(), mp4.extradata.size());
    std::string const codec = Conf::IFormatCodecVideo::CODEC_ID_H264;
    auto const best = Best({
        [&] {
            return TimePackets(mp4, [&](iptr<Proc::IDataPacket> packet) {
                return Mp4toAnnexB(std::move(packet), lengthSize, header, codec);
            });
        },
        [&] { return TimeFilter("h264_mp4toannexb", mp4); },
        [&] {
            return TimePackets(annexB,
                               [](iptr<Proc::IDataPacket> packet) { return AnnexBtoMp4(std::move(packet), 4); });
        },
        [&] { return TimeMuxer(annexB); },
        [&] { return TimeMuxer(mp4); },
    });
    double const size = static_cast<double>(mp4.GetSize());
    rows.push_back({"Mp4toAnnexB", size / best[0] / 1e9, "GB/s", {{"h264_mp4toannexb", best[1] / best[0], 1}}});
    rows.push_back({"h264_mp4toannexb", size / best[1] / 1e9, "GB/s", {}});
    // No filter goes this way. The MP4 muxer does: its time for Annex B packets less that for length-prefixed ones.
    double const muxer = best[3] - best[4];
    rows.push_back({"AnnexBtoMp4", size / best[2] / 1e9, "GB/s", {{"the MP4 muxer's conversion", muxer / best[2], 1}}});
    rows.push_back({"the MP4 muxer's conversion", size / muxer / 1e9, "GB/s", {}});
}

void MeasureAAC(Stream const& adts, std::vector<Row>& rows) {
    auto const best = Best({
        [&] {
            return TimePackets(adts,
                               [](iptr<Proc::IDataPacket> packet) { return RemoveADTSHeader(std::move(packet)); });
        },
        [&] { return TimeFilter("aac_adtstoasc", adts); },
    });
    double const size = static_cast<double>(adts.GetSize());
    rows.push_back({"RemoveADTSHeader, " + std::to_string(adts.GetSize() / adts.packets.size()) + " bytes a frame",
                    size / best[0] / 1e9,
                    "GB/s",
                    {{"aac_adtstoasc", best[1] / best[0]}}});
    rows.push_back({"aac_adtstoasc", size / best[1] / 1e9, "GB/s", {}});
}

void MeasureSPS(Stream const& mp4, std::vector<Row>& rows) {
    constexpr int COUNT = 20000;
    auto const best = Best({[&] {
        return Time([&] {
            for (int i = 0; i < COUNT; ++i) Keep(DecodeH264SPS(mp4.extradata.data(), mp4.extradata.size()));
        });
    }});
    rows.push_back({"DecodeH264SPS, with a VUI", best[0] / COUNT * 1e9, "ns", {}});
}

}  // namespace

int main(int argc, char** argv) {
    bool const json = argc > 1 && std::strcmp(argv[1], "--json") == 0;
    if (argc != (json ? 4 : 3)) {
        std::fprintf(stderr, "usage: tarsel-bench-bitstream [--json] VIDEO.mp4 SOUND.aac\n");
        return 2;
    }
    try {
        Stream const mp4 = ReadStream(argv[argc - 2]);
        Stream const annexB = Filter("h264_mp4toannexb", mp4);
        Stream const adts = ReadStream(argv[argc - 1]);
        std::vector<Row> rows;
        MeasureScan(annexB, rows);
        MeasureFraming(mp4, annexB, rows);
        MeasureSPS(mp4, rows);
        MeasureAAC(adts, rows);
        if (json)
            PrintJson(rows);
        else
            PrintTable(rows);
    } catch (std::exception const& failure) {
        std::fprintf(stderr, "tarsel-bench-bitstream: %s\n", failure.what());
        return 1;
    }
    return 0;
}
