#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Proc/ICropDetector.h"
#include "host/cut/CutRequest.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

struct CropRequest {
    std::string input;
    /// Which of the video streams, from 0; cover pictures aren't counted.
    int stream = 0;
    /// Microseconds between pictures that are looked at, and after which the whole frame is the answer.
    int64 interval = Proc::ICropDetector::DEFAULT_SKIP_INTERVAL;
    int64 longest = Proc::ICropDetector::DEFAULT_MAX_INTERVAL;
    /// How many pictures in a row must agree, from which change on a line belongs to the picture, and within how many
    /// pixels answers agree.
    u32 count = Proc::ICropDetector::DEFAULT_SUCCESS_FRAME_COUNT;
    u32 limit = Proc::ICropDetector::DEFAULT_CALC_LIMIT;
    u32 precision = Proc::ICropDetector::DEFAULT_CROP_PRECISION;
};

/// Where the picture is inside of the frames of a file, which are as they are coded: not turned as a player turns them.
struct CropReport {
    std::string input;
    /// Nothing else is told where it is false.
    bool known = false;
    /// Whether there are no bars.
    bool whole = false;
    /// Whether pictures have agreed on it. Where they have not by the longest time, the whole frame is the answer.
    bool settled = false;
    /// All 0 where it isn't known.
    Proc::CropInfo region;
    /// Of the pictures that were looked at; 0 where there was none.
    int frameWidth = 0;
    int frameHeight = 0;
    /// The region as pictures can be cut to it: it begins and ends where samples of chroma do, in files with interlaced
    /// pictures at rows where the first field has chroma of its own.
    Proc::CropInfo kept;
    /// Whether rows of `kept` lie outside of the region for the sake of fields.
    bool keptForFields = false;
    /// The brightest picture that was looked at; null where there was none.
    iptr<Proc::IDataVideo> brightest;
    /// What can be done where it isn't known or not settled, a sentence each.
    std::vector<std::string> hints;
    std::vector<std::string> warnings;

    /// Moves rows of `kept` outwards to multiples of `rowStep` (see `RowStepOfFields`), as far as frames reach.
    TARSEL_HOST_EXPORT void MoveToFields(u32 rowStep);
    /// {"known", "whole", "left", "right", "top", "bottom", "width", "height", "frameWidth", "frameHeight", "settled",
    /// "hints"}, width and height being those of the region; without a line break at its end.
    TARSEL_HOST_EXPORT std::string ToJson() const;
    /// For people: what was found, what is kept as an effect, and the hints.
    TARSEL_HOST_EXPORT std::string ToText() const;
};

/// "crop:left=L,right=R,top=T,bottom=B": the effect that keeps the region.
TARSEL_HOST_EXPORT std::string CropEffectText(Proc::CropInfo const& region);

/// The `number`th of the video streams, from 0; cover pictures aren't counted. Throws `Core::IOException` "PATH: ..."
/// where there is none.
TARSEL_HOST_EXPORT StreamInfo const& FindCropStream(MediaFile const& file, int number);

/// Reads a stream from its start until it is clear where the picture is. Throws `Core::IOException` "PATH: ..." for a
/// file that can't be read or has no such stream, and what the decoder throws. `progress` is told the time reached and
/// the time after which the search ends.
TARSEL_HOST_EXPORT CropReport DetectCrop(CropRequest const& request, ProgressCallback const& progress);

}  // namespace Tarsel::Host
