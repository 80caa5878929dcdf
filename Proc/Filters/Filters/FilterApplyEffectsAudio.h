#pragma once

#include "Proc/Filters/Filters/FilterApplyEffectsBase.h"
#include "contracts/Proc/IFilterApplyEffects.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Runs a chain of effects over a stream of sound, one block at a time.
///
/// Goes in: one stream of sound. Comes out: what the last effect makes of each block. One source block for each one
/// given, never more: an effect that keeps sound for later ends the stream at the first, and what it holds at the end
/// is lost. Seek: forwarded; the effects forget what they carry over, so that effects that carry nothing over give what
/// reading straight through gives. End: null.
/// Threads: one consumer. The chain may be changed from any thread while the consumer waits on the source; during the
/// effects of a block everything about the chain waits for their end.
class FilterApplyEffectsAudio final
    : public FilterApplyEffectsBase<IStreamAudio, IFilterApplyEffectsAudio, IOneInputEffectAudio> {
  public:
    /// The factory of the dedicated form.
    static iptr<IFilterApplyEffectsAudio> Create(iptr<IStreamAudio> const& source,
                                                 iptr<IEffectFactory const> const& effectFactory);

    /// With an empty chain. Throws `std::invalid_argument` "effectFactory is NULL".
    FilterApplyEffectsAudio(iptr<IStreamAudio> source, iptr<IEffectFactory const> effectFactory);
    ~FilterApplyEffectsAudio() override { StopReaderThread(); }

  protected:
    void Run(IOneInputEffectAudio& effect, iptr<IDataAudio>& block) override { effect.Process(block); }
};

}  // namespace Tarsel::Proc
