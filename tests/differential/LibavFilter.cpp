#include "tests/differential/LibavFilter.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>

#include "contracts/Core/Exception.h"

extern "C" {
#include <libavcodec/bsf.h>
#include <libavutil/log.h>
}

namespace Tarsel::Test {
namespace {

struct FreeFilter {
    void operator()(AVBSFContext* filter) const { av_bsf_free(&filter); }
};
using Filter = std::unique_ptr<AVBSFContext, FreeFilter>;

u8* CopyPadded(Bytes const& bytes) {
    auto* const copy = static_cast<u8*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    std::copy(bytes.begin(), bytes.end(), copy);
    return copy;
}

Filter OpenFilter(std::string const& name, std::string const& codec, Bytes const& extradata) {
    AVCodecDescriptor const* const descriptor = avcodec_descriptor_get_by_name(codec.c_str());
    AVBSFContext* context = nullptr;
    if (!descriptor || av_bsf_alloc(av_bsf_get_by_name(name.c_str()), &context) < 0)
        TARSEL_THROW(std::runtime_error, "no filter " + name + " for " + codec);
    Filter filter(context);
    filter->par_in->codec_type = descriptor->type;
    filter->par_in->codec_id = descriptor->id;
    if (!extradata.empty()) {
        filter->par_in->extradata = CopyPadded(extradata);
        filter->par_in->extradata_size = static_cast<int>(extradata.size());
    }
    if (av_bsf_init(filter.get()) < 0) TARSEL_THROW(std::runtime_error, name + " can't be opened");
    return filter;
}

Av::Packet MakeLibavPacket(Bytes const& data, bool key) {
    Av::Packet packet(av_packet_alloc());
    if (av_new_packet(packet.get(), static_cast<int>(data.size())) < 0)
        TARSEL_THROW(std::runtime_error, "no memory for a packet");
    std::copy(data.begin(), data.end(), packet->data);
    if (key) packet->flags |= AV_PKT_FLAG_KEY;
    return packet;
}

// Lines of the filter, gathered while a trace runs. The library has one log function for all.
std::string* traced = nullptr;
std::mutex traceLock;

void Gather(void*, int level, char const* format, va_list arguments) {
    if (!traced || level > AV_LOG_INFO) return;
    char line[512];
    std::vsnprintf(line, sizeof line, format, arguments);
    *traced += line;
}

// Takes "12          name[3]                01 = 1"; false for any other line.
bool ParseField(std::string const& line, std::pair<std::string, int64>& field) {
    std::istringstream words(line);
    long position = 0;
    std::string bits;
    std::string equals;
    if (!(words >> position >> field.first >> bits)) return false;
    // A field of no bits has no text for them.
    if (bits != "=" && (!(words >> equals) || equals != "=")) return false;
    return static_cast<bool>(words >> field.second);
}

std::vector<TracedHeader> ParseTrace(std::string const& text) {
    std::vector<TracedHeader> headers;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::pair<std::string, int64> field;
        if (!ParseField(line, field))
            headers.push_back({line, {}});
        else if (!headers.empty())
            headers.back().fields.push_back(field);
    }
    return headers;
}

}  // namespace

FilteredStream RunFilter(std::string const& name, StreamInspection const& stream) {
    Filter const filter = OpenFilter(name, stream.codec, stream.extradata);
    FilteredStream result;
    AVCodecParameters const& out = *filter->par_out;
    result.extradata.assign(out.extradata, out.extradata + out.extradata_size);
    for (PacketInfo const& info : stream.packets) {
        Av::Packet const packet = MakeLibavPacket(info.data, info.key);
        if (av_bsf_send_packet(filter.get(), packet.get()) < 0 || av_bsf_receive_packet(filter.get(), packet.get()) < 0)
            TARSEL_THROW(std::runtime_error, name + " refuses a packet");
        result.packets.emplace_back(packet->data, packet->data + packet->size);
        std::size_t size = 0;
        u8 const* const header = av_packet_get_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, &size);
        if (header && result.extradata.empty()) result.extradata.assign(header, header + size);
        av_packet_unref(packet.get());
        if (av_bsf_receive_packet(filter.get(), packet.get()) != AVERROR(EAGAIN))
            TARSEL_THROW(std::runtime_error, name + " makes more than one packet of one");
    }
    return result;
}

std::vector<TracedHeader> TraceHeaders(std::string const& codec, Bytes const& extradata,
                                       std::vector<Bytes> const& packets) {
    std::lock_guard const lock(traceLock);
    std::string text;
    traced = &text;
    av_log_set_callback(Gather);
    auto const restore = [](void*) {
        av_log_set_callback(av_log_default_callback);
        traced = nullptr;
    };
    std::unique_ptr<std::string, decltype(restore)> const guard(&text, restore);
    Filter const filter = OpenFilter("trace_headers", codec, extradata);
    for (Bytes const& data : packets) {
        Av::Packet const packet = MakeLibavPacket(data, true);
        if (av_bsf_send_packet(filter.get(), packet.get()) < 0 || av_bsf_receive_packet(filter.get(), packet.get()) < 0)
            TARSEL_THROW(std::runtime_error, "trace_headers refuses a packet of " + codec);
    }
    return ParseTrace(text);
}

Av::Codec DecodeStream(StreamInspection const& stream) {
    AVCodecDescriptor const* const descriptor = avcodec_descriptor_get_by_name(stream.codec.c_str());
    AVCodec const* const codec = descriptor ? avcodec_find_decoder(descriptor->id) : nullptr;
    Av::Codec decoder(avcodec_alloc_context3(codec));
    if (!stream.extradata.empty()) {
        decoder->extradata = CopyPadded(stream.extradata);
        decoder->extradata_size = static_cast<int>(stream.extradata.size());
    }
    decoder->thread_count = 1;
    if (!codec || avcodec_open2(decoder.get(), codec, nullptr) < 0)
        TARSEL_THROW(std::runtime_error, "no decoder for " + stream.codec);
    Av::Frame const frame(av_frame_alloc());
    for (PacketInfo const& info : stream.packets) {
        Av::Packet const packet = MakeLibavPacket(info.data, info.key);
        if (avcodec_send_packet(decoder.get(), packet.get()) < 0)
            TARSEL_THROW(std::runtime_error, "the decoder of " + stream.codec + " refuses a packet");
        while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0) {
        }
    }
    return decoder;
}

}  // namespace Tarsel::Test
