#pragma once

#include <memory>
#include <vector>

#include "Proc/Filters/Filters/FruitlessReads.h"
#include "Proc/Filters/Filters/SmartMapBase.h"
#include "contracts/Conf/SampleInfo.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterAudioFormatter.h"
#include "contracts/Proc/IFilterResample.h"

namespace Tarsel::Proc {

namespace Details {

/// A source of sound, conformed to the map's format and cut into slices.
struct MappedAudio : MappedSource {
    iptr<IStreamAudio> source;
    iptr<IFilterResample> resampler;
    iptr<IFilterAudioFormatter> output;
    bool isDry = false;  // has ended in front of its end; a source at its end gives nothing more

    IStreamAudio& Output() const { return *output; }
    bool IsHeld() const { return false; }
    void DropItems() { isDry = false; }
};

struct SmartMapAudioTraits {
    using Interface = ISmartMapAudio;
    using Stream = IStreamAudio;
    using Mapped = IMappedStreamAudio;
    using Record = MappedAudio;
    static constexpr char NAME[] = "SmartMapAudio";
    static constexpr char STATISTIC_NAME[] = "Tarsel::Proc::SmartMapAudio::GetStatistic";
};

}  // namespace Details

/// Sound of several sources on one timeline.
///
/// Goes in: sources and effects, by their handles, and the format of what comes out. Comes out: the timeline in blocks
/// of 100 ms, the last one ahead of a place where a source or an effect begins or ends up to 200 ms long; of the
/// sources that sound there the topmost one, or what the effects have made of all of them. Over one source the samples
/// are counted on one grid, so that what its blocks hold is what its length holds, however it is cut. Seek: all sources
/// that stand at the position are sought, the others released; a source that lands beside it is heard as much too early
/// or too late. End, and a gap between sources: null. A source that ends early takes its slices with it, for all.
/// Threads: see the base; one reader at a time.
///
/// Half a million lost slices within one read are a `FilterException`.
class SmartMapAudio final : public SmartMapBase<Details::SmartMapAudioTraits> {
  public:
    using MappedStream = SmartMapBase::MappedStream;

    /// The factory's way in. A null factory throws `std::invalid_argument`.
    static iptr<ISmartMapAudio> Create(iptr<IFilterFactory const> const& factory);

    explicit SmartMapAudio(iptr<IFilterFactory const> const& factory);

    void SetSampleInfo(Conf::SampleInfo const& info) override;
    iptr<IDataAudio> Read() override;

  protected:
    iptr<IMappedStreamAudio> MakeHandle() override;
    std::shared_ptr<StreamData> MakeRecord(iptr<IStreamAudio> const& source) TARSEL_REQUIRES(lock) override;
    /// `SetSampleInfo` alone makes the format.
    void UpdateFormat() const TARSEL_REQUIRES(lock) override {}

  private:
    /// What the sources give for one slice.
    struct Pass {
        std::vector<iptr<IData>> items;
        bool hasSources = false;
        bool isLost = false;   // one of them has ended early
        bool isSound = false;  // one of them hasn't
    };

    /// The length of the next slice; 0 or less at the end.
    int64 MeasureSlice() const TARSEL_REQUIRES(lock);
    Pass ReadSlice(int64 slice) TARSEL_REQUIRES(lock);
    /// Null when the source has ended early.
    iptr<IDataAudio> ReadBlock(StreamData& record, int64 slice) TARSEL_REQUIRES(lock);
    iptr<IDataAudio> ApplyEffects(std::vector<iptr<IData>>& items) TARSEL_REQUIRES(lock);
    void Advance(int64 target) TARSEL_REQUIRES(lock);
    /// Microseconds; without end where there is no rate.
    double GetSampleTime() const TARSEL_REQUIRES(lock);

    iptr<IFilterFactory const> const factory;
    Conf::SampleInfo sampleInfo TARSEL_GUARDED_BY(lock);
};

}  // namespace Tarsel::Proc
