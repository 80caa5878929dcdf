#include "host/media/ReframedStream.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/FilterBitStream.h"
#include "host/media/Containers.h"
#include "host/media/PacketScan.h"

namespace Tarsel::Host {

using Conf::IFormatCodecAudio;
using Conf::IFormatCodecVideo;
using Proc::SettingsFilterBitStream;

/// Stands under the filter, whose null may be a packet that it dropped: remembers what the source really gave. Shows
/// the filter a format of the host's choice.
class SourceTap final : public Proc::IStreamRaw, public RefCounted {
  public:
    SourceTap(iptr<Proc::IStreamRaw> source, iptr<Conf::IFormatCodec const> format)
        : source(std::move(source)), format(std::move(format)) {}

    bool HasEnded() const { return ended; }
    int64 GetLastPosition() const { return lastPosition; }
    /// Packets and ends that the source has given.
    u64 GetReadCount() const { return readCount; }
    /// Whether the last read threw.
    bool HasFailed() const { return failed; }

    void Initialize(Core::Property const& property) override { source->Initialize(property); }
    Core::Property GetSettings() override { return source->GetSettings(); }
    int64 GetDuration() const override { return source->GetDuration(); }
    int64 GetPosition() override { return source->GetPosition(); }
    iptr<Proc::IDataPacket> Read() override {
        failed = true;
        iptr<Proc::IDataPacket> packet = source->Read();
        failed = false;
        ++readCount;
        ended = !packet;
        lastPosition = packet ? packet->GetSourcePosition() : NO_VALUE;
        return packet;
    }
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override {
        ended = false;
        source->RequestSeek(position, std::move(seekContext));
    }
    void DoSeek() override { source->DoSeek(); }
    bool FinishSeek() override { return source->FinishSeek(); }
    Core::Property GetStatistic() override { return source->GetStatistic(); }
    void SetEndOfStream() override { source->SetEndOfStream(); }
    bool IsEndOfStream() override { return source->IsEndOfStream(); }
    void ReleaseInternalData() override { source->ReleaseInternalData(); }
    void Accept(Proc::IStreamVisitor& visitor) override { source->Accept(visitor); }
    MediaType GetMediaType() const override { return source->GetMediaType(); }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override {
        return format ? format : source->GetFormatCodec();
    }

  private:
    iptr<Proc::IStreamRaw> const source;
    iptr<Conf::IFormatCodec const> const format;  // null for the source's own
    bool ended = false;
    bool failed = false;
    int64 lastPosition = NO_VALUE;
    u64 readCount = 0;
};

namespace {

/// Packets at a stream's beginning in which its parameter sets are looked for.
constexpr int MAX_SEARCHED = 300;

bool IsNalCodec(std::string const& codec) {
    return codec == IFormatCodecVideo::CODEC_ID_H264 || codec == IFormatCodecVideo::CODEC_ID_H265;
}

AVCodecID NalCodecOf(std::string const& codec) {
    return codec == IFormatCodecVideo::CODEC_ID_H264 ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC;
}

bool HasBytes(iptr<IBlob> const& blob) {
    return blob && blob->GetSize() != 0;
}

/// The header of an ADTS frame (ISO/IEC 14496-3, 1.A.2.2) that can be taken off: one raw data block, and a channel
/// configuration that says all, for otherwise a part of the payload belongs to the header. Null for other packets.
iptr<IBlob> FindAdtsHeader(IBlob const& payload) {
    constexpr std::size_t HEADER = 7;
    constexpr std::size_t HEADER_WITH_CRC = 9;
    u8 const* const data = payload.GetData();
    if (payload.GetSize() <= HEADER_WITH_CRC || data[0] != 0xFF || (data[1] & 0xF6) != 0xF0) return nullptr;
    unsigned const channels = (data[2] & 1U) << 2 | data[3] >> 6;
    unsigned const furtherBlocks = data[6] & 3U;
    if (channels == 0 || furtherBlocks != 0) return nullptr;
    return Proc::BlobFF::Create(data, (data[1] & 1) != 0 ? HEADER : HEADER_WITH_CRC);
}

/// The parameter sets of an Annex B packet as a global header; null when it has none.
iptr<IBlob> FindParameterSets(AVCodecID codec, IBlob const& payload) {
    std::string header;
    NalWalker walker(payload.GetData(), payload.GetSize(), {0});
    while (walker.Next()) {
        if (!IsParameterSet(codec, NalUnitType(codec, walker.GetData()[0]))) continue;
        std::size_t size = walker.GetSize();
        // Zero bytes behind a unit belong to the next start code.
        while (size > 1 && walker.GetData()[size - 1] == 0) --size;
        header.append("\0\0\0\1", 4).append(reinterpret_cast<char const*>(walker.GetData()), size);
    }
    if (header.empty()) return nullptr;
    return Proc::BlobFF::Create(reinterpret_cast<u8 const*>(header.data()), header.size());
}

/// Header bytes that the stream's packets hold where its format has none; null when they hold none either.
iptr<IBlob> FindHeaderInBand(MediaFile& file, StreamInfo const& info) {
    iptr<Proc::IStreamRaw> const stream = file.OpenStream(info.index);
    stream->RequestSeek(0, nullptr);
    stream->DoSeek();
    if (!IsNalCodec(info.codec)) {
        iptr<Proc::IDataPacket> const first = stream->Read();
        return first ? FindAdtsHeader(*first->GetBlob()) : nullptr;
    }
    for (int i = 0; i < MAX_SEARCHED; ++i) {
        iptr<Proc::IDataPacket> const packet = stream->Read();
        if (!packet) break;
        if (iptr<IBlob> const header = FindParameterSets(NalCodecOf(info.codec), *packet->GetBlob())) return header;
    }
    return nullptr;
}

}  // namespace

SettingsFilterBitStream::StreamFormat ChooseFraming(std::string const& container, std::string const& codec) {
    AVOutputFormat const* const target = av_guess_format(container.c_str(), nullptr, nullptr);
    if (!target) TARSEL_THROW(std::invalid_argument, "there is no container \"" + container + "\"");
    std::string_view const name = target->name;
    bool const boxed = IsMov(*target) || IsMatroska(*target) || name == "flv";
    if (IsNalCodec(codec)) {
        // AVI's readers take H.264 with start codes alone.
        if (WantsAnnexB(*target) || IsAvi(*target)) return SettingsFilterBitStream::ANNEX_B;
        return boxed ? SettingsFilterBitStream::MP4 : SettingsFilterBitStream::ANY;
    }
    if (codec != IFormatCodecAudio::CODEC_ID_AAC) return SettingsFilterBitStream::ANY;
    // These two writers put the headers in front of raw frames themselves.
    if (IsTransportStream(*target) || name == "adts") return SettingsFilterBitStream::ADTS;
    return SettingsFilterBitStream::RAW_AAC;
}

std::string FramingName(Conf::IFormatCodec const& format) {
    std::string const& codec = format.GetCodecID();
    iptr<IBlob> const header = format.GetExtradata();
    if (codec == IFormatCodecAudio::CODEC_ID_AAC) return HasBytes(header) ? "raw" : "adts";
    if (!IsNalCodec(codec)) return {};
    u8 const* const data = header ? header->GetData() : nullptr;
    bool const lengths = FramingOf(NalCodecOf(codec), data, header ? header->GetSize() : 0).lengthSize != 0;
    return lengths ? "length" : "annexb";
}

iptr<ReframedStream> ReframedStream::Create(iptr<Proc::IStreamRaw> source, MediaFile& file, StreamInfo const& info,
                                            std::string const& container) {
    iptr<Conf::IFormatCodec const> const own = source->GetFormatCodec();
    auto wanted = ChooseFraming(container, own->GetCodecID());
    iptr<Conf::IFormatCodec const> shown;
    bool const fromFile = own->GetCodecID() == info.codec;
    if (wanted != SettingsFilterBitStream::ANY && !HasBytes(own->GetExtradata())) {
        bool const asked = fromFile && wanted != SettingsFilterBitStream::ADTS;
        iptr<IBlob> const header = asked ? FindHeaderInBand(file, info) : nullptr;
        if (header) {
            iptr<Conf::IFormatCodec> const completed = own->Clone();
            completed->SetExtradata(header);
            shown = completed;
        } else {
            // Nothing tells how to convert: the container's writer does what it can.
            wanted = SettingsFilterBitStream::ANY;
        }
    }
    return Make(std::move(source), std::move(shown), wanted, StreamName(info), container);
}

iptr<ReframedStream> ReframedStream::Create(iptr<Proc::IStreamRaw> source, std::string const& container) {
    iptr<Conf::IFormatCodec const> const own = source->GetFormatCodec();
    auto const wanted =
        HasBytes(own->GetExtradata()) ? ChooseFraming(container, own->GetCodecID()) : SettingsFilterBitStream::ANY;
    return Make(std::move(source), nullptr, wanted, own->GetCodecID(), container);
}

iptr<ReframedStream> ReframedStream::Make(iptr<Proc::IStreamRaw> source, iptr<Conf::IFormatCodec const> shown,
                                          SettingsFilterBitStream::StreamFormat wanted, std::string const& name,
                                          std::string const& container) {
    auto tap = MakeShared<SourceTap>(std::move(source), std::move(shown));
    try {
        iptr<Proc::IStreamRaw> filter = Proc::FilterBitStream::Create(tap, SettingsFilterBitStream(wanted));
        return iptr<ReframedStream>(new ReframedStream(std::move(tap), std::move(filter)));
    } catch (Exception const& failure) {
        TARSEL_THROW(Proc::ProcException,
                     name + ": its global header can't be converted for " + container + ": " + failure.what());
    }
}

ReframedStream::ReframedStream(iptr<SourceTap> tap, iptr<Proc::IStreamRaw> filter)
    : tap(std::move(tap)), filter(std::move(filter)) {}

ReframedStream::~ReframedStream() = default;

/// Null also for a packet that the filter refuses: sound whose header leaves no payload.
iptr<Proc::IDataPacket> ReframedStream::ReadFiltered() {
    try {
        return filter->Read();
    } catch (Exception const&) {
        if (tap->HasFailed()) throw;
    } catch (std::logic_error const&) {
        if (tap->HasFailed()) throw;
    }
    return nullptr;
}

iptr<Proc::IDataPacket> ReframedStream::Read() {
    for (;;) {
        u64 const readBefore = tap->GetReadCount();
        iptr<Proc::IDataPacket> packet = ReadFiltered();
        if (packet) {
            // A packet that was converted is a new one, and still the source's.
            int64 const from = tap->GetLastPosition();
            if (packet->GetSourcePosition() != from) packet->SetSourcePosition(from);
            position = AddTime(packet->GetTime(), packet->GetDuration());
            return packet;
        }
        if (tap->HasEnded() || tap->GetReadCount() == readBefore) return nullptr;
        ++dropped;
    }
}

void ReframedStream::Initialize(Core::Property const&) {
    TARSEL_THROW(Proc::FilterException, "Method not implemented");
}

Core::Property ReframedStream::GetSettings() {
    TARSEL_THROW(Proc::FilterException, "Method not implemented");
}

int64 ReframedStream::GetDuration() const {
    return filter->GetDuration();
}

int64 ReframedStream::GetPosition() {
    // Asked of the filter it would read a packet ahead, of which nobody would know whether it was dropped.
    return HasValue(position) ? position : tap->GetPosition();
}

void ReframedStream::RequestSeek(int64 target, iptr<IRefCountable> seekContext) {
    position = NO_VALUE;
    filter->RequestSeek(target, std::move(seekContext));
}

void ReframedStream::DoSeek() {
    filter->DoSeek();
}

bool ReframedStream::FinishSeek() {
    return tap->FinishSeek();
}

Core::Property ReframedStream::GetStatistic() {
    return filter->GetStatistic();
}

void ReframedStream::SetEndOfStream() {
    filter->SetEndOfStream();
}

bool ReframedStream::IsEndOfStream() {
    return filter->IsEndOfStream();
}

void ReframedStream::ReleaseInternalData() {
    filter->ReleaseInternalData();
}

void ReframedStream::Accept(Proc::IStreamVisitor& visitor) {
    filter->Accept(visitor);
}

MediaType ReframedStream::GetMediaType() const {
    return tap->GetMediaType();
}

iptr<Conf::IFormatCodec const> ReframedStream::GetFormatCodec() const {
    return filter->GetFormatCodec();
}

}  // namespace Tarsel::Host
