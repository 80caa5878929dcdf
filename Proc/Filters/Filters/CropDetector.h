#pragma once

#include <memory>
#include <optional>

#include "Proc/Filters/Filters/CropDetectorImpl.h"
#include "Proc/Filters/Filters/FrameAllocReconciler.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/ICropDetector.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/IFactories.h"

namespace Tarsel::Proc {

/// Finds bars by what doesn't change. Goes in: frames of a stream from its start, of which one each skip interval is
/// looked at. Comes out: the region that has stayed the same for the success frame count. The options and what
/// `GetStatistic` tells are kept from run to run, everything else begins anew but for the last crop. One caller at a
/// time; nothing is locked.
class CropDetector final : public virtual ICropDetector, public RefCounted {
  public:
    /// The factory of the registry. Throws `std::invalid_argument` "effectFactory is NULL", and as `MakeEffect` for a
    /// factory without a colour-space converter.
    static iptr<ICropDetector> Create(iptr<IEffectFactory const> const& effectFactory);
    explicit CropDetector(iptr<IEffectFactory const> const& effectFactory);

    /// A count, a limit or a precision that 32 bits don't hold throws `AlgorithmException` with the key's name. A
    /// property that is refused changes nothing.
    void Initialize(Core::Property const& property) override;
    /// Throws `std::invalid_argument` "stream is NULL", and `FilterException` for a stream that goes on and on without
    /// coming nearer to an answer: 100000 frames in a row that are no later than those before (10000 where each is
    /// due), or 1000000 behind the max interval of which none is due. Failures of the stream, the converter and the
    /// downloader pass through.
    CropInfo Detect(iptr<IStreamVideo>& stream) override;
    iptr<IDataVideo> GetBrightestFrame() const override { return brightestFrame; }
    Core::Property GetStatistic() const override;

  private:
    void Reset();
    /// What the frame says of the crop, once it is settled and the frame isn't the brightest so far.
    std::optional<CropInfo> Analyse(iptr<IDataVideo> frame);
    /// Of even size, in processor memory, and in one of the formats that there is an implementation for.
    iptr<IDataVideo> Prepare(iptr<IDataVideo> frame);
    /// Whether it is the brightest so far, which is kept.
    bool IsBrighter(iptr<IDataVideo> const& frame);
    std::optional<CropInfo> Settle(CropInfo const& crop, CropInfo const& whole);

    // options
    int64 maxInterval = DEFAULT_MAX_INTERVAL;
    int64 skipInterval = DEFAULT_SKIP_INTERVAL;
    u32 successFrameCount = DEFAULT_SUCCESS_FRAME_COUNT;
    u32 calcLimit = DEFAULT_CALC_LIMIT;
    u32 cropPrecision = DEFAULT_CROP_PRECISION;

    CropInfo lastCrop;  // of the run before, at first
    iptr<IOneInputEffectVideo> converter;
    FrameAllocReconciler frames;

    // the run
    std::unique_ptr<CropDetectorImpl> implementation;  // of the size and format of the frames
    iptr<IDataVideo> brightestFrame;
    iptr<IDataVideo> previousFrame;
    u32 frameCounter = 0;
    u32 stableCount = 0;
    int64 bestBrightness = -1;

    // all runs
    int64 totalTime = 0;
    u32 calcCount = 0;
};

}  // namespace Tarsel::Proc
