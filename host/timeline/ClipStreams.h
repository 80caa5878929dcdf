#pragma once

#include "contracts/Conf/FrameInfo.h"
#include "contracts/Conf/SampleInfo.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IStream.h"
#include "host/timeline/MappedStream.h"
#include "host/timeline/TimelineMedia.h"
#include "host/timeline/TimelinePlan.h"

namespace Tarsel::Host {

/// What all pictures and all sound of a timeline are brought to.
struct TimelineFormat {
    Conf::FrameInfo frame;
    PixFmt pixelFormat = PIX_FMT_NONE;
    Conf::SampleInfo sound;
};

/// Makes the streams of a timeline out of its plan.
///
/// ```
/// decoder -> range -> reverse -> speed -> frame -> trimmer -> frame rate -> [opacity] -> [map of its effects]     a
/// clip clips -> map with dissolves -> frame rate a piece pieces, black in the gaps -> map with composites -> frame
/// rate                                          the pictures
/// ```
/// A clip's stream begins at 0 where its places begin. It is made when it is first read.
class ClipStreams {
  public:
    ClipStreams(iptr<Proc::IFilterFactory const> filters, iptr<Proc::IEffectFactory const> effects,
                TimelineFormat const& format);

    iptr<Proc::IStreamVideo> MakeVideo(KindPlan const& plan, TimelineMedia const& media) const;
    iptr<Proc::IStreamAudio> MakeAudio(KindPlan const& plan, TimelineMedia const& media) const;

  private:
    iptr<Proc::IStreamVideo> MakePiece(TimelineGrid const& grid, PlannedPiece const& piece,
                                       TimelineMedia const& media) const;
    iptr<Proc::IStreamAudio> MakeSoundPiece(TimelineGrid const& grid, PlannedPiece const& piece,
                                            TimelineMedia const& media) const;
    iptr<Proc::IStreamVideo> MakeClip(TimelineGrid const& grid, PlannedClip const& clip, ClipMedia const& media,
                                      PixFmt pixelFormat) const;
    iptr<Proc::IStreamAudio> MakeSoundClip(TimelineGrid const& grid, PlannedClip const& clip,
                                           ClipMedia const& media) const;
    iptr<Proc::IStreamVideo> OpenClip(TimelineGrid const& grid, PlannedClip const& clip, ClipMedia const& media,
                                      PixFmt pixelFormat) const;
    iptr<Proc::IStreamAudio> OpenSoundClip(TimelineGrid const& grid, PlannedClip const& clip,
                                           ClipMedia const& media) const;
    iptr<Proc::IEffect> MakeEffect(char const* classId) const;
    iptr<Conf::IFormatCodecVideo const> DescribeVideo(TimelineGrid const& grid, PixFmt pixelFormat) const;
    iptr<Conf::IFormatCodecAudio const> DescribeAudio() const;

    iptr<Proc::IFilterFactory const> const filters;
    iptr<Proc::IEffectFactory const> const effects;
    TimelineFormat const format;
};

}  // namespace Tarsel::Host
