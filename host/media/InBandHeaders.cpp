#include "host/media/InBandHeaders.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "contracts/Core/Exception.h"
#include "host/media/PacketScan.h"

namespace Tarsel::Host {

namespace {

bool IsSlice(AVCodecID codec, int type) {
    return codec == AV_CODEC_ID_H264 ? type >= 1 && type <= 5 : type <= 31;
}

bool IsDelimiter(AVCodecID codec, int type) {
    return type == (codec == AV_CODEC_ID_H264 ? 9 : 35);
}

/// Whether the packet holds a start code with a last byte in [low, high].
bool HasStartCode(u8 const* data, std::size_t size, u8 low, u8 high) {
    u8 const* const end = data + size;
    for (u8 const* at = FindStartCode(data, end); end - at > 3; at = FindStartCode(at + 3, end))
        if (at[3] >= low && at[3] <= high) return true;
    return false;
}

/// Replaces the first `count` bytes of the packet.
void ReplaceHead(AVPacket& packet, std::size_t count, std::string_view head) {
    PacketPtr const changed(av_packet_alloc());
    auto const size = static_cast<std::size_t>(packet.size);
    auto const newSize = static_cast<int>(size - count + head.size());
    if (!changed || av_new_packet(changed.get(), newSize) < 0 || av_packet_copy_props(changed.get(), &packet) < 0)
        TARSEL_THROW(Core::IOException, "Out of memory");
    std::memcpy(changed->data, head.data(), head.size());
    if (size > count) std::memcpy(changed->data + head.size(), packet.data + count, size - count);
    av_packet_unref(&packet);
    av_packet_move_ref(&packet, changed.get());
}

/// A unit ahead of the first coded slice, with its start code and the zero bytes behind it.
struct HeadUnit {
    std::string_view bytes;
    std::string_view unit;  // alone
    int type;
};

/// Units ahead of the first slice, from the packet's first byte on without a gap. Empty when anything else stands
/// there.
std::vector<HeadUnit> SplitHead(AVCodecID codec, AVPacket const& packet) {
    std::vector<HeadUnit> units;
    auto const* const text = reinterpret_cast<char const*>(packet.data);
    NalWalker walker(packet.data, static_cast<std::size_t>(std::max(packet.size, 0)), {0});
    while (walker.Next()) {
        auto const at = static_cast<std::size_t>(walker.GetData() - packet.data);
        int const type = NalUnitType(codec, walker.GetData()[0]);
        // The first zero of a long start code belongs to the unit behind it.
        std::size_t const begin = at >= 4 && packet.data[at - 4] == 0 ? at - 4 : at - 3;
        if (units.empty() && begin != 0) break;
        if (!units.empty()) units.back().bytes = {units.back().bytes.data(), text + begin};
        if (IsSlice(codec, type)) break;
        std::size_t length = walker.GetSize();
        while (length > 1 && walker.GetData()[length - 1] == 0) --length;
        units.push_back({{text + begin, at - begin + walker.GetSize()}, {text + at, length}, type});
    }
    return units;
}

/// The global header comes in front of whatever a key packet begins with, which may be a delimiter or the same sets.
void Arrange(AVCodecID codec, AVPacket& packet) {
    std::vector<HeadUnit> const units = SplitHead(codec, packet);
    std::size_t size = 0;
    std::string delimiter;
    std::string rest;
    for (std::size_t i = 0; i < units.size(); ++i) {
        HeadUnit const& unit = units[i];
        size += unit.bytes.size();
        if (IsDelimiter(codec, unit.type)) {
            if (delimiter.empty()) delimiter = unit.bytes;
            continue;
        }
        bool const repeated = IsParameterSet(codec, unit.type) &&
                              std::any_of(units.begin() + static_cast<std::ptrdiff_t>(i) + 1, units.end(),
                                          [&](HeadUnit const& later) { return later.unit == unit.unit; });
        if (!repeated) rest += unit.bytes;
    }
    delimiter += rest;
    if (delimiter != std::string_view(reinterpret_cast<char const*>(packet.data), size))
        ReplaceHead(packet, size, delimiter);
}

void DropExtradata(AVCodecParameters& parameters) {
    av_freep(&parameters.extradata);
    parameters.extradata_size = 0;
}

}  // namespace

std::unique_ptr<InBandHeaders> InBandHeaders::Create(AVCodecParameters& parameters) {
    AVCodecID const codec = parameters.codec_id;
    bool const mpeg = codec == AV_CODEC_ID_MPEG4 || codec == AV_CODEC_ID_MPEG2VIDEO || codec == AV_CODEC_ID_MPEG1VIDEO;
    if (!IsNalCodec(codec) && !mpeg) return nullptr;
    std::unique_ptr<InBandHeaders> headers(new InBandHeaders(codec));
    auto const size = static_cast<std::size_t>(std::max(parameters.extradata_size, 0));
    if (mpeg) {
        headers->header.assign(reinterpret_cast<char const*>(parameters.extradata), size);
        return headers;
    }
    if (FramingOf(codec, parameters.extradata, size).lengthSize != 0)
        TARSEL_THROW(Core::IOException, "its packets have lengths where the container wants start codes");
    // The transport stream's writer would put an HEVC header in front of keys that have another one in band.
    if (codec == AV_CODEC_ID_HEVC) DropExtradata(parameters);
    return headers;
}

void InBandHeaders::Process(AVPacket& packet) const {
    if ((packet.flags & AV_PKT_FLAG_KEY) == 0) return;
    auto const size = static_cast<std::size_t>(std::max(packet.size, 0));
    switch (codec) {
        case AV_CODEC_ID_MPEG4:
            if (!header.empty() && !HasStartCode(packet.data, size, 0x20, 0x2F)) ReplaceHead(packet, 0, header);
            return;
        case AV_CODEC_ID_MPEG1VIDEO:
        case AV_CODEC_ID_MPEG2VIDEO:
            if (!header.empty() && !HasStartCode(packet.data, size, 0xB3, 0xB3)) ReplaceHead(packet, 0, header);
            return;
        default:
            Arrange(codec, packet);
    }
}

}  // namespace Tarsel::Host
