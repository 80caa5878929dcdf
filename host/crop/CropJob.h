#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Proc/ICropDetector.h"
#include "host/cut/CutRequest.h"
#include "host/graph/ShortForms.h"

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
    /// The region as pictures can be cut to it: in files with interlaced pictures it begins and ends at rows where the
    /// first field has chroma of its own.
    Proc::CropInfo kept;
    /// The brightest picture that was looked at; null where there was none.
    iptr<Proc::IDataVideo> brightest;
    /// What can be done where it isn't known or not settled, a sentence each.
    std::vector<std::string> hints;
    std::vector<std::string> warnings;

    /// {"known", "whole", "left", "right", "top", "bottom", "width", "height", "frameWidth", "frameHeight", "settled",
    /// "hints"}, width and height being those of the region; without a line break at its end.
    TARSEL_HOST_EXPORT std::string ToJson() const;
    /// For people: what was found, the region as an effect, and the hints.
    TARSEL_HOST_EXPORT std::string ToText() const;
};

/// "crop:left=L,right=R,top=T,bottom=B": the effect that keeps the region.
TARSEL_HOST_EXPORT std::string CropEffectText(Proc::CropInfo const& region);

/// Reads a stream from its start until it is clear where the picture is. Throws `Core::IOException` "PATH: ..." for a
/// file that can't be read or has no such stream, and what the decoder throws. `progress` is told the time reached and
/// the time after which the search ends.
TARSEL_HOST_EXPORT CropReport DetectCrop(CropRequest const& request, ProgressCallback const& progress);

/// The graph that keeps the region of the report's stream. What it doesn't change goes along as packets where the
/// container takes them. Of the options it heeds output, container, codecs and quality. The report is known.
TARSEL_HOST_EXPORT ShortFormGraph MakeCropGraph(CropRequest const& request, CropReport const& report,
                                                ShortFormOptions const& options);

}  // namespace Tarsel::Host
