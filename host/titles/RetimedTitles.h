#pragma once

#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// Titles as they are to be drawn: their texts say the times that their items have.
///
/// Goes in: decoded subtitles. Comes out: the same; where a filter has given a text another time or length, a copy
/// whose lines say it, too: texts are drawn by the times in their lines, and a filter changes those of the items alone.
/// So do lines that round their item's times to hundredths of a second: a title would come or go a picture wrong.
/// Where subtitles have no styles of their own, the script header names the system's plain font in place of the one
/// that their decoder would like. The fonts that their file carries along are in the header, as scripts embed them.
/// Asks the source once for each item. Seek, end and threads: the source's.
class RetimedTitles final : public ForwardingStream<Proc::IStreamSubtitle> {
  public:
    static iptr<Proc::IStreamSubtitle> Create(iptr<Proc::IStreamSubtitle> const& source) {
        return iptr<Proc::IStreamSubtitle>(new RetimedTitles(source));
    }

    iptr<Proc::IDataSubtitle> Read() override;
    iptr<Conf::IFormatCodecSubtitle const> GetFormatCodec() const override { return format; }

  private:
    explicit RetimedTitles(iptr<Proc::IStreamSubtitle> const& source);

    iptr<Conf::IFormatCodecSubtitle const> const format;
};

}  // namespace Tarsel::Host
