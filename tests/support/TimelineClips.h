// Clips whose pictures and samples say where they come from, timelines of them, and what a rendered file holds.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "host/timeline/RenderJob.h"
#include "tests/support/SoundMeasure.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {

/// 32x24 at 25 frames a second for four seconds without loss: picture N has the luma 16 + N throughout.
inline std::string NumberedClip() {
    return MakeClip(
        "numbered.mkv",
        {"-f", "lavfi", "-i", "nullsrc=s=32x24:r=25:d=4,format=yuv420p,geq=lum='16+N':cb=128:cr=128", "-c:v", "ffv1"});
}

/// The same size and rate, all of one luma.
inline std::string PlainClip(int luma, int seconds = 2) {
    std::string const name = "plain" + std::to_string(luma) + "-" + std::to_string(seconds) + ".mkv";
    return MakeClip(name, {"-f", "lavfi", "-i",
                           "nullsrc=s=32x24:r=25:d=" + std::to_string(seconds) +
                               ",format=yuv420p,geq=lum=" + std::to_string(luma) + ":cb=128:cr=128",
                           "-c:v", "ffv1"});
}

/// Mono sound of 48000 Hz that holds one level, thousandths of full scale.
inline std::string LevelClip(int thousandths, int seconds = 2) {
    return MakeClip(
        "level" + std::to_string(thousandths) + "-" + std::to_string(seconds) + ".wav",
        {"-f", "lavfi", "-i", "aevalsrc=" + std::to_string(thousandths) + "/1000:s=48000:d=" + std::to_string(seconds),
         "-c:a", "pcm_s16le"});
}

inline Host::TimelineClip ClipOf(std::string const& file, int64 begin, int64 end, int64 sourceBegin = 0,
                                 double speed = 1) {
    Host::TimelineClip clip;
    clip.name = "c" + std::to_string(begin / 1000);
    clip.file = file;
    clip.begin = begin;
    clip.end = end;
    clip.sourceBegin = sourceBegin;
    clip.speed = speed;
    clip.sourceDuration = std::llround(double(end - begin) * std::abs(speed));
    clip.pointer = "/tracks/0/items/" + std::to_string(begin / 1000);
    return clip;
}

inline Host::TimelineTrack TrackOf(Host::TrackKind kind, std::vector<Host::TimelineClip> clips,
                                   std::vector<Host::TimelineTransition> transitions = {}) {
    Host::TimelineTrack track;
    track.kind = kind;
    track.clips = std::move(clips);
    track.transitions = std::move(transitions);
    return track;
}

inline Host::Timeline TimelineOf(std::vector<Host::TimelineTrack> tracks, int64 duration) {
    Host::Timeline timeline;
    timeline.tracks = std::move(tracks);
    timeline.duration = duration;
    return timeline;
}

inline Host::Timeline PicturesOf(std::vector<Host::TimelineClip> clips, int64 duration,
                                 std::vector<Host::TimelineTransition> transitions = {}) {
    return TimelineOf({TrackOf(Host::TrackKind::Video, std::move(clips), std::move(transitions))}, duration);
}

inline Host::Timeline SoundTimelineOf(std::vector<Host::TimelineClip> clips, int64 duration,
                                      std::vector<Host::TimelineTransition> transitions = {}) {
    return TimelineOf({TrackOf(Host::TrackKind::Audio, std::move(clips), std::move(transitions))}, duration);
}

/// Renders without loss into Matroska.
inline Host::RenderReport RenderTo(std::string const& path, Host::Timeline timeline) {
    Host::BuiltTimeline built(std::move(timeline));
    Host::RenderOptions options;
    options.output = path;
    options.videoCodec = "h264";
    options.quality = 0;  // without loss
    options.audioCodec = "pcm_s16le";
    options.force = true;
    return RenderTimeline(built, options, {});
}

/// The luma of each picture, at a tenth of its width and height from the upper left corner.
inline std::vector<int> LumasOf(std::string const& path) {
    Messages messages;
    std::vector<int> lumas;
    for (DecodedPicture const& picture : DecodePictures(path, 0, messages)) {
        auto const place = static_cast<std::size_t>(picture.height / 10 * picture.width + picture.width / 10);
        lumas.push_back(picture.pixels[place]);
    }
    return lumas;
}

/// `count` times the same value.
inline std::vector<int> Times(int count, int value) {
    return std::vector<int>(static_cast<std::size_t>(count), value);
}

inline std::vector<int> Joined(std::vector<std::vector<int>> const& parts) {
    std::vector<int> all;
    for (auto const& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

/// Lumas of pictures `first` up to `last` of the numbered clip.
inline std::vector<int> Numbers(int first, int last) {
    std::vector<int> lumas;
    for (int number = first; number < last; ++number) lumas.push_back(16 + number);
    return lumas;
}

}  // namespace Tarsel::Test
