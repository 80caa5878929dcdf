#include "host/cut/CutVerifier.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>

#include "contracts/Core/BitIO.h"
#include "contracts/Core/Exception.h"
#include "host/cut/CutErrors.h"
#include "host/media/AudioDecoder.h"
#include "host/media/PacketScan.h"
#include "host/media/VideoDecoder.h"

extern "C" {
#include <libavutil/md5.h>
#include <libavutil/mem.h>
}

namespace Tarsel::Host {

namespace {

constexpr u8 H264_SPS = 7;
constexpr u8 H264_DELIMITER = 9;
constexpr u8 HEVC_VPS = 32;
constexpr u8 HEVC_DELIMITER = 35;
constexpr std::size_t ADTS_HEADER = 7;
constexpr std::size_t ADTS_CRC = 2;

/// Whether a unit belongs to the container's business: parameter sets and delimiters.
bool IsFraming(bool hevc, u8 firstByte) {
    if (hevc) {
        u8 const type = (firstByte >> 1) & 0x3F;
        return type >= HEVC_VPS && type <= HEVC_DELIMITER;
    }
    u8 const type = firstByte & 0x1F;
    return type >= H264_SPS && type <= H264_DELIMITER;
}

class Digest {
  public:
    Digest() : context(av_md5_alloc(), av_free) { av_md5_init(context.get()); }
    void Add(u8 const* data, std::size_t count) {
        if (count != 0) av_md5_update(context.get(), data, count);
        size += count;
    }
    std::array<u8, 16> Finish() {
        std::array<u8, 16> sum{};
        av_md5_final(context.get(), sum.data());
        return sum;
    }
    std::size_t GetSize() const { return size; }

  private:
    std::unique_ptr<AVMD5, void (*)(void*)> context;
    std::size_t size = 0;
};

/// Bytes of the program config element (ISO/IEC 14496-3, 4.4.1.1) that a frame of AAC begins with; 0 without one.
std::size_t ProgramConfigSize(u8 const* data, std::size_t size) {
    constexpr unsigned ID_PCE = 5;
    if (size == 0 || data[0] >> 5 != ID_PCE) return 0;
    try {
        Core::DataBitInput bits(Core::DataInputMemory::Create(data, size));
        bits.SkipBits(3 + 4 + 2 + 4);  // which one, profile, sample rate
        u64 paired = 0;                // elements of five bits: front, side, back
        for (int i = 0; i < 3; ++i) paired += bits.ReadBits(4);
        u64 const effects = bits.ReadBits(2);
        u64 const associated = bits.ReadBits(3);
        u64 const coupled = bits.ReadBits(4);
        for (unsigned const mixdown : {4U, 4U, 3U})
            if (bits.ReadBits(1) != 0) bits.SkipBits(mixdown);
        bits.SkipBits(5 * (paired + coupled) + 4 * (effects + associated));
        bits.SkipBitsToNextByte();
        bits.SkipBits(8 * bits.ReadBits(8));  // a comment
        return static_cast<std::size_t>(bits.GetBitPosition() / 8);
    } catch (Exception const&) {
        return 0;
    }
}

/// ADTS headers go, and a program config element that writers bring from the first frame into the global header.
void AddAac(Digest& digest, u8 const* data, std::size_t size) {
    std::size_t start = 0;
    if (size > ADTS_HEADER && data[0] == 0xFF && (data[1] & 0xF6) == 0xF0)
        start = std::min(size, ADTS_HEADER + ((data[1] & 1) ? 0 : ADTS_CRC));
    start += ProgramConfigSize(data + start, size - start);
    digest.Add(data + start, size - start);
}

/// Adds what counts of a payload. `format` tells the framing.
void AddPayload(Digest& digest, std::string const& codec, Conf::IFormatCodec const& format, u8 const* data,
                std::size_t size) {
    bool const hevc = codec == "hevc";
    if (hevc || codec == "h264") {
        auto const extradata = format.GetExtradata();
        auto const framing =
            FramingOf(hevc ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264, extradata ? extradata->GetData() : nullptr,
                      extradata ? extradata->GetSize() : 0);
        NalWalker walker(data, size, framing);
        while (walker.Next()) {
            std::size_t unit = walker.GetSize();
            // Zero bytes behind a unit belong to the framing, not to the unit.
            while (unit != 0 && walker.GetData()[unit - 1] == 0) --unit;
            if (unit != 0 && !IsFraming(hevc, walker.GetData()[0])) digest.Add(walker.GetData(), unit);
        }
        return;
    }
    if (codec == "aac") return AddAac(digest, data, size);
    digest.Add(data, size);
}

/// The n-th stream of a kind, from 0; null when there are fewer.
StreamInfo const* FindNth(MediaFile const& file, StreamKind kind, std::size_t n) {
    for (StreamInfo const& info : file.GetStreams())
        if (info.kind == kind && !info.derived && n-- == 0) return &info;
    return nullptr;
}

std::size_t CountHidden(StreamIndex const& index) {
    auto const& records = index.GetRecords();
    return static_cast<std::size_t>(std::count_if(records.begin(), records.end(), [](IndexRecord const& record) {
        return (record.flags & IndexRecord::NOT_SHOWN) != 0;
    }));
}

[[noreturn]] void Differs(CutTrack const& track, std::string const& what) {
    TARSEL_THROW(VerificationMismatch,
                 "stream #" + std::to_string(track.info->index) + " (" + track.info->codec + "): " + what);
}

bool FindTail(std::string const& codec, u8 const* data, std::size_t size, std::size_t wanted, u8 const*& start) {
    // MPEG sequence headers may stand in front of a key packet: what counts is the packet's end.
    bool const prefixed = codec == "mpeg4" || codec == "mpeg2video" || codec == "mpeg1video";
    if (!prefixed || size < wanted) return false;
    start = data + (size - wanted);
    return true;
}

}  // namespace

namespace {

/// Empty texts, which the MP4 muxer puts between events of its own accord: a length of 0 and nothing more.
bool IsFiller(std::string const& codec, std::size_t size) {
    return codec == "mov_text" && size <= 2;
}

}  // namespace

void CutVerifier::Note(CutTrack const& track, Proc::IDataPacket const& packet) {
    if (IsFiller(track.info->codec, packet.GetSize())) return;
    auto const slot = static_cast<std::size_t>(track.slot);
    if (streams.size() <= slot) streams.resize(slot + 1);
    Stream& stream = streams[slot];
    auto const payload = packet.GetBlob();
    Digest digest;
    auto const format = track.stream->GetFormatCodec();
    AddPayload(digest, format->GetCodecID(), *format, payload->GetData(), payload->GetSize());
    stream.packets.push_back({digest.Finish(), digest.GetSize(), packet.GetTime()});
    int64 const end = AddTime(packet.GetTime(), packet.GetDuration());
    if (HasValue(end)) stream.end = std::max(stream.end, end);
    if (HasValue(packet.GetDuration())) stream.longestPacket = std::max(stream.longestPacket, packet.GetDuration());
}

void CutVerifier::Check(std::string const& path, std::vector<CutTrack> const& tracks,
                        ProgressCallback const& progress) const {
    iptr<MediaFile> const file = MediaFile::Open(path);
    // Readers of some containers list streams in the order of their first packets: the n-th stream of a kind is the
    // n-th of it.
    std::map<StreamKind, std::size_t> seen;
    for (CutTrack const& track : tracks) {
        if (track.slot < 0) continue;  // the writer couldn't carry it, and said so
        auto const slot = static_cast<std::size_t>(track.slot);
        Stream const noted = slot < streams.size() ? streams[slot] : Stream();
        StreamInfo const* const info = FindNth(*file, track.info->kind, seen[track.info->kind]++);
        if (!info) {
            if (noted.packets.empty()) continue;
            Differs(track, "the result has no such stream");
        }
        ComparePackets(*file, *info, track, noted);
        Decode(*file, *info, track, noted, progress);
    }
    CheckEnds(tracks);
}

void CutVerifier::ComparePackets(MediaFile& file, StreamInfo const& info, CutTrack const& track,
                                 Stream const& noted) const {
    iptr<Proc::IStreamRaw> const stream = file.OpenStream(info.index);
    int64 const start = file.GetIndex(info.index).GetStartTime();
    stream->RequestSeek(HasValue(start) ? std::min<int64>(start, 0) : 0, nullptr);
    stream->DoSeek();
    std::size_t count = 0;
    while (iptr<Proc::IDataPacket> const packet = stream->Read()) {
        if (IsFiller(info.codec, packet->GetSize())) continue;
        if (++count > noted.packets.size()) continue;
        Noted const& wanted = noted.packets[count - 1];
        auto const payload = packet->GetBlob();
        u8 const* data = payload->GetData();
        std::size_t size = payload->GetSize();
        u8 const* tail = nullptr;
        if (FindTail(info.codec, data, size, wanted.size, tail)) {
            data = tail;
            size = wanted.size;
        }
        Digest digest;
        AddPayload(digest, info.codec, *stream->GetFormatCodec(), data, size);
        if (digest.Finish() != wanted.digest)
            Differs(track, "packet " + std::to_string(count - 1) + " at " + ShortTime(wanted.time) +
                               " is not what was written");
    }
    if (count != noted.packets.size())
        Differs(track, std::to_string(count) + " packets in the result, " + std::to_string(noted.packets.size()) +
                           " were written");
}

void CutVerifier::Decode(MediaFile& file, StreamInfo const& info, CutTrack const& track, Stream const& noted,
                         ProgressCallback const& progress) const {
    if (noted.packets.empty()) return;
    auto const stream = file.OpenStream(info.index);
    DecoderOptions options;
    options.threading = DecoderOptions::Threading::Frames;
    // At the joint of an open group a decoder may speak of missing references: that is announced, not a fault.
    bool const open =
        track.mode != CutMode::Reencode && (track.index->HasLeadingPictures() || !track.index->IsEveryKeyIdr());
    options.strictness = open ? DecoderOptions::Strictness::Lenient : DecoderOptions::Strictness::Errors;
    auto const run = [&](auto const& decoder) {
        std::size_t frames = 0;
        decoder->RequestSeek(0, nullptr);
        decoder->DoSeek();
        for (auto frame = decoder->Read(); frame; frame = decoder->Read()) {
            ++frames;
            if (progress) progress(frame->GetTime(), noted.end);
        }
        return frames;
    };
    try {
        if (track.info->kind == StreamKind::Audio) {
            if (run(AudioDecoder::Create(stream, "", options)) == 0) Differs(track, "nothing decodes");
        } else if (track.IsVideo()) {
            std::size_t const frames = run(VideoDecoder::Create(stream, "", options));
            std::string const& codec = info.codec;
            bool const hidden = codec == "vp8" || codec == "vp9";
            // What the source's edit list hides the result's may hide, too.
            std::size_t const planned =
                noted.packets.size() - std::min(CountHidden(file.GetIndex(info.index)), CountHidden(*track.index));
            if (open ? frames == 0 : hidden ? frames > planned : frames != planned)
                Differs(track,
                        std::to_string(frames) + " pictures decode, " + std::to_string(planned) + " were planned");
        }
    } catch (Proc::ProcException const& failure) {
        Differs(track, std::string("does not decode: ") + failure.what());
    }
}

void CutVerifier::CheckEnds(std::vector<CutTrack> const& tracks) const {
    auto const find = [&](StreamKind kind) {
        return std::find_if(tracks.begin(), tracks.end(), [&](CutTrack const& track) {
            auto const slot = static_cast<std::size_t>(track.slot);
            return track.info->kind == kind && slot < streams.size() && HasValue(streams[slot].end);
        });
    };
    auto const video = find(StreamKind::Video);
    auto const audio = find(StreamKind::Audio);
    if (video == tracks.end() || audio == tracks.end()) return;
    Stream const& picture = streams[static_cast<std::size_t>(video->slot)];
    Stream const& sound = streams[static_cast<std::size_t>(audio->slot)];
    // What the source's own streams differ by is no fault of the cut.
    int64 const own = std::abs(SubTime(audio->index->GetEndTime(), video->index->GetEndTime()));
    // At the end of a kept stretch the leading pictures of the next, removed group may be missing: as many as a decoder
    // can hold.
    constexpr int64 MAX_LEADING = 16;
    int64 const lost = video->index->HasLeadingPictures() ? MAX_LEADING * picture.longestPacket : 0;
    int64 const apart = std::abs(SubTime(sound.end, picture.end));
    if (apart > own + lost + sound.longestPacket)
        Differs(*audio, "sound ends " + std::to_string(apart) + " us away from the picture, more than one packet (" +
                            std::to_string(sound.longestPacket) + " us)");
}

}  // namespace Tarsel::Host
