#pragma once

#include <string>

#include "contracts/Conf/FrameInfo.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/CropInfo.h"
#include "contracts/Proc/IData.h"
#include "contracts/Proc/SettingsSubtitleDrawer.h"

namespace Tarsel::Proc {

/// Draws the lines of an ASS script: an engine of the host. One thread at a time.
class TARSEL_CONTRACTS_EXPORT ITextEngine : public virtual IRefCountable {
  public:
    ~ITextEngine() override;
    /// Takes an event line, "Dialogue: " and its fields. Either all ten of a script (Layer, Start, End, Style, Name,
    /// MarginL, MarginR, MarginV, Effect, Text), margins without blanks, or five (Layer, Start, End, Style, Text).
    /// Times are H:MM:SS.CC; the hundredths may be 100. Exactly six digits behind the point are microseconds:
    /// H:MM:SS.UUUUUU. Each line counts, also one that is there already. One that is none is left out with a warning.
    virtual void AddTextLine(std::string const& line) = 0;
    /// What is drawn at `time` (microseconds) on a frame of `info`, RGBA with straight alpha, as large as what is
    /// drawn, and in `crop` where; null for nothing. The same object as before where the picture hasn't changed.
    virtual iptr<IDataVideo> RenderImage(int64 time, Conf::FrameInfo const& info, CropInfo& crop) = 0;
    /// Forgets all lines.
    virtual void ClearLines() = 0;
    /// A node of its own, of an empty name for an engine that has nothing to tell.
    virtual Core::Property GetStatistic();
};

/// Makes the host's engines that draw text.
class TARSEL_CONTRACTS_EXPORT IOverlayFactory : public virtual IRefCountable {
  public:
    ~IOverlayFactory() override;
    /// An engine for the lines of a stream. `header` is the script in front of its events ("[Script Info]" to the
    /// "Format:" line of "[Events]"); an empty one gets a common style.
    virtual iptr<ITextEngine> CreateTextEngine(std::string const& header,
                                               SettingsSubtitleDrawer const& settings) const = 0;
};

}  // namespace Tarsel::Proc
