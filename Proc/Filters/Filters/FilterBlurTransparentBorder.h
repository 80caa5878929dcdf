#pragma once

#include "Proc/Filters/Filters/FrameAllocReconciler.h"
#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterBlurTransparentBorder.h"

namespace Tarsel::Proc {

/// Bleeds colours into fully transparent pixels, so that scaling doesn't pull a dark fringe from them: each takes the
/// mean colour of the opaque pixels (those of an alpha above 0) in a square around it, and stays transparent.
///
/// Goes in: one stream of pictures. Comes out: the same pictures; those with alpha in one of the packed formats RGBA,
/// BGRA, ARGB and ABGR, into which others are converted; those without alpha untouched. Seek: forwarded; behind it
/// everything is what reading straight through gives. End: null. Threads: one consumer; `Initialize`, `GetFormatCodec`
/// and `GetStatistic` from any thread, but they wait for a read that is under way.
class FilterBlurTransparentBorder final : public StreamImpl<IStreamVideo, IStreamVideoEx> {
  public:
    /// With the default matrix. Throws `std::invalid_argument` "effectFactory is NULL", and as `MakeEffect` when there
    /// is no colour-space converter.
    FilterBlurTransparentBorder(iptr<IStreamVideo> source, iptr<IEffectFactory const> effectFactory);
    ~FilterBlurTransparentBorder() override { StopReaderThread(); }

    /// Throws `FilterException` "Method not implemented".
    void Initialize(Core::Property const& property) override;
    /// Another class throws `std::bad_cast`.
    void Initialize(Settings const& newSettings) override;
    /// Throws `FilterException` "Method not implemented".
    Core::Property GetSettings() override;
    /// The node's child "Matrix_size" is the size of the matrix.
    Core::Property GetStatistic() override;
    /// The source's, adapted by the converter, also where pictures without alpha are going to pass as they are. Throws
    /// `FilterException` "Source format codec must be present" when the source has none.
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override;
    void ReleaseInternalData() override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataVideo> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { parentStream->DoSeek(); }

  private:
    void Blur(iptr<IDataVideo>& frame) TARSEL_REQUIRES(lock);
    void ResetEffects();

    /// Guards the members below. Held while the source is called; the source never calls back. Order: `apiLock`, then
    /// this one, then the source's.
    mutable Core::RecursiveMutex lock;
    SettingsFilterBlurTransparentBorder settings TARSEL_GUARDED_BY(lock);
    iptr<IOneInputEffectVideo> effect TARSEL_GUARDED_BY(lock);
    FrameAllocReconciler frames TARSEL_GUARDED_BY(lock);
    u32 framesRead TARSEL_GUARDED_BY(lock) = 0;
};

}  // namespace Tarsel::Proc
