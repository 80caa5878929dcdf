#pragma once

#include <functional>

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc::Details {

/// A range of a stream's times, in microseconds.
struct TimeRange {
    int64 begin = 0;
    int64 end = 0;

    int64 GetLength() const { return end - begin; }
};

/// One section of a plan: a range of the source that is played once or several times in a range of the result.
///
/// Goes in: the source, which all sections share: a section moves it when it is entered. Comes out: the pictures of the
/// source's range, `loopCount` times, each pass scaled so that all of them together fill the result's range without a
/// gap. A picture begins where its own time leads to, the first one of a pass at the beginning of the pass; each lasts
/// to the beginning of the next one, the last to the end of the pass. What would last no time is left out, and so is
/// what has no time.
/// Seek: by times of the result, to the picture that covers the position; it is given whole. A source that lands behind
/// the place asked for is read from the beginning of its range. End: that of the range, or a pass that gives nothing.
class IntroLoopOutroSection final : public StreamImpl<IStreamVideo, IStreamVideo> {
  public:
    /// Both ranges are longer than 0; `loopCount` is at least 1 and no more than the microseconds of `result`. When
    /// `isEnded` says true, a source that gives nothing isn't started again.
    IntroLoopOutroSection(iptr<IStreamVideo> parent, TimeRange source, TimeRange result, int64 loopCount,
                          std::function<bool()> isEnded);
    ~IntroLoopOutroSection() override;

    [[noreturn]] void Initialize(Core::Property const& property) override;
    [[noreturn]] Core::Property GetSettings() override;
    /// The end of the section in times of the result.
    int64 GetDuration() const override { return result.end; }
    Core::Property GetStatistic() override { return parentStream->GetStatistic(); }
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override { return parentStream->GetFormatCodec(); }
    /// Gives up the picture that was read ahead, and leaves the source alone: others use it too.
    void ReleaseInternalData() override { ForgetPlace(); }

  protected:
    /// The section is a part of its filter and no stop of its own.
    void AcceptInternal(IStreamVisitor&) override {}
    iptr<IDataVideo> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override;

  private:
    void ForgetPlace();
    /// Where a pass begins in the result; that of `loopCount` is the section's end.
    int64 GetPassBegin(int64 index) const;
    int64 FindPass(int64 position) const;
    /// A time of the source in this pass, held inside it.
    int64 MapTime(int64 time) const;
    /// Moves the source inside the section's range.
    void SeekSource(int64 position);
    void BeginPass(int64 index);
    /// The source's next picture in the range.
    iptr<IDataVideo> ReadSource();
    /// Reads `ahead` behind a seek: the picture that covers the place asked for, or one ahead of it.
    void ReadFirst();
    iptr<IDataVideo> ReadPass();

    // Settings.
    TimeRange const source;
    TimeRange const result;
    int64 const loopCount;
    std::function<bool()> const isEnded;

    // State of the reader.
    int64 pass;                 // `loopCount` behind the end
    int64 sourceTarget = 0;     // where the source was sought to
    int64 wanted = 0;           // pictures that end by then lie ahead of a seek
    int64 runningEnd = 0;       // of the last picture that was given in this pass
    iptr<IDataVideo> ahead;     // its own end is the next one's beginning
    bool aheadIsRead = false;   // since the last seek of the source
    bool aheadIsFirst = false;  // of the range
    bool passGaveItems = false;
};

}  // namespace Tarsel::Proc::Details
