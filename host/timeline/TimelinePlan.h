#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"
#include "host/timeline/Timeline.h"
#include "host/timeline/TimelineGrid.h"

namespace Tarsel::Host {

/// Places of a grid, [first, last).
struct PlannedSpan {
    int64 first = 0;
    int64 last = 0;

    bool operator==(PlannedSpan const&) const = default;
};

/// An effect of a clip, on the places where it acts.
struct PlannedEffect {
    TimelineEffect const* effect = nullptr;  // the timeline's
    PlannedSpan span;
};

/// A clip on the places that it takes, with what dissolves need of it beyond its own range.
struct PlannedClip {
    TimelineClip const* clip = nullptr;  // the timeline's
    PlannedSpan span;
    /// What of the source fills the places, microseconds. It may begin below 0 or end behind the media.
    int64 sourceBegin = 0;
    int64 sourceDuration = 0;
    std::vector<PlannedEffect> effects;
};

/// Clips of a track that dissolves join, or one clip alone: what goes into the map of the timeline as one source.
struct PlannedPiece {
    /// The track's place among those of its kind, from below.
    int order = 0;
    PlannedSpan span;
    std::vector<PlannedClip> clips;
    /// Where the n-th clip becomes the next one.
    std::vector<PlannedSpan> dissolves;
    /// Whether what lies below is seen through it.
    bool translucent = false;
};

/// Everything of one kind, pictures or sound.
struct KindPlan {
    TimelineGrid grid;
    /// Places from the timeline's start to its end.
    int64 length = 0;
    /// By track, then by time.
    std::vector<PlannedPiece> pieces;
    /// What nothing covers that nothing is seen through: black, or silence.
    std::vector<PlannedSpan> gaps;
    /// Where several pieces become one: drawn one over the other, or mixed.
    std::vector<PlannedSpan> joints;
};

struct TimelinePlan {
    std::optional<KindPlan> video;
    std::optional<KindPlan> audio;
    std::vector<TimelineWarning> warnings;
};

/// What a plan is made for: rates that aren't set leave a kind out.
struct TimelineRates {
    std::optional<Ratio> frames;
    std::optional<int> samples;
};

/// "clip "NAME"", by the file where it has no name.
TARSEL_HOST_EXPORT std::string ClipName(TimelineClip const& clip);

/// Lays the clips of a timeline on frames and samples.
///
/// Edges of pictures go to the nearest frame. An edge of sound that stands where one of pictures stands goes along with
/// it, to the nearest sample; any other to the sample nearest to itself, and the end of the timeline stays. Clips of a
/// track never overlap, whatever moved. `isTranslucent` tells clips of pictures that hold transparent places. Clips and
/// effects without a frame or sample are left out with a warning. The plan refers to `timeline`. Throws
/// `GraphException` for dissolves that the clips have no room for, and a timeline shorter than half a frame or sample.
TARSEL_HOST_EXPORT TimelinePlan PlanTimeline(Timeline const& timeline, TimelineRates const& rates,
                                             std::function<bool(TimelineClip const&)> const& isTranslucent);

/// For people: the sources and effects of the two maps, a line each.
TARSEL_HOST_EXPORT std::string PlanText(TimelinePlan const& plan);

}  // namespace Tarsel::Host
