#include "tests/support/Rewrapping.h"

#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Types.h"
#include "tests/support/LibAv.h"

namespace Tarsel::Test {
namespace {

void Check(int code, std::string const& what) {
    if (code < 0) TARSEL_THROW(std::runtime_error, what + " fails");
}

std::string Load(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) TARSEL_THROW(std::runtime_error, path + ": can't be read");
    return {std::istreambuf_iterator<char>(file), {}};
}

void Store(std::string const& path, std::string const& bytes) {
    std::ofstream file(path, std::ios::binary);
    if (!(file << bytes)) TARSEL_THROW(std::runtime_error, path + ": can't be written");
}

bool IsSupplemental(AVCodecID codec, u8 first) {
    return codec == AV_CODEC_ID_H264 ? (first & 31) == 6 : ((first >> 1) & 63) == 39 || ((first >> 1) & 63) == 40;
}

/// The packet's units behind lengths of `size` bytes.
std::string WithLengths(AVPacket const& packet, AVCodecID codec, int size) {
    std::string out;
    for (int at = 0; at + 4 < packet.size;) {
        u32 length = 0;
        for (int i = 0; i < 4; i++) length = length << 8 | packet.data[at + i];
        u8 const* const unit = packet.data + at + 4;
        at += 4 + static_cast<int>(length);
        bool const fits = size == 4 || length < 1U << (8 * size);
        if (!fits && IsSupplemental(codec, unit[0])) continue;
        if (!fits) TARSEL_THROW(std::runtime_error, "a unit of " + std::to_string(length) + " bytes is too long");
        for (int i = size; i-- > 0;) out += static_cast<char>(length >> (8 * i));
        out.append(reinterpret_cast<char const*>(unit), length);
    }
    return out;
}

struct Output {
    explicit Output(std::string const& path) {
        Check(avformat_alloc_output_context2(&context, nullptr, nullptr, path.c_str()), "a writer");
        Check(avio_open(&context->pb, path.c_str(), AVIO_FLAG_WRITE), path);
    }
    ~Output() {
        avio_closep(&context->pb);
        avformat_free_context(context);
    }
    Output(Output const&) = delete;
    Output& operator=(Output const&) = delete;
    AVFormatContext* context = nullptr;
};

}  // namespace

namespace {

using ChangeHeader = std::function<void(AVCodecParameters&)>;
using ChangePacket = std::function<std::string(AVPacket const&)>;

/// Copies the first stream of an MP4.
void Rewrap(std::string const& from, std::string const& to, ChangeHeader const& header, ChangePacket const& payload) {
    AVFormatContext* raw = nullptr;
    Check(avformat_open_input(&raw, from.c_str(), nullptr, nullptr), from);
    Av::Input const input(raw);
    Check(avformat_find_stream_info(raw, nullptr), from);
    AVStream const& source = *raw->streams[0];
    Output const output(to);
    AVStream& stream = *avformat_new_stream(output.context, nullptr);
    Check(avcodec_parameters_copy(stream.codecpar, source.codecpar), "a copy of parameters");
    stream.time_base = source.time_base;
    header(*stream.codecpar);
    Check(avformat_write_header(output.context, nullptr), to);
    Av::Packet const packet(av_packet_alloc());
    Av::Packet const changed(av_packet_alloc());
    while (av_read_frame(raw, packet.get()) >= 0) {
        if (packet->stream_index == 0) {
            std::string const bytes = payload(*packet);
            Check(av_new_packet(changed.get(), static_cast<int>(bytes.size())), "a new packet");
            Check(av_packet_copy_props(changed.get(), packet.get()), "a copy of properties");
            bytes.copy(reinterpret_cast<char*>(changed->data), bytes.size());
            changed->stream_index = 0;
            av_packet_rescale_ts(changed.get(), source.time_base, stream.time_base);
            Check(av_interleaved_write_frame(output.context, changed.get()), to);
        }
        av_packet_unref(packet.get());
    }
    Check(av_write_trailer(output.context), to);
}

/// The parameter sets of a header record, each behind a length of 4 bytes; the record is left without them. ISO/IEC
/// 14496-15, 5.3.3.1 and 8.3.3.1.
std::string TakeSets(AVCodecParameters& parameters) {
    u8* const record = parameters.extradata;
    std::string sets;
    int at = 0;
    auto const take = [&](int count) {
        for (int i = 0; i < count; i++) {
            int const length = record[at] << 8 | record[at + 1];
            sets += std::string(2, '\0') + std::string(reinterpret_cast<char*>(record + at), length + 2);
            at += length + 2;
        }
    };
    if (parameters.codec_id == AV_CODEC_ID_H264) {
        at = 6;
        take(record[5] & 31);
        int const count = record[at++];
        take(count);
        record[5] = 0xE0;
        record[6] = 0;
        parameters.extradata_size = 7;
        return sets;
    }
    int const arrays = record[22];
    at = 23;
    for (int i = 0; i < arrays; i++) {
        int const count = record[at + 1] << 8 | record[at + 2];
        at += 3;
        take(count);
    }
    record[22] = 0;
    parameters.extradata_size = 23;
    return sets;
}

}  // namespace

void RewriteLengths(std::string const& from, std::string const& to, int size) {
    AVCodecID codec = AV_CODEC_ID_NONE;
    auto const header = [&](AVCodecParameters& parameters) {
        codec = parameters.codec_id;
        // lengthSizeMinusOne: ISO/IEC 14496-15, 5.3.3.1 and 8.3.3.1.
        u8& field = parameters.extradata[codec == AV_CODEC_ID_H264 ? 4 : 21];
        field = static_cast<u8>((field & 0xFC) | (size - 1));
    };
    Rewrap(from, to, header, [&](AVPacket const& packet) { return WithLengths(packet, codec, size); });
}

void MoveSetsIntoBand(std::string const& from, std::string const& to) {
    std::string sets;
    Rewrap(
        from, to, [&](AVCodecParameters& parameters) { sets = TakeSets(parameters); },
        [&](AVPacket const& packet) {
            std::string const bytes(reinterpret_cast<char const*>(packet.data), static_cast<std::size_t>(packet.size));
            return (packet.flags & AV_PKT_FLAG_KEY) != 0 ? sets + bytes : bytes;
        });
}

void AddAdtsCheckSums(std::string const& from, std::string const& to) {
    constexpr std::size_t HEADER = 7;
    std::string const bytes = Load(from);
    std::string out;
    for (std::size_t at = 0; at + HEADER < bytes.size();) {
        auto const byte = [&](std::size_t i) { return static_cast<unsigned>(static_cast<u8>(bytes[at + i])); };
        if (byte(0) != 0xFF || (byte(1) & 0xF1) != 0xF1) TARSEL_THROW(std::runtime_error, from + ": no plain ADTS");
        // ISO/IEC 14496-3, 1.A.2.2: protection_absent, and the length of the frame with its header.
        std::size_t const length = (byte(3) & 3) << 11 | byte(4) << 3 | byte(5) >> 5;
        std::size_t const longer = length + 2;
        std::string header = bytes.substr(at, HEADER);
        header[1] = static_cast<char>(byte(1) & 0xFE);
        header[3] = static_cast<char>((byte(3) & 0xFC) | longer >> 11);
        header[4] = static_cast<char>(longer >> 3 & 0xFF);
        header[5] = static_cast<char>((longer & 7) << 5 | (byte(5) & 31));
        out += header + std::string(2, '\0') + bytes.substr(at + HEADER, length - HEADER);
        at += length;
    }
    Store(to, out);
}

void JoinFiles(std::string const& first, std::string const& second, std::string const& to) {
    Store(to, Load(first) + Load(second));
}

}  // namespace Tarsel::Test
