#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "Proc/Filters/Filters/FilterSubtitleDrawer.h"
#include "tests/support/Builders.h"
#include "tests/support/ScriptedEngines.h"
#include "tests/support/Titles.h"

namespace Tarsel::Test {

inline constexpr int64 FRAME = 40000;

/// A drawer over a scripted overlay stream of `frames` pictures.
class SubtitleDrawerTest : public ::testing::Test {
  protected:
    SubtitleDrawerTest() {
        effects->onCreate = [this](auto const&, auto const&) -> iptr<Proc::IEffect> { return resizer; };
    }
    void Make(std::vector<iptr<Proc::IDataVideo>> const& frames) {
        source = ScriptedVideo::Create(frames);
        overlay = MakeShared<ScriptedOverlay>(source);
        overlay->onRead = [this] { fetched.push_back(subtitles ? subtitles->given : -1); };
        drawer = MakeShared<Proc::FilterSubtitleDrawer>(overlay, effects, engines);
    }
    /// The same over so many frames of 40 ms, with subtitles.
    void Make(int frames, std::vector<iptr<Proc::IDataSubtitle>> const& items) {
        Make(MakeVideos(frames, FRAME));
        subtitles = MakeShared<SubtitleScript>(items);
        drawer->CombineStream(subtitles);
    }
    void Read(int frames) {
        for (int i = 0; i < frames; ++i) ASSERT_NE(drawer->Read(), nullptr) << i;
    }
    ScriptedTextEngine& Engine() { return *engines->made.back().engine; }
    /// The children of the drawer's statistics under it, in order.
    std::vector<std::string> ReportNames() {
        std::vector<std::string> names;
        Core::Property const report = drawer->GetStatistic();
        for (auto const& child : report.Children())
            if (!child.IsKeyed()) names.push_back(child.Name());
        return names;
    }

    iptr<ScriptedEffectFactory> const effects = MakeShared<ScriptedEffectFactory>();
    iptr<ScriptedResizer> const resizer = MakeShared<ScriptedResizer>();
    iptr<ScriptedOverlayFactory> const engines = MakeShared<ScriptedOverlayFactory>();
    iptr<ScriptedVideo> source;
    iptr<ScriptedOverlay> overlay;
    iptr<SubtitleScript> subtitles;
    iptr<Proc::FilterSubtitleDrawer> drawer;
    /// How many subtitles had been given ahead of each frame.
    std::vector<int> fetched;
};

/// A text at a time.
inline iptr<Proc::IDataSubtitle> MakeText(int64 time, int64 duration, char const* text = "a") {
    AVSubtitle event = MakeEvent({TextRect(text)});
    event.end_display_time = static_cast<u32>(HasValue(duration) ? duration / 1000 : 0);
    return Proc::DataSubtitleFF::Create(&event, time, duration);
}

/// Texts at these times.
inline std::vector<iptr<Proc::IDataSubtitle>> TextsAt(std::vector<int64> const& times) {
    std::vector<iptr<Proc::IDataSubtitle>> items;
    for (int64 const time : times) items.push_back(MakeText(time, 1000));
    return items;
}

}  // namespace Tarsel::Test
