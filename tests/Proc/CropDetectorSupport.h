#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Proc/Filters/Filters/CropDetector.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"
#include "contracts/Proc/SettingsFrameDownloader.h"
#include "tests/Proc/CropSupport.h"
#include "tests/support/ScriptedEffects.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Test {

constexpr char CROP_CONVERTER[] = "SettingsColorSpaceConverter/Default";
constexpr Proc::CropInfo CROP_UNKNOWN;

/// Options in the order of their keys.
inline Core::Property CropOptions(int64 maxInterval, int64 skipInterval, int64 successes, int64 limit,
                                  int64 precision) {
    return Core::Property(Proc::ICropDetector::CLASS_ID)
        .SetChild(Proc::ICropDetector::MAX_INTERVAL, maxInterval)
        .SetChild(Proc::ICropDetector::SKIP_INTERVAL, skipInterval)
        .SetChild(Proc::ICropDetector::SUCCESS_FRAME_COUNT, successes)
        .SetChild(Proc::ICropDetector::CALC_LIMIT, limit)
        .SetChild(Proc::ICropDetector::CROP_PRECISION, precision);
}

class CropDetecting : public ::testing::Test {
  protected:
    CropDetecting() {
        effects.Know(Proc::SettingsColorSpaceConverter::CLASS_ID);
        effects.Know(Proc::SettingsFrameDownloader::CLASS_ID, {Proc::ImplNames::OGL});
        detector = Proc::CropDetector::Create(effects.factory);
        effects.log->Take();
    }
    /// Each frame is due, `successes` agreeing ones settle the crop.
    void LookAtAll(int64 successes, int64 precision = 0, int64 limit = 4) {
        detector->Initialize(CropOptions(1000 * SECOND, 0, successes, limit, precision));
    }
    Proc::CropInfo Detect(std::vector<ScriptedVideo::Step> const& steps) {
        source = ScriptedVideo::Create(steps);
        iptr<Proc::IStreamVideo> stream = source;
        return detector->Detect(stream);
    }
    Proc::CropInfo DetectPictures(std::vector<iptr<Proc::IDataVideo>> const& pictures) {
        return Detect({pictures.begin(), pictures.end()});
    }
    Proc::CropInfo DetectIn(iptr<Proc::IStreamVideo> stream) { return detector->Detect(stream); }
    std::size_t FramesRead() const { return source->delivered.size(); }
    int64 FramesAnalysed() const { return detector->GetStatistic()["Count"].GetInt64(); }

    EffectsOf<Proc::IOneInputEffectVideo> effects;
    iptr<Proc::ICropDetector> detector;
    iptr<ScriptedVideo> source;
    TestSupport::Draw draw{2026};
};

/// Frames that stand still, 40 ms each.
inline std::vector<ScriptedVideo::Step> StillFrames(int count, u8 shade, PixFmt format = PIX_FMT_YUV420P,
                                                    int width = 16, int height = 16) {
    std::vector<ScriptedVideo::Step> steps;
    for (int i = 0; i < count; ++i) steps.emplace_back(MakeVideo(i * 40000, 40000, shade, format, width, height));
    return steps;
}

inline void AppendFrames(std::vector<ScriptedVideo::Step>& steps, std::vector<ScriptedVideo::Step> const& more) {
    for (auto const& step : more) {
        steps.push_back(step);
        steps.back().item = step.item->Clone(false);
        steps.back().item->SetTime(static_cast<int64>(steps.size() - 1) * 40000);
    }
}

/// Frames at these times, all of them still and of shade 100.
inline std::vector<ScriptedVideo::Step> FramesAt(std::vector<int64> const& times) {
    std::vector<ScriptedVideo::Step> steps;
    for (int64 const time : times) steps.emplace_back(MakeVideo(time, 40000, 100));
    return steps;
}

/// Noise within a region, black without, 40 ms each.
inline std::vector<ScriptedVideo::Step> MovingFrames(TestSupport::Draw& draw, int count, Proc::CropInfo const& region,
                                                     int width, int height, PixFmt format = PIX_FMT_YUV420P) {
    std::vector<ScriptedVideo::Step> steps;
    for (int i = 0; i < count; ++i) steps.emplace_back(DrawInside(draw, region, width, height, i * 40000, format));
    return steps;
}

/// A source whose frames a function makes, without an end unless it gives null.
class MadeVideo final : public ScriptedVideo {
  public:
    using Make = std::function<Item(int64)>;

    explicit MadeVideo(Make make) : ScriptedVideo({}), make(std::move(make)) {}
    Item Read() override { return make(next++); }

  private:
    Make const make;
    int64 next = 0;
};

inline iptr<Proc::IStreamVideo> MakeEndless(MadeVideo::Make make) {
    return MakeShared<MadeVideo>(std::move(make));
}

}  // namespace Tarsel::Test
