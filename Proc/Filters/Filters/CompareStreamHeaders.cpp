#include "Proc/Filters/Filters/CompareStreamHeaders.h"

#include <glog/logging.h>

#include <boost/exception/diagnostic_information.hpp>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/MPEG4CodecParser.h"
#include "contracts/Core/BitIO.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

using Conf::IFormatCodecVideo;

/// `decode()`, or nothing when it throws, with a line that names the header.
template <class Decode>
auto TryDecode(char const* what, Decode decode) -> std::optional<decltype(decode())> {
    try {
        return decode();
    } catch (Exception const& failure) {
        VLOG(21) << "Cought exception while decoding " << what << " header: " << boost::diagnostic_information(failure);
    } catch (std::logic_error const& failure) {
        VLOG(21) << "Cought exception while decoding " << what << " header: " << boost::diagnostic_information(failure);
    }
    return std::nullopt;
}

// --- H.264 -----------------------------------------------------------------------------------------------------------

struct H264Header {
    CodecParsers::H264SPS sps;
    CodecParsers::H264PPS pps;
};

bool CompareH264(IBlob const& source, IBlob const& encoder) {
    auto const decode = [](IBlob const& blob) {
        return H264Header{CodecParsers::DecodeH264SPS(blob.GetData(), blob.GetSize()),
                          CodecParsers::DecodeH264PPS(blob.GetData(), blob.GetSize())};
    };
    auto const input = TryDecode("input h264", [&] { return decode(source); });
    if (!input) return false;
    auto const output = TryDecode("output h264", [&] { return decode(encoder); });
    return output && input->sps.SameFormat(output->sps) && input->pps.SameFormat(output->pps);
}

// --- MPEG-4 ----------------------------------------------------------------------------------------------------------

bool SameLayer(CodecParsers::MPEG4VOL const& a, CodecParsers::MPEG4VOL const& b) {
    // 4:2:0 is what a header without control parameters means.
    auto const chroma = [](CodecParsers::MPEG4VOL const& layer) {
        return layer.vol_control_parameters ? layer.chroma_format : u8{1};
    };
    return a.video_object_layer_width == b.video_object_layer_width &&
           a.video_object_layer_height == b.video_object_layer_height && chroma(a) == chroma(b) &&
           a.interlaced == b.interlaced && a.quarter_sample == b.quarter_sample &&
           a.vop_time_increment_resolution == b.vop_time_increment_resolution &&
           a.video_object_layer_shape == b.video_object_layer_shape && a.data_partitioned == b.data_partitioned &&
           a.newpred_enable == b.newpred_enable && a.reduced_resolution_vop_enable == b.reduced_resolution_vop_enable;
}

bool CompareMPEG4(IBlob const& source, IBlob const& encoder) {
    auto const decode = [](IBlob const& blob) {
        CodecParsers::MPEG4Config config;
        CodecParsers::DecodeMPEG4Config(blob.GetData(), blob.GetSize(), config);
        return config;
    };
    auto const input = TryDecode("MPEG-4", [&] { return decode(source); });
    if (!input) return false;
    auto const output = TryDecode("MPEG-4", [&] { return decode(encoder); });
    // A layer of no size was not read: it tells nothing.
    return output && input->vol.video_object_layer_width != 0 && SameLayer(input->vol, output->vol);
}

// --- WMV2 ------------------------------------------------------------------------------------------------------------

struct WMV2Header {
    u8 frameRate = 0;  // 5 bits
    u16 bitRate = 0;   // 11 bits
    bool flags[6] = {};
    u8 code = 0;  // 3 bits
};

WMV2Header DecodeWMV2(IBlob const& blob) {
    Core::DataBitInput in(Core::DataInputMemory::Create(blob.GetData(), blob.GetSize()));
    WMV2Header header;
    header.frameRate = static_cast<u8>(in.ReadBits(5));
    header.bitRate = static_cast<u16>(in.ReadBits(11));
    for (bool& flag : header.flags) flag = in.ReadBits(1) != 0;
    header.code = static_cast<u8>(in.ReadBits(3));
    return header;
}

bool CompareWMV2(IBlob const& source, IBlob const& encoder) {
    auto const input = TryDecode("WMV2", [&] { return DecodeWMV2(source); });
    if (!input) return false;
    auto const output = TryDecode("WMV2", [&] { return DecodeWMV2(encoder); });
    if (!output || input->code != output->code) return false;
    // The second flag, like both rates, is the encoder's own affair.
    for (int const index : {0, 2, 3, 4, 5})
        if (input->flags[index] != output->flags[index]) return false;
    return true;
}

// --- Theora ----------------------------------------------------------------------------------------------------------

/// What two streams must have in common, from the identification and setup headers (Theora I format, 6.2 and 6.4).
struct TheoraHeader {
    u64 macroblockWidth = 0;   // FMBW, 16 bits
    u64 macroblockHeight = 0;  // FMBH, 16 bits
    u64 pictureWidth = 0;      // PICW, 24 bits
    u64 pictureHeight = 0;     // PICH, 24 bits
    u64 pictureX = 0;          // PICX, 8 bits
    u64 pictureY = 0;          // PICY, 8 bits
    u64 pixelFormat = 0;       // PF, 2 bits
    std::vector<u8> setup;     // behind its 7-byte header

    bool operator==(TheoraHeader const&) const = default;
};

constexpr u8 THEORA_IDENTIFICATION = 128;
constexpr u8 THEORA_SETUP = 130;
constexpr std::size_t THEORA_HEADER_SIZE = 7;  // the type and "theora"

void DecodeTheoraIdentification(u8 const* body, std::size_t size, TheoraHeader& header) {
    Core::DataBitInput in(Core::DataInputMemory::Create(body, size));
    in.SkipBits(THEORA_HEADER_SIZE * 8);
    bool const isOld = in.ReadBits(24) < 0x30200;  // VMAJ, VMIN, VREV
    header.macroblockWidth = in.ReadBits(16);
    header.macroblockHeight = in.ReadBits(16);
    if (isOld) {
        // No picture region yet: the picture is the whole frame.
        header.pictureWidth = header.macroblockWidth * 16;
        header.pictureHeight = header.macroblockHeight * 16;
    } else {
        header.pictureWidth = in.ReadBits(24);
        header.pictureHeight = in.ReadBits(24);
        header.pictureX = in.ReadBits(8);
        header.pictureY = in.ReadBits(8);
    }
    in.SkipBits(32 + 32 + 24 + 24);  // FRN, FRD, PARN, PARD
    if (isOld) in.SkipBits(5);
    in.SkipBits(8 + 24 + 6);  // CS, NOMBR, QUAL
    if (isOld) return;        // 4:2:0 is all that there was
    in.SkipBits(5);           // KFGSHIFT
    header.pixelFormat = in.ReadBits(2);
}

TheoraHeader DecodeTheora(IBlob const& blob) {
    TheoraHeader header;
    bool identified = false;
    bool hasSetup = false;
    u8 const* const data = blob.GetData();
    std::size_t const size = blob.GetSize();
    for (std::size_t position = 0; position < size;) {
        if (size - position < 2)
            TARSEL_THROW(Exception, "Theora header ends inside a length at byte " + std::to_string(position));
        std::size_t const length = static_cast<std::size_t>(data[position]) << 8 | data[position + 1];
        position += 2;
        if (length > size - position)
            TARSEL_THROW(Exception, "Theora header packet of " + std::to_string(length) + " bytes at byte " +
                                        std::to_string(position) + " passes the end at " + std::to_string(size));
        u8 const* const body = data + position;
        position += length;
        if (length == 0) continue;
        if (body[0] == THEORA_IDENTIFICATION) {
            DecodeTheoraIdentification(body, length, header);
            identified = true;
        } else if (body[0] == THEORA_SETUP) {
            if (length < THEORA_HEADER_SIZE)
                TARSEL_THROW(Exception, "Theora setup header of " + std::to_string(length) + " bytes is too small");
            header.setup.assign(body + THEORA_HEADER_SIZE, body + length);
            hasSetup = true;
        }
    }
    if (!identified || !hasSetup)
        TARSEL_THROW(Exception, std::string("Theora header lacks its ") + (identified ? "setup" : "identification"));
    return header;
}

bool CompareTheora(IBlob const& source, IBlob const& encoder) {
    auto const input = TryDecode("Theora", [&] { return DecodeTheora(source); });
    if (!input) return false;
    auto const output = TryDecode("Theora", [&] { return DecodeTheora(encoder); });
    return output && *input == *output;
}

}  // namespace

bool CompareStreamHeaders(Conf::IFormatCodec const& source, Conf::IFormatCodec const& encoder) {
    bool (*compare)(IBlob const&, IBlob const&) = nullptr;
    std::string const& codec = source.GetCodecID();
    if (codec == IFormatCodecVideo::CODEC_ID_H264)
        compare = CompareH264;
    else if (codec == IFormatCodecVideo::CODEC_ID_MPEG4)
        compare = CompareMPEG4;
    else if (codec == IFormatCodecVideo::CODEC_ID_WMV2)
        compare = CompareWMV2;
    else if (codec == IFormatCodecVideo::CODEC_ID_THEORA)
        compare = CompareTheora;
    if (!compare) return true;
    iptr<IBlob> const input = source.GetExtradata();
    iptr<IBlob> const output = encoder.GetExtradata();
    return input && output && input->GetSize() > 0 && output->GetSize() > 0 && compare(*input, *output);
}

}  // namespace Tarsel::Proc
