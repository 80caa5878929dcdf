#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Proc/ITextEngine.h"
#include "host/text/AssFonts.h"
#include "host/text/AssObjects.h"
#include "host/text/AssScript.h"

namespace Tarsel::Host {

/// Is told a warning, which is logged besides.
using TextWarningListener = std::function<void(std::string const& warning)>;

/// Draws the lines of an ASS script with libass.
///
/// A picture depends on the lines, the time and the frame alone, and not on what was drawn before: lines that are on
/// screen together are placed in the order in which they began, however the time came there. While the same lines are
/// on screen and none of them moves, a picture costs nothing. One thread at a time; engines know nothing of each other.
class TARSEL_HOST_EXPORT AssEngine final : public Proc::ITextEngine, public RefCounted {
  public:
    /// Throws `FilterException` for a folder of fonts that isn't there, and where the library can't be opened. Warns
    /// where no font is installed: nothing is drawn then.
    static iptr<AssEngine> Create(std::string const& header, Proc::SettingsSubtitleDrawer const& settings,
                                  TextWarningListener warned = {});
    ~AssEngine() override;

    void AddTextLine(std::string const& line) override;
    iptr<Proc::IDataVideo> RenderImage(int64 time, Conf::FrameInfo const& info, Proc::CropInfo& crop) override;
    void ClearLines() override;
    /// Children: "Lines" on the list now, "Malformed" ones that were left out, "Renderings".
    Core::Property GetStatistic() override;

  private:
    /// When a line is on screen, in milliseconds.
    struct Span {
        int64 start;
        int64 end;
        bool moves;
        /// It has a place of its own, whatever else is there.
        bool isPlaced;
    };
    /// What is on screen at a time.
    struct Stage {
        int64 from;   // since when
        int64 until;  // and until when the same lines are on screen
        bool isEmpty;
        bool moves;
        /// The lines that are on screen, those that were together with them, and so on: since when, and their places in
        /// the list.
        int64 groupStart;
        std::size_t groupBegin;
        std::size_t groupEnd;
    };
    struct Drawn {
        iptr<Proc::IDataVideo> picture;
        Proc::CropInfo crop;
    };

    AssEngine(std::string const& header, Proc::SettingsSubtitleDrawer const& settings, TextWarningListener warned);

    void Hear(int loudness, std::string const& message);
    void HearOfFont(std::string const& choice, bool isDefault);
    void LeaveOut(std::string const& line, std::string const& reason);
    void Tell(std::string const& warning);
    void Warn(std::string const& warning) const;
    void FitTo(Conf::FrameInfo const& info);
    void Enter(Span const& span);
    Stage StageAt(int64 now);
    bool Rehearse(Stage const& stage, int64 now);
    void Render(Stage const& stage, int64 now);

    // What was told, and what is counted. It stands in front of what speaks while it is made.
    std::set<std::string> told;
    std::set<std::string> families;
    unsigned malformed = 0;
    unsigned renderings = 0;

    // Wiring; the listener is called by what stands behind it.
    TextWarningListener const warned;  // may be empty
    AssListener const listener;
    AssLibrary const library;
    AssFonts const fonts;
    AssScript script;
    AssRenderer const renderer;

    // The lines.
    std::vector<Span> spans;  // by their starts once `isSorted`
    bool isSorted = true;

    // What was drawn last, and when it holds: nothing does while `until` isn't above `from`.
    Conf::FrameInfo fitted{0, 0, 1, 1};
    Drawn drawn;
    bool hasDrawn = false;
    Stage stage{};
    /// Up to when the library has seen the lines of the group come.
    int64 rehearsed = NO_VALUE;
    bool isOutOfOrder = false;
};

}  // namespace Tarsel::Host
