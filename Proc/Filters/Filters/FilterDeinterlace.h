#pragma once

#include <deque>

#include "Proc/Filters/Filters/FrameAllocReconciler.h"
#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsDeinterlace.h"

namespace Tarsel::Proc {

/// Makes interlaced pictures progressive, where the stream needs it: once, before the first picture is given, it looks
/// at up to three pictures; one interlaced picture among them decides for all that follow.
///
/// Goes in: one stream of pictures. Comes out: each picture unchanged, or what the two effects of the settings make of
/// it; the time of pictures that the effects keep is given to the next one that comes out, which the effects stamp with
/// the time and duration of the picture just put in. Seek: forwarded; the effects forget what they carry over, the
/// decision stays. Behind a seek times are what reading straight through gives, and so are the pictures, except for the
/// first one where an effect looks at the picture before. End: null; an effect isn't drained.
/// Threads: one consumer; the settings, `GetFormatCodec` and `GetStatistic` from any thread, but they wait for a read
/// that is under way.
class FilterDeinterlace final : public StreamImpl<IStreamVideo, IStreamVideoEx> {
  public:
    /// Throws `std::invalid_argument` "effectFactory is NULL", and as `Initialize`.
    FilterDeinterlace(iptr<IStreamVideo> source, iptr<IEffectFactory const> effectFactory,
                      Settings const& settings = SettingsDeinterlace());
    ~FilterDeinterlace() override { StopReaderThread(); }

    /// The same as with settings, from the property of a `SettingsDeinterlace`.
    void Initialize(Core::Property const& property) override { Apply(Property2SettingsDeinterlace(property)); }
    /// Makes the effects anew; the decision stays. Another class throws `std::bad_cast`; without an implementation it
    /// throws as `MakeEffect`. The old effects then stay.
    void Initialize(Settings const& newSettings) override;
    Core::Property GetSettings() override;
    Core::Property GetStatistic() override;
    /// The source's, adapted by the effects unless the stream has turned out not to need them. Throws `FilterException`
    /// "Source format codec must be present" when the source has none.
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override;
    void ReleaseInternalData() override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataVideo> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { parentStream->DoSeek(); }

  private:
    enum class Decision { Undecided = 0, Deinterlace = 1, PassThrough = 2 };

    struct Effects {
        iptr<IOneInputEffectVideo> first;
        iptr<IOneInputEffectVideo> second;  // null where nothing is to be smoothed
    };

    void Apply(SettingsDeinterlace const& newSettings);
    void LookAhead() TARSEL_REQUIRES(lock);
    iptr<IDataVideo> Next() TARSEL_REQUIRES(lock);
    void RunEffects(iptr<IDataVideo>& frame) TARSEL_REQUIRES(lock);
    /// Gives the time of the pictures that were kept to the one that came out.
    iptr<IDataVideo> Fixed(iptr<IDataVideo> frame) TARSEL_REQUIRES(lock);
    void Forget();

    iptr<IEffectFactory const> const factory;

    /// Guards the members below. Held while the source is called, so that new settings don't come between a picture and
    /// its result; the source never calls back. Order: `apiLock`, then this one, then the source's.
    mutable Core::RecursiveMutex lock;
    SettingsDeinterlace settings TARSEL_GUARDED_BY(lock);
    Effects effects TARSEL_GUARDED_BY(lock);
    FrameAllocReconciler frames TARSEL_GUARDED_BY(lock);
    Decision decision TARSEL_GUARDED_BY(lock) = Decision::Undecided;
    /// Microseconds of pictures that the effects have kept.
    int64 carry TARSEL_GUARDED_BY(lock) = 0;
    /// What was read to decide and has not been given yet.
    std::deque<iptr<IDataVideo>> peeked TARSEL_GUARDED_BY(lock);
    u32 framesRead TARSEL_GUARDED_BY(lock) = 0;
};

}  // namespace Tarsel::Proc
