#include "host/digest/FrameHashText.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <queue>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/mathematics.h>
#include <libavutil/md5.h>
}

namespace Tarsel::Host {

namespace {

template <class... Values>
std::string Format(char const* format, Values... values) {
    std::array<char, 256> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

/// "#tb 0: 1/25": one thing that is known of a stream.
std::string Fact(char const* name, std::size_t stream, std::string const& value) {
    return "#" + std::string(name) + " " + std::to_string(stream) + ": " + value + "\n";
}

std::string RatioText(AVRational ratio) {
    return std::to_string(ratio.num) + "/" + std::to_string(ratio.den);
}

std::string LayoutName(AVChannelLayout const& layout) {
    std::array<char, 200> name{};
    return av_channel_layout_describe(&layout, name.data(), name.size()) < 0 ? "" : name.data();
}

std::string FactsOf(FrameHashStream const& stream, std::size_t number) {
    AVCodecParameters const& parameters = *stream.parameters;
    char const* const type = av_get_media_type_string(parameters.codec_type);
    std::string text = Fact("tb", number, RatioText(stream.timeBase));
    text += Fact("media_type", number, type ? type : "unknown");
    text += Fact("codec_id", number, avcodec_get_name(parameters.codec_id));
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
        text += Fact("dimensions", number, std::to_string(parameters.width) + "x" + std::to_string(parameters.height));
        text += Fact("sar", number, RatioText(stream.sampleAspect));
    } else if (parameters.codec_type == AVMEDIA_TYPE_AUDIO) {
        text += Fact("sample_rate", number, std::to_string(parameters.sample_rate));
        text += Fact("channel_layout_name", number, LayoutName(parameters.ch_layout));
    }
    return text;
}

std::string LineText(std::size_t stream, FrameHashLine const& line) {
    return Format("%zu, %10" PRId64 ", %10" PRId64 ", %8" PRId64 ", %8zu, ", stream, line.dts, line.pts, line.duration,
                  line.size) +
           line.hash + line.sideData + "\n";
}

/// The place in a stream that is to be written next.
struct Cursor {
    std::size_t stream = 0;
    std::size_t line = 0;
    int64 time = 0;
    AVRational timeBase;
};

struct ComesLater {
    bool operator()(Cursor const& a, Cursor const& b) const {
        int const order = av_compare_ts(a.time, a.timeBase, b.time, b.timeBase);
        return order != 0 ? order > 0 : a.stream > b.stream;
    }
};

}  // namespace

std::string HashBytes(u8 const* data, std::size_t size) {
    std::array<u8, 16> sum{};
    // It copes with no bytes, but not with no place for them.
    u8 const none = 0;
    av_md5_sum(sum.data(), size == 0 ? &none : data, size);
    std::string text;
    for (u8 const byte : sum) text += Format("%02x", unsigned{byte});
    return text;
}

std::string SideDataText(AVPacket const& packet) {
    if (packet.side_data_elems == 0) return {};
    std::string text = ", S=" + std::to_string(packet.side_data_elems);
    for (int i = 0; i < packet.side_data_elems; ++i) {
        AVPacketSideData const& piece = packet.side_data[i];
        text += Format(", %8zu, ", piece.size) + HashBytes(piece.data, piece.size);
    }
    return text;
}

std::string WriteFrameHashes(std::vector<FrameHashStream> const& streams) {
    std::string text = "#format: frame checksums\n#version: 2\n#hash: MD5\n";
    std::priority_queue<Cursor, std::vector<Cursor>, ComesLater> cursors;
    for (std::size_t i = 0; i < streams.size(); ++i) {
        AVCodecParameters const& parameters = *streams[i].parameters;
        if (parameters.extradata_size <= 0) continue;
        auto const size = static_cast<std::size_t>(parameters.extradata_size);
        text += Format("#extradata %zu, %31zu, ", i, size) + HashBytes(parameters.extradata, size) + "\n";
    }
    for (std::size_t i = 0; i < streams.size(); ++i) {
        text += FactsOf(streams[i], i);
        if (!streams[i].lines.empty()) cursors.push({i, 0, streams[i].lines.front().dts, streams[i].timeBase});
    }
    text += "#stream#, dts,        pts, duration,     size, hash\n";
    while (!cursors.empty()) {
        Cursor cursor = cursors.top();
        cursors.pop();
        std::vector<FrameHashLine> const& lines = streams[cursor.stream].lines;
        text += LineText(cursor.stream, lines[cursor.line]);
        if (++cursor.line == lines.size()) continue;
        cursor.time = lines[cursor.line].dts;
        cursors.push(cursor);
    }
    return text;
}

}  // namespace Tarsel::Host
