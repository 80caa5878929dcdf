#pragma once

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFilterFrameRate.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterFrameRate.h"

namespace Tarsel::Proc {

/// Gives pictures a regular frame rate: lays a grid over the time line and fills each slot with the source picture that
/// covers it most, the earlier one of two that cover it equally.
///
/// Goes in: one stream of pictures. Comes out: a clone of a picture for each slot, timed by the slot; pictures go out
/// several times or not at all. Seek: the source goes to the begin of the slot; the first slot begins at the position,
/// so it is shorter unless the position lies on the grid. Everything else is what reading straight through gives, as
/// long as the source has no gaps and reaches its own duration. End: the last slot is cut at the source's duration;
/// pictures that end before it stand until it. A source of unknown duration ends with its last picture's slot.
/// Threads: one consumer; `Initialize`, `GetFrameRate`, `GetFormatCodec` and `GetStatistic` from any thread, but they
/// wait for a read that is under way.
class FilterFrameRate : public StreamImpl<IStreamVideo, IStreamVideo>,
                        public virtual IFilterFrameRate,
                        public virtual IStreamVideoEx {
  public:
    /// The factory of the dedicated form.
    static iptr<IFilterFrameRate> Create(iptr<IStreamVideo> const& source);

    /// At the source's rate.
    explicit FilterFrameRate(iptr<IStreamVideo> source);
    /// At the rate of the settings, which may be that of the source. Throws `std::bad_cast` for settings of another
    /// class, `FilterException` "Wrong fps!" for a rate that isn't above 0 and "Input codec format is null" when the
    /// source's rate is wanted and it has no format.
    FilterFrameRate(iptr<IStreamVideo> source, Settings const& settings);
    ~FilterFrameRate() override { StopReaderThread(); }

    /// Takes what `IFilterFrameRate::MakeSettings` makes. A rate that is set while a stream is being read moves the
    /// grid under it; the next seek finds its place in the new one.
    void Initialize(Core::Property const& property) override;
    void Initialize(Settings const& newSettings) override;
    Core::Property GetSettings() override { return MakeSettings(GetFrameRate()); }
    Core::Property GetStatistic() override;
    /// The source's with the rate. Throws `FilterException` "Input codec format is null" when the source has none.
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override;
    Ratio GetFrameRate() const override;
    void ReleaseInternalData() override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataVideo> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { parentStream->DoSeek(); }

    /// Guards the members below. Held while the source is called, because a cache's thread may read while a host asks
    /// for the rate; the source never calls back. Order: `apiLock`, then this one, then the source's.
    mutable Core::RecursiveMutex lock;
    Ratio frameRate TARSEL_GUARDED_BY(lock);
    int64 processingTime TARSEL_GUARDED_BY(lock) = 0;
    unsigned framesGiven TARSEL_GUARDED_BY(lock) = 0;

  private:
    void SetFrameRate(Ratio const& rate);
    /// The picture that covers `[begin, end)` most, reading the source as far as that takes; null when a source of
    /// unknown duration has ended ahead of the slot.
    iptr<IDataVideo> FindBest(int64 begin, int64 end, bool open) TARSEL_REQUIRES(lock);

    /// The slot to fill next. Wide enough never to come round.
    uint64 frameIndex TARSEL_GUARDED_BY(lock) = 0;
    int64 seekPosition TARSEL_GUARDED_BY(lock) = 0;
    /// End of the last slot given; no value after a seek.
    int64 lastEnd TARSEL_GUARDED_BY(lock) = NO_VALUE;
    /// The source picture that was read last.
    iptr<IDataVideo> pending TARSEL_GUARDED_BY(lock);
};

}  // namespace Tarsel::Proc
