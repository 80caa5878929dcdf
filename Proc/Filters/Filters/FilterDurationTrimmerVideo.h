#pragma once

#include "Proc/Filters/Filters/FilterDurationTrimmerBase.h"

namespace Tarsel::Proc {

/// Makes a video stream exactly as long as its settings say.
///
/// Goes in: pictures; those without a time or a duration are left out. Comes out: the pictures up to the wanted end,
/// the last one cut there; where the source ends before, its last picture repeats. Runs one picture behind its source.
/// Seek: the picture that holds the position is cut at it, all that follow are those of reading straight through.
/// Behind the source's end the picture found there repeats on a grid that begins at the position, not on that of
/// reading straight through. End: null until the next seek; a source of unknown length that gives nothing ends it at
/// once. Threads: one consumer; `Initialize`, `GetDuration` and `GetStatistic` from any thread.
class FilterDurationTrimmerVideo final : public Details::FilterDurationTrimmerBase<IStreamVideo, IStreamVideoEx> {
  public:
    /// Throws `FilterException` "Wrong fps!" for a source whose frame rate isn't positive, "Source format codec must be
    /// present" for one without a format.
    explicit FilterDurationTrimmerVideo(iptr<IStreamVideo> source);
    ~FilterDurationTrimmerVideo() override { StopReaderThread(); }

    void ReleaseInternalData() override;

  protected:
    iptr<IDataVideo> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;

  private:
    /// The held frame, once there is one to hold in its place; null when nothing can be found.
    iptr<IDataVideo> NextFrame(bool useOriginalDuration);
    /// What follows the held frame when the source has ended. Gives the held frame a usable duration.
    iptr<IDataVideo> RepeatHeldFrame();
    /// The source's last frame, found from its end in growing steps, or null. Leaves the source at its end.
    iptr<IDataVideo> FindLastFrame(bool useOriginalDuration);
    /// Seeks the source and reads it to its end; the last frame, or null.
    iptr<IDataVideo> ReadToEnd(int64 position);

    // State of the reader.
    bool endReached = false;
    int64 seekPosition = NO_VALUE;
    iptr<IDataVideo> heldFrame;
    int64 const frameDuration;  // nominal, 1 at least
};

}  // namespace Tarsel::Proc
