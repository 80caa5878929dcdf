#pragma once

#include "Proc/Filters/Filters/FrameAllocReconciler.h"
#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterResize.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Brings the pictures of a stream to a size, by the host's resizer.
///
/// Goes in: one stream of pictures. Comes out: what the resizer makes of each, one for one; a picture that lives where
/// the resizer doesn't work is brought there first, with a warning. Seek: forwarded; behind it everything is what
/// reading straight through gives. End: null. Threads: one consumer; the settings, `GetFormatCodec` and `GetStatistic`
/// from any thread, but they wait for a read that is under way.
class FilterResize final : public StreamImpl<IStreamVideo, IStreamVideo>,
                           public virtual IFilterResize,
                           public virtual IStreamVideoEx {
  public:
    /// The factory of the dedicated form: with default settings, by which pictures keep their size.
    static iptr<IFilterResize> Create(iptr<IStreamVideo> const& source,
                                      iptr<IEffectFactory const> const& effectFactory);

    /// Throws `std::invalid_argument` "effectFactory is NULL", and as `UpdateSettings`.
    FilterResize(iptr<IStreamVideo> source, iptr<IEffectFactory const> effectFactory, Settings const& settings);
    ~FilterResize() override { StopReaderThread(); }

    void Initialize(Core::Property const& property) override { UpdateSettings(Property2Settings(property)); }
    void Initialize(Settings const& newSettings) override { UpdateSettings(newSettings); }
    /// Makes a resizer of the settings' implementation, whose interval is the whole stream. When that fails, the old
    /// one stays.
    void UpdateSettings(Settings const& newSettings) override;
    Core::Property GetSettings() override;
    Core::Property GetStatistic() override;
    /// The source's, adapted by the resizer. Throws `FilterException` "Source format codec must be present" when the
    /// source has none.
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override;
    void ReleaseInternalData() override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataVideo> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { parentStream->DoSeek(); }

  private:
    void ResetEffects();

    iptr<IEffectFactory const> const factory;

    /// Guards the members below. Held while the source is called, so that new settings don't come between a picture and
    /// its result; the source never calls back. Order: `apiLock`, then this one, then the source's.
    mutable Core::RecursiveMutex lock;
    iptr<IOneInputEffectVideo> resizer TARSEL_GUARDED_BY(lock);
    FrameAllocReconciler frames TARSEL_GUARDED_BY(lock);
    SettingsResizer settings TARSEL_GUARDED_BY(lock);
    u32 framesRead TARSEL_GUARDED_BY(lock) = 0;
};

}  // namespace Tarsel::Proc
