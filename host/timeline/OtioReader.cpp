#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "host/graph/GraphErrors.h"
#include "host/timeline/MediaPath.h"
#include "host/timeline/OtioStrip.h"
#include "host/timeline/OtioValues.h"
#include "host/timeline/TimelineForms.h"

namespace Tarsel::Host {

namespace {

constexpr int64 KNOWN_CLIP = 2;

class OtioReader {
  public:
    OtioReader(JsonTree const& tree, std::string const& folder) : tree(tree), folder(folder), values(tree) {}

    ReadTimelineResult Read();

  private:
    void ReadTimeline(std::size_t index);
    void ReadCollection(std::size_t index);
    void ReadRootStack(std::size_t index);
    void ReadRootItem(std::size_t index, std::optional<OtioRange> const& range);

    OtioStrip ReadItem(std::size_t index, TrackKind kind);
    OtioStrip ReadClip(std::size_t index, OtioSchema const& schema, TrackKind kind);
    OtioStrip ReadComposition(std::size_t index, OtioSchema const& schema, TrackKind kind);
    OtioStrip ReadTrackChildren(std::size_t index, TrackKind kind);
    OtioStrip ReadLayers(std::size_t index, TrackKind kind);
    void AddJoint(std::size_t index, OtioStrip& strip, OtioPiece const& right);

    std::size_t ReferenceOf(std::size_t clip, OtioSchema const& schema) const;
    /// The path of a clip's media; nothing, and a warning, where there is none that can be read.
    std::optional<std::string> ReadMedia(std::size_t clip, std::size_t reference);
    /// False, and a warning, where the clip can't be played so.
    bool ReadSpeed(std::size_t clip, TrackKind kind, OtioPiece& piece);
    /// Leaves out what lies ahead of the file's begin. False where nothing is left.
    bool KeepInFile(std::size_t clip, OtioPiece& piece);
    void WarnOfEffects(std::size_t index);

    OtioStrip TrimmedTo(std::size_t index, OtioStrip strip, std::optional<OtioRange> const& range);
    void Settle(OtioStrip strip, TimelineTrack& track);
    void RequireFit(std::size_t index, OtioStrip const& strip) const;

    /// Whether the object is a track by its schema, by its present name or an old one.
    static bool IsTrack(OtioSchema const& schema) { return schema.name == "Track" || schema.name == "Sequence"; }
    std::optional<TrackKind> KindOf(std::size_t track) const;
    std::string NameOf(std::size_t index) const;
    void Warn(std::size_t index, std::string const& what) { Warn(NameOf(index), what, tree.PointerOf(index)); }
    void Warn(std::string const& name, std::string const& what, JsonPointer const& pointer) {
        result.warnings.push_back({name + ": " + what, pointer});
    }

    JsonTree const& tree;
    std::string const& folder;
    OtioValues values;
    ReadTimelineResult result;
    std::size_t clipCount = 0;
};

/// "clip "A"".
std::string OtioReader::NameOf(std::size_t index) const {
    std::string word = values.SchemaOf(index).name;
    for (char& c : word)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    // Any text may stand there, of any length.
    word = Quoted(word);
    word = word.substr(1, word.size() - 2);
    std::string const name = values.TextUnder(index, "name");
    return word + (name.empty() ? " without a name" : " " + Quoted(name));
}

ReadTimelineResult OtioReader::Read() {
    OtioSchema const schema = values.SchemaOf(0);
    if (schema.name == "Timeline")
        ReadTimeline(0);
    else if (schema.name == "SerializableCollection")
        ReadCollection(0);
    else if (schema.name == "Stack")
        ReadRootStack(0);
    else if (IsTrack(schema))
        ReadRootItem(0, {});
    else
        values.Fail(0, "must be a Timeline, not a " + Quoted(schema.name));
    if (result.timeline.duration == 0) values.Fail(0, "nothing lies on the timeline");
    return std::move(result);
}

void OtioReader::ReadCollection(std::size_t index) {
    values.RequireVersion(index, values.SchemaOf(index), 1);
    bool found = false;
    for (std::size_t const child : values.ListUnder(index, "children")) {
        if (values.SchemaOf(child).name != "Timeline") continue;
        if (found)
            Warn(child, "only the first timeline of a collection is read");
        else
            ReadTimeline(child);
        found = true;
    }
    if (!found) values.Fail(index, "there is no Timeline in the collection");
}

void OtioReader::ReadTimeline(std::size_t index) {
    values.RequireVersion(index, values.SchemaOf(index), 1);
    result.timeline.name = values.TextUnder(index, "name");
    std::size_t const tracks = values.Require(index, "tracks");
    OtioSchema const schema = values.SchemaOf(tracks);
    if (schema.name != "Stack") values.Fail(tracks, "must be a Stack, not a " + Quoted(schema.name));
    ReadRootStack(tracks);
}

void OtioReader::ReadRootStack(std::size_t index) {
    values.RequireVersion(index, values.SchemaOf(index), 1);
    WarnOfEffects(index);
    auto const range = values.RangeUnder(index, "source_range");
    for (std::size_t const child : values.ListUnder(index, "children")) ReadRootItem(child, range);
}

std::optional<TrackKind> OtioReader::KindOf(std::size_t track) const {
    std::string const word = values.TextUnder(track, "kind");
    if (word == "Video" || word.empty()) return TrackKind::Video;
    if (word == "Audio") return TrackKind::Audio;
    return {};
}

/// A track, or something else that lies on the whole timeline as a track of its own.
void OtioReader::ReadRootItem(std::size_t index, std::optional<OtioRange> const& range) {
    OtioSchema const schema = values.SchemaOf(index);
    auto const kind = IsTrack(schema) ? KindOf(index) : TrackKind::Video;
    if (!kind)
        return Warn(index, "a track of the kind " + Quoted(values.TextUnder(index, "kind")) + " can't be played");
    if (result.timeline.tracks.size() >= MAX_TIMELINE_TRACKS)
        values.Fail(index, "a timeline has " + std::to_string(MAX_TIMELINE_TRACKS) + " tracks at most");
    TimelineTrack track;
    track.kind = *kind;
    track.name = values.TextUnder(index, "name");
    track.pointer = tree.PointerOf(index);
    Settle(TrimmedTo(index, ReadItem(index, *kind), range), track);
    result.timeline.tracks.push_back(std::move(track));
}

/// Rounds the places of a strip.
void OtioReader::Settle(OtioStrip strip, TimelineTrack& track) {
    auto joint = strip.joints.begin();
    bool lastKept = false;
    for (std::size_t i = 0; i < strip.pieces.size(); ++i) {
        OtioPiece& piece = strip.pieces[i];
        TimelineClip& clip = piece.clip;
        clip.begin = piece.begin.Round();
        clip.end = piece.end.Round();
        clip.sourceBegin = std::max<int64>(piece.sourceBegin.Round(), 0);
        if (clip.sourceBegin > MAX_DURATION)
            FailAtPlace(clip.pointer, "the range of the clip begins more than 30 days behind the begin of its media");
        clip.sourceDuration = SourceDurationOf(clip);
        bool const kept = clip.end > clip.begin;
        // The joint ahead of this piece.
        if (joint != strip.joints.end() && joint->left + 1 == i) {
            TimelineTransition transition;
            transition.name = joint->name;
            transition.pointer = joint->pointer;
            transition.left = track.clips.size() - 1;
            transition.before = clip.begin - (piece.begin - joint->before).Round();
            transition.after = (piece.begin + joint->after).Round() - clip.begin;
            if (kept && lastKept && (transition.before != 0 || transition.after != 0))
                track.transitions.push_back(std::move(transition));
            ++joint;
        }
        if (kept) track.clips.push_back(std::move(clip));
        lastKept = kept;
    }
    result.timeline.duration = std::max(result.timeline.duration, strip.length.Round());
}

OtioStrip OtioReader::TrimmedTo(std::size_t index, OtioStrip strip, std::optional<OtioRange> const& range) {
    if (!range) return strip;
    std::vector<OtioJoint> lost;
    OtioStrip trimmed = Trimmed(std::move(strip), range->start, range->duration, lost);
    for (OtioJoint const& joint : lost)
        Warn("transition " + Quoted(joint.name), "it is cut by the range of " + NameOf(index) + ", a cut stands there",
             joint.pointer);
    return trimmed;
}

void OtioReader::RequireFit(std::size_t index, OtioStrip const& strip) const {
    if (strip.length.Round() > MAX_DURATION) values.Fail(index, "the track is longer than 30 days here");
}

OtioStrip OtioReader::ReadItem(std::size_t index, TrackKind kind) {
    OtioSchema const schema = values.SchemaOf(index);
    if (schema.name == "Clip") return ReadClip(index, schema, kind);
    if (schema.name == "Stack" || IsTrack(schema)) return ReadComposition(index, schema, kind);
    auto const range = values.RangeUnder(index, "source_range");
    OtioStrip gap;
    if (range) gap.length = range->duration;
    if (schema.name == "Gap" || schema.name == "Filler") {
        values.RequireVersion(index, schema, 1);
        return gap;
    }
    if (!range)
        values.Fail(index, "the schema " + Quoted(schema.name) + " is not known: there is no telling how long it is");
    Warn(index, "the schema " + Quoted(schema.name) + " is not known; a gap stands there");
    return gap;
}

std::size_t OtioReader::ReferenceOf(std::size_t clip, OtioSchema const& schema) const {
    if (schema.version == 1) return values.Find(clip, "media_reference");
    std::size_t const references = values.Find(clip, "media_references");
    if (references == JsonTree::NONE) return JsonTree::NONE;
    std::string const active = values.TextUnder(clip, "active_media_reference_key");
    return values.Find(references, active.empty() ? "DEFAULT_MEDIA" : active);
}

std::optional<std::string> OtioReader::ReadMedia(std::size_t clip, std::size_t reference) {
    auto const leaveOut = [&](std::string const& why) {
        Warn(clip, why + "; a gap stands there");
        return std::optional<std::string>();
    };
    if (reference == JsonTree::NONE) return leaveOut("it has no media");
    OtioSchema const schema = values.SchemaOf(reference);
    if (schema.name == "MissingReference") return leaveOut("its media is missing");
    if (schema.name == "GeneratorReference")
        return leaveOut("its pictures are made by a generator, " +
                        Quoted(values.TextUnder(reference, "generator_kind")));
    if (schema.name == "ImageSequenceReference") return leaveOut("its pictures are a sequence of files");
    if (schema.name != "ExternalReference")
        return leaveOut("media by the schema " + Quoted(schema.name) + " are not known");
    values.RequireVersion(reference, schema, 1);
    MediaPath const media = PathOfUrl(values.TextUnder(reference, "target_url"));
    if (!media.problem.empty()) return leaveOut(media.problem);
    return PathIn(folder, media.path);
}

bool OtioReader::ReadSpeed(std::size_t clip, TrackKind kind, OtioPiece& piece) {
    double speed = 1;
    for (std::size_t const effect : values.ListUnder(clip, "effects")) {
        OtioSchema const schema = values.SchemaOf(effect);
        if (!values.IsEnabled(effect)) continue;
        if (schema.name == "FreezeFrame") {
            values.RequireVersion(effect, schema, 1);
            speed = 0;
        } else if (schema.name == "LinearTimeWarp") {
            values.RequireVersion(effect, schema, 1);
            speed *= values.Number(values.Require(effect, "time_scalar"));
        } else {
            std::string const name = values.TextUnder(effect, "effect_name");
            Warn(clip, "its effect " + Quoted(name.empty() ? schema.name : name) + " is not known and is left out");
        }
    }
    piece.clip.speed = speed;
    if (speed == 0 && kind == TrackKind::Audio) {
        Warn(clip, "sound can't be frozen; a gap stands there");
        return false;
    }
    if (speed != 0 && !(std::abs(speed) >= SLOWEST_CLIP && std::abs(speed) <= FASTEST_CLIP)) {
        Warn(clip, "its speed is out of 0.01 to 100; a gap stands there");
        return false;
    }
    piece.speed = NearestRatio(speed);
    return true;
}

bool OtioReader::KeepInFile(std::size_t clip, OtioPiece& piece) {
    // Less than half of a microsecond comes of rates that don't quite agree.
    if (piece.sourceBegin.Round() >= 0) return true;
    Warn(clip, "its range begins " + std::to_string(-piece.sourceBegin.Round()) +
                   " us ahead of its media; a gap stands there for as long");
    Ratio const size = NearestRatio(std::abs(piece.clip.speed));
    if (size.numerator() == 0) return false;
    ExactTime const missing = (ExactTime() - piece.sourceBegin) * Ratio(size.denominator(), size.numerator());
    if (!(missing < piece.end - piece.begin)) return false;
    if (piece.clip.speed > 0) {
        CutFront(piece, missing);
    } else {
        CutBack(piece, missing);
    }
    piece.sourceBegin = {};
    return true;
}

OtioStrip OtioReader::ReadClip(std::size_t index, OtioSchema const& schema, TrackKind kind) {
    values.RequireVersion(index, schema, KNOWN_CLIP);
    if (++clipCount > MAX_TIMELINE_CLIPS)
        values.Fail(index, "a timeline has " + std::to_string(MAX_TIMELINE_CLIPS) + " clips at most");
    std::size_t const reference = ReferenceOf(index, schema);
    std::optional<OtioRange> available;
    if (reference != JsonTree::NONE) available = values.RangeUnder(reference, "available_range");
    auto range = values.RangeUnder(index, "source_range");
    if (!range) range = available;
    if (!range)
        values.Fail(
            index,
            "the clip has no source_range, and its media no available_range: there is no telling how long it is");
    OtioStrip strip;
    strip.length = range->duration;
    if (!values.IsEnabled(index) || strip.length.Sign() == 0) return strip;
    auto const path = ReadMedia(index, reference);
    if (!path) return strip;
    OtioPiece piece;
    piece.clip.name = values.TextUnder(index, "name");
    piece.clip.file = *path;
    piece.clip.pointer = tree.PointerOf(index);
    piece.end = strip.length;
    // The range counts from the timecode that the media begin with, the file from 0.
    piece.sourceBegin = available ? range->start - available->start : range->start;
    if (ReadSpeed(index, kind, piece) && KeepInFile(index, piece)) strip.pieces.push_back(std::move(piece));
    return strip;
}

void OtioReader::WarnOfEffects(std::size_t index) {
    for (std::size_t const effect : values.ListUnder(index, "effects")) {
        OtioSchema const schema = values.SchemaOf(effect);
        if (!values.IsEnabled(effect)) continue;
        std::string const name = values.TextUnder(effect, "effect_name");
        Warn(index, "its effect " + Quoted(name.empty() ? schema.name : name) + " can't be carried and is left out");
    }
}

OtioStrip OtioReader::ReadComposition(std::size_t index, OtioSchema const& schema, TrackKind kind) {
    values.RequireVersion(index, schema, 1);
    OtioStrip strip = IsTrack(schema) ? ReadTrackChildren(index, kind) : ReadLayers(index, kind);
    strip = TrimmedTo(index, std::move(strip), values.RangeUnder(index, "source_range"));
    if (!values.IsEnabled(index)) {
        strip.pieces.clear();
        strip.joints.clear();
    }
    if (!strip.pieces.empty()) WarnOfEffects(index);
    return strip;
}

/// Of what lies on one another only one layer may hold clips: more would need a map of their own.
OtioStrip OtioReader::ReadLayers(std::size_t index, TrackKind kind) {
    OtioStrip whole;
    std::size_t filled = 0;
    for (std::size_t const child : values.ListUnder(index, "children")) {
        auto const own = IsTrack(values.SchemaOf(child)) ? KindOf(child) : kind;
        OtioStrip layer = ReadItem(child, own.value_or(kind));
        if (whole.length < layer.length) whole.length = layer.length;
        if (layer.pieces.empty()) continue;
        if (own != kind) {
            Warn(child, "a track in a track of another kind is left out");
            continue;
        }
        if (++filled > 1) continue;
        whole.pieces = std::move(layer.pieces);
        whole.joints = std::move(layer.joints);
    }
    if (filled > 1) {
        Warn(index, std::to_string(filled) + " layers of clips lie in it, only one can be carried; a gap stands there");
        whole.pieces.clear();
        whole.joints.clear();
    }
    return whole;
}

OtioStrip OtioReader::ReadTrackChildren(std::size_t index, TrackKind kind) {
    OtioStrip strip;
    bool behindClip = false;
    std::size_t pending = JsonTree::NONE;
    for (std::size_t const child : values.ListUnder(index, "children")) {
        OtioSchema const schema = values.SchemaOf(child);
        if (schema.name == "Transition") {
            values.RequireVersion(child, schema, 1);
            if (behindClip && pending == JsonTree::NONE)
                pending = child;
            else
                Warn(child, "it does not stand behind a clip; it is left out");
            continue;
        }
        OtioStrip part = ReadItem(child, kind);
        bool const isClip = schema.name == "Clip" && part.pieces.size() == 1;
        if (pending != JsonTree::NONE) {
            if (isClip && part.pieces[0].begin.Sign() == 0)
                AddJoint(pending, strip, part.pieces[0]);
            else
                Warn(pending, "it does not stand ahead of a clip; it is left out");
            pending = JsonTree::NONE;
        }
        behindClip = isClip && part.pieces[0].end == part.length;
        Append(strip, std::move(part));
        RequireFit(child, strip);
    }
    if (pending != JsonTree::NONE) Warn(pending, "it does not stand ahead of a clip; it is left out");
    return strip;
}

void OtioReader::AddJoint(std::size_t index, OtioStrip& strip, OtioPiece const& right) {
    OtioJoint joint;
    joint.name = values.TextUnder(index, "name");
    joint.pointer = tree.PointerOf(index);
    joint.left = strip.pieces.size() - 1;
    joint.before = values.TimeUnder(index, "in_offset");
    joint.after = values.TimeUnder(index, "out_offset");
    if (joint.before.Sign() < 0 || joint.after.Sign() < 0) values.Fail(index, "an offset of a transition is below 0");
    std::string const type = values.TextUnder(index, "transition_type");
    if (type != "SMPTE_Dissolve") return Warn(index, "its kind " + Quoted(type) + " is not known; a cut stands there");
    OtioPiece const& left = strip.pieces.back();
    ExactTime begin = left.begin;
    if (!strip.joints.empty() && strip.joints.back().left + 1 == joint.left) begin = begin + strip.joints.back().after;
    if (strip.length - joint.before < begin || right.end - right.begin < joint.after)
        return Warn(index, "it is longer than the clips beside it have room for; a cut stands there");
    strip.joints.push_back(std::move(joint));
}

}  // namespace

ReadTimelineResult ReadOtio(JsonTree const& tree, std::string const& folder) {
    return OtioReader(tree, folder).Read();
}

}  // namespace Tarsel::Host
