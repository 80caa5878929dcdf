#include "host/media/IndexBuilder.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/Time.h"
#include "host/media/JoinedTimes.h"
#include "host/media/SliceOrder.h"
#include "host/media/TimeFill.h"

extern "C" {
#include <libavcodec/codec_desc.h>
}

namespace Tarsel::Host {

namespace {

/// Failed reads in a row after which a damaged file counts as ended.
constexpr int MAX_BAD_READS = 16;

/// Packets behind which a stream without a single missing presentation time counts as one that has them all.
constexpr std::size_t ENOUGH_TIMES = 16;

/// Whether the container stores no presentation times, so that the pictures' own order is asked.
bool LacksPresentationTimes(AVInputFormat const& format) {
    std::string_view const name = format.name;
    return name == "avi" || name == "h264" || name == "hevc" || (format.flags & AVFMT_NOTIMESTAMPS) != 0;
}

u32 Saturate(int64 value) {
    return static_cast<u32>(std::clamp<int64>(value, 0, std::numeric_limits<u32>::max()));
}

}  // namespace

IndexBuilder::IndexBuilder(MediaFile const& file, AVFormatContext& reader) : file(file), reader(reader) {}
IndexBuilder::~IndexBuilder() = default;

void IndexBuilder::Run() {
    Prepare();
    ReadAll();
    JoinTimes();
    for (Track& track : tracks) FillTimes(track);
    FindZero();
    for (Track& track : tracks) Convert(track);
    FindDuration();
}

void IndexBuilder::Prepare() {
    for (StreamInfo const& info : file.GetStreams()) {
        AVStream const& stream = *reader.streams[info.index];
        AVCodecParameters const& parameters = *stream.codecpar;
        Track track;
        track.codec = parameters.codec_id;
        track.kind = info.kind;
        track.timeBase = stream.time_base;
        track.framing = FramingOf(parameters.codec_id, parameters.extradata,
                                  static_cast<std::size_t>(std::max(parameters.extradata_size, 0)));
        AVCodecDescriptor const* const descriptor = avcodec_descriptor_get(parameters.codec_id);
        track.reorders = descriptor && (descriptor->props & AV_CODEC_PROP_REORDER) != 0;
        if (auto const* const video = dynamic_cast<Conf::IFormatCodecVideo const*>(info.format.get())) {
            Ratio const rate = video->GetFrameRate();
            AVRational const frame{static_cast<int>(rate.denominator()), static_cast<int>(rate.numerator())};
            track.frameTicks = std::max<int64>(av_rescale_q(1, frame, track.timeBase), 1);
        }
        track.untimed = LacksPresentationTimes(*reader.iformat);
        if (info.kind == StreamKind::Video && IsNalCodec(track.codec))
            track.order = std::make_unique<PictureOrder>(track.codec, parameters);
        if (info.kind == StreamKind::Video && track.codec == AV_CODEC_ID_H264)
            track.sliceOrder = std::make_unique<SliceOrder>();
        tracks.push_back(std::move(track));
    }
}

void IndexBuilder::ReadAll() {
    PacketPtr const packet(av_packet_alloc());
    if (!packet) TARSEL_THROW(Core::IOException, file.GetPath() + ": out of memory");
    int badReads = 0;
    for (;;) {
        int const code = av_read_frame(&reader, packet.get());
        if (code == AVERROR(EAGAIN)) continue;
        if (code == AVERROR_INVALIDDATA && ++badReads < MAX_BAD_READS) {
            cutOff = true;
            continue;
        }
        if (code < 0) return NoteEnd(code);
        badReads = 0;
        Add(*packet);
        av_packet_unref(packet.get());
    }
}

void IndexBuilder::Add(AVPacket const& packet) {
    auto const number = static_cast<std::size_t>(packet.stream_index);
    if (number >= tracks.size()) {
        ++lateCount;
        return;
    }
    Track& track = tracks[number];
    if (!file.GetStreams()[number].HasPackets()) return;
    bool const corrupt = (packet.flags & AV_PKT_FLAG_CORRUPT) != 0;
    bool const transport = std::string_view(reader.iformat->name).starts_with("mpeg");
    if (corrupt && !transport && reader.pb && avio_feof(reader.pb)) {
        // The rest of its payload lies behind the end of the file.
        cutOff = true;
        return;
    }
    if (corrupt) ++corruptCount;
    IndexRecord record;
    record.time = packet.pts;
    record.decodingTime = packet.dts;
    record.position = packet.pos;
    record.size = static_cast<u32>(std::max(packet.size, 0));
    record.hash = HashPacket(packet.data, record.size);
    if (packet.flags & AV_PKT_FLAG_DISCARD) record.flags |= IndexRecord::NOT_SHOWN;
    if (packet.flags & AV_PKT_FLAG_KEY) {
        record.randomAccess = ClassifyKey(track.codec, packet.data, record.size, track.framing);
        record.flags |= record.randomAccess == RandomAccess::None ? IndexRecord::KEY_REFUSED : IndexRecord::KEY;
    }
    if (IsPicturedSubtitle(track.codec) && !IsSubtitleEntry(track.codec, packet.data, record.size))
        record.flags |= IndexRecord::CONTINUED;
    track.index.records.push_back(record);
    NoteOrder(track, packet);
    track.ticks.push_back(Saturate(packet.duration));
}

void IndexBuilder::NoteEnd(int code) {
    int const ioError = reader.pb ? reader.pb->error : 0;
    int const failure = code != AVERROR_EOF && code != AVERROR_INVALIDDATA ? code : ioError;
    if (failure != 0 && failure != AVERROR_EOF && failure != AVERROR_INVALIDDATA)
        TARSEL_THROW(Core::IOException, file.GetPath() + ": can't be read to its end: " + ErrorText(failure));
    if (code == AVERROR_INVALIDDATA) cutOff = true;
    if (corruptCount != 0) Warn(std::to_string(corruptCount) + " packets are marked as damaged");
    if (lateCount != 0)
        Warn(std::to_string(lateCount) + " packets belong to streams that the file's beginning doesn't name");
    if (!std::string_view(reader.iformat->name).starts_with("mov,mp4")) return;
    for (StreamInfo const& info : file.GetStreams()) {
        int const stated = avformat_index_get_entries_count(reader.streams[info.index]);
        auto const found = tracks[static_cast<std::size_t>(info.index)].index.records.size();
        if (info.HasPackets() && !info.derived && stated > 0 && found < static_cast<std::size_t>(stated)) cutOff = true;
    }
}

void IndexBuilder::NoteOrder(Track& track, AVPacket const& packet) {
    if (packet.pts == AV_NOPTS_VALUE) ++track.missingTimes;
    // A stream that has its times at the beginning has them to the end.
    if (!track.untimed && track.missingTimes == 0 && track.index.records.size() > ENOUGH_TIMES) {
        track.order.reset();
        track.sliceOrder.reset();
    }
    if (track.order) track.order->Add(packet);
    if (track.sliceOrder) track.sliceOrder->Add(packet, track.framing);
}

void IndexBuilder::JoinTimes() {
    if ((reader.iformat->flags & AVFMT_TS_DISCONT) == 0) return;
    std::vector<JoinedTrack> joined;
    for (Track& track : tracks)
        joined.push_back({&track.index.records, &track.ticks, track.timeBase, track.frameTicks});
    std::size_t const count = MoveBehindJoints(joined);
    if (count != 0)
        Warn("its times jump back at " + std::to_string(count) + " places: what follows is moved behind what precedes");
}

void IndexBuilder::FillTimes(Track& track) {
    std::vector<IndexRecord>& records = track.index.records;
    if (records.empty()) return;
    if (track.kind == StreamKind::Video) {
        if (track.missingTimes != 0) FillTimesOfPictures(track);
        FillDecodingTimes(records, track.frameTicks);
    } else {
        if (track.missingTimes != 0) FillTimesWithoutReordering(records, track.ticks);
        for (IndexRecord& record : records) {
            if (HasValue(record.decodingTime)) continue;
            record.decodingTime = record.time;
            record.flags |= IndexRecord::DTS_FILLED;
        }
    }
    track.order.reset();
    track.sliceOrder.reset();
}

void IndexBuilder::FillTimesOfPictures(Track& track) {
    std::vector<IndexRecord>& records = track.index.records;
    FillBothTimes(records, track.frameTicks);
    if (!track.reorders) return FillTimesWithoutReordering(records, track.ticks);
    bool const mostMissing = track.missingTimes > records.size() / 2 + 1;
    if (track.order && (track.untimed || mostMissing)) {
        auto const ranks = track.order->GetRanks(records);
        if (!ranks.empty()) return FillTimesByRank(records, ranks, track.frameTicks);
    }
    if (!IsNalCodec(track.codec)) return FillTimesByDelay(records, track.frameTicks);
    if (!mostMissing) return FillSingleTimes(records, track.frameTicks);
    if (track.sliceOrder) {
        auto const ranks = track.sliceOrder->GetRanks();
        if (ranks.size() == records.size()) {
            auto const number = static_cast<std::size_t>(&track - tracks.data());
            Warn("stream #" + std::to_string(number) + ": times are restored from slice types");
            return FillTimesByRank(records, ranks, track.frameTicks);
        }
    }
    track.index.timesProblem =
        "the container has no presentation times and the pictures' headers don't tell their order";
    FillTimesWithoutReordering(records, track.ticks);
}

void IndexBuilder::FindZero() {
    for (Track const& track : tracks) {
        if (track.kind != StreamKind::Video || track.index.records.empty()) continue;
        int64 first = NO_VALUE;
        for (IndexRecord const& record : track.index.records) {
            if (record.flags & IndexRecord::NOT_SHOWN) continue;
            if (!HasValue(first) || record.time < first) first = record.time;
        }
        zeroTick = HasValue(first) ? first : track.index.records.front().time;
        zeroBase = track.timeBase;
        return;
    }
    // Subtitles alone are made for a film that lies elsewhere: their clock is the film's.
    bool const subtitlesAlone = std::none_of(tracks.begin(), tracks.end(), [](Track const& track) {
        return track.kind != StreamKind::Subtitle && !track.index.records.empty();
    });
    if (subtitlesAlone) return;
    bool found = false;
    for (Track const& track : tracks) {
        for (IndexRecord const& record : track.index.records) {
            if (found && av_compare_ts(record.time, track.timeBase, zeroTick, zeroBase) >= 0) continue;
            found = true;
            zeroTick = record.time;
            zeroBase = track.timeBase;
        }
    }
}

int64 IndexBuilder::ToFileTime(int64 tick, AVRational timeBase) const {
    if (!HasValue(tick)) return NO_VALUE;
    if (av_cmp_q(timeBase, zeroBase) == 0) return ToMicroseconds(SubTime(tick, zeroTick), timeBase);
    return SubTime(ToMicroseconds(tick, timeBase), ToMicroseconds(zeroTick, zeroBase));
}

/// A picture is shown until the next one.
static void StretchToNextPicture(std::vector<IndexRecord>& records) {
    std::vector<std::pair<int64, std::size_t>> shown;
    shown.reserve(records.size());
    for (std::size_t i = 0; i < records.size(); ++i) shown.emplace_back(records[i].time, i);
    std::sort(shown.begin(), shown.end());
    int64 next = NO_VALUE;
    int64 following = NO_VALUE;  // the first time behind those that equal `next`
    for (std::size_t i = shown.size(); i-- > 0;) {
        auto const& [time, number] = shown[i];
        if (HasValue(next) && time < next) following = next;
        next = time;
        if (HasValue(following)) records[number].duration = Saturate(SubTime(following, time));
    }
    if (shown.size() < 2) return;
    // Where the container has no presentation times its durations are ticks, not pictures.
    IndexRecord& last = records[shown.back().second];
    IndexRecord const& previous = records[shown[shown.size() - 2].second];
    if ((last.flags & IndexRecord::PTS_FILLED) && previous.time < last.time) last.duration = previous.duration;
}

void IndexBuilder::Convert(Track& track) {
    std::vector<IndexRecord>& records = track.index.records;
    SetDurations(track);
    int64 keyTime = NO_VALUE;
    std::size_t key = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        IndexRecord& record = records[i];
        record.time = ToFileTime(record.time, track.timeBase);
        record.decodingTime = ToFileTime(record.decodingTime, track.timeBase);
        if (record.IsKey()) {
            keyTime = record.time;
            key = i;
        } else if (track.kind == StreamKind::Video && HasValue(keyTime) && record.time < keyTime) {
            record.flags |= IndexRecord::LEADING;
            // Codecs without a word of their own for it: such a group is open.
            records[key].randomAccess = RandomAccess::Entry;
        }
    }
    if (track.kind == StreamKind::Video) StretchToNextPicture(records);
    track.index.Finish();
    track.index.endTime = std::max(track.index.endTime, track.longestEnd);
    track.ticks.clear();
    track.ticks.shrink_to_fit();
}

void IndexBuilder::SetDurations(Track& track) {
    std::vector<IndexRecord>& records = track.index.records;
    for (std::size_t i = 0; i < records.size(); ++i) {
        int64 ticks = track.ticks[i];
        bool const last = i + 1 == records.size();
        if (ticks == 0 && track.kind == StreamKind::Video) ticks = track.frameTicks;
        if (ticks == 0 && track.kind == StreamKind::Audio && !last)
            ticks = std::max<int64>(SubTime(records[i + 1].time, records[i].time), 0);
        int64 length = ToMicroseconds(ticks, track.timeBase);
        if (length == 0 && last && i != 0 && track.kind == StreamKind::Audio) length = records[i - 1].duration;
        if (length == 0 && track.kind == StreamKind::Video) length = 1;
        if (track.kind == StreamKind::Subtitle && !IsPicturedSubtitle(track.codec))
            track.longestEnd = std::max(track.longestEnd, AddTime(ToFileTime(records[i].time, track.timeBase), length));
        records[i].duration = Saturate(length);
    }
}

void IndexBuilder::FindDuration() {
    int64 last = 0;
    for (Track const& track : tracks) last = std::max(last, track.index.GetEndTime());
    duration = last;
    bool const guessed = reader.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
    if (reader.duration > 0 && !guessed) {
        // Matroska counts from its own 0, not from its first packet.
        bool const fromZero = std::string_view(reader.iformat->name).starts_with("matroska");
        int64 const start = HasValue(reader.start_time) && !fromZero ? reader.start_time : 0;
        int64 const stated = SubTime(AddTime(start, reader.duration), ToMicroseconds(zeroTick, zeroBase));
        // A second is more than any container rounds.
        if (stated > AddTime(last, SECOND)) {
            Warn("is cut off or damaged: its packets end at " + Proc::T2S(last) + ", the container states " +
                 Proc::T2S(stated));
            return;
        }
        if (!cutOff) duration = std::max(duration, stated);
    }
    if (cutOff) Warn("is cut off or damaged: its packets end at " + Proc::T2S(last));
}

std::vector<StreamIndex> IndexBuilder::TakeIndices() {
    std::vector<StreamIndex> indices;
    indices.reserve(tracks.size());
    for (Track& track : tracks) indices.push_back(std::move(track.index));
    return indices;
}

}  // namespace Tarsel::Host
