#pragma once

#include <string>

#include "host/graph/GraphJson.h"
#include "host/graph/GraphValues.h"
#include "host/timeline/Timeline.h"

namespace Tarsel::Host {

/// Bounds on timeline files: those of long films with what editing programs leave in their metadata.
inline constexpr JsonLimits TIMELINE_LIMITS{"timeline", std::size_t{32} << 20, 2000000};
inline constexpr std::size_t MAX_TIMELINE_TRACKS = 1000;
inline constexpr std::size_t MAX_TIMELINE_CLIPS = 100000;

/// The word in the key "format" of the own form, and the only version of it.
inline constexpr char TIMELINE_FORMAT[] = "tarsel timeline";
inline constexpr int64 TIMELINE_VERSION = 1;

/// Slower or faster than this nothing is played.
inline constexpr double SLOWEST_CLIP = 0.01;
inline constexpr double FASTEST_CLIP = 100;
inline constexpr int64 MAX_TIMELINE_SIDE = 16384;

/// The kinds of tracks by their names in the own form.
std::string TrackKindName(TrackKind kind);

GraphKind GraphKindOf(TrackKind kind);

/// The length of the stretch that a clip plays of its source.
int64 SourceDurationOf(TimelineClip const& clip);

/// What the format of sound is read by: the words of a conversion, as graph files have them.
CatalogEntry const& SoundEntry();

/// The name and the settings of an effect on one clip, from its object: what the catalog of effects knows, checked by
/// it. Files that they name are resolved against the folder.
void ReadEffectSettings(GraphFindings& findings, std::size_t index, TrackKind kind, std::string const& folder,
                        TimelineEffect& effect);

/// The two forms. What is wrong throws `GraphException`.
ReadTimelineResult ReadOwnTimeline(JsonTree const& tree, std::string const& folder);
ReadTimelineResult ReadOtio(JsonTree const& tree, std::string const& folder);

}  // namespace Tarsel::Host
