#include "benchmarks/bitstream/BenchMedia.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "tests/support/LibAv.h"

extern "C" {
#include <libavcodec/bsf.h>
}

namespace Tarsel::Bench {
namespace {

namespace Av = Test::Av;

void Require(bool good, std::string const& what) {
    if (!good) TARSEL_THROW(std::runtime_error, what);
}

double Now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::vector<Av::Packet> CopyPackets(Stream const& stream) {
    std::vector<Av::Packet> packets;
    for (std::size_t i = 0; i < stream.packets.size(); ++i) {
        Packet const& source = stream.packets[i];
        Av::Packet& packet = packets.emplace_back(av_packet_alloc());
        Require(av_new_packet(packet.get(), static_cast<int>(source.data.size())) >= 0, "no memory");
        std::copy(source.data.begin(), source.data.end(), packet->data);
        if (source.key) packet->flags |= AV_PKT_FLAG_KEY;
        packet->pts = packet->dts = static_cast<int64>(i) * 40;
        packet->duration = 40;
    }
    return packets;
}

void SetParameters(AVCodecParameters& parameters, Stream const& stream) {
    AVCodecDescriptor const* const descriptor = avcodec_descriptor_get_by_name(stream.codec.c_str());
    Require(descriptor != nullptr, "unknown codec " + stream.codec);
    parameters.codec_type = descriptor->type;
    parameters.codec_id = descriptor->id;
    parameters.width = 1280;
    parameters.height = 720;
    if (stream.extradata.empty()) return;
    parameters.extradata = static_cast<u8*>(av_mallocz(stream.extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    std::copy(stream.extradata.begin(), stream.extradata.end(), parameters.extradata);
    parameters.extradata_size = static_cast<int>(stream.extradata.size());
}

struct FreeFilter {
    void operator()(AVBSFContext* filter) const { av_bsf_free(&filter); }
};
using FilterPtr = std::unique_ptr<AVBSFContext, FreeFilter>;

FilterPtr OpenFilter(std::string const& name, Stream const& stream) {
    AVBSFContext* context = nullptr;
    Require(av_bsf_alloc(av_bsf_get_by_name(name.c_str()), &context) >= 0, "no filter " + name);
    FilterPtr filter(context);
    SetParameters(*filter->par_in, stream);
    Require(av_bsf_init(filter.get()) >= 0, name + " can't be opened");
    return filter;
}

void PassThrough(AVBSFContext* filter, AVPacket* packet) {
    Require(av_bsf_send_packet(filter, packet) >= 0 && av_bsf_receive_packet(filter, packet) >= 0,
            "the filter refuses a packet");
}

struct FreeMuxer {
    void operator()(AVFormatContext* muxer) const {
        av_freep(&muxer->pb->buffer);
        avio_context_free(&muxer->pb);
        avformat_free_context(muxer);
    }
};

int ThrowAway(void*, u8*, int size) {
    return size;
}
int64 SeekNowhere(void*, int64 offset, int) {
    return offset;
}

}  // namespace

std::size_t Stream::GetSize() const {
    std::size_t size = 0;
    for (Packet const& packet : packets) size += packet.data.size();
    return size;
}

Stream ReadStream(std::string const& path) {
    AVFormatContext* context = nullptr;
    Require(avformat_open_input(&context, path.c_str(), nullptr, nullptr) >= 0, "can't open " + path);
    Av::Input const input(context);
    Require(avformat_find_stream_info(context, nullptr) >= 0, "can't read " + path);
    AVCodecParameters const& parameters = *context->streams[0]->codecpar;
    Stream stream;
    stream.codec = avcodec_get_name(parameters.codec_id);
    stream.extradata.assign(parameters.extradata, parameters.extradata + parameters.extradata_size);
    Av::Packet const packet(av_packet_alloc());
    while (av_read_frame(context, packet.get()) >= 0) {
        if (packet->stream_index == 0)
            stream.packets.push_back(
                {Bytes(packet->data, packet->data + packet->size), (packet->flags & AV_PKT_FLAG_KEY) != 0});
        av_packet_unref(packet.get());
    }
    Require(!stream.packets.empty(), "no packet in " + path);
    return stream;
}

Stream Filter(std::string const& name, Stream const& stream) {
    FilterPtr const filter = OpenFilter(name, stream);
    Stream result;
    result.codec = stream.codec;
    result.extradata.assign(filter->par_out->extradata, filter->par_out->extradata + filter->par_out->extradata_size);
    for (Av::Packet const& packet : CopyPackets(stream)) {
        PassThrough(filter.get(), packet.get());
        result.packets.push_back(
            {Bytes(packet->data, packet->data + packet->size), (packet->flags & AV_PKT_FLAG_KEY) != 0});
    }
    return result;
}

double TimeFilter(std::string const& name, Stream const& stream) {
    FilterPtr const filter = OpenFilter(name, stream);
    auto packets = CopyPackets(stream);
    double const start = Now();
    for (Av::Packet& packet : packets) {
        PassThrough(filter.get(), packet.get());
        packet.reset();
    }
    return Now() - start;
}

double TimeMuxer(Stream const& stream) {
    AVFormatContext* context = nullptr;
    Require(avformat_alloc_output_context2(&context, nullptr, "mp4", nullptr) >= 0, "no MP4 muxer");
    constexpr int BUFFER = 1 << 20;
    context->pb =
        avio_alloc_context(static_cast<u8*>(av_malloc(BUFFER)), BUFFER, 1, nullptr, nullptr, ThrowAway, SeekNowhere);
    std::unique_ptr<AVFormatContext, FreeMuxer> const muxer(context);
    AVStream* const out = avformat_new_stream(context, nullptr);
    SetParameters(*out->codecpar, stream);
    out->time_base = {1, 1000};
    Require(avformat_write_header(context, nullptr) >= 0, "the muxer refuses the header");
    auto packets = CopyPackets(stream);
    double const start = Now();
    for (Av::Packet& packet : packets) {
        packet->pts = packet->dts = av_rescale_q(packet->pts, {1, 1000}, out->time_base);
        Require(av_write_frame(context, packet.get()) >= 0, "the muxer refuses a packet");
        packet.reset();
    }
    double const seconds = Now() - start;
    av_write_trailer(context);
    return seconds;
}

}  // namespace Tarsel::Bench
