#pragma once

#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/IFactories.h"

namespace Tarsel::Proc {

/// Brings frames to where an effect works, between processor memory and GPU memory. The two converters are made at
/// their first use and live as long as this object. Guarded by the lock of the filter that owns it.
class FrameAllocReconciler {
  public:
    /// The warnings are literals, logged at each conversion at a verbosity of 21 or more; null for none.
    explicit FrameAllocReconciler(iptr<IEffectFactory const> factory, char const* downloadWarning = nullptr,
                                  char const* uploadWarning = nullptr);

    /// `wanted` is one of `IDataVideo::FrameAlloc`. A frame that may stay where it is, and a null one, stays the same
    /// object. Throws `FilterException` "Unsupported frame allocators set" when there is no way from here to there, and
    /// as `MakeEffect`.
    void ReconcileFrameAlloc(iptr<IDataVideo>& frame, int wanted);
    /// Forgets what the converters carry over from frame to frame.
    void Reset();

  private:
    void Convert(iptr<IDataVideo>& frame, iptr<IOneInputEffectVideo>& converter, char const* classId,
                 char const* warning);

    iptr<IEffectFactory const> const factory;
    char const* const downloadWarning;
    char const* const uploadWarning;
    iptr<IOneInputEffectVideo> downloader;
    iptr<IOneInputEffectVideo> uploader;
};

}  // namespace Tarsel::Proc
