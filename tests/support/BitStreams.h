#pragma once

#include <string>
#include <vector>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Proc/SettingsFilterBitStream.h"
#include "tests/support/Builders.h"
#include "tests/support/H264Builder.h"
#include "tests/support/HEVCBuilder.h"
#include "tests/support/Packets.h"
#include "tests/support/ScriptedStream.h"

// Compressed streams in every framing, for the tests of the filters on packets.

namespace Tarsel::Test {

using PacketBytes = std::vector<u8>;

inline constexpr auto H264 = Conf::IFormatCodecVideo::CODEC_ID_H264;
inline constexpr auto HEVC = Conf::IFormatCodecVideo::CODEC_ID_H265;
inline constexpr auto AAC = Conf::IFormatCodecAudio::CODEC_ID_AAC;
inline constexpr auto AAC_LATM = Conf::IFormatCodecAudio::CODEC_ID_AAC_LATM;

inline constexpr auto ANNEX_B = Proc::SettingsFilterBitStream::ANNEX_B;
inline constexpr auto MP4 = Proc::SettingsFilterBitStream::MP4;
inline constexpr auto RAW_AAC = Proc::SettingsFilterBitStream::RAW_AAC;
inline constexpr auto ADTS = Proc::SettingsFilterBitStream::ADTS;
inline constexpr auto ANY = Proc::SettingsFilterBitStream::ANY;

/// A source of packets; `extradata` may be null.
inline iptr<ScriptedRaw> MakeRaw(char const* codecId, iptr<IBlob> const& extradata,
                                 std::vector<ScriptedRaw::Step> const& steps = {}) {
    auto source = ScriptedRaw::Create(steps);
    std::string const id = codecId;
    if (id == AAC || id == AAC_LATM) {
        source->format = Conf::IFormatCodecAudio::Create();
        source->mediaType = MEDIA_TYPE_AUDIO;
    }
    source->format->SetCodecID(id);
    source->format->SetExtradata(extradata);
    return source;
}

inline std::vector<TestSupport::NaluBytes> H264Sets() {
    return {TestSupport::BuildSPS(TestSupport::MakeSPS()), TestSupport::BuildPPS(TestSupport::MakePPS())};
}
inline PacketBytes H264AnnexBHeader() {
    return TestSupport::JoinAnnexB(H264Sets());
}
inline PacketBytes H264AvcC(int lengthSize = 4) {
    auto const sets = H264Sets();
    return TestSupport::JoinAvcC({sets[0]}, {sets[1]}, lengthSize);
}

inline std::vector<TestSupport::NaluBytes> HEVCSets() {
    using namespace TestSupport;
    return {BuildHEVCVPS(MakeHEVCVPS()), BuildHEVCSPS(MakeHEVCSPS()), BuildHEVCUnit(34, {0xC1, 0x62})};
}
inline PacketBytes HEVCAnnexBHeader() {
    return TestSupport::JoinAnnexB(HEVCSets());
}
inline PacketBytes HEVCHvcC(int lengthSize = 4) {
    auto const sets = HEVCSets();
    return TestSupport::JoinHvcC(TestSupport::MakeHEVCVPS(), TestSupport::MakeHEVCSPS(),
                                 {{32, {sets[0]}}, {33, {sets[1]}}, {34, {sets[2]}}}, lengthSize);
}

/// An AudioSpecificConfig: AAC LC, 44100 Hz, two channels.
inline PacketBytes AscHeader() {
    return {0x12, 0x10};
}
/// The same stream's ADTS header and a frame of `payload`.
inline PacketBytes AdtsFrame(PacketBytes const& payload) {
    std::size_t const length = payload.size() + 7;
    PacketBytes frame = {0xFF, 0xF1, 0x50, u8(0x80 | (length >> 11)), u8(length >> 3), u8(((length & 7) << 5) | 0x1F),
                         0xFC};
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}
inline PacketBytes AdtsHeader() {
    return AdtsFrame({});
}

/// Packet number `index` of a stream of 40 ms each, in decoding order without reordering.
inline iptr<Proc::IDataPacket> NumberedPacket(int index, bool key, PacketBytes const& payload,
                                              MediaType type = MEDIA_TYPE_VIDEO) {
    int64 const time = int64{40000} * index;
    return MakePacket(time, time, 40000, key, payload, type);
}

}  // namespace Tarsel::Test
