#pragma once

#include <string>
#include <vector>

#include "Proc/Filters/Filters/OverlayProviderEx.h"
#include "contracts/Proc/ITextEngine.h"
#include "contracts/Proc/SettingsSubtitleDrawer.h"

namespace Tarsel::Proc {

/// Titles of texts: hands them to the host's engine as lines of a script, and its pictures on.
class TitleProviderFromAss final : public OverlayProviderEx {
  public:
    /// `header` is that of the stream of subtitles. Throws `FilterException` "Text engine is NULL!" where the factory
    /// gives none; its own failures pass through.
    TitleProviderFromAss(iptr<IOverlayFactory const> overlayFactory, std::string header,
                         SettingsSubtitleDrawer const& settings);

    /// Goes over to an engine of these settings, which gets all lines that the old one had. Throws as the constructor;
    /// the old engine stays then.
    void UpdateSettings(SettingsSubtitleDrawer const& settings);

    /// Does nothing: it is the engine that keeps the picture.
    void Reset() override {}
    Core::Property GetStatistic() override;
    iptr<IDataVideo> GetOverlay(int64 time, Conf::FrameInfo const& info, CropInfo& crop) override;
    void AddData(iptr<IDataSubtitle> const& subtitle) override;
    void Clear() override;

  private:
    iptr<ITextEngine> MakeEngine(SettingsSubtitleDrawer const& settings) const;
    void AddLine(std::string line);

    iptr<IOverlayFactory const> const factory;
    std::string const header;
    iptr<ITextEngine> engine;
    /// What the engine was given since the last `Clear`.
    std::vector<std::string> lines;
    int64 readTime = 0;  // microseconds that pictures took
    u32 imagesMade = 0;
};

}  // namespace Tarsel::Proc
