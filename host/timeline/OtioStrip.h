#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/timeline/ExactTime.h"
#include "host/timeline/Timeline.h"

namespace Tarsel::Host {

/// A clip at its exact place.
struct OtioPiece {
    /// Its times are set at the end.
    TimelineClip clip;
    Ratio speed = 1;
    /// In the strip.
    ExactTime begin;
    ExactTime end;
    /// In the source: where the range begins that is played, from its end at a speed below 0.
    ExactTime sourceBegin;
};

/// A dissolve between the piece `left` and the one behind it.
struct OtioJoint {
    std::string name;
    std::size_t left = 0;
    ExactTime before;
    ExactTime after;
    JsonPointer pointer;
};

/// The content of a track or of something that lies on one, flattened: pieces in the order of time, from 0 to the
/// length; none overlap.
struct OtioStrip {
    ExactTime length;
    std::vector<OtioPiece> pieces;
    std::vector<OtioJoint> joints;
};

/// Cuts `time` off the front of a piece, of its range as well; it must be longer.
void CutFront(OtioPiece& piece, ExactTime const& time);
/// Cuts `time` off the back.
void CutBack(OtioPiece& piece, ExactTime const& time);

/// Puts what `part` holds behind the strip's end.
void Append(OtioStrip& strip, OtioStrip part);

/// What of the strip lies in a range of it, which may reach beyond both its ends. Joints that don't lie in the range as
/// a whole are left out and come back in `lost`.
OtioStrip Trimmed(OtioStrip strip, ExactTime const& begin, ExactTime const& length, std::vector<OtioJoint>& lost);

}  // namespace Tarsel::Host
