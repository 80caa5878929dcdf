#include "tests/host/media/ReadBack.h"

#include <algorithm>
#include <stdexcept>

#include "host/media/FFmpeg.h"
#include "host/media/ReframedStream.h"

extern "C" {
#include <libavutil/md5.h>
}

namespace Tarsel::Test {

namespace {

std::string Digest(u8 const* data, std::size_t size) {
    std::string digest(16, '\0');
    av_md5_sum(reinterpret_cast<u8*>(digest.data()), data, size);
    return digest;
}

/// What stands between start codes, sorted.
std::string DigestOfUnits(u8 const* data, std::size_t size) {
    std::vector<std::string> units(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (i + 2 < size && data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1) {
            while (!units.back().empty() && units.back().back() == '\0') units.back().pop_back();
            units.emplace_back();
            i += 2;
        } else {
            units.back() += static_cast<char>(data[i]);
        }
    }
    std::sort(units.begin(), units.end());
    std::string all;
    for (std::string const& unit : units) all += unit + '\0';
    return Digest(reinterpret_cast<u8 const*>(all.data()), all.size());
}

std::string Hex(std::string const& digest) {
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < 4 && i < digest.size(); ++i) {
        text += DIGITS[static_cast<u8>(digest[i]) >> 4];
        text += DIGITS[static_cast<u8>(digest[i]) & 15];
    }
    return text;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, RawPacket const& packet) {
    return out << "{pts " << packet.pts << " dts " << packet.dts << " duration " << packet.duration
               << (packet.key ? " key " : " ") << Hex(packet.digest) << "}";
}

std::ostream& operator<<(std::ostream& out, Item const& item) {
    return out << "{time " << item.time << " decoded " << item.decodingTime << " duration " << item.duration
               << (item.key ? " key " : " ") << Hex(item.digest) << "}";
}

std::map<int, std::vector<RawPacket>> ReadBack(std::string const& path) {
    AVFormatContext* raw = nullptr;
    if (avformat_open_input(&raw, path.c_str(), nullptr, nullptr) < 0) throw std::runtime_error("can't open " + path);
    Host::InputPtr const input(raw);
    if (avformat_find_stream_info(raw, nullptr) < 0) throw std::runtime_error("can't probe " + path);
    Host::PacketPtr const packet(av_packet_alloc());
    std::map<int, std::vector<RawPacket>> streams;
    while (av_read_frame(raw, packet.get()) >= 0) {
        streams[packet->stream_index].push_back({packet->pts, packet->dts, packet->duration,
                                                 (packet->flags & AV_PKT_FLAG_KEY) != 0,
                                                 Digest(packet->data, static_cast<std::size_t>(packet->size)),
                                                 DigestOfUnits(packet->data, static_cast<std::size_t>(packet->size))});
        av_packet_unref(packet.get());
    }
    return streams;
}

Item ToItem(Proc::IDataPacket& packet) {
    AVPacket const& raw = *packet.GetAVPacket();
    return {packet.GetTime(), packet.GetDecodingTime(), packet.GetDuration(), packet.IsKeyFrame(),
            Digest(raw.data, static_cast<std::size_t>(raw.size))};
}

std::vector<Item> ReadItems(Proc::IStreamRaw& stream, std::size_t most) {
    std::vector<Item> items;
    while (items.size() < most) {
        iptr<Proc::IDataPacket> const packet = stream.Read();
        if (!packet) break;
        items.push_back(ToItem(*packet));
    }
    return items;
}

void CopyAll(Host::MediaFile& file, Host::MediaWriter& writer) {
    struct Source {
        int slot;
        iptr<Proc::IStreamRaw> stream;
        iptr<Proc::IDataPacket> packet;
    };
    std::vector<Source> sources;
    for (Host::StreamInfo const& info : file.GetStreams()) {
        if (!info.HasPackets()) {
            writer.AddAttachment(info);
            continue;
        }
        iptr<Proc::IStreamRaw> const stream =
            Host::ReframedStream::Create(file.OpenStream(info.index), file, info, writer.GetContainer());
        int const slot = writer.AddStream(*stream->GetFormatCodec(), info.kind, &info);
        if (slot == Host::MediaWriter::NO_SLOT) continue;
        stream->RequestSeek(0, nullptr);
        stream->DoSeek();
        sources.push_back({slot, stream, stream->Read()});
    }
    writer.SetMetadata(file.GetMetadata());
    writer.SetChapters(file.GetChapters());
    writer.Begin();
    for (;;) {
        Source* first = nullptr;
        for (Source& source : sources)
            if (source.packet && (!first || source.packet->GetDecodingTime() < first->packet->GetDecodingTime()))
                first = &source;
        if (!first) break;
        writer.Write(first->slot, *first->packet);
        first->packet = first->stream->Read();
    }
    writer.Finish();
}

std::vector<std::string> CopyFile(std::string const& from, std::string const& to) {
    iptr<Host::MediaFile> const file = Host::MediaFile::Open(from);
    iptr<Host::MediaWriter> const writer = Host::MediaWriter::Create(to, {false, {from}});
    CopyAll(*file, *writer);
    return writer->GetWarnings();
}

}  // namespace Tarsel::Test
