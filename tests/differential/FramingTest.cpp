// Framing conversions beside libavcodec's filters and libavformat's muxer. Their start codes have 3 or 4 bytes and ours
// always as many as fit, and parameter sets go to other places, so the units are compared one by one.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "tests/differential/Clips.h"
#include "tests/differential/LibavFilter.h"
#include "tests/support/Packets.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using namespace Proc::CodecParsers;
using TestSupport::MakeBlob;
using TestSupport::MakePacket;
using Units = std::vector<Bytes>;

struct CodecCase {
    std::string codec;
    std::string filter;
    std::size_t leastClips;  // that have length-prefixed packets
};

CodecCase const H264{"h264", "h264_mp4toannexb", 25};
CodecCase const HEVC{"hevc", "hevc_mp4toannexb", 7};

u32 TypeOf(CodecCase const& codec, Bytes const& unit) {
    NaluRange const range{unit.data(), static_cast<u32>(unit.size())};
    return codec.codec == "h264" ? GetH264NaluType(range) : GetHEVCNaluType(range);
}

bool IsParameterSet(CodecCase const& codec, Bytes const& unit) {
    u32 const type = TypeOf(codec, unit);
    if (codec.codec == "h264") return type == H264_NALU_SPS || type == H264_NALU_PPS;
    return type >= HEVC_NALU_VPS && type <= HEVC_NALU_PPS;
}

bool IsRandomAccess(CodecCase const& codec, Units const& units) {
    return std::any_of(units.begin(), units.end(), [&](Bytes const& unit) {
        u32 const type = TypeOf(codec, unit);
        return codec.codec == "h264" ? type == H264_NALU_IDR : type >= HEVC_NALU_BLA_W_LP && type <= 23;
    });
}

// Reads start codes by the plain rule, without the code under test: the zeros in front of one belong to it.
Units SplitAnnexB(Bytes const& data) {
    Units units;
    std::size_t start = 0;
    bool inside = false;
    auto const close = [&](std::size_t end) {
        while (end > start && data[end - 1] == 0) --end;
        if (inside && end > start)
            units.emplace_back(data.begin() + static_cast<std::ptrdiff_t>(start),
                               data.begin() + static_cast<std::ptrdiff_t>(end));
    };
    for (std::size_t i = 0; i + 3 <= data.size(); ++i) {
        if (data[i] != 0 || data[i + 1] != 0 || data[i + 2] != 1) continue;
        close(i);
        start = i + 3;
        inside = true;
        i += 2;
    }
    close(data.size());
    return units;
}

Units SplitLengths(Bytes const& data, int lengthSize) {
    Units units;
    for (std::size_t at = 0; at < data.size();) {
        std::size_t length = 0;
        for (int i = 0; i < lengthSize; ++i) length = length << 8 | data.at(at++);
        if (length > data.size() - at) return {};
        units.emplace_back(data.begin() + static_cast<std::ptrdiff_t>(at),
                           data.begin() + static_cast<std::ptrdiff_t>(at + length));
        at += length;
    }
    return units;
}

Units Only(CodecCase const& codec, Units const& units, bool parameterSets) {
    Units result;
    for (Bytes const& unit : units)
        if (IsParameterSet(codec, unit) == parameterSets) result.push_back(unit);
    return result;
}

int LengthSizeOf(CodecCase const& codec, Bytes const& extradata) {
    if (extradata.empty()) return 0;
    return codec.codec == "h264" ? GetAvccNALULengthSize(extradata.data(), extradata.size())
                                 : GetHvccNALULengthSize(extradata.data(), extradata.size());
}

void CompareStartCodes(CodecCase const& codec, StreamInspection const& stream, int lengthSize) {
    FilteredStream const theirs = RunFilter(codec.filter, stream);
    auto const extradata = MakeBlob(stream.extradata);
    Units const header = SplitAnnexB(theirs.extradata);
    ASSERT_FALSE(header.empty());
    for (std::size_t i = 0; i < stream.packets.size(); ++i) {
        PacketInfo const& packet = stream.packets[i];
        SCOPED_TRACE(testing::Message() << "packet " << i);
        Units const input = SplitLengths(packet.data, lengthSize);
        Bytes const converted =
            TestSupport::GetBytes(Mp4toAnnexB(MakePacket(packet.data, packet.key), lengthSize, extradata, codec.codec));
        Units const ours = SplitAnnexB(converted);
        Units const libav = SplitAnnexB(theirs.packets[i]);
        // Not by ASSERT_EQ: it would print all bytes of both. What is no parameter set is the same in the same order.
        ASSERT_TRUE(Only(codec, ours, false) == Only(codec, libav, false));
        // Ours: the whole header in front of each key packet, also where the packet has sets of its own.
        Units expected = packet.key ? header : Units();
        expected.insert(expected.end(), input.begin(), input.end());
        ASSERT_TRUE(ours == expected);
        // libavcodec's: behind delimiters and messages, and only ahead of pictures that clear all references.
        if (!IsRandomAccess(codec, input)) {
            ASSERT_TRUE(Only(codec, libav, true) == Only(codec, input, true));
        } else if (Only(codec, input, true).empty()) {
            ASSERT_TRUE(Only(codec, libav, true) == Only(codec, ours, true));
        }
        // Same start codes everywhere: each unit behind four bytes.
        ASSERT_EQ(converted.size(), [&] {
            std::size_t size = 0;
            for (Bytes const& unit : ours) size += unit.size() + 4;
            return size;
        }());
    }
}

void CompareAllStartCodes(CodecCase const& codec) {
    std::size_t compared = 0;
    for (std::string const& path : ClipsOf(codec.codec)) {
        StreamInspection const& stream = StreamOf(path, codec.codec);
        int const lengthSize = LengthSizeOf(codec, stream.extradata);
        if (lengthSize == 0) continue;
        SCOPED_TRACE(NameOf(path));
        CompareStartCodes(codec, stream, lengthSize);
        if (testing::Test::HasFatalFailure()) return;
        ++compared;
    }
    EXPECT_GE(compared, codec.leastClips);
}

TEST(FramingBesideLibav, H264LengthsToStartCodes) {
    CompareAllStartCodes(H264);
}

TEST(FramingBesideLibav, HevcLengthsToStartCodes) {
    CompareAllStartCodes(HEVC);
}

TEST(FramingBesideLibav, H264HeaderToAnnexB) {
    for (std::string const& path : ClipsOf("h264")) {
        StreamInspection const& stream = StreamOf(path, "h264");
        if (LengthSizeOf(H264, stream.extradata) == 0) continue;
        EXPECT_EQ(TestSupport::GetBytes(H264_Extradata_Mp4toAnnexB(MakeBlob(stream.extradata))),
                  RunFilter(H264.filter, stream).extradata)
            << NameOf(path);
    }
}

TEST(FramingBesideLibav, HevcHeaderToAnnexB) {
    for (std::string const& path : ClipsOf("hevc")) {
        StreamInspection const& stream = StreamOf(path, "hevc");
        if (LengthSizeOf(HEVC, stream.extradata) == 0) continue;
        EXPECT_EQ(TestSupport::GetBytes(HEVC_Extradata_hvcCtoAnnexB(MakeBlob(stream.extradata))),
                  RunFilter(HEVC.filter, stream).extradata)
            << NameOf(path);
    }
}

// The muxer's own conversion is the counterpart that a program can reach: a copy from a TS or a raw file to MP4.
void CompareLengths(CodecCase const& codec) {
    std::size_t compared = 0;
    for (std::string const& path : ClipsOf(codec.codec)) {
        if (!path.ends_with(".ts")) continue;
        SCOPED_TRACE(NameOf(path));
        StreamInspection const& source = StreamOf(path, codec.codec);
        std::string const muxed = MakeClip("muxed-" + NameOf(path) + ".mp4", {"-i", path, "-map", "0:v", "-c", "copy"});
        StreamInspection const& target = StreamOf(muxed, codec.codec);
        ASSERT_EQ(source.packets.size(), target.packets.size());
        for (std::size_t i = 0; i < source.packets.size(); ++i) {
            SCOPED_TRACE(testing::Message() << "packet " << i);
            Bytes const ours = TestSupport::GetBytes(AnnexBtoMp4(MakePacket(source.packets[i].data, true), 4));
            ASSERT_TRUE(ours == target.packets[i].data);
        }
        // The records name the same sets.
        auto const sets = codec.codec == "h264" ? H264_Extradata_AnnexBtoMp4(MakeBlob(source.extradata))
                                                : HEVC_Extradata_AnnexBtohvcC(MakeBlob(source.extradata));
        auto const toAnnexB = [&](iptr<IBlob> const& record) {
            return SplitAnnexB(TestSupport::GetBytes(codec.codec == "h264" ? H264_Extradata_Mp4toAnnexB(record)
                                                                           : HEVC_Extradata_hvcCtoAnnexB(record)));
        };
        EXPECT_EQ(Only(codec, toAnnexB(sets), true), Only(codec, toAnnexB(MakeBlob(target.extradata)), true));
        ++compared;
    }
    EXPECT_GE(compared, 3U);
}

TEST(FramingBesideLibav, H264StartCodesToLengths) {
    CompareLengths(H264);
}

TEST(FramingBesideLibav, HevcStartCodesToLengths) {
    CompareLengths(HEVC);
}

}  // namespace
}  // namespace Tarsel::Test
