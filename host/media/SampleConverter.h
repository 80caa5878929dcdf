#pragma once

#include "contracts/Conf/SampleInfo.h"
#include "host/media/FFmpeg.h"
#include "host/media/Swr.h"

namespace Tarsel::Host {

/// Brings audio frames to one format, rate and layout, on libswresample. Frames that have them already pass through.
/// Starts anew when the frames' own format changes. One user at a time.
class SampleConverter {
  public:
    explicit SampleConverter(Conf::SampleInfo const& target) : target(target) {}

    /// The frame's samples, fewer or more by what a change of rate holds back; the frame itself when nothing is to be
    /// done. Throws `ProcException` when the library can't convert.
    FramePtr Convert(FramePtr frame);
    /// What a change of rate still holds back; null when there is nothing.
    FramePtr Drain();
    /// Forgets what is held back.
    void Reset();

  private:
    void Open(AVFrame const& frame);
    FramePtr Run(AVFrame const* frame);

    Conf::SampleInfo const target;
    Conf::SampleInfo from;
    SwrPtr context;
};

/// Format, rate and layout of a frame. A frame with only a channel count has the default layout of that count.
Conf::SampleInfo SampleInfoOf(AVFrame const& frame);
/// The layout's mask; the default one of its channel count when it has none.
Conf::ChannelLayout LayoutOf(AVChannelLayout const& layout);

}  // namespace Tarsel::Host
