#include <string>
#include <vector>

#include "benchmarks/effects/Parts.h"
#include "benchmarks/timeline/BenchSource.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/IFilterApplyEffects.h"
#include "contracts/Proc/IFilterResize.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"
#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "contracts/Proc/SettingsEffectStamp.h"
#include "contracts/Proc/SettingsResizer.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace Tarsel::Bench {

using namespace Tarsel::Proc;

iptr<IDataVideo> MakePicture(PixFmt format, int width, int height) {
    iptr<IDataVideo> picture = DataVideoFF::Create(format, {width, height, 1, 1}, nullptr);
    u32 seed = 1;
    for (int i = 0; i < GetPlanesCount(*picture); ++i) {
        auto const plane = picture->GetPlane(static_cast<unsigned>(i));
        for (int y = 0; y < plane.GetRows(); ++y) {
            u8* const row = plane.GetOffsetPtr(0, static_cast<unsigned>(y));
            for (int x = 0; x < plane.GetRowBytes(); ++x) {
                seed = seed * 1664525 + 1013904223;
                bool const isAlpha = format == PIX_FMT_RGBA && x % 4 == 3;
                row[x] = isAlpha ? u8{255} : static_cast<u8>(64 + (x + y) / 32 % 64 + (seed >> 27));
            }
        }
    }
    return picture;
}

namespace {

VideoSource MakeSource(int width, int height, int64 count) {
    auto const format = Conf::IFormatCodecVideo::Create();
    format->InitByPixelAspect(static_cast<unsigned>(width), static_cast<unsigned>(height), 1, 1);
    format->SetPixelFormat(PIX_FMT_YUV420P);
    format->SetFrameRate(25, 1);
    return MakeShared<BenchSource<IStreamVideo>>(MakePicture(PIX_FMT_YUV420P, width, height), format, count, 40000);
}

SettingsResizer ResizeSettings() {
    SettingsResizer settings;
    settings.SetCustomMode(SettingsResizer::MODE_STRETCH, {1280, 720, 1, 1});
    return settings;
}
SettingsEffectColor ColorSettings() {
    SettingsEffectColor settings;
    settings.SetBrightness(0.1);
    settings.SetContrast(1.2);
    settings.SetSaturation(1.3);
    return settings;
}
SettingsEffectStamp StampSettings(std::string const& file) {
    SettingsEffectStamp settings;
    settings.SetFile(file);
    settings.SetX(10);
    settings.SetY(10);
    return settings;
}

/// The effects of a name, each over an interval that is far longer than what is read: a fade never comes to its end.
std::vector<iptr<IOneInputEffectVideo>> MakeChain(std::string const& what, std::string const& stamp) {
    std::vector<iptr<IOneInputEffectVideo>> chain;
    auto const add = [&](char const* name, auto const& make) {
        if (what == name || what == "chain") chain.push_back(make());
    };
    add("resize", [] { return MakePictureEffect(ResizeSettings(), ImplNames::TARSEL); });
    add("color", [] { return MakePictureEffect(ColorSettings(), ImplNames::TARSEL); });
    add("fade", [] { return MakePictureEffect(SettingsEffectFade(), ImplNames::TARSEL); });
    add("stamp", [&] { return MakePictureEffect(StampSettings(stamp), ImplNames::TARSEL); });
    add("convert", [] {
        return MakePictureEffect(
            SettingsColorSpaceConverter({static_cast<PixFmt>(static_cast<int>(AV_PIX_FMT_YUV422P))}),
            ImplNames::TARSEL);
    });
    for (auto const& effect : chain) effect->GetTimeToProgress().end = 200 * SECOND;
    return chain;
}

}  // namespace

bool RunPictures(std::string const& what, int64 count, std::string const& stamp) {
    bool const isLarge = what == "none-large" || what == "resize" || what == "chain";
    VideoSource const source = isLarge ? MakeSource(1920, 1080, count) : MakeSource(1280, 720, count);
    auto const filter = Factory()->Dedicated(FilterSlots::APPLY_EFFECTS_VIDEO, ImplNames::DEFAULT)(source, Effects());
    auto const chain = MakeChain(what, stamp);
    if (chain.empty() && what != "none" && what != "none-large") return false;
    for (auto const& effect : chain) filter->AddEffect(effect);
    filter->RequestSeek(0, nullptr);
    filter->DoSeek();
    filter->FinishSeek();
    int64 given = 0;
    while (filter->Read()) ++given;
    if (given != count) TARSEL_THROW(ProcException, "Only " + std::to_string(given) + " pictures came");
    return true;
}

}  // namespace Tarsel::Bench
