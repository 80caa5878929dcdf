#pragma once

#include <atomic>
#include <cstddef>
#include <limits>
#include <vector>

#include "contracts/Proc/TIFilterJoin.h"

namespace Tarsel::Proc {

namespace Details {

template <class I>
struct JoinedStream;
template <class T>
struct JoinedStream<TIFilterJoin<T>> {
    using Type = T;
};

}  // namespace Details

/// Plays clips end to end as one stream. `I` is the `TIFilterJoin` that is offered.
///
/// Goes in: clips, by `AddStream`. Comes out: their items, later by what the clips before have lasted when they were
/// added; items aren't cut, so a clip that gives more or less than its length makes an overlap or a hole. Seek: to the
/// clip that holds the position, which it finds in logarithmic time, else to the last one; clips of no or unknown
/// length are never found. Reading after a seek equals reading straight through where the clip's own seek does so and
/// gives nothing behind its length. End: null until the next seek; a join that was told to end goes on to no other
/// clip. Threads: one consumer, which adds the clips, too; `SetEndOfStream`, `IsEndOfStream`, `GetDuration`,
/// `GetFormatCodec` and `GetStatistic` from any thread while none is added.
///
/// A seek that changes the clip releases the internal data of all clips that may hold some: of those that this join has
/// sought, read or added since the last release, and of those under a controller, which the join of a linked stream may
/// have moved. Others have been released already and nobody has touched them.
template <class I>
class TFilterJoin : public virtual I, public RefCounted {
  public:
    using StreamType = typename Details::JoinedStream<I>::Type;
    using DataType = typename StreamType::DataType;
    using FormatType = typename StreamType::FormatType;

    void AddStream(iptr<StreamType> const& stream, iptr<IFilterSeekController> const& controller) override;
    /// Does nothing with a property named `CLASS_ID`; another name throws `FilterException` "Filter was initialized
    /// with incorrect class (" and the name.
    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override;
    /// The sum of the clips' lengths, no value if one of them is unknown.
    int64 GetDuration() const override { return duration; }
    int64 GetPosition() override { return position; }
    iptr<DataType> Read() override;
    /// Throws `std::logic_error` "Join stream count cannot be less than one." while there is no clip.
    void RequestSeek(int64 target, iptr<IRefCountable> seekContext) override;
    void DoSeek() override;
    /// False behind the last clip's end.
    bool FinishSeek() override;
    /// The first clip's; `std::logic_error` "@todo" while there is none.
    iptr<FormatType const> GetFormatCodec() const override;
    Core::Property GetStatistic() override;
    void SetEndOfStream() override;
    bool IsEndOfStream() override;
    void ReleaseInternalData() override;
    void Accept(IStreamVisitor& visitor) override;

  protected:
    struct Clip {
        iptr<StreamType> stream;
        iptr<IFilterSeekController> controller;  // may be null
        int64 start;                             // in the join's time; unknown lengths before it count 0
        int64 duration;                          // when it was added; may have no value
        bool touched;                            // stands in `touchedClips`
    };

    bool HasCurrentClip() const { return currentIndex < clips.size(); }

    // Wiring.
    std::vector<Clip> clips;

  private:
    static constexpr std::size_t BEHIND_END = std::numeric_limits<std::size_t>::max();

    std::size_t FindClip(int64 target) const;
    void Touch(std::size_t index);
    void ReleaseTouchedClips();
    void BeginCurrentClip();
    static void Place(iptr<DataType>& item, int64 start);

    int64 knownDuration = 0;  // the next clip's start
    int64 duration = 0;

    // State of the reader.
    std::size_t currentIndex = 0;
    int64 position = NO_VALUE;
    std::atomic<bool> toldToEnd{false};  // since the last seek
    /// Clips that the next change of clip releases.
    std::vector<std::size_t> touchedClips;
};

class FilterJoinVideo final : public TFilterJoin<TIFilterJoin<IStreamVideo>> {
  public:
    static iptr<TIFilterJoin<IStreamVideo>> Create();
};

class FilterJoinAudio final : public TFilterJoin<TIFilterJoin<IStreamAudio>> {
  public:
    static iptr<TIFilterJoin<IStreamAudio>> Create();
};

/// Packets: decoding times move as presentation times do; the source position and the packet's own format stay.
class FilterJoinRaw final : public TFilterJoin<TIFilterJoin<IStreamRaw>> {
  public:
    static iptr<TIFilterJoin<IStreamRaw>> Create();
    /// The first clip's; 0 while there is none.
    MediaType GetMediaType() const override;
};

extern template class TFilterJoin<TIFilterJoin<IStreamVideo>>;
extern template class TFilterJoin<TIFilterJoin<IStreamAudio>>;
extern template class TFilterJoin<TIFilterJoin<IStreamRaw>>;

}  // namespace Tarsel::Proc
