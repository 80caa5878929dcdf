#include "tests/host/media/codecs/PacketList.h"

#include <unistd.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/DataPacketFF.h"
#include "host/media/FFmpeg.h"
#include "host/media/NativeParameters.h"

namespace Tarsel::Tests {

using namespace Tarsel::Host;

PacketList::PacketList(iptr<Conf::IFormatCodec const> formatCodec, MediaType mediaType, PacketVector list)
    : packets(std::move(list)), format(std::move(formatCodec)), type(mediaType) {
    for (auto const& packet : packets) {
        int64 const end = AddTime(packet->GetTime(), std::max<int64>(packet->GetDuration(), 0));
        if (HasValue(end)) duration = HasValue(duration) ? std::max(duration, end) : end;
    }
}

int64 PacketList::GetPosition() {
    return next < packets.size() ? packets[next]->GetTime() : NO_VALUE;
}

iptr<Proc::IDataPacket> PacketList::Read() {
    ++reads;
    if (ended || next >= packets.size()) return nullptr;
    return packets[next++]->Clone(false);
}

void PacketList::DoSeek() {
    ended = false;
    next = 0;
    for (std::size_t i = 0; i < packets.size(); ++i)
        if (packets[i]->IsKeyFrame() && HasValue(packets[i]->GetTime()) && packets[i]->GetTime() <= target) next = i;
}

std::string MakeClip(std::string const& name, std::string const& arguments) {
    namespace fs = std::filesystem;
    fs::path const folder = fs::path(TARSEL_CODEC_CLIPS_DIR);
    fs::create_directories(folder);
    fs::path const path = folder / name;
    if (fs::exists(path)) return path;
    // Several test programs may make the same clip at once: each writes its own file, the rename is atomic.
    fs::path const part = folder / (std::to_string(::getpid()) + "-" + name);
    std::string const command =
        "ffmpeg -nostdin -v error -y " + arguments + " -fflags +bitexact '" + part.string() + "' </dev/null";
    if (std::system(command.c_str()) != 0) throw std::runtime_error("Can't make clip: " + command);
    fs::rename(part, path);
    return path;
}

std::string GroupsOf50() {
    return MakeClip("groups-of-50.mp4",
                    "-f lavfi -i testsrc2=s=320x240:r=25:d=4 -pix_fmt yuv420p -c:v libx264 -g 50 -bf 3 "
                    "-x264opts keyint=50:min-keyint=50:scenecut=0");
}

namespace {

int64 Microseconds(int64 time, AVRational timeBase) {
    return HasValue(time) ? av_rescale_q(time, timeBase, {1, 1000000}) : NO_VALUE;
}

iptr<Conf::IFormatCodec> MakeFormat(AVFormatContext& input, AVStream& stream) {
    AVCodecParameters const& parameters = *stream.codecpar;
    iptr<NativeParameters> native(new NativeParameters);
    avcodec_parameters_copy(native->parameters.get(), &parameters);
    native->timeBase = stream.time_base;
    native->averageFrameRate = stream.avg_frame_rate;
    iptr<Conf::IFormatCodec> format;
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
        auto const video = Conf::IFormatCodecVideo::Create();
        video->InitByPixelAspect(unsigned(parameters.width), unsigned(parameters.height),
                                 unsigned(parameters.sample_aspect_ratio.num),
                                 unsigned(parameters.sample_aspect_ratio.den));
        video->SetPixelFormat(static_cast<PixFmt>(parameters.format));
        AVRational const rate = av_guess_frame_rate(&input, &stream, nullptr);
        if (rate.num > 0) video->SetFrameRate(Ratio(rate.num, rate.den));
        format = video;
    } else if (parameters.codec_type == AVMEDIA_TYPE_AUDIO) {
        auto const audio = Conf::IFormatCodecAudio::Create();
        uint64 const mask = parameters.ch_layout.order == AV_CHANNEL_ORDER_NATIVE
                                ? parameters.ch_layout.u.mask
                                : Conf::DefaultChannelLayout(parameters.ch_layout.nb_channels);
        audio->SetSampleInfo({static_cast<Conf::SampleFormats>(parameters.format), parameters.sample_rate, mask});
        format = audio;
    } else {
        format = Conf::IFormatCodecSubtitle::Create();
    }
    format->SetCodecID(avcodec_get_name(parameters.codec_id));
    if (parameters.extradata_size > 0)
        format->SetExtradata(Proc::BlobFF::Create(parameters.extradata, std::size_t(parameters.extradata_size)));
    format->SetNativeParameters(native);
    return format;
}

}  // namespace

iptr<PacketList> LoadPackets(std::string const& path, MediaType type) {
    AVFormatContext* raw = nullptr;
    if (avformat_open_input(&raw, path.c_str(), nullptr, nullptr) < 0) throw std::runtime_error("Can't open " + path);
    InputPtr const input(raw);
    if (avformat_find_stream_info(raw, nullptr) < 0) throw std::runtime_error("Can't read " + path);
    AVMediaType const wanted = type == MEDIA_TYPE_VIDEO   ? AVMEDIA_TYPE_VIDEO
                               : type == MEDIA_TYPE_AUDIO ? AVMEDIA_TYPE_AUDIO
                                                          : AVMEDIA_TYPE_SUBTITLE;
    int const index = av_find_best_stream(raw, wanted, -1, -1, nullptr, 0);
    if (index < 0) throw std::runtime_error("No such stream in " + path);
    int const video = av_find_best_stream(raw, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    int64 zero = NO_VALUE;
    PacketVector packets;
    iptr<Conf::IFormatCodec> const format = MakeFormat(*raw, *raw->streams[index]);
    for (PacketPtr packet(av_packet_alloc()); av_read_frame(raw, packet.get()) >= 0; packet.reset(av_packet_alloc())) {
        AVRational const timeBase = raw->streams[packet->stream_index]->time_base;
        int64 const time = Microseconds(packet->pts, timeBase);
        if (HasValue(time) && (video < 0 || packet->stream_index == video))
            zero = HasValue(zero) ? std::min(zero, time) : time;
        if (packet->stream_index != index) continue;
        int64 const decoding = Microseconds(packet->dts, timeBase);
        int64 const length = packet->duration > 0 ? Microseconds(packet->duration, timeBase) : NO_VALUE;
        packets.push_back(Proc::DataPacketFF::Create(packet.release(), type, time, decoding, length));
    }
    for (auto const& packet : packets) {
        packet->SetTime(SubTime(packet->GetTime(), zero));
        packet->SetDecodingTime(SubTime(packet->GetDecodingTime(), zero));
        packet->SetSourcePosition(packet->GetTime());
        packet->SetFormatCodec(format);
    }
    return iptr<PacketList>(new PacketList(format, type, std::move(packets)));
}

iptr<PacketList> Collect(iptr<Proc::IStreamRaw> const& stream) {
    return iptr<PacketList>(new PacketList(stream->GetFormatCodec(), stream->GetMediaType(), ReadAll(stream)));
}

Psnr Compare(Proc::IDataVideo const& a, Proc::IDataVideo const& b) {
    double squares = 0;
    double count = 0;
    double luma = 0;
    for (int i = 0; i < Proc::GetPlanesCount(a); ++i) {
        auto const first = a.GetPlaneConst(unsigned(i));
        auto const second = b.GetPlaneConst(unsigned(i));
        double plane = 0;
        for (int y = 0; y < first.GetRows(); ++y)
            for (int x = 0; x < first.GetRowBytes(); ++x) {
                int const difference =
                    first.GetData()[y * first.GetStride() + x] - second.GetData()[y * second.GetStride() + x];
                plane += double(difference) * difference;
            }
        double const size = double(first.GetRows()) * first.GetRowBytes();
        if (i == 0) luma = plane / size;
        squares += plane;
        count += size;
    }
    auto const decibels = [](double error) { return error <= 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 / error); };
    return {decibels(luma), decibels(squares / count)};
}

}  // namespace Tarsel::Tests
