#pragma once

#include <memory>
#include <vector>

#include "Proc/Filters/Filters/FruitlessReads.h"
#include "Proc/Filters/Filters/SmartMapBase.h"

namespace Tarsel::Proc {

namespace Details {

/// A source of pictures, and its frame that covers the position.
struct MappedVideo : MappedSource {
    iptr<IStreamVideo> source;
    iptr<IDataVideo> frame;
    int64 frameEnd = 0;
    int64 frameBegin = 0;  // of what hasn't been delivered yet
    int64 frameDuration = 0;
    int64 frameTime = 0;
    iptr<IDataVideo> lastFrame;  // is shown on when the source runs dry

    IStreamVideo& Output() const { return *source; }
    bool IsHeld() const { return frame != nullptr; }
    bool Covers(int64 position) const { return frame && frameBegin <= position && position < frameEnd; }
    /// Places a frame on the timeline, by the time and the duration that it states.
    void SetFrame(iptr<IDataVideo> const& item, int64 time);
    void DropFrame();
    void DropItems();
};

struct SmartMapVideoTraits {
    using Interface = ISmartMapVideo;
    using Stream = IStreamVideo;
    using Mapped = IMappedStreamVideo;
    using Record = MappedVideo;
    static constexpr char NAME[] = "SmartMapVideo";
    static constexpr char STATISTIC_NAME[] = "Tarsel::Proc::SmartMapVideo::GetStatistic";
};

}  // namespace Details

/// Pictures of several sources on one timeline.
///
/// Goes in: sources and effects, by their handles. Comes out: the timeline in slices, cut wherever a source, an effect
/// or a frame begins or ends; of the sources that show a frame the topmost one, or what the effects have made of all of
/// them. A slice of less than half of its shortest frame isn't delivered: the next one begins where it does. Seek: all
/// sources that stand at the position are sought, the others released; behind a change of the map a read refuses to run
/// ahead of one. Reading after a seek equals reading straight through but for the first item, which begins at the
/// position. End, and a gap between sources: null. Threads: see the base; one reader at a time.
///
/// Sources that give frames without end that the map can't use are a `FilterException`: within one read 100000 that
/// bring their source no further, or ten million in front of the position.
class SmartMapVideo final : public SmartMapBase<Details::SmartMapVideoTraits> {
  public:
    class MappedStream final : public SmartMapBase::MappedStream {
      public:
        using SmartMapBase::MappedStream::MappedStream;
        void SetReserved(int value) override;
    };

    static iptr<ISmartMapVideo> Create();

    iptr<IDataVideo> Read() override;

  protected:
    iptr<IMappedStreamVideo> MakeHandle() override;
    std::shared_ptr<StreamData> MakeRecord(iptr<IStreamVideo> const& source) TARSEL_REQUIRES(lock) override;
    void UpdateFormat() const TARSEL_REQUIRES(lock) override;

  private:
    /// Where a slice ends, and whether it is too short to be delivered.
    struct Slice {
        int64 end;
        bool isShort;
        bool endsFrame;
    };

    // Each gives false when the map has been told to end.

    bool FillAll(Details::FruitlessReads& fruitless) TARSEL_REQUIRES(lock);
    bool Fill(StreamData& record, Details::FruitlessReads& fruitless) TARSEL_REQUIRES(lock);

    void ShowLastFrame(StreamData& record) TARSEL_REQUIRES(lock);

    // `active`: the records with a frame, the topmost last.

    Records CollectActive() const TARSEL_REQUIRES(lock);
    Slice Measure(Records const& active, int64 start) const TARSEL_REQUIRES(lock);
    iptr<IDataVideo> Deliver(Records const& active, int64 start, int64 end) TARSEL_REQUIRES(lock);
    void Advance(Records const& active, int64 target) TARSEL_REQUIRES(lock);
};

}  // namespace Tarsel::Proc
