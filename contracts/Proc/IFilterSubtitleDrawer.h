#pragma once

#include "contracts/Core/Property.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/IStreamCombiner.h"
#include "contracts/Proc/SettingsSubtitleDrawer.h"

namespace Tarsel::Proc {

/// Draws a stream of subtitles, texts or bitmaps, on a stream of pictures. The one stream of subtitles is given by
/// `IStreamCombiner<IStreamSubtitle>::CombineStream`, which takes no options; without it reading and seeking throw
/// `FilterException` "Subtitle stream is not set!".
class TARSEL_CONTRACTS_EXPORT IFilterSubtitleDrawer : public virtual IStreamVideo {
  public:
    static constexpr char CLASS_ID[] = "FilterSubtitleDrawer";

    ~IFilterSubtitleDrawer() override;
    /// How far, in microseconds, the subtitles' times run ahead of those of the pictures, 0 until it is set. It moves
    /// when subtitles are fetched and where a seek looks for them, not when they are drawn: a host that shows titles
    /// earlier or later moves their stream.
    virtual int64 GetSubtitleDelay() const = 0;
    virtual void SetSubtitleDelay(int64 delay) = 0;

    /// The settings as a property that `Initialize` takes, named `CLASS_ID`.
    static Core::Property MakeSettings(SettingsSubtitleDrawer const& settings);
};

}  // namespace Tarsel::Proc
