#pragma once

#include <string>

#include "contracts/Conf/FrameInfo.h"
#include "contracts/Proc/SettingsSubtitleDrawer.h"
#include "host/text/AssLine.h"
#include "host/text/AssObjects.h"

namespace Tarsel::Host {

/// A script as the text library has it: styles, the size of the stage that its numbers are meant for, and events. One
/// thread.
///
/// Without a header there is one style, "Default": sans-serif in white with a black line around it, at the middle of
/// the lower edge, on a stage of 288 lines in the frame's shape, so that letters are a sixteenth of the frame high.
class AssScript {
  public:
    /// Keeps the fonts that the header embeds in `library`, so that fonts are opened behind it.
    AssScript(ass_library& library, std::string header, Proc::SettingsSubtitleDrawer settings);

    ass_track& GetTrack() { return *track; }
    /// Whether the script has fonts of its own.
    bool HasFonts() const;
    /// Brings the settings, which are in pixels of the frame, to the stage. Call it before drawing on such a frame.
    void FitTo(Conf::FrameInfo const& info);
    /// False where there is no style of that name: the event has the one named "Default" then, or the first.
    bool Add(AssLine const& line);
    void ClearEvents();

  private:
    int FindStyle(std::string name) const;

    std::string const header;
    Proc::SettingsSubtitleDrawer const settings;
    bool const hasHeader;
    AssTrack track;
    int fallbackStyle = 0;
};

}  // namespace Tarsel::Host
