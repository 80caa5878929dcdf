#pragma once

#include "Proc/Filters/Filters/FilterApplyEffectsBase.h"
#include "Proc/Filters/Filters/FrameAllocReconciler.h"
#include "contracts/Proc/IFilterApplyEffects.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Runs a chain of effects over the pictures of a stream, one picture at a time.
///
/// Goes in: one stream of pictures. Comes out: what the last effect makes of each; a picture moves between processor
/// and GPU memory where the next effect wants it there, and stays where the last one left it. One source picture for
/// each one given, never more: an effect that keeps pictures for later ends the stream at the first, and what it holds
/// at the end is lost. Seek: forwarded; the effects forget what they carry over, so that effects that carry nothing
/// over give what reading straight through gives. End: null.
/// Threads: one consumer. The chain may be changed from any thread while the consumer waits on the source; during the
/// effects of a picture everything about the chain waits for their end.
class FilterApplyEffectsVideo final
    : public FilterApplyEffectsBase<IStreamVideo, IFilterApplyEffectsVideo, IOneInputEffectVideo> {
  public:
    /// The factory of the dedicated form.
    static iptr<IFilterApplyEffectsVideo> Create(iptr<IStreamVideo> const& source,
                                                 iptr<IEffectFactory const> const& effectFactory);

    /// With an empty chain. Throws `std::invalid_argument` "effectFactory is NULL".
    FilterApplyEffectsVideo(iptr<IStreamVideo> source, iptr<IEffectFactory const> effectFactory);
    ~FilterApplyEffectsVideo() override { StopReaderThread(); }

    iptr<IOneInputEffectVideo> FindStabilizer() override;

  protected:
    void Run(IOneInputEffectVideo& effect, iptr<IDataVideo>& frame) override;
    void ResetHelpers() override { frames.Reset(); }

  private:
    FrameAllocReconciler frames;  // guarded by `lock`
};

}  // namespace Tarsel::Proc
