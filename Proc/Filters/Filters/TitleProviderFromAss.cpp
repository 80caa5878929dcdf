#include "Proc/Filters/Filters/TitleProviderFromAss.h"

#include <utility>

#include "Proc/Filters/Filters/DialogueLine.h"
#include "Proc/Filters/Filters/SubtitleRects.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/TimerSimple.h"

namespace Tarsel::Proc {

TitleProviderFromAss::TitleProviderFromAss(iptr<IOverlayFactory const> overlayFactory, std::string header,
                                           SettingsSubtitleDrawer const& settings)
    : factory(std::move(overlayFactory)), header(std::move(header)), engine(MakeEngine(settings)) {}

iptr<ITextEngine> TitleProviderFromAss::MakeEngine(SettingsSubtitleDrawer const& settings) const {
    iptr<ITextEngine> made = factory->CreateTextEngine(header, settings);
    if (!made) TARSEL_THROW(FilterException, "Text engine is NULL!");
    return made;
}

void TitleProviderFromAss::UpdateSettings(SettingsSubtitleDrawer const& settings) {
    iptr<ITextEngine> made = MakeEngine(settings);
    for (std::string const& line : lines) made->AddTextLine(line);
    engine = std::move(made);
}

Core::Property TitleProviderFromAss::GetStatistic() {
    return Core::MakeStatistics("Tarsel::Proc::TitleProviderFromAss::GetStatistic", readTime, imagesMade);
}

iptr<IDataVideo> TitleProviderFromAss::GetOverlay(int64 time, Conf::FrameInfo const& info, CropInfo& crop) {
    Core::TimerSimple const timer;
    iptr<IDataVideo> image = engine->RenderImage(time, info, crop);
    readTime += timer.GetElapsed();
    if (image) ++imagesMade;
    return image;
}

void TitleProviderFromAss::AddData(iptr<IDataSubtitle> const& subtitle) {
    for (AVSubtitleRect const* rectangle : Details::RectsOf(subtitle)) {
        if (!rectangle) continue;
        std::string const script = rectangle->ass ? rectangle->ass : "";
        std::string const plain = MakeDialogueLine(*subtitle->GetAVSubtitle(), *rectangle, subtitle->GetTime());
        // As meant: the plain text comes second for scripts, and first for all others.
        bool const scriptFirst = rectangle->type == SUBTITLE_ASS;
        AddLine(scriptFirst ? script : plain);
        AddLine(scriptFirst ? plain : script);
    }
}

void TitleProviderFromAss::AddLine(std::string line) {
    if (line.empty()) return;
    engine->AddTextLine(line);
    lines.push_back(std::move(line));
}

void TitleProviderFromAss::Clear() {
    Reset();
    engine->ClearLines();
    lines.clear();
}

}  // namespace Tarsel::Proc
