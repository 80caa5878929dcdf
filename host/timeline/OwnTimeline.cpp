#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>
#include <utility>

#include "contracts/Proc/SampleInfoProperty.h"
#include "host/cut/RangeText.h"
#include "host/timeline/ExactTime.h"
#include "host/timeline/MediaPath.h"
#include "host/timeline/TimelineForms.h"

namespace Tarsel::Host {

namespace {

using Kind = JsonNode::Kind;
using OptionalTime = std::optional<ExactTime>;

std::string InMicroseconds(int64 time) {
    return std::to_string(time) + " us";
}

class OwnTimelineReader {
  public:
    OwnTimelineReader(JsonTree const& tree, std::string const& folder) : tree(tree), folder(folder), findings(tree) {}

    ReadTimelineResult Read();

  private:
    /// What a track is made up to the item that is read.
    struct Position {
        ExactTime end;
        /// The item ahead: whether it is a clip, and a transition behind that clip which waits for the next one.
        bool behindClip = false;
        std::size_t transition = JsonTree::NONE;
        /// Where the last transition ends.
        int64 transitionEnd = 0;
    };

    void ReadHead();
    void ReadFormat();
    void ReadFrameRate(std::size_t index);
    void ReadSize(std::size_t index);
    void ReadTracks(std::size_t index);
    void ReadTrack(std::size_t index);
    void ReadItem(std::size_t index, TimelineTrack& track, Position& position);
    void ReadClip(std::size_t index, TimelineTrack& track, Position& position);
    void ReadClipSource(std::size_t index, TrackKind kind, TimelineClip& clip);
    OptionalTime ReadClipLength(std::size_t index, TimelineClip& clip);
    void ReadGap(std::size_t index, Position& position);
    void ReadTransition(std::size_t index, TimelineTrack& track, Position& position);
    void FinishTransition(TimelineTrack& track, Position& position);
    void ReadEffects(std::size_t index, TrackKind kind, TimelineClip& clip, ExactTime const& clipBegin);
    TimelineEffect ReadEffect(std::size_t index, TrackKind kind, TimelineClip const& clip, ExactTime const& clipBegin);

    /// Calls `read` for each entry of a list, up to the first finding.
    template <class Function>
    void ForEach(std::size_t index, Function read);
    OptionalTime ReadTime(std::size_t index);
    /// The time under a key, `otherwise` where there is none.
    OptionalTime ReadTimeUnder(std::size_t object, char const* key, ExactTime const& otherwise);
    OptionalTime ReadLength(std::size_t object, char const* key);
    /// Moves the end of a track; reports at `index` what is too short or too long.
    bool Advance(std::size_t index, ExactTime const& length, Position& position);
    double ReadNumberUnder(std::size_t object, char const* key, double lowest, double highest, double otherwise);
    std::string ReadTextUnder(std::size_t object, char const* key);

    JsonTree const& tree;
    std::string const& folder;
    GraphFindings findings;
    Timeline timeline;
    std::size_t clipCount = 0;
};

template <class Function>
void OwnTimelineReader::ForEach(std::size_t index, Function read) {
    if (tree[index].kind != Kind::Array) return findings.Report(index, "must be a list, not " + Shown(tree[index]));
    for (std::size_t const child : tree[index].children) {
        read(child);
        if (findings.Any()) return;
    }
}

ReadTimelineResult OwnTimelineReader::Read() {
    if (ReadKeys(findings, 0, {"$schema", "format", "version", "name", "frameRate", "size", "sound", "tracks"})) {
        ReadHead();
        std::size_t const tracks = RequireKey(findings, 0, "tracks");
        if (tracks != JsonTree::NONE && !findings.Any()) ReadTracks(tracks);
    }
    findings.ThrowFirst();
    return {std::move(timeline), {}};
}

void OwnTimelineReader::ReadHead() {
    ReadFormat();
    ReadTextUnder(0, "$schema");
    timeline.name = ReadTextUnder(0, "name");
    if (std::size_t const rate = tree.Find(0, "frameRate"); rate != JsonTree::NONE) ReadFrameRate(rate);
    if (std::size_t const size = tree.Find(0, "size"); size != JsonTree::NONE) ReadSize(size);
    if (std::size_t const sound = tree.Find(0, "sound"); sound != JsonTree::NONE)
        timeline.sound = Proc::GetSampleInfo(ReadSettings(findings, SoundEntry(), sound, sound), {});
}

void OwnTimelineReader::ReadFormat() {
    if (std::size_t const format = RequireKey(findings, 0, "format"); format != JsonTree::NONE)
        if (tree[format].kind != Kind::Text || tree[format].text != TIMELINE_FORMAT)
            findings.Report(format, "must be \"" + std::string(TIMELINE_FORMAT) + "\", not " + Shown(tree[format]));
    if (std::size_t const version = RequireKey(findings, 0, "version"); version != JsonTree::NONE)
        ReadInteger(findings, version, TIMELINE_VERSION, TIMELINE_VERSION);
}

void OwnTimelineReader::ReadFrameRate(std::size_t index) {
    auto const rate = ParseRatio(tree[index]);
    if (rate && rate->numerator() > 0 && rate->numerator() <= MAX_FRAME_RATE * rate->denominator())
        timeline.frameRate = *rate;
    else
        findings.Report(index, "must be a rate \"N/D\" above 0 and up to " + std::to_string(MAX_FRAME_RATE) +
                                   " frames/s, not " + Shown(tree[index]));
}

void OwnTimelineReader::ReadSize(std::size_t index) {
    if (!ReadKeys(findings, index, {"width", "height", "pixelAspect"})) return;
    Conf::FrameInfo frame;
    auto const side = [&](char const* key) {
        std::size_t const value = RequireKey(findings, index, key);
        if (value == JsonTree::NONE) return 0;
        return static_cast<int>(ReadInteger(findings, value, 1, MAX_TIMELINE_SIDE, "pixels").value_or(0));
    };
    frame.width = side("width");
    frame.height = side("height");
    if (std::size_t const aspect = tree.Find(index, "pixelAspect"); aspect != JsonTree::NONE) {
        auto const ratio = ParseRatio(tree[aspect]);
        if (!ratio || ratio->numerator() == 0)
            return findings.Report(aspect, "must be a ratio \"N/D\" above 0, not " + Shown(tree[aspect]));
        frame.pixelAspectNum = static_cast<int>(ratio->numerator());
        frame.pixelAspectDen = static_cast<int>(ratio->denominator());
    }
    timeline.frame = frame;
}

void OwnTimelineReader::ReadTracks(std::size_t index) {
    ForEach(index, [&](std::size_t child) { ReadTrack(child); });
    if (findings.Any()) return;
    if (timeline.tracks.size() > MAX_TIMELINE_TRACKS)
        findings.Report(index, "a timeline has " + std::to_string(MAX_TIMELINE_TRACKS) + " tracks at most");
    if (timeline.duration == 0) findings.Report(index, "nothing lies on the timeline");
}

void OwnTimelineReader::ReadTrack(std::size_t index) {
    if (!ReadKeys(findings, index, {"kind", "name", "items"})) return;
    TimelineTrack track;
    track.pointer = tree.PointerOf(index);
    track.name = ReadTextUnder(index, "name");
    std::size_t const kind = RequireKey(findings, index, "kind");
    std::size_t const items = RequireKey(findings, index, "items");
    if (kind == JsonTree::NONE || items == JsonTree::NONE) return;
    if (tree[kind].kind == Kind::Text && tree[kind].text == TrackKindName(TrackKind::Audio))
        track.kind = TrackKind::Audio;
    else if (tree[kind].kind != Kind::Text || tree[kind].text != TrackKindName(TrackKind::Video))
        return findings.Report(kind, "must be \"video\" or \"audio\", not " + Shown(tree[kind]));
    Position position;
    ForEach(items, [&](std::size_t child) { ReadItem(child, track, position); });
    if (findings.Any()) return;
    if (position.transition != JsonTree::NONE)
        findings.Report(position.transition, "a transition needs a clip behind it");
    timeline.duration = std::max(timeline.duration, position.end.Round());
    timeline.tracks.push_back(std::move(track));
}

void OwnTimelineReader::ReadItem(std::size_t index, TimelineTrack& track, Position& position) {
    if (tree[index].kind != Kind::Object) return findings.Report(index, "must be an object, not " + Shown(tree[index]));
    std::size_t const type = RequireKey(findings, index, "type");
    if (type == JsonTree::NONE) return;
    std::string const word = tree[type].kind == Kind::Text ? tree[type].text : std::string();
    if (word == "clip") return ReadClip(index, track, position);
    if (word == "gap") return ReadGap(index, position);
    if (word == "transition") return ReadTransition(index, track, position);
    findings.Report(type, "must be \"clip\", \"gap\" or \"transition\", not " + Shown(tree[type]));
}

void OwnTimelineReader::ReadClip(std::size_t index, TimelineTrack& track, Position& position) {
    std::vector<std::string> keys{"type", "name", "file", "stream", "in", "out", "duration", "speed", "effects"};
    if (track.kind == TrackKind::Video)
        keys.insert(keys.end(), {"freeze", "opacity"});
    else
        keys.emplace_back("volume");
    if (!ReadKeys(findings, index, keys)) return;
    if (++clipCount > MAX_TIMELINE_CLIPS)
        return findings.Report(index, "a timeline has " + std::to_string(MAX_TIMELINE_CLIPS) + " clips at most");
    TimelineClip clip;
    clip.pointer = tree.PointerOf(index);
    clip.name = ReadTextUnder(index, "name");
    ReadClipSource(index, track.kind, clip);
    clip.opacity = ReadNumberUnder(index, "opacity", 0, 1, clip.opacity);
    if (std::size_t const volume = tree.Find(index, "volume"); volume != JsonTree::NONE)
        clip.volume = static_cast<int>(
            ReadInteger(findings, volume, -MAX_MIXER_VOLUME, MAX_MIXER_VOLUME, "percent").value_or(clip.volume));
    auto const length = ReadClipLength(index, clip);
    if (!length || findings.Any()) return;
    ExactTime const begin = position.end;
    clip.begin = begin.Round();
    if (!Advance(index, *length, position)) return;
    clip.end = position.end.Round();
    clip.sourceDuration = SourceDurationOf(clip);
    if (std::size_t const effects = tree.Find(index, "effects"); effects != JsonTree::NONE)
        ReadEffects(effects, track.kind, clip, begin);
    track.clips.push_back(std::move(clip));
    position.behindClip = true;
    if (position.transition != JsonTree::NONE) FinishTransition(track, position);
}

void OwnTimelineReader::ReadClipSource(std::size_t index, TrackKind kind, TimelineClip& clip) {
    if (std::size_t const file = RequireKey(findings, index, "file"); file != JsonTree::NONE) {
        std::string const path = ReadText(findings, file).value_or("");
        if (path.empty()) findings.Report(file, "the name of the file is empty");
        if (path.find('\0') != std::string::npos) findings.Report(file, "the name of the file has a byte 0 in it");
        clip.file = PathIn(folder, path);
    }
    if (std::size_t const stream = tree.Find(index, "stream"); stream != JsonTree::NONE) {
        clip.stream = ReadSelector(findings, stream);
        StreamKind const wanted = kind == TrackKind::Video ? StreamKind::Video : StreamKind::Audio;
        if (clip.stream->kind && *clip.stream->kind != wanted)
            findings.Report(stream, "a track of " + TrackKindName(kind) + " has no place for a stream of " +
                                        std::string(KindName(*clip.stream->kind)));
    }
}

/// Reads what is played of the source, and gives how long that lasts on the timeline.
OptionalTime OwnTimelineReader::ReadClipLength(std::size_t index, TimelineClip& clip) {
    auto const begin = ReadTimeUnder(index, "in", {});
    if (!begin) return {};
    clip.sourceBegin = begin->Round();
    std::size_t const out = tree.Find(index, "out");
    std::size_t const duration = tree.Find(index, "duration");
    std::size_t const speed = tree.Find(index, "speed");
    if (std::size_t const freeze = tree.Find(index, "freeze"); freeze != JsonTree::NONE)
        if (ReadBoolean(findings, freeze).value_or(false)) clip.speed = 0;
    if (clip.speed == 0) {
        if (speed != JsonTree::NONE) findings.Report(speed, "a clip that is frozen has no speed");
        if (out != JsonTree::NONE)
            findings.Report(out, "a clip that is frozen shows the picture at \"in\" for its \"duration\"");
        return ReadLength(index, "duration");
    }
    if (speed != JsonTree::NONE) {
        clip.speed = ReadNumberUnder(index, "speed", -FASTEST_CLIP, FASTEST_CLIP, 1);
        if (!(std::abs(clip.speed) >= SLOWEST_CLIP)) {
            findings.Report(
                speed, "must be a number from 0.01 to 100, or below 0 to play backwards, not " + Shown(tree[speed]));
            return {};
        }
    }
    if (out == JsonTree::NONE) return ReadLength(index, "duration");
    if (duration != JsonTree::NONE) findings.Report(duration, "\"out\" tells already how long the clip is");
    auto const end = ReadTime(out);
    if (!end) return {};
    if (!(*begin < *end)) {
        findings.Report(out, "the end of the clip, " + InMicroseconds(end->Round()) + ", is not behind its begin, " +
                                 InMicroseconds(begin->Round()));
        return {};
    }
    Ratio const factor = NearestRatio(std::abs(clip.speed));
    return (*end - *begin) * Ratio(factor.denominator(), factor.numerator());
}

void OwnTimelineReader::ReadGap(std::size_t index, Position& position) {
    if (!ReadKeys(findings, index, {"type", "duration"})) return;
    auto const length = ReadLength(index, "duration");
    if (!length || !Advance(index, *length, position)) return;
    if (position.transition != JsonTree::NONE) findings.Report(index, "a transition needs a clip behind it, not a gap");
    position.behindClip = false;
}

void OwnTimelineReader::ReadTransition(std::size_t index, TimelineTrack& track, Position& position) {
    if (!ReadKeys(findings, index, {"type", "name", "kind", "before", "after"})) return;
    if (std::size_t const kind = tree.Find(index, "kind"); kind != JsonTree::NONE)
        if (tree[kind].kind != Kind::Text || tree[kind].text != "dissolve")
            return findings.Report(kind, "must be \"dissolve\", not " + Shown(tree[kind]));
    if (position.transition != JsonTree::NONE || !position.behindClip)
        return findings.Report(index, "a transition needs a clip ahead of it");
    auto const before = ReadTimeUnder(index, "before", {});
    auto const after = ReadTimeUnder(index, "after", {});
    if (!before || !after) return;
    TimelineTransition transition;
    transition.pointer = tree.PointerOf(index);
    transition.name = ReadTextUnder(index, "name");
    transition.left = track.clips.size() - 1;
    int64 const cut = position.end.Round();
    transition.before = cut - (position.end - *before).Round();
    transition.after = (position.end + *after).Round() - cut;
    if (transition.before == 0 && transition.after == 0)
        return findings.Report(index, "the transition lasts no time: it needs \"before\" or \"after\"");
    TimelineClip const& left = track.clips.back();
    if (transition.before > left.end - left.begin)
        return findings.Report(index, "the transition begins " + InMicroseconds(transition.before) +
                                          " ahead of the cut, out of the clip there, which lasts " +
                                          InMicroseconds(left.end - left.begin));
    if (cut - transition.before < position.transitionEnd)
        return findings.Report(index, "the transition begins at " + InMicroseconds(cut - transition.before) +
                                          ", ahead of the end of the one before, " +
                                          InMicroseconds(position.transitionEnd));
    position.transition = index;
    position.transitionEnd = cut + transition.after;
    track.transitions.push_back(std::move(transition));
}

/// The clip behind the transition stands now.
void OwnTimelineReader::FinishTransition(TimelineTrack& track, Position& position) {
    TimelineClip const& right = track.clips.back();
    if (position.transitionEnd > right.end)
        findings.Report(position.transition, "the transition ends " + InMicroseconds(track.transitions.back().after) +
                                                 " behind the cut, out of the clip there, which lasts " +
                                                 InMicroseconds(right.end - right.begin));
    position.transition = JsonTree::NONE;
}

void OwnTimelineReader::ReadEffects(std::size_t index, TrackKind kind, TimelineClip& clip, ExactTime const& clipBegin) {
    ForEach(index, [&](std::size_t child) { clip.effects.push_back(ReadEffect(child, kind, clip, clipBegin)); });
}

TimelineEffect OwnTimelineReader::ReadEffect(std::size_t index, TrackKind kind, TimelineClip const& clip,
                                             ExactTime const& clipBegin) {
    TimelineEffect effect;
    if (!ReadKeys(findings, index, {"name", "implementation", "settings", "begin", "end"})) return effect;
    effect.pointer = tree.PointerOf(index);
    ReadEffectSettings(findings, index, kind, folder, effect);
    effect.begin = clip.begin;
    effect.end = clip.end;
    std::size_t const begin = tree.Find(index, "begin");
    std::size_t const end = tree.Find(index, "end");
    if (begin != JsonTree::NONE)
        if (auto const time = ReadTime(begin)) effect.begin = (clipBegin + *time).Round();
    if (end != JsonTree::NONE)
        if (auto const time = ReadTime(end)) effect.end = (clipBegin + *time).Round();
    if (findings.Any()) return effect;
    if (effect.end > clip.end)
        findings.Report(end, "the effect ends at " + InMicroseconds(effect.end - clip.begin) +
                                 ", out of the clip, which lasts " + InMicroseconds(clip.end - clip.begin));
    else if (effect.end <= effect.begin)
        findings.Report(begin == JsonTree::NONE ? end : begin,
                        "the effect ends at " + InMicroseconds(effect.end - clip.begin) + ", not behind its begin at " +
                            InMicroseconds(effect.begin - clip.begin));
    return effect;
}

/// Microseconds, or a text that names its unit.
OptionalTime OwnTimelineReader::ReadTime(std::size_t index) {
    JsonNode const& node = tree[index];
    if (node.kind == Kind::Integer && node.integer >= 0 && node.integer <= MAX_DURATION)
        return ExactTime::OfMicroseconds(node.integer);
    if (node.kind == Kind::Text && node.text.ends_with('f')) {
        char const* const end = node.text.data() + node.text.size() - 1;
        int64 frames = -1;
        auto const result = std::from_chars(node.text.data(), end, frames);
        if (result.ec == std::errc() && result.ptr == end && frames >= 0) {
            if (!timeline.frameRate) {
                findings.Report(index, Shown(node) + " counts frames, and the timeline states no frameRate");
                return {};
            }
            if (frames <= MAX_DURATION && ExactTime::OfFrames(frames, *timeline.frameRate).Round() <= MAX_DURATION)
                return ExactTime::OfFrames(frames, *timeline.frameRate);
        }
    } else if (node.kind == Kind::Text && node.text.find_first_of(":s") != std::string::npos) {
        // A number alone would be seconds in a command and microseconds in a graph.
        if (auto const time = ParseTime(node.text)) return ExactTime::OfMicroseconds(*time);
    }
    findings.Report(index,
                    "must be a time up to 30 days: an integer (us), or a text like \"1:10.5\", \"2s\", \"500ms\" or "
                    "\"50f\" (frames), not " +
                        Shown(node));
    return {};
}

OptionalTime OwnTimelineReader::ReadTimeUnder(std::size_t object, char const* key, ExactTime const& otherwise) {
    std::size_t const value = tree.Find(object, key);
    return value == JsonTree::NONE ? otherwise : ReadTime(value);
}

OptionalTime OwnTimelineReader::ReadLength(std::size_t object, char const* key) {
    std::size_t const value = RequireKey(findings, object, key);
    return value == JsonTree::NONE ? OptionalTime() : ReadTime(value);
}

bool OwnTimelineReader::Advance(std::size_t index, ExactTime const& length, Position& position) {
    int64 const before = position.end.Round();
    position.end = position.end + length;
    if (position.end.Round() == before)
        findings.Report(index, "it lasts less than a microsecond");
    else if (position.end.Round() > MAX_DURATION)
        findings.Report(index, "the track is longer than 30 days here");
    return !findings.Any();
}

double OwnTimelineReader::ReadNumberUnder(std::size_t object, char const* key, double lowest, double highest,
                                          double otherwise) {
    std::size_t const value = tree.Find(object, key);
    return value == JsonTree::NONE ? otherwise : ReadNumber(findings, value, lowest, highest).value_or(otherwise);
}

std::string OwnTimelineReader::ReadTextUnder(std::size_t object, char const* key) {
    std::size_t const value = tree.Find(object, key);
    return value == JsonTree::NONE ? std::string() : ReadText(findings, value).value_or("");
}

}  // namespace

ReadTimelineResult ReadOwnTimeline(JsonTree const& tree, std::string const& folder) {
    return OwnTimelineReader(tree, folder).Read();
}

}  // namespace Tarsel::Host
