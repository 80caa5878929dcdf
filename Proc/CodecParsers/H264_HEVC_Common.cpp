#include "Proc/CodecParsers/H264_HEVC_Common.h"

#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "Proc/CodecParsers/PacketPayload.h"
#include "Proc/CodecParsers/StartCode.h"
#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace Tarsel::Proc::CodecParsers {

namespace {

constexpr int MAX_LENGTH_SIZE = 4;

// Calls `visit(offset of the length field, size of the unit)` for each unit. The unit is known to lie inside the data.
// The length field may be overwritten by the visitor.
template <class Visit>
void ForEachMP4Nalu(u8 const* data, std::size_t size, int lengthSize, Visit visit) {
    if (size > std::numeric_limits<u32>::max()) TARSEL_THROW(std::logic_error, "out of range");
    std::size_t cursor = 0;
    while (cursor != size) {
        if (lengthSize > 0 && size - cursor < static_cast<std::size_t>(lengthSize))
            TARSEL_THROW(std::logic_error, "out of range");
        u32 naluSize = 0;
        if (lengthSize > 0 && lengthSize <= MAX_LENGTH_SIZE)
            for (int i = 0; i < lengthSize; ++i)
                naluSize = (naluSize << 8) | data[cursor + static_cast<std::size_t>(i)];
        if (naluSize == 0) TARSEL_THROW(std::logic_error, "bad naluSize");
        std::size_t const field = cursor;
        cursor += static_cast<std::size_t>(lengthSize);
        if (naluSize > size - cursor) TARSEL_THROW(std::logic_error, "out of range");
        visit(field, naluSize);
        cursor += naluSize;
    }
}

// The header of a stream in Annex B form; null when the stream has none. All that isn't H.264 counts as HEVC.
iptr<IBlob> ExtradataToAnnexB(iptr<IBlob> extradata, std::string const& codecId) {
    if (!extradata) return nullptr;
    if (codecId == Conf::IFormatCodecVideo::CODEC_ID_H264) return H264_Extradata_Mp4toAnnexB(std::move(extradata));
    return HEVC_Extradata_hvcCtoAnnexB(std::move(extradata));
}

}  // namespace

void FindAnnexBNalus(u8 const* data, std::size_t size, NaluRangeList& out) {
    u8 const* const end = data + size;
    u8 const* start = data;
    while (true) {
        u8 const* const found = FindZeroZero(start, end, StartCode3[2]);
        if (start != data) {
            u8 const* last = found;
            if (found != end && found[-1] == 0) --last;
            if (last - start > int64{std::numeric_limits<u32>::max()})
                TARSEL_THROW(Exception, "NAL unit at byte " + std::to_string(start - data) +
                                            " is too big: " + std::to_string(last - start) + " bytes");
            out.push_back({start, static_cast<u32>(last - start)});
        }
        if (found == end) return;
        start = found + sizeof(StartCode3);
    }
}

void FindMP4Nalus(u8 const* data, std::size_t size, NaluRangeList& out, int lengthSize) {
    ForEachMP4Nalu(data, size, lengthSize, [&](std::size_t field, u32 naluSize) {
        out.push_back({data + field + lengthSize, naluSize});
    });
}

Bytes RemoveEmulationPrevention(u8 const* data, std::size_t size) {
    constexpr u8 EMULATION_PREVENTION = 3;
    Bytes result;
    result.reserve(size);
    u8 const* const end = data + size;
    u8 const* position = data;
    while (true) {
        u8 const* const found = FindZeroZero(position, end, EMULATION_PREVENTION);
        if (end - found < 4) break;
        // Meant: ahead of a byte above 3 the sequence is no emulation prevention, and the 03 stays.
        bool const stays = found[3] > EMULATION_PREVENTION;
        result.insert(result.end(), position, found + (stays ? 4 : 2));
        position = found + (stays ? 4 : 3);
    }
    result.insert(result.end(), position, end);
    return result;
}

iptr<IDataPacket> AnnexBtoMp4(iptr<IDataPacket> packet, int lengthSize) {
    if (!packet) return nullptr;
    if (lengthSize < 1 || lengthSize > MAX_LENGTH_SIZE) TARSEL_THROW(std::logic_error, "Invalid header size");
    iptr<IBlob> const payload = packet->GetBlob();
    NaluRangeList units;
    FindAnnexBNalus(payload->GetData(), payload->GetSize(), units);
    u64 size = 0;
    for (NaluRange const& unit : units)
        if (unit.size != 0) size += u64(unit.size) + static_cast<u64>(lengthSize);
    AVPacketPtr result = NewPacketLike(*packet, size);
    PayloadWriter writer(result->data);
    for (NaluRange const& unit : units) {
        if (unit.size == 0) continue;
        writer.WriteBigEndian(unit.size, static_cast<unsigned>(lengthSize));
        writer.Write(unit.data, unit.size);
    }
    return WrapPacketLike(*packet, std::move(result));
}

iptr<IDataPacket> Mp4toAnnexB(iptr<IDataPacket> packet, int lengthSize, iptr<IBlob> extradata,
                              std::string const& codecId) {
    if (lengthSize < 1 || lengthSize > MAX_LENGTH_SIZE) TARSEL_THROW(std::logic_error, "Invalid header size");
    if (!packet) return nullptr;
    if (lengthSize < 3 || packet->IsKeyFrame())
        return InsertAnnexBHeader(std::move(packet), lengthSize, std::move(extradata), codecId);
    return ReplaceLengthsWithStartCodes(std::move(packet), lengthSize);
}

iptr<IDataPacket> ReplaceLengthsWithStartCodes(iptr<IDataPacket> packet, int lengthSize) {
    if (!packet) return nullptr;
    AVPacket* const inner = packet->GetAVPacket();
    std::size_t const size = packet->GetSize();
    // Everything is checked before the first byte is written: a refused packet stays as it was.
    ForEachMP4Nalu(inner->data, size, lengthSize, [](std::size_t, u32) {});
    if (size == 0) return packet;
    // Costs nothing unless a clone holds the same bytes.
    if (av_packet_make_writable(inner) < 0) TARSEL_THROW(Exception, "Can't allocate new AVPacket");
    u8 const* const code = lengthSize == MAX_LENGTH_SIZE ? StartCode4 : StartCode3;
    ForEachMP4Nalu(inner->data, size, lengthSize, [&](std::size_t field, u32) {
        std::memcpy(inner->data + field, code, static_cast<std::size_t>(lengthSize));
    });
    return packet;
}

iptr<IDataPacket> InsertAnnexBHeader(iptr<IDataPacket> packet, int lengthSize, iptr<IBlob> extradata,
                                     std::string const& codecId) {
    if (!packet) return nullptr;
    iptr<IBlob> const header = ExtradataToAnnexB(std::move(extradata), codecId);
    iptr<IBlob> const payload = packet->GetBlob();
    NaluRangeList units;
    FindMP4Nalus(payload->GetData(), payload->GetSize(), units, lengthSize);
    bool const withHeader = packet->IsKeyFrame() && header;
    u64 size = withHeader ? header->GetSize() : 0;
    for (NaluRange const& unit : units) size += u64(unit.size) + sizeof(StartCode4);
    AVPacketPtr result = NewPacketLike(*packet, size);
    PayloadWriter writer(result->data);
    if (withHeader) writer.Write(header->GetData(), header->GetSize());
    for (NaluRange const& unit : units) {
        writer.Write(StartCode4, sizeof(StartCode4));
        writer.Write(unit.data, unit.size);
    }
    return WrapPacketLike(*packet, std::move(result));
}

}  // namespace Tarsel::Proc::CodecParsers
