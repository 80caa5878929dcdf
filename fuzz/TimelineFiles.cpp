// The text of a timeline file, in both forms. What is read must be in order and come back from its own writing as the
// same timeline; everything else must be refused with a message of bounded length.

#include <algorithm>
#include <cstdlib>
#include <string>

#include "fuzz/FuzzInput.h"
#include "host/graph/GraphErrors.h"
#include "host/timeline/TimelineReader.h"
#include "host/timeline/TimelineWriter.h"

using namespace Tarsel;

namespace {

/// Gaps that touch are written as one, which moves the places of what stands behind them.
Host::Timeline WithoutPointers(Host::Timeline timeline) {
    for (Host::TimelineTrack& track : timeline.tracks) {
        track.pointer.clear();
        for (Host::TimelineTransition& transition : track.transitions) transition.pointer.clear();
        for (Host::TimelineClip& clip : track.clips) {
            clip.pointer.clear();
            for (Host::TimelineEffect& effect : clip.effects) effect.pointer.clear();
        }
    }
    return timeline;
}

bool IsInOrder(Host::Timeline const& timeline) {
    for (Host::TimelineTrack const& track : timeline.tracks) {
        int64 end = 0;
        for (Host::TimelineClip const& clip : track.clips) {
            if (clip.begin < end || clip.end <= clip.begin || clip.sourceBegin < 0) return false;
            end = clip.end;
        }
        if (end > timeline.duration) return false;
        for (Host::TimelineTransition const& transition : track.transitions)
            if (transition.left + 1 >= track.clips.size() ||
                track.clips[transition.left].end != track.clips[transition.left + 1].begin)
                return false;
    }
    return true;
}

void Check(std::string const& text, Host::TimelineForm form) {
    constexpr std::size_t LONGEST_MESSAGE = 8192;
    Host::Timeline timeline;
    try {
        timeline = WithoutPointers(Host::ReadTimelineText(text, form, "/m").timeline);
    } catch (Host::GraphException const& refusal) {
        if (std::string(refusal.what()).size() > LONGEST_MESSAGE) std::abort();
        return;
    }
    if (!IsInOrder(timeline)) std::abort();
    std::string written;
    try {
        written = Host::WriteTimeline(timeline);
    } catch (Host::GraphException const& refusal) {
        // The name of a file may be made of any bytes, but of the own form.
        bool const allowed = form == Host::TimelineForm::OpenTimelineIO &&
                             std::string(refusal.what()).find("is not UTF-8") != std::string::npos;
        if (!allowed) std::abort();
        return;
    }
    auto const again = Host::ReadTimelineText(written, Host::TimelineForm::Own).timeline;
    if (WithoutPointers(again) != timeline) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    std::string const text(reinterpret_cast<char const*>(input), std::min(inputSize, Fuzz::INPUT_LIMIT));
    Check(text, Host::TimelineForm::Own);
    Check(text, Host::TimelineForm::OpenTimelineIO);
    return 0;
}
