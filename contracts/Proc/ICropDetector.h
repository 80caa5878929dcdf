#pragma once

#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/CropInfo.h"
#include "contracts/Proc/IData.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Finds the bars around the picture of a stream: what doesn't change there is a bar. Not a stream itself. One caller
/// at a time; the stream is read on the caller's thread.
class TARSEL_CONTRACTS_EXPORT ICropDetector : public virtual IRefCountable {
  public:
    static constexpr char CLASS_ID[] = "CropDetector";

    // The keys of the property that `Initialize` takes, all whole numbers.

    /// Microseconds of the stream after which the whole frame is the answer.
    static constexpr char MAX_INTERVAL[] = "MaxInterval";
    /// Microseconds between frames that are looked at.
    static constexpr char SKIP_INTERVAL[] = "SkipInterval";
    /// How many frames in a row must agree.
    static constexpr char SUCCESS_FRAME_COUNT[] = "SuccessFrameCount";
    /// From which deviation of changes along a line on the line belongs to the picture, in sample values.
    static constexpr char CALC_LIMIT[] = "CalcLimit";
    /// Within how many pixels two answers agree.
    static constexpr char CROP_PRECISION[] = "CropPrecision";

    static constexpr int64 DEFAULT_MAX_INTERVAL = 600000000;
    static constexpr int64 DEFAULT_SKIP_INTERVAL = 500000;
    static constexpr u32 DEFAULT_SUCCESS_FRAME_COUNT = 10;
    static constexpr u32 DEFAULT_CALC_LIMIT = 4;
    static constexpr u32 DEFAULT_CROP_PRECISION = 8;

    ~ICropDetector() override;
    /// A key that isn't there leaves its value as it was. A property of another name than `CLASS_ID` throws
    /// `AlgorithmException` "CropDetector was initialized with incorrect class!".
    virtual void Initialize(Core::Property const& property) = 0;
    /// Seeks the stream to 0 and reads it until the answer is known. {0, 0, 0, 0} is no answer: the stream ended
    /// before. The stream is left where that was.
    virtual CropInfo Detect(iptr<IStreamVideo>& stream) = 0;
    /// The brightest of the frames that the last `Detect` looked at, of even size and in a format with luma in its
    /// first plane; null when there was none.
    virtual iptr<IDataVideo> GetBrightestFrame() const = 0;
    virtual Core::Property GetStatistic() const = 0;
};

}  // namespace Tarsel::Proc
