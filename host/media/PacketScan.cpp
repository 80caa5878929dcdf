#include "host/media/PacketScan.h"

#include <algorithm>
#include <cstring>

extern "C" {
#include <libavcodec/codec_desc.h>
}

namespace Tarsel::Host {

namespace {

// H.264, table 7-1.
constexpr int H264_SLICE = 1, H264_PARTITION_A = 2, H264_IDR = 5, H264_SEI = 6;
// HEVC, table 7-1.
constexpr int HEVC_LAST_SLICE = 31, HEVC_BLA_FIRST = 16, HEVC_IDR_FIRST = 19, HEVC_IDR_LAST = 20, HEVC_IRAP_LAST = 23;
constexpr int HEVC_SEI_PREFIX = 39;
// Annex D of both.
constexpr int SEI_RECOVERY_POINT = 6;

/// An unsigned Exp-Golomb code of up to 15 leading zeros at bit `position`; -1 past the end. H.264, 9.1.
int ReadUe(u8 const* data, std::size_t size, std::size_t& position) {
    auto const bit = [&]() -> int {
        if (position >= size * 8) return -1;
        int const value = (data[position / 8] >> (7 - position % 8)) & 1;
        ++position;
        return value;
    };
    int zeros = 0;
    for (int b = bit(); b != 1; b = bit()) {
        if (b < 0 || ++zeros > 15) return -1;
    }
    int value = 1;
    for (int i = 0; i < zeros; ++i) {
        int const b = bit();
        if (b < 0) return -1;
        value = value * 2 + b;
    }
    return value - 1;
}

/// Whether a slice of H.264 says that all slices of its picture, or this one, are intra. Clause 7.3.3.
bool IsIntraSlice(u8 const* unit, std::size_t size) {
    std::size_t position = 8;
    if (ReadUe(unit, size, position) < 0) return false;  // first_mb_in_slice
    int const type = ReadUe(unit, size, position);       // slice_type
    return type == 2 || type == 7 || type == 4 || type == 9;
}

/// Whether a unit of supplemental information holds a recovery point. H.264 and HEVC, 7.3.2.3 and annex D.
bool HasRecoveryPoint(u8 const* unit, std::size_t size, std::size_t headerSize) {
    std::size_t at = headerSize;
    while (at + 2 < size) {
        int type = 0;
        std::size_t length = 0;
        while (at < size && unit[at] == 0xFF) type += 255, ++at;
        if (at >= size) return false;
        type += unit[at++];
        while (at < size && unit[at] == 0xFF) length += 255, ++at;
        if (at >= size) return false;
        length += unit[at++];
        if (type == SEI_RECOVERY_POINT) return true;
        if (length > size - at) return false;
        at += length;
    }
    return false;
}

RandomAccess ClassifyH264(NalWalker walker) {
    bool recovery = false;
    while (walker.Next()) {
        int const type = NalUnitType(AV_CODEC_ID_H264, walker.GetData()[0]);
        if (type == H264_IDR) return RandomAccess::Idr;
        if (type == H264_SEI) recovery |= HasRecoveryPoint(walker.GetData(), walker.GetSize(), 1);
        if (type == H264_SLICE || type == H264_PARTITION_A) {
            bool const entry = recovery || IsIntraSlice(walker.GetData(), walker.GetSize());
            return entry ? RandomAccess::Entry : RandomAccess::None;
        }
    }
    return RandomAccess::None;
}

RandomAccess ClassifyHevc(NalWalker walker) {
    bool recovery = false;
    while (walker.Next()) {
        int const type = NalUnitType(AV_CODEC_ID_HEVC, walker.GetData()[0]);
        if (type >= HEVC_IDR_FIRST && type <= HEVC_IDR_LAST) return RandomAccess::Idr;
        if (type >= HEVC_BLA_FIRST && type <= HEVC_IRAP_LAST) return RandomAccess::Entry;
        if (type == HEVC_SEI_PREFIX) recovery |= HasRecoveryPoint(walker.GetData(), walker.GetSize(), 2);
        if (type <= HEVC_LAST_SLICE) return recovery ? RandomAccess::Entry : RandomAccess::None;
    }
    return RandomAccess::None;
}

/// Whether an H.263 picture is intra coded (ITU-T H.263, 5.1.1 to 5.1.4). The library's parser marks every picture as a
/// key.
bool IsIntraH263(u8 const* data, std::size_t size) {
    constexpr std::size_t HEADER = 8;
    constexpr unsigned EXTENDED = 7;  // source format: the extended picture type follows
    if (size < HEADER || data[0] != 0 || data[1] != 0 || (data[2] & 0xFC) != 0x80) return false;
    uint64 bits = 0;
    for (std::size_t i = 0; i < HEADER; ++i) bits = bits << 8 | data[i];
    auto const take = [&](unsigned position, unsigned count) {
        return static_cast<unsigned>(bits >> (64 - position - count)) & ((1U << count) - 1U);
    };
    // Start code 22 bits, temporal reference 8, then two fixed bits, three flags and the source format.
    constexpr unsigned PTYPE = 30;
    if (take(PTYPE + 5, 3) != EXTENDED) return take(PTYPE + 8, 1) == 0;
    bool const full = take(PTYPE + 8, 3) == 1;  // UFEP
    constexpr unsigned PLUS = PTYPE + 11;
    return take(full ? PLUS + 18 : PLUS, 3) == 0;
}

}  // namespace

bool IsNalCodec(AVCodecID codec) {
    return codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_HEVC;
}

int NalUnitType(AVCodecID codec, u8 first) {
    return codec == AV_CODEC_ID_H264 ? first & 31 : (first >> 1) & 63;
}

bool IsParameterSet(AVCodecID codec, int type) {
    if (codec == AV_CODEC_ID_H264) return type == 7 || type == 8 || type == 13 || type == 15;
    return type >= 32 && type <= 34;
}

NalFraming FramingOf(AVCodecID codec, u8 const* extradata, std::size_t size) {
    if (codec == AV_CODEC_ID_H264 && size >= 7 && extradata[0] == 1) return {(extradata[4] & 3) + 1};
    // Some writers left the version at 0; start codes are told from it by the two zero bytes in front.
    if (codec == AV_CODEC_ID_HEVC && size >= 23 && (extradata[0] || extradata[1] || extradata[2] > 1))
        return {(extradata[21] & 3) + 1};
    return {0};
}

u8 const* FindStartCode(u8 const* data, u8 const* end) {
    while (end - data >= 3) {
        auto const* const one =
            static_cast<u8 const*>(std::memchr(data + 2, 1, static_cast<std::size_t>(end - data - 2)));
        if (!one) return end;
        if (one[-1] == 0 && one[-2] == 0) return one - 2;
        data = one - 1;
    }
    return end;
}

NalWalker::NalWalker(u8 const* data, std::size_t size, NalFraming framing)
    : position(data), end(data + size), lengthSize(framing.lengthSize) {
    if (lengthSize == 0) position = FindStartCode(position, end);
}

bool NalWalker::Next() {
    return lengthSize != 0 ? NextByLength() : NextByStartCode();
}

bool NalWalker::NextByLength() {
    while (end - position > lengthSize) {
        std::size_t length = 0;
        for (int i = 0; i < lengthSize; ++i) length = length << 8 | position[i];
        position += lengthSize;
        if (length > static_cast<std::size_t>(end - position)) return false;
        unit = position;
        unitSize = length;
        position += length;
        if (length != 0) return true;
    }
    return false;
}

bool NalWalker::NextByStartCode() {
    while (end - position > 3) {
        unit = position + 3;
        position = FindStartCode(unit, end);
        unitSize = static_cast<std::size_t>(position - unit);
        if (unitSize != 0) return true;
    }
    return false;
}

RandomAccess ClassifyKey(AVCodecID codec, u8 const* data, std::size_t size, NalFraming framing) {
    // The search for the second start code of a long slice is what a whole walk costs, and nobody asks behind the head.
    constexpr std::size_t HEAD = 4096;
    switch (codec) {
        case AV_CODEC_ID_H264:
            if (framing.lengthSize == 0 && size > HEAD) {
                RandomAccess const head = ClassifyH264({data, HEAD, framing});
                if (head != RandomAccess::None) return head;
            }
            return ClassifyH264({data, size, framing});
        case AV_CODEC_ID_HEVC:
            if (framing.lengthSize == 0 && size > HEAD) {
                RandomAccess const head = ClassifyHevc({data, HEAD, framing});
                if (head != RandomAccess::None) return head;
            }
            return ClassifyHevc({data, size, framing});
        case AV_CODEC_ID_H263:
            return IsIntraH263(data, size) ? RandomAccess::Idr : RandomAccess::None;
        default:
            return RandomAccess::Idr;
    }
}

bool IsPicturedSubtitle(AVCodecID codec) {
    AVCodecDescriptor const* const descriptor = avcodec_descriptor_get(codec);
    return descriptor && descriptor->type == AVMEDIA_TYPE_SUBTITLE &&
           (descriptor->props & AV_CODEC_PROP_BITMAP_SUB) != 0;
}

bool IsSubtitleEntry(AVCodecID codec, u8 const* data, std::size_t size) {
    if (codec == AV_CODEC_ID_HDMV_PGS_SUBTITLE) {
        // A segment: type, size in two bytes; of the presentation: width, height, rate, number, state.
        constexpr std::size_t STATE = 3 + 7;
        return size > STATE && data[0] == 0x16 && (data[STATE] & 0xC0) != 0;
    }
    if (codec != AV_CODEC_ID_DVB_SUBTITLE) return true;
    // Segments: sync byte, type, page in two bytes, size in two bytes.
    constexpr std::size_t HEADER = 6;
    std::size_t at = size >= 2 && data[0] == 0x20 && data[1] == 0 ? 2 : 0;
    while (size - at > HEADER + 1 && data[at] == 0x0F) {
        if (data[at + 1] == 0x10) return (data[at + HEADER + 1] >> 2 & 3) != 0;  // page_state
        std::size_t const length = static_cast<std::size_t>(data[at + 4]) << 8 | data[at + 5];
        if (length > size - at - HEADER) return false;
        at += HEADER + length;
    }
    return false;
}

u32 HashPacket(u8 const* data, std::size_t size) {
    constexpr std::size_t EDGE = 64;
    u64 hash = 0x9E3779B97F4A7C15u ^ size;
    auto const mix = [&hash](u8 const* bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; i += 8) {
            u64 word = 0;
            std::memcpy(&word, bytes + i, std::min<std::size_t>(8, count - i));
            hash = (hash ^ word) * 0xD6E8FEB86659FD93u;
            hash ^= hash >> 32;
        }
    };
    std::size_t const head = std::min(size, EDGE);
    mix(data, head);
    if (size > EDGE) {
        std::size_t const tail = std::min(size - EDGE, EDGE);
        mix(data + size - tail, tail);
    }
    return static_cast<u32>(hash ^ hash >> 32);
}

}  // namespace Tarsel::Host
