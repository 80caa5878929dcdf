#pragma once

#include "Proc/Filters/Filters/FilterDurationTrimmerBase.h"
#include "contracts/Conf/SampleInfo.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Proc {

/// Makes a sound stream exactly as long as its settings say.
///
/// Goes in: blocks; those without a time or a duration are left out. Comes out: the blocks up to the wanted end, each
/// cut where it begins before the samples counted so far have ended; then silence, in blocks of 100 ms and one of the
/// rest. A gap between blocks isn't filled: what is missing comes as silence at the end, whose times follow the count.
/// Seek: the block that holds the position is cut at it to the nearest sample, and the count begins anew. What follows
/// is that of reading straight through where the position lies on a whole sample; elsewhere times differ by less than
/// one, and one may be missing. Gaps in front of the position no longer count. End: null until the next seek. Threads:
/// one consumer; `Initialize`, `GetDuration` and `GetStatistic` from any thread.
class FilterDurationTrimmerAudio final : public Details::FilterDurationTrimmerBase<IStreamAudio, IStreamAudioEx> {
  public:
    explicit FilterDurationTrimmerAudio(iptr<IStreamAudio> source);
    ~FilterDurationTrimmerAudio() override { StopReaderThread(); }

  protected:
    iptr<IDataAudio> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;

  private:
    /// The source's next block within the span, or null when it has none for this place.
    iptr<IDataAudio> NextBlock(int64 duration);
    /// The next block of silence, or null when less than half a sample is missing.
    iptr<IDataAudio> MakeSilence(int64 duration) const;

    // State of the reader.
    bool endReached = false;
    AudioTime audioTime;          // where the next block begins
    Conf::SampleInfo sampleInfo;  // of the last block seen; before one, of the source's format
};

}  // namespace Tarsel::Proc
