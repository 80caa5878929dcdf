#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterBitStream.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

class SourceTap;

/// The framing in which a container takes packets of a codec, `ANY` where it takes them as they come. `container` is
/// libavformat's name, as of `MediaWriter::GetContainer`; an unknown one throws `std::invalid_argument`.
TARSEL_HOST_EXPORT Proc::SettingsFilterBitStream::StreamFormat ChooseFraming(std::string const& container,
                                                                             std::string const& codec);

/// How packets of this format are framed: "length" or "annexb" (H.264, HEVC), "raw" or "adts" (AAC), empty for other
/// codecs.
TARSEL_HOST_EXPORT std::string FramingName(Conf::IFormatCodec const& format);

/// The packets of a stream in the framing that a container wants, with the global header that belongs to it.
///
/// Goes in: a stream of packets of a file, or what a cut made of it. Comes out: the same packets, with their source
/// positions; those with broken framing are left out and counted. Seek and end: the source's. One consumer.
class TARSEL_HOST_EXPORT ReframedStream : public Proc::IStreamRaw, public RefCounted {
  public:
    /// `info` describes the stream of `file` that `source` comes from: where its format lacks header bytes that the
    /// packets hold (ADTS, parameter sets in band), the file's first packets are asked. `container` as above. Throws
    /// `Proc::ProcException` for a global header that can't be converted.
    static iptr<ReframedStream> Create(iptr<Proc::IStreamRaw> source, MediaFile& file, StreamInfo const& info,
                                       std::string const& container);
    /// For packets that come from no file.
    static iptr<ReframedStream> Create(iptr<Proc::IStreamRaw> source, std::string const& container);
    ~ReframedStream() override;

    /// Packets that have been left out so far.
    u64 GetDroppedCount() const { return dropped; }

    /// Takes no settings: "Method not implemented".
    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override;
    int64 GetDuration() const override;
    int64 GetPosition() override;
    iptr<Proc::IDataPacket> Read() override;
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override;
    void DoSeek() override;
    bool FinishSeek() override;
    Core::Property GetStatistic() override;
    void SetEndOfStream() override;
    bool IsEndOfStream() override;
    void ReleaseInternalData() override;
    void Accept(Proc::IStreamVisitor& visitor) override;
    MediaType GetMediaType() const override;
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override;

  private:
    ReframedStream(iptr<SourceTap> tap, iptr<Proc::IStreamRaw> filter);
    /// `shown`: the format that the filter sees, null for the source's own. `name` stands in messages.
    static iptr<ReframedStream> Make(iptr<Proc::IStreamRaw> source, iptr<Conf::IFormatCodec const> shown,
                                     Proc::SettingsFilterBitStream::StreamFormat wanted, std::string const& name,
                                     std::string const& container);
    iptr<Proc::IDataPacket> ReadFiltered();

    iptr<SourceTap> const tap;
    iptr<Proc::IStreamRaw> const filter;
    u64 dropped = 0;
    int64 position = NO_VALUE;  // end of the last item; no value after a seek
};

}  // namespace Tarsel::Host
