#include "host/media/InBandHeaders.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

namespace {

constexpr std::string_view START_CODE{"\0\0\0\1", 4};

bool IsNalCodec(AVCodecID codec) {
    return codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_HEVC;
}

int UnitType(AVCodecID codec, u8 first) {
    return codec == AV_CODEC_ID_H264 ? first & 31 : (first >> 1) & 63;
}

/// Parameter sets: H.264 table 7-1 types 7, 8, 13 and 15; HEVC table 7-1 types 32 to 34.
bool IsParameterSet(AVCodecID codec, int type) {
    if (codec == AV_CODEC_ID_H264) return type == 7 || type == 8 || type == 13 || type == 15;
    return type >= 32 && type <= 34;
}

bool IsSlice(AVCodecID codec, int type) {
    return codec == AV_CODEC_ID_H264 ? type >= 1 && type <= 5 : type <= 31;
}

/// Tells parameter sets of one kind apart: an H.264 set by its identifier (7.3.2.1 and 7.3.2.2), an HEVC set by its
/// kind alone.
int UnitKey(AVCodecID codec, u8 const* unit, std::size_t size) {
    int const type = UnitType(codec, unit[0]);
    if (codec != AV_CODEC_ID_H264) return type * 256;
    // The identifier is an Exp-Golomb code: behind profile, constraints and level in an SPS, first in a PPS.
    std::size_t bit = type == 8 || type == 13 ? 8 : 32;
    int zeros = 0;
    auto const read = [&] { return bit < size * 8 ? (unit[bit / 8] >> (7 - bit % 8)) & 1 : 1; };
    while (zeros < 16 && read() == 0) ++zeros, ++bit;
    int value = 0;
    for (int i = 0; i <= zeros; ++i, ++bit) value = value * 2 + read();
    return type * 256 + std::min(value - 1, 255);
}

/// Whether the packet holds a start code with a last byte in [low, high].
bool HasStartCode(u8 const* data, std::size_t size, u8 low, u8 high) {
    u8 const* const end = data + size;
    for (u8 const* at = FindStartCode(data, end); end - at > 3; at = FindStartCode(at + 3, end))
        if (at[3] >= low && at[3] <= high) return true;
    return false;
}

/// Puts bytes into the packet at offset `at`.
void Insert(AVPacket& packet, std::size_t at, std::string const& bytes) {
    if (bytes.empty()) return;
    PacketPtr const grown(av_packet_alloc());
    auto const added = static_cast<int>(bytes.size());
    if (!grown || av_new_packet(grown.get(), packet.size + added) < 0 || av_packet_copy_props(grown.get(), &packet) < 0)
        TARSEL_THROW(Core::IOException, "Out of memory");
    auto const size = static_cast<std::size_t>(packet.size);
    if (at != 0) std::memcpy(grown->data, packet.data, at);
    std::memcpy(grown->data + at, bytes.data(), bytes.size());
    if (size > at) std::memcpy(grown->data + at + added, packet.data + at, size - at);
    av_packet_unref(&packet);
    av_packet_move_ref(&packet, grown.get());
}

/// Bytes of an access unit delimiter at the packet's start: nothing may stand in front of one. 0 for none.
std::size_t DelimiterSize(AVCodecID codec, AVPacket const& packet) {
    NalWalker walker(packet.data, static_cast<std::size_t>(std::max(packet.size, 0)), {0});
    if (!walker.Next()) return 0;
    int const type = UnitType(codec, walker.GetData()[0]);
    if (type != (codec == AV_CODEC_ID_H264 ? 9 : 35)) return 0;
    u8 const* end = walker.GetData() + walker.GetSize();
    // Zero bytes behind a unit belong to the next start code.
    while (end > walker.GetData() && end[-1] == 0) --end;
    return static_cast<std::size_t>(end - packet.data);
}

void SetExtradata(AVCodecParameters& parameters, std::string_view bytes) {
    av_freep(&parameters.extradata);
    parameters.extradata_size = 0;
    if (bytes.empty()) return;
    parameters.extradata = static_cast<u8*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!parameters.extradata) TARSEL_THROW(Core::IOException, "Out of memory");
    std::memcpy(parameters.extradata, bytes.data(), bytes.size());
    parameters.extradata_size = static_cast<int>(bytes.size());
}

BsfPtr MakeConverter(AVCodecParameters const& parameters) {
    char const* const name = parameters.codec_id == AV_CODEC_ID_H264 ? "h264_mp4toannexb" : "hevc_mp4toannexb";
    AVBitStreamFilter const* const filter = av_bsf_get_by_name(name);
    AVBSFContext* raw = nullptr;
    if (!filter || av_bsf_alloc(filter, &raw) < 0) TARSEL_THROW(Core::IOException, std::string(name) + " is missing");
    BsfPtr converter(raw);
    int code = avcodec_parameters_copy(raw->par_in, &parameters);
    raw->time_base_in = MICROSECONDS;
    if (code >= 0) code = av_bsf_init(raw);
    if (code < 0) TARSEL_THROW(Core::IOException, "the stream's global header is broken: " + ErrorText(code));
    return converter;
}

}  // namespace

std::unique_ptr<InBandHeaders> InBandHeaders::Create(AVCodecParameters& parameters) {
    AVCodecID const codec = parameters.codec_id;
    bool const mpeg = codec == AV_CODEC_ID_MPEG4 || codec == AV_CODEC_ID_MPEG2VIDEO || codec == AV_CODEC_ID_MPEG1VIDEO;
    if (!IsNalCodec(codec) && !mpeg) return nullptr;
    std::unique_ptr<InBandHeaders> headers(new InBandHeaders(codec));
    auto const size = static_cast<std::size_t>(std::max(parameters.extradata_size, 0));
    std::string plain(reinterpret_cast<char const*>(parameters.extradata), size);
    if (mpeg) {
        headers->header = plain;
        return headers;
    }
    if (FramingOf(codec, parameters.extradata, size).lengthSize != 0) {
        headers->converter = MakeConverter(parameters);
        AVCodecParameters const& out = *headers->converter->par_out;
        plain.assign(reinterpret_cast<char const*>(out.extradata), static_cast<std::size_t>(out.extradata_size));
    }
    NalWalker walker(reinterpret_cast<u8 const*>(plain.data()), plain.size(), {0});
    while (walker.Next()) {
        if (!IsParameterSet(codec, UnitType(codec, walker.GetData()[0]))) continue;
        std::string unit(reinterpret_cast<char const*>(walker.GetData()), walker.GetSize());
        while (!unit.empty() && unit.back() == '\0') unit.pop_back();
        headers->units.push_back(unit);
    }
    // The transport stream's writer would put an HEVC header in front of keys that have another one in band.
    SetExtradata(parameters, codec == AV_CODEC_ID_HEVC ? std::string_view() : std::string_view(plain));
    return headers;
}

void InBandHeaders::Process(AVPacket& packet) {
    if (converter) Convert(packet);
    if ((packet.flags & AV_PKT_FLAG_KEY) == 0) return;
    auto const size = static_cast<std::size_t>(std::max(packet.size, 0));
    switch (codec) {
        case AV_CODEC_ID_MPEG4:
            if (!HasStartCode(packet.data, size, 0x20, 0x2F)) Insert(packet, 0, header);
            return;
        case AV_CODEC_ID_MPEG1VIDEO:
        case AV_CODEC_ID_MPEG2VIDEO:
            if (!HasStartCode(packet.data, size, 0xB3, 0xB3)) Insert(packet, 0, header);
            return;
        default:
            Insert(packet, DelimiterSize(codec, packet), MissingUnits(packet));
    }
}

void InBandHeaders::Convert(AVPacket& packet) {
    int code = av_bsf_send_packet(converter.get(), &packet);
    if (code >= 0) code = av_bsf_receive_packet(converter.get(), &packet);
    if (code < 0) TARSEL_THROW(Core::IOException, "a packet's framing is broken: " + ErrorText(code));
}

std::string InBandHeaders::MissingUnits(AVPacket const& packet) const {
    std::vector<int> present;
    NalWalker walker(packet.data, static_cast<std::size_t>(std::max(packet.size, 0)), {0});
    while (walker.Next()) {
        int const type = UnitType(codec, walker.GetData()[0]);
        if (IsSlice(codec, type)) break;
        if (IsParameterSet(codec, type)) present.push_back(UnitKey(codec, walker.GetData(), walker.GetSize()));
    }
    std::string missing;
    for (std::string const& unit : units) {
        int const key = UnitKey(codec, reinterpret_cast<u8 const*>(unit.data()), unit.size());
        if (std::find(present.begin(), present.end(), key) == present.end()) missing.append(START_CODE).append(unit);
    }
    return missing;
}

}  // namespace Tarsel::Host
