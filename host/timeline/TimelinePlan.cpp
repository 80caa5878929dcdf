#include "host/timeline/TimelinePlan.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "host/graph/GraphErrors.h"

namespace Tarsel::Host {

namespace {

/// Where a time of the timeline goes on one kind's grid.
class Edges {
  public:
    /// Edges that stand where one of `leaders` stands go where that one goes. `leader` is borrowed; it may be null.
    Edges(TimelineGrid const& grid, int64 duration, Edges const* leader = nullptr, std::vector<int64> leaders = {})
        : grid(grid), duration(duration), length(grid.PlaceAt(duration)), leader(leader), leaders(std::move(leaders)) {}

    int64 PlaceAt(int64 time) const {
        if (time >= duration) return length;
        if (leader && std::binary_search(leaders.begin(), leaders.end(), time)) time = leader->Moved(time);
        return std::clamp<int64>(grid.PlaceAt(time), 0, length);
    }
    int64 GetLength() const { return length; }
    TimelineGrid const& GetGrid() const { return grid; }

  private:
    int64 Moved(int64 time) const { return grid.TimeOf(PlaceAt(time)); }

    TimelineGrid grid;
    int64 duration;
    int64 length;
    Edges const* leader;
    std::vector<int64> leaders;
};

/// Of a clip: the dissolve into it and the one out of it, null for none.
struct Joints {
    TimelineTransition const* before = nullptr;
    TimelineTransition const* after = nullptr;
};

int64 LengthOf(TimelineClip const& clip) {
    return clip.end - clip.begin;
}

std::string TransitionName(TimelineTransition const& transition) {
    return transition.name.empty() ? "transition" : "transition \"" + transition.name + "\"";
}

/// Refuses a transition that the clips have no room for.
void CheckTransition(TimelineTrack const& track, TimelineTransition const& transition) {
    auto const refuse = [&](std::string const& why) {
        FailAtPlace(transition.pointer, TransitionName(transition) + ": " + why);
    };
    if (transition.left + 1 >= track.clips.size()) refuse("there is no clip behind it");
    TimelineClip const& left = track.clips[transition.left];
    TimelineClip const& right = track.clips[transition.left + 1];
    if (left.end != right.begin) refuse("the clips beside it don't touch");
    if (transition.before < 0 || transition.before > LengthOf(left)) refuse("it begins ahead of the clip before it");
    if (transition.after < 0 || transition.after > LengthOf(right)) refuse("it ends behind the clip after it");
}

std::vector<Joints> FindJoints(TimelineTrack const& track) {
    std::vector<Joints> joints(track.clips.size());
    for (TimelineTransition const& transition : track.transitions) {
        CheckTransition(track, transition);
        joints[transition.left].after = &transition;
        joints[transition.left + 1].before = &transition;
    }
    for (std::size_t i = 0; i < joints.size(); ++i)
        if (joints[i].before && joints[i].after &&
            joints[i].after->before > LengthOf(track.clips[i]) - joints[i].before->after)
            FailAtPlace(joints[i].after->pointer,
                        TransitionName(*joints[i].after) + ": it begins inside of the transition in front of it");
    return joints;
}

/// The part of the source that a clip shows on its places, when its own range begins at place `own`.
void FillSource(PlannedClip& planned, TimelineGrid const& grid, int64 own) {
    TimelineClip const& clip = *planned.clip;
    if (clip.speed == 0) {
        planned.sourceBegin = clip.sourceBegin;
        return;
    }
    double const speed = std::abs(clip.speed);
    auto const inSource = [&](int64 length) { return std::llround(double(length) * speed); };
    int64 const ahead = inSource(grid.TimeOf(own) - grid.TimeOf(planned.span.first));
    planned.sourceDuration = inSource(grid.TimeOf(planned.span.last) - grid.TimeOf(planned.span.first));
    planned.sourceBegin = clip.sourceBegin - ahead;
    // Backwards, the range ends where the clip begins.
    if (clip.speed < 0) planned.sourceBegin = clip.sourceBegin + clip.sourceDuration + ahead - planned.sourceDuration;
}

class KindPlanner {
  public:
    KindPlanner(Timeline const& timeline, TrackKind kind, Edges const& edges, std::vector<TimelineWarning>& warnings)
        : timeline(timeline), kind(kind), edges(edges), warnings(warnings), plan{edges.GetGrid(), 0, {}, {}, {}} {}

    KindPlan Make(std::function<bool(TimelineClip const&)> const& isTranslucent) {
        plan.length = edges.GetLength();
        if (plan.length <= 0)
            FailAtPlace("", kind == TrackKind::Video ? "the timeline is shorter than half a frame"
                                                     : "the timeline is shorter than half a sample");
        int order = 0;
        for (TimelineTrack const& track : timeline.tracks)
            if (track.kind == kind) AddTrack(track, order++);
        for (PlannedPiece& piece : plan.pieces)
            for (PlannedClip const& clip : piece.clips)
                if (kind == TrackKind::Video && (clip.clip->opacity < 1 || isTranslucent(*clip.clip)))
                    piece.translucent = true;
        FindGapsAndJoints();
        return std::move(plan);
    }

  private:
    void Warn(std::string text, JsonPointer const& pointer) { warnings.push_back({std::move(text), pointer}); }

    void AddTrack(TimelineTrack const& track, int order) {
        std::vector<Joints> const joints = FindJoints(track);
        int64 reached = 0;
        bool joined = false;  // whether the clip in front is in the plan
        for (std::size_t i = 0; i < track.clips.size(); ++i) {
            TimelineClip const& clip = track.clips[i];
            PlannedClip planned;
            planned.clip = &clip;
            int64 const own = edges.PlaceAt(clip.begin);
            planned.span.first = joints[i].before ? edges.PlaceAt(clip.begin - joints[i].before->before) : own;
            planned.span.last = edges.PlaceAt(joints[i].after ? clip.end + joints[i].after->after : clip.end);
            bool const dissolves = joined && joints[i].before && planned.span.first < reached;
            if (!dissolves) planned.span.first = std::max(planned.span.first, reached);
            joined = planned.span.first < planned.span.last;
            if (!joined) {
                Warn(ClipName(clip) + ": too short for a " + (kind == TrackKind::Video ? "frame" : "sample") +
                         ": left out",
                     clip.pointer);
                continue;
            }
            FillSource(planned, plan.grid, std::max(own, planned.span.first));
            AddEffects(planned);
            Append(std::move(planned), dissolves ? reached : 0, order);
            reached = plan.pieces.back().span.last;
        }
    }

    /// As a piece of its own, or behind the last one, whose end is `dissolveEnd` then.
    void Append(PlannedClip planned, int64 dissolveEnd, int order) {
        if (dissolveEnd == 0) {
            plan.pieces.push_back({order, planned.span, {}, {}, false});
        } else {
            PlannedPiece& piece = plan.pieces.back();
            piece.dissolves.push_back({planned.span.first, std::min(dissolveEnd, planned.span.last)});
            piece.span.last = std::max(piece.span.last, planned.span.last);
        }
        plan.pieces.back().clips.push_back(std::move(planned));
    }

    void AddEffects(PlannedClip& planned) {
        for (TimelineEffect const& effect : planned.clip->effects) {
            // An effect over the whole of a clip goes along into the dissolves beside it.
            int64 const first = effect.begin <= planned.clip->begin ? planned.span.first : edges.PlaceAt(effect.begin);
            int64 const last = effect.end >= planned.clip->end ? planned.span.last : edges.PlaceAt(effect.end);
            PlannedSpan const span{std::max(first, planned.span.first), std::min(last, planned.span.last)};
            if (span.first < span.last)
                planned.effects.push_back({&effect, span});
            else
                Warn(ClipName(*planned.clip) + ": effect " + effect.name + " acts on no " +
                         (kind == TrackKind::Video ? "frame" : "sample") + ": left out",
                     effect.pointer);
        }
    }

    void FindGapsAndJoints() {
        struct Count {
            int covering = 0;
            int joining = 0;
        };
        std::map<int64, Count> changes{{0, {}}, {plan.length, {}}};
        for (PlannedPiece const& piece : plan.pieces) {
            // Sound always joins: two at a time are mixed.
            int const joining = kind == TrackKind::Audio || piece.translucent ? 1 : 0;
            int const covering = kind == TrackKind::Audio || !piece.translucent ? 1 : 0;
            changes[piece.span.first].covering += covering;
            changes[piece.span.last].covering -= covering;
            changes[piece.span.first].joining += joining;
            changes[piece.span.last].joining -= joining;
        }
        int const enough = kind == TrackKind::Audio ? 2 : 1;
        Count now;
        for (auto change = changes.begin(); std::next(change) != changes.end(); ++change) {
            now.covering += change->second.covering;
            now.joining += change->second.joining;
            PlannedSpan const span{change->first, std::next(change)->first};
            if (now.covering == 0) Extend(plan.gaps, span);
            if (now.joining >= enough) Extend(plan.joints, span);
        }
    }

    static void Extend(std::vector<PlannedSpan>& spans, PlannedSpan const& span) {
        if (!spans.empty() && spans.back().last == span.first)
            spans.back().last = span.last;
        else
            spans.push_back(span);
    }

    Timeline const& timeline;
    TrackKind const kind;
    Edges const& edges;
    std::vector<TimelineWarning>& warnings;
    KindPlan plan;
};

/// All times at which an edge of pictures stands, sorted.
std::vector<int64> VideoEdges(Timeline const& timeline) {
    std::vector<int64> times;
    for (TimelineTrack const& track : timeline.tracks) {
        if (track.kind != TrackKind::Video) continue;
        for (TimelineClip const& clip : track.clips) times.insert(times.end(), {clip.begin, clip.end});
        for (TimelineTransition const& transition : track.transitions) {
            if (transition.left >= track.clips.size()) continue;
            int64 const cut = track.clips[transition.left].end;
            times.insert(times.end(), {cut - transition.before, cut + transition.after});
        }
    }
    std::sort(times.begin(), times.end());
    return times;
}

std::string SpanText(KindPlan const& plan, PlannedSpan const& span) {
    auto const at = [&](int64 place) {
        return std::to_string(place) + " (" + std::to_string(plan.grid.TimeOf(place)) + " us)";
    };
    return at(span.first) + " to " + at(span.last);
}

std::string KindText(KindPlan const& plan, bool video) {
    std::string const unit = video ? "frames " : "samples ";
    std::string text = std::string(video ? "pictures" : "sound") + ": " + std::to_string(plan.length) +
                       (video ? " frames at " : " samples at ") + std::to_string(plan.grid.GetRate().numerator()) +
                       "/" + std::to_string(plan.grid.GetRate().denominator()) + "\n";
    for (PlannedPiece const& piece : plan.pieces) {
        text += "  order " + std::to_string(piece.order) + ", " + unit + SpanText(plan, piece.span) +
                (piece.translucent ? ", seen through" : "") + "\n";
        for (PlannedClip const& clip : piece.clips) {
            text += "    " + ClipName(*clip.clip) + ", " + unit + SpanText(plan, clip.span) + ", " + clip.clip->file +
                    " from " + std::to_string(clip.sourceBegin) + " us for " + std::to_string(clip.sourceDuration) +
                    " us\n";
            for (PlannedEffect const& effect : clip.effects)
                text += "      effect " + effect.effect->name + ", " + unit + SpanText(plan, effect.span) + "\n";
        }
        for (PlannedSpan const& dissolve : piece.dissolves)
            text += std::string(video ? "    dissolve, " : "    cross-fade, ") + unit + SpanText(plan, dissolve) + "\n";
    }
    for (PlannedSpan const& gap : plan.gaps)
        text += std::string(video ? "  black, " : "  silence, ") + unit + SpanText(plan, gap) + "\n";
    for (PlannedSpan const& joint : plan.joints)
        text += std::string(video ? "  composite, " : "  mix, ") + unit + SpanText(plan, joint) + "\n";
    return text;
}

}  // namespace

std::string ClipName(TimelineClip const& clip) {
    if (!clip.name.empty()) return "clip \"" + clip.name + "\"";
    return "clip \"" + clip.file.substr(clip.file.find_last_of('/') + 1) + "\"";
}

TimelinePlan PlanTimeline(Timeline const& timeline, TimelineRates const& rates,
                          std::function<bool(TimelineClip const&)> const& isTranslucent) {
    TimelinePlan plan;
    std::optional<Edges> frames;
    if (rates.frames) {
        frames.emplace(TimelineGrid(*rates.frames), timeline.duration);
        plan.video = KindPlanner(timeline, TrackKind::Video, *frames, plan.warnings).Make(isTranslucent);
    }
    if (rates.samples) {
        Edges const samples(TimelineGrid(Ratio(*rates.samples, 1)), timeline.duration, frames ? &*frames : nullptr,
                            VideoEdges(timeline));
        plan.audio = KindPlanner(timeline, TrackKind::Audio, samples, plan.warnings).Make(isTranslucent);
    }
    return plan;
}

std::string PlanText(TimelinePlan const& plan) {
    return (plan.video ? KindText(*plan.video, true) : "") + (plan.audio ? KindText(*plan.audio, false) : "");
}

}  // namespace Tarsel::Host
