#pragma once

#include <atomic>
#include <cstddef>
#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"
#include "host/media/FFmpeg.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// The packets of one stream of a file, in decoding order, through a reader of its own.
///
/// Goes in: a file with its index. Comes out: fresh packets whose times, durations and key flags are the index's; their
/// source position is their presentation time. Seek: video lands on the last key packet shown at or before the
/// position, pictured subtitles on the last packet at or before it that builds on none in front, other kinds on the
/// packet that contains it; a position at or below 0 means the stream's first packet, also where that lies below 0.
/// Nothing is read until `Read`. End: null. `ReleaseInternalData` closes the reader; the next read goes on where the
/// stream stood. One consumer; `SetEndOfStream`, `GetDuration`, `GetFormatCodec` and `GetStatistic` from any thread at
/// any time.
class DemuxStream : public Proc::IStreamRaw, public RefCounted {
  public:
    DemuxStream(iptr<MediaFile> file, StreamInfo const& info);
    ~DemuxStream() override;

    /// Takes no settings: "Method not implemented".
    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override;
    int64 GetDuration() const override { return duration; }
    int64 GetPosition() override;
    /// Throws `Core::IOException` "PATH: stream N at TIME: what is wrong".
    iptr<Proc::IDataPacket> Read() override;
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override;
    void DoSeek() override;
    bool FinishSeek() override { return true; }
    Core::Property GetStatistic() override;
    void SetEndOfStream() override { endOfStream = true; }
    bool IsEndOfStream() override { return endOfStream; }
    void ReleaseInternalData() override;
    void Accept(Proc::IStreamVisitor& visitor) override;
    MediaType GetMediaType() const override { return mediaType; }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return format; }

  private:
    std::size_t FindTarget(int64 position) const;
    iptr<Proc::IDataPacket> ReadNext();
    /// Brings the packet number `target` into `packet`.
    void Fetch(std::size_t target);
    bool FetchForward(std::size_t target);
    bool FetchAfterSeek(std::size_t target);
    void FetchFromStart(std::size_t target);
    bool SeekReader(std::size_t from);
    bool ReadRaw();
    std::size_t Identify(std::size_t near) const;
    bool Matches(IndexRecord const& record) const;
    int64 DurationOf(IndexRecord const& record) const;
    iptr<Proc::IDataPacket> TakePacket(std::size_t number);
    void OpenReader();
    [[noreturn]] void Fail(std::size_t number, std::string const& what) const;

    // Constant after construction.
    iptr<MediaFile> const file;
    int const stream;
    MediaType const mediaType;
    bool const isVideo;
    bool const isPictured;  // subtitles
    iptr<Conf::IFormatCodec const> const format;
    int64 const duration;
    StreamIndex const& index;

    // State of the reading thread.
    InputPtr reader;
    PacketPtr packet;            // the packet `readerNext - 1`, once fetched
    std::size_t readerNext = 0;  // what the reader would give next; NONE when it isn't known
    bool wholeProbe = false;     // the quick way of opening gave other packets than the index has
    std::size_t next = 0;        // what `Read` gives next
    int64 requested = NO_VALUE;  // a seek that was requested and not done
    bool seekPending = false;
    int64 position = NO_VALUE;  // end of the last item; no value after a seek

    std::atomic<bool> endOfStream{false};
    std::atomic<int64> readTime{0};
    std::atomic<unsigned> readCount{0};
};

}  // namespace Tarsel::Host
