#pragma once

#include <memory>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Proc/IStream.h"
#include "host/timeline/ClipStreams.h"
#include "host/timeline/StillStreams.h"
#include "host/timeline/Timeline.h"
#include "host/timeline/TimelineMedia.h"
#include "host/timeline/TimelinePlan.h"

namespace Tarsel::Host {

/// A timeline as two live streams in step: all of its frames and all of its samples, from time 0 to its end, each kind
/// from a smart map. Seek before reading. Destroying it frees them.
class TARSEL_HOST_EXPORT BuiltTimeline {
  public:
    /// Opens the media and lays the clips on the maps; nothing is decoded. What the timeline leaves open is that of its
    /// first clip of the kind. Throws `GraphException` that names the clip and its place in the document.
    explicit BuiltTimeline(Timeline wanted);
    ~BuiltTimeline();
    BuiltTimeline(BuiltTimeline const&) = delete;
    BuiltTimeline& operator=(BuiltTimeline const&) = delete;

    Timeline const& GetTimeline() const { return timeline; }
    TimelinePlan const& GetPlan() const { return plan; }
    /// Of what comes out; the parts of a kind that isn't there are unset.
    TimelineFormat const& GetFormat() const { return format; }
    std::vector<iptr<MediaFile>> const& GetFiles() const { return media->GetFiles(); }
    /// Where the first clip of the kind comes from; null where there is none.
    ClipMedia const* GetFirstMedia(TrackKind kind) const { return media->GetFirst(kind); }
    /// What had to be left out or is held or silent for want of media, and what is wrong with the files.
    std::vector<std::string> const& GetWarnings() const { return warnings; }

    /// Null for a timeline without tracks of the kind.
    iptr<Proc::IStreamVideo> const& GetVideo() const { return video; }
    iptr<Proc::IStreamAudio> const& GetAudio() const { return audio; }
    /// Samples of sound that the plan comes to.
    int64 GetSampleCount() const { return sampleCount; }
    /// Throws `VerificationMismatch` when the maps gave other numbers of frames or samples since the last seek than the
    /// plan says. Behind the ends of both streams, on the reader's thread.
    void CheckCounts() const;

  private:
    TimelineRates FindRates();
    void FindFrame();
    void FindSound();
    void WarnOfRotation(KindPlan const& kind);
    void WarnOfMissingMedia(KindPlan const& kind, bool isVideo);
    void MakeStreams();

    Timeline const timeline;
    std::unique_ptr<TimelineMedia> media;
    TimelineFormat format;
    /// Of the map of sound: blocks of a tenth of a second hold whole samples.
    int mapSampleRate = 0;
    TimelinePlan plan;
    std::vector<std::string> warnings;
    int64 sampleCount = 0;

    iptr<CountedStream<Proc::IStreamVideo>> countedVideo;
    iptr<CountedStream<Proc::IStreamAudio>> countedAudio;
    iptr<Proc::IStreamVideo> video;
    iptr<Proc::IStreamAudio> audio;
};

}  // namespace Tarsel::Host
