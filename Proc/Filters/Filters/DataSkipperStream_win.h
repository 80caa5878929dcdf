#pragma once

#include <map>
#include <optional>

#include "Proc/Filters/Filters/FilterCutController.h"
#include "Proc/StreamTemplates/SameKindStream.h"

namespace Tarsel::Proc {

/// What a picture stream remembers of the frames that it passed on.
struct SkippedFrames {
    int64 firstTime = NO_VALUE;             // of the first frame seen
    std::map<int64, int64> frameDurations;  // kept frames: result time to duration
    int64 lastFrameTime = NO_VALUE;         // key of the last entry made
    std::optional<uint32> lastFrameHash;    // picture hash of the last frame; none before the first
    uint32 framesRead = 0;                  // frames that the source gave
    bool endReached = false;                // the rest was left unread, as none of it is kept
};

/// FNV-1a over the visible bytes of each plane, the planes' values added up; 0 for a frame without planes.
uint32 HashPicture(IDataVideo const& frame);

/// The small stream between one group of pictures and its consumer, for `T` in `IStreamVideo`, `IStreamAudio`,
/// `IStreamRaw`.
///
/// Goes in: items in source time. Comes out: those that the controller maps, in the time of the result. Seek: forwarded
/// as it stands. End: the source's. A picture that equals the one before it isn't passed on, its duration goes to that
/// one: an encoder would merge the two. One reader.
template <class T>
class DataSkipperStreamImpl final : public SameKindStream<T> {
  public:
    using DataType = typename T::DataType;
    using IStream::Initialize;

    DataSkipperStreamImpl(iptr<T> source, iptr<FilterCutController> controller);
    ~DataSkipperStreamImpl() override;

    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override;
    iptr<typename T::FormatType const> GetFormatCodec() const override { return this->parentStream->GetFormatCodec(); }
    Core::Property GetStatistic() override { return this->parentStream->GetStatistic(); }

    /// From this source time on nothing is kept: the first item there is the end, so that a decoder in front of this
    /// stream is spared the rest of its group. For streams in presentation order.
    void EndAt(int64 sourceTime) { endTime = sourceTime; }

    /// Pictures only: empty for other kinds.
    SkippedFrames const& GetFrames() const { return frames; }

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<DataType> ReadInternal() override;
    void RequestSeekInternal(int64 position, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { this->parentStream->DoSeek(); }

  private:
    /// Whether the frame goes on to the consumer.
    bool Remember(IDataVideo const& mapped);

    // Wiring.
    iptr<FilterCutController> const controller;

    // Settings, constant once reading has begun.
    int64 endTime = NO_VALUE;

    // State of the reader.
    int64 lastTime = NO_VALUE;
    SkippedFrames frames;
};

extern template class DataSkipperStreamImpl<IStreamVideo>;
extern template class DataSkipperStreamImpl<IStreamAudio>;
extern template class DataSkipperStreamImpl<IStreamRaw>;

}  // namespace Tarsel::Proc
