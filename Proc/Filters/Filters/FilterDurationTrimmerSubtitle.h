#pragma once

#include "Proc/Filters/Filters/FilterDurationTrimmerBase.h"

namespace Tarsel::Proc {

/// Limits a subtitle stream to the length that its settings say.
///
/// Goes in: events; those without a time or a duration are left out. Comes out: the events of the span from the last
/// seek to the wanted end, cut at both; nothing is filled in. Events behind the end are read and dropped until the
/// source ends. Seek: an event that lasts over the position is cut at it if the source gives it, all others are those
/// of reading straight through. Threads: one consumer; `Initialize`, `GetDuration` and `GetStatistic` from any thread.
class FilterDurationTrimmerSubtitle final
    : public Details::FilterDurationTrimmerBase<IStreamSubtitle, IStreamSubtitleEx> {
  public:
    explicit FilterDurationTrimmerSubtitle(iptr<IStreamSubtitle> source);
    ~FilterDurationTrimmerSubtitle() override { StopReaderThread(); }

  protected:
    iptr<IDataSubtitle> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;

  private:
    // State of the reader.
    bool endReached = false;
    int64 seekPosition = NO_VALUE;
};

}  // namespace Tarsel::Proc
