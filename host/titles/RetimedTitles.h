#pragma once

#include <atomic>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// Titles as they are to be drawn: their texts say the times that their items have.
///
/// Goes in: decoded subtitles. Comes out: the same; where a filter has given a text another time or length, a copy
/// whose lines say it, too: texts are drawn by the times in their lines, and a filter changes those of the items alone.
/// So do lines that round their item's times to hundredths of a second: a title would come or go a picture wrong.
/// Where subtitles have no styles of their own, the script header names the system's plain font in place of the one
/// that their decoder would like. The fonts that their file carries along are in the header, as scripts embed them.
///
/// Where a text stands depends on those that it was on screen together with, and on what these were together with. So
/// the first read behind a seek goes back, seek by seek, until no text reaches across the place: the items of a seek
/// may begin far ahead of it, and a reader of all of them sees what reading straight through shows. A source that cuts
/// its items at the place sought to is gone back in by strides. After `MAX_STEPS_BACK` seeks the place that was reached
/// has to do. Bitmaps lie in their own places and stay as they come.
///
/// Each item is given once. Seek, end and threads: otherwise the source's.
class TARSEL_HOST_EXPORT RetimedTitles final : public ForwardingStream<Proc::IStreamSubtitle> {
  public:
    /// A chain of so many texts of which each meets the next is followed back to its first.
    static constexpr int MAX_STEPS_BACK = 1000;

    static iptr<Proc::IStreamSubtitle> Create(iptr<Proc::IStreamSubtitle> const& source) {
        return iptr<Proc::IStreamSubtitle>(new RetimedTitles(source));
    }

    int64 GetPosition() override;
    iptr<Proc::IDataSubtitle> Read() override;
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override;
    void SetEndOfStream() override;
    void ReleaseInternalData() override;
    iptr<Conf::IFormatCodecSubtitle const> GetFormatCodec() const override { return format; }

  private:
    explicit RetimedTitles(iptr<Proc::IStreamSubtitle> const& source);

    void GoBack();
    iptr<Proc::IDataSubtitle> ReadFrom(int64 place);

    iptr<Conf::IFormatCodecSubtitle const> const format;
    /// Where the next read has to begin its way back; no value once it has.
    int64 sought = NO_VALUE;
    /// What was read on the way and isn't given yet.
    iptr<Proc::IDataSubtitle> held;
    /// A seek of its own mustn't take away the end that another thread has set.
    std::atomic<bool> isEnded{false};
};

}  // namespace Tarsel::Host
