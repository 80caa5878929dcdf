#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contracts/Conf/FrameInfo.h"
#include "contracts/Conf/SampleInfo.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Time.h"
#include "contracts/Core/Types.h"
#include "host/graph/GraphDocument.h"

namespace Tarsel::Host {

// A timeline as it is written down, whatever file it came from. Times are microseconds; ranges are [begin, end). "On
// the timeline" means from the timeline's start, "in the source" from time 0 of the file.

enum class TrackKind { Video, Audio };

/// An effect on one clip.
struct TimelineEffect {
    /// Its name in the catalog of effects, and the property that makes it: named with the class identifier, a child for
    /// every field, and "Implementation" where one is asked for. Its interval stands here alone.
    std::string name;
    Core::Property settings;
    /// On the timeline.
    int64 begin = 0;
    int64 end = 0;
    JsonPointer pointer;

    bool operator==(TimelineEffect const&) const = default;
};

/// A stretch of a file on a track.
struct TimelineClip {
    std::string name;
    /// As the file system knows it: relative paths of a timeline file have been resolved against its folder.
    std::string file;
    /// Which stream of the file; nothing: the first of the track's kind.
    std::optional<StreamSelector> stream;
    /// On the timeline.
    int64 begin = 0;
    int64 end = 0;
    /// In the source: where the range begins that is played. At a speed below 0 the range is played from its end.
    int64 sourceBegin = 0;
    /// In the source; for a freeze frame 0, otherwise (end - begin) x |speed|.
    int64 sourceDuration = 0;
    /// 1 as it is, above 1 faster, below 0 backwards, 0 a freeze frame.
    double speed = 1;
    /// Where the clip lies on its picture: nothing, or how much of it is seen, 0 to 1.
    double opacity = 1;
    /// Of a clip of sound, in percents.
    int volume = 100;
    std::vector<TimelineEffect> effects;
    JsonPointer pointer;

    bool operator==(TimelineClip const&) const = default;
};

/// A dissolve about the cut between two clips that touch: the left one goes on for `after` behind the cut, the right
/// one begins `before` ahead of it, and the one becomes the other between. Ranges of the clips are those without it.
struct TimelineTransition {
    std::string name;
    /// Index of the left clip in its track; the right one stands behind it.
    std::size_t left = 0;
    int64 before = 0;
    int64 after = 0;
    JsonPointer pointer;

    bool operator==(TimelineTransition const&) const = default;
};

struct TimelineTrack {
    std::string name;
    TrackKind kind = TrackKind::Video;
    /// In the order of time; none overlap. What no clip covers is a gap.
    std::vector<TimelineClip> clips;
    std::vector<TimelineTransition> transitions;
    JsonPointer pointer;

    bool operator==(TimelineTrack const&) const = default;
};

struct Timeline {
    std::string name;
    /// Frames a second of what is rendered; nothing: that of the first clip of pictures.
    std::optional<Ratio> frameRate;
    /// Size of what is rendered; nothing: that of the first clip of pictures.
    std::optional<Conf::FrameInfo> frame;
    /// Format of what is rendered; words that aren't set: those of the first clip of sound.
    Conf::SampleInfo sound;
    /// From below to above; of sound the order means nothing.
    std::vector<TimelineTrack> tracks;
    /// End of the longest track, gaps at its end included.
    int64 duration = 0;

    bool operator==(Timeline const&) const = default;
};

/// Something of a timeline file that can't be carried, and is left out or stood in for.
struct TimelineWarning {
    /// "clip NAME", "track NAME"..., and what.
    std::string text;
    JsonPointer pointer;

    bool operator==(TimelineWarning const&) const = default;
};

struct ReadTimelineResult {
    Timeline timeline;
    std::vector<TimelineWarning> warnings;
};

}  // namespace Tarsel::Host
