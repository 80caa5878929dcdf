#include "host/media/DemuxStream.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <string_view>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataPacketFF.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/Time.h"
#include "host/media/PacketScan.h"

namespace Tarsel::Host {

namespace {

constexpr char NAME[] = "class Tarsel::Host::DemuxStream";
/// Packets up to here are read over instead of sought: about a group of pictures.
constexpr std::size_t READ_OVER = 64;
/// Failed reads in a row after which a damaged place counts as the end.
constexpr int MAX_BAD_READS = 16;
/// Packets read after a seek before the seek counts as failed.
constexpr std::size_t MAX_UNKNOWN = 256;

/// Whether the container's packets are best found by their byte position: its own seeks by time miss.
bool SeeksByPosition(AVInputFormat const& format) {
    if (format.flags & AVFMT_NO_BYTE_SEEK) return false;
    std::string_view const name = format.name;
    bool const timed = name.starts_with("mov,mp4") || name.starts_with("matroska") || name == "avi" || name == "asf" ||
                       name == "flv" || name == "live_flv";
    return !timed;
}

}  // namespace

DemuxStream::DemuxStream(iptr<MediaFile> source, StreamInfo const& info)
    : file(std::move(source)),
      stream(info.index),
      mediaType(info.mediaType),
      isVideo(info.kind == StreamKind::Video),
      isPictured(IsPicturedSubtitle(info.native->parameters->codec_id)),
      format(info.format),
      duration(file->GetDuration()),
      index(file->GetIndex(info.index)) {}

DemuxStream::~DemuxStream() = default;

void DemuxStream::Initialize(Core::Property const&) {
    TARSEL_THROW(Proc::FilterException, "Method not implemented");
}

Core::Property DemuxStream::GetSettings() {
    TARSEL_THROW(Proc::FilterException, "Method not implemented");
}

Core::Property DemuxStream::GetStatistic() {
    Core::Property root = Core::GetRootItem();
    root.Add(Core::MakeStatistics(NAME, readTime, readCount));
    return root;
}

void DemuxStream::Accept(Proc::IStreamVisitor& visitor) {
    Proc::Visitors::Visit(visitor, NAME, Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
}

int64 DemuxStream::GetPosition() {
    if (seekPending) DoSeek();
    if (HasValue(position)) return position;
    return next < index.GetCount() ? index.GetRecords()[next].time : NO_VALUE;
}

void DemuxStream::RequestSeek(int64 target, iptr<IRefCountable>) {
    endOfStream = false;
    requested = std::min(target, duration);
    seekPending = true;
}

void DemuxStream::DoSeek() {
    if (!seekPending) return;
    seekPending = false;
    position = NO_VALUE;
    next = FindTarget(requested);
}

std::size_t DemuxStream::FindTarget(int64 target) const {
    // The start of the file is the start of each stream, of sound that begins ahead of the first picture as well: who
    // clamps positions to 0 would never see it otherwise.
    if (target <= 0) return 0;
    if (isVideo) {
        std::size_t const key = index.FindKeyAt(target);
        return key == StreamIndex::NONE ? 0 : key;
    }
    if (isPictured) {
        std::size_t const entry = index.FindEntryAt(target);
        return entry == StreamIndex::NONE ? 0 : entry;
    }
    std::size_t const found = mediaType == MEDIA_TYPE_SUBTITLE ? index.FindEventAt(target) : index.FindPacketAt(target);
    if (found != StreamIndex::NONE || index.GetCount() == 0) return found == StreamIndex::NONE ? 0 : found;
    // Behind the last packet: subtitles may have ended long ago, sound ends with its last packet.
    return mediaType == MEDIA_TYPE_AUDIO ? index.GetCount() - 1 : index.GetCount();
}

void DemuxStream::ReleaseInternalData() {
    reader.reset();
    packet.reset();
    readerNext = 0;
}

iptr<Proc::IDataPacket> DemuxStream::Read() {
    auto const begin = std::chrono::steady_clock::now();
    if (seekPending) DoSeek();
    iptr<Proc::IDataPacket> const item = ReadNext();
    auto const taken = std::chrono::steady_clock::now() - begin;
    readTime += std::chrono::duration_cast<std::chrono::microseconds>(taken).count();
    return item;
}

iptr<Proc::IDataPacket> DemuxStream::ReadNext() {
    if (next >= index.GetCount() || endOfStream) {
        return nullptr;
    }
    Fetch(next);
    iptr<Proc::IDataPacket> item = TakePacket(next);
    ++next;
    ++readCount;
    position = AddTime(item->GetTime(), item->GetDuration());
    return item;
}

int64 DemuxStream::DurationOf(IndexRecord const& record) const {
    // A title may stand longer than the index can tell.
    if (record.duration != std::numeric_limits<u32>::max()) return record.duration;
    int64 const stated = ToMicroseconds(packet->duration, reader->streams[stream]->time_base);
    return HasValue(stated) ? std::max<int64>(stated, record.duration) : record.duration;
}

iptr<Proc::IDataPacket> DemuxStream::TakePacket(std::size_t number) {
    IndexRecord const& record = index.GetRecords()[number];
    AVPacket& raw = *packet;
    int64 const length = DurationOf(record);
    raw.pts = record.time;
    raw.dts = record.decodingTime;
    raw.duration = length;
    raw.time_base = MICROSECONDS;
    raw.flags = record.IsKey() ? raw.flags | AV_PKT_FLAG_KEY : raw.flags & ~AV_PKT_FLAG_KEY;
    iptr<Proc::IDataPacket> item =
        Proc::DataPacketFF::Create(packet.release(), mediaType, record.time, record.decodingTime, length);
    item->SetSourcePosition(record.time);
    item->SetFormatCodec(format);
    return item;
}

void DemuxStream::OpenReader() {
    reader = OpenInput(file->GetPath(), !wholeProbe, file->bytes);
    if (static_cast<unsigned>(stream) >= reader->nb_streams) Fail(next, "the file has changed: the stream is gone");
    for (unsigned i = 0; i < reader->nb_streams; ++i)
        if (static_cast<int>(i) != stream) reader->streams[i]->discard = AVDISCARD_ALL;
    if (SeeksByPosition(*reader->iformat)) KeepPlacesShort(*reader);
    readerNext = 0;
}

bool DemuxStream::ReadRaw() {
    if (!packet) packet.reset(av_packet_alloc());
    if (!packet) TARSEL_THROW(Core::IOException, file->GetPath() + ": out of memory");
    int badReads = 0;
    for (;;) {
        av_packet_unref(packet.get());
        int const code = av_read_frame(reader.get(), packet.get());
        if (code == AVERROR(EAGAIN)) continue;
        if (code == AVERROR_INVALIDDATA && ++badReads < MAX_BAD_READS) continue;
        if (code < 0) {
            int const ioError = reader->pb ? reader->pb->error : 0;
            int const failure = code != AVERROR_EOF && code != AVERROR_INVALIDDATA ? code : ioError;
            if (failure != 0 && failure != AVERROR_EOF && failure != AVERROR_INVALIDDATA)
                Fail(next, "can't be read: " + ErrorText(failure));
            return false;
        }
        badReads = 0;
        if (packet->stream_index == stream) return true;
    }
}

bool DemuxStream::Matches(IndexRecord const& record) const {
    return record.size == static_cast<u32>(std::max(packet->size, 0)) &&
           record.hash == HashPacket(packet->data, record.size);
}

void DemuxStream::Fetch(std::size_t target) {
    if (!reader) OpenReader();
    bool const ahead = readerNext != StreamIndex::NONE && readerNext <= target;
    if (ahead && target - readerNext <= READ_OVER && FetchForward(target)) return;
    if (target != 0 && FetchAfterSeek(target)) return;
    FetchFromStart(target);
}

bool DemuxStream::FetchForward(std::size_t target) {
    while (readerNext <= target) {
        if (!ReadRaw() || !Matches(index.GetRecords()[readerNext])) {
            readerNext = StreamIndex::NONE;
            return false;
        }
        ++readerNext;
    }
    return true;
}

void DemuxStream::FetchFromStart(std::size_t target) {
    OpenReader();
    if (FetchForward(target)) return;
    if (!wholeProbe) {
        wholeProbe = true;
        OpenReader();
        if (FetchForward(target)) return;
    }
    ReleaseInternalData();
    Fail(target, "can't be read again: the file has changed, or is damaged");
}

std::size_t DemuxStream::Identify(std::size_t near) const {
    std::vector<IndexRecord> const& records = index.GetRecords();
    u32 const size = static_cast<u32>(std::max(packet->size, 0));
    u32 const hash = HashPacket(packet->data, size);
    AVRational const timeBase = reader->streams[stream]->time_base;
    int64 const time = file->ToFileTime(packet->pts, timeBase);
    auto const sure = [&](IndexRecord const& record) {
        if (record.size != size || record.hash != hash) return false;
        if (record.position >= 0 && packet->pos >= 0 && record.position != packet->pos) return false;
        bool const timed = HasValue(time) && (record.flags & IndexRecord::PTS_FILLED) == 0;
        // Two packets of equal bytes at one position are told apart by time; guessed times after a seek don't help.
        return !timed || record.time == time || (record.position >= 0 && packet->pos >= 0);
    };
    std::size_t found = StreamIndex::NONE;
    std::size_t count = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (!sure(records[i])) continue;
        if (HasValue(time) && records[i].time == time) return i;
        ++count;
        if (found == StreamIndex::NONE || (i <= near && near - i < (found > near ? found - near : near - found)))
            found = i;
    }
    return count == 1 ? found : StreamIndex::NONE;
}

bool DemuxStream::SeekReader(std::size_t from) {
    IndexRecord const& record = index.GetRecords()[from];
    AVInputFormat const& input = *reader->iformat;
    // Readers of titles refuse a place in bytes: they have all of the file in memory, by time.
    if (SeeksByPosition(input) && record.position >= 0 &&
        avformat_seek_file(reader.get(), -1, INT64_MIN, record.position, record.position, AVSEEK_FLAG_BYTE) >= 0)
        return true;
    bool const byTime = std::string_view(input.name).starts_with("matroska");
    AVStream const& target = *reader->streams[stream];
    int64 const zero = ToMicroseconds(file->zeroTick, file->zeroBase);
    int64 const time = AddTime(byTime ? record.time : record.decodingTime, zero);
    return avformat_seek_file(reader.get(), stream, INT64_MIN, FromMicroseconds(time, target.time_base),
                              FromMicroseconds(time, target.time_base), 0) >= 0;
}

bool DemuxStream::FetchAfterSeek(std::size_t target) {
    // Each try starts further back: the container may land behind, or its parser need what stands in front.
    for (std::size_t back = 0; back <= target; back = back == 0 ? 8 : back * 4) {
        if (!SeekReader(target - back)) break;
        for (std::size_t unknown = 0; unknown < MAX_UNKNOWN; ++unknown) {
            if (!ReadRaw()) break;
            std::size_t const number = Identify(target);
            if (number == StreamIndex::NONE) continue;
            readerNext = number + 1;
            if (number == target) return true;
            if (number > target) break;
            if (FetchForward(target)) return true;
            break;
        }
    }
    readerNext = StreamIndex::NONE;
    return false;
}

void DemuxStream::Fail(std::size_t number, std::string const& what) const {
    int64 const time = number < index.GetCount() ? index.GetRecords()[number].time : NO_VALUE;
    TARSEL_THROW(Core::IOException,
                 file->GetPath() + ": stream " + std::to_string(stream) + " at " + Proc::T2S(time) + ": " + what);
}

}  // namespace Tarsel::Host
