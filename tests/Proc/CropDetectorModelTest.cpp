#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "Proc/Filters/Filters/CropDetector.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"
#include "tests/Proc/CropSupport.h"
#include "tests/support/ScriptedEffects.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

struct Rules {
    int64 maxInterval = 0;
    int64 skipInterval = 0;
    u32 successes = 0;
    u32 limit = 0;
    u32 precision = 0;
};

/// The run as it is told, step after step, on frames of even size and of formats that need no converter.
class PlainDetector {
  public:
    CropInfo Detect(std::vector<iptr<IDataVideo>> const& frames, Rules const& rules) {
        Reset();
        int64 nextTime = 0;
        int retries = 10;
        read = 0;
        for (auto const& frame : frames) {
            ++read;
            int64 const t = frame->GetTime();
            if (t < nextTime) continue;
            nextTime += rules.skipInterval;
            ++frameCounter;
            CropInfo const own = CropInfo::WholeOf(frame->GetWidth(), frame->GetHeight());
            if (t > rules.maxInterval) return own;
            ++analysed;
            if (previous && (previous->GetWidth() != frame->GetWidth() || previous->GetHeight() != frame->GetHeight() ||
                             previous->GetPixelFormat() != frame->GetPixelFormat())) {
                Reset();
                frameCounter = 1;
            }
            if (!table) table = std::make_unique<PlainCrop>(frame->GetWidth(), frame->GetHeight(), rules.limit);
            int64 const b = PlainCrop::Brightness(*frame);
            bool const brighter = b > bestBrightness;
            if (brighter) {
                bestBrightness = b;
                brightestTime = t;
            }
            if (previous) {
                CropInfo c = table->Calculate(*frame, *previous, frameCounter - 1);
                crops.push_back(Text(c));
                bool settled = false;
                if (c.Diff(own) <= rules.precision) {
                    settled = ++stableCount >= rules.successes;
                    if (settled) c = own;
                } else if (c.Diff(lastCrop) <= rules.precision) {
                    settled = ++stableCount >= rules.successes;
                } else {
                    stableCount = 0;
                }
                if (settled) {
                    ++settledCount;
                    if (brighter) continue;
                    if (bestBrightness >= 30 || retries < 1) return c;
                    --retries;
                    continue;
                }
                lastCrop = c;
            }
            previous = frame;
        }
        return {};
    }
    static std::string Text(CropInfo const& crop) {
        std::ostringstream text;
        text << crop;
        return text.str();
    }

    std::vector<std::string> crops;
    std::size_t read = 0;
    int64 analysed = 0;
    int64 brightestTime = NO_VALUE;
    int settledCount = 0;

  private:
    void Reset() {
        frameCounter = 0;
        stableCount = 0;
        bestBrightness = -1;
        brightestTime = NO_VALUE;
        previous = nullptr;
        table = nullptr;
    }

    CropInfo lastCrop;
    std::unique_ptr<PlainCrop> table;
    iptr<IDataVideo> previous;
    int64 frameCounter = 0;
    u32 stableCount = 0;
    int64 bestBrightness = -1;
};

/// Stretches of frames that stand still, brighten, move within one of a few regions, or go back to an earlier one, with
/// a change of size or format now and then.
class ScriptDraw {
  public:
    explicit ScriptDraw(u32 seed) : draw(seed) {}

    std::vector<iptr<IDataVideo>> Frames() {
        std::vector<iptr<IDataVideo>> frames;
        while (frames.size() < 40) Stretch(frames);
        int64 time = draw.Below(6) == 0 ? -40000 : 0;
        for (auto const& frame : frames) {
            frame->SetTime(time);
            time += draw.Below(12) == 0 ? 300000 : 40000;
        }
        return frames;
    }
    Rules Options() {
        return {draw.Below(5) == 0 ? int64{1000000} : int64{100000000}, int64{draw.Below(4)} * 30000,
                draw.Below(3) == 0 ? 8 + draw.Below(30) : draw.Below(5), 1 + draw.Below(40),
                draw.Below(3) == 0 ? 0 : draw.Below(10)};
    }

  private:
    void Stretch(std::vector<iptr<IDataVideo>>& frames) {
        if (frames.empty() || draw.Below(12) == 0) {
            format = draw.Below(2) ? PIX_FMT_YUV420P : PIX_FMT_NV12;
            height = 48 + 2 * static_cast<int>(draw.Below(2));
            dark = draw.Below(2) != 0;
            frames.push_back(DrawInside(draw, Region(), 64, height, 0, format, Bits()));
        }
        u32 const kind = draw.Below(4);
        CropInfo const region = Region();
        auto const before = frames[frames.size() - 1 - draw.Below(2) * (frames.size() > 1 ? 1 : 0)];
        int const length = 1 + static_cast<int>(draw.Below(8));
        for (int i = 0; i < length; ++i) {
            if (kind == 0 && before->GetPixelFormat() == format && before->GetHeight() == height)
                frames.push_back(before->Clone(false));
            else if (kind == 1)
                frames.push_back(MakeVideo(0, 40000, static_cast<u8>(10 + 3 * i), format, 64, height));
            else
                frames.push_back(DrawInside(draw, region, 64, height, 0, format, Bits()));
        }
    }
    CropInfo Region() {
        auto const bottom = static_cast<u32>(height);
        return draw.Below(3) ? CropInfo(0, 64, 12, bottom - 12) : CropInfo(20, 44, 2 * draw.Below(6), bottom);
    }
    unsigned Bits() const { return dark ? 5 : 8; }

    TestSupport::Draw draw;
    PixFmt format = PIX_FMT_YUV420P;
    int height = 48;
    bool dark = false;
};

TEST(CropDetectorModel, RunsOfRandomScriptsGoStepByStepAsTheRulesTell) {
    EffectsOf<IOneInputEffectVideo> effects;
    effects.Know(SettingsColorSpaceConverter::CLASS_ID);
    auto const detector = CropDetector::Create(effects.factory);
    PlainDetector plain;
    int settled = 0, answered = 0, regions = 0;
    for (u32 seed = 0; seed < 100; ++seed) {
        ScriptDraw script(seed);
        auto const frames = script.Frames();
        Rules const rules = script.Options();
        plain.crops.clear();
        CropInfo const expected = plain.Detect(frames, rules);
        detector->Initialize(Core::Property(ICropDetector::CLASS_ID)
                                 .SetChild(ICropDetector::MAX_INTERVAL, rules.maxInterval)
                                 .SetChild(ICropDetector::SKIP_INTERVAL, rules.skipInterval)
                                 .SetChild(ICropDetector::SUCCESS_FRAME_COUNT, int64{rules.successes})
                                 .SetChild(ICropDetector::CALC_LIMIT, int64{rules.limit})
                                 .SetChild(ICropDetector::CROP_PRECISION, int64{rules.precision}));
        auto const source = ScriptedVideo::Create(frames);
        iptr<IStreamVideo> stream = source;
        LogLines const lines(30);
        EXPECT_EQ(detector->Detect(stream), expected) << "seed " << seed;
        ASSERT_EQ(CropsIn(lines), plain.crops) << "seed " << seed;
        std::size_t const skipped = frames[0]->GetTime() < 0 ? 1 : 0;  // the seek passes over it
        EXPECT_EQ(source->delivered.size() + skipped, plain.read) << "seed " << seed;
        EXPECT_EQ(detector->GetStatistic()["Count"].GetInt64(), plain.analysed) << "seed " << seed;
        EXPECT_EQ(detector->GetBrightestFrame() ? detector->GetBrightestFrame()->GetTime() : NO_VALUE,
                  plain.brightestTime)
            << "seed " << seed;
        answered += expected != CropInfo();
        regions += expected.GetWidth() % 64 != 0 || expected.GetHeight() < 48;
        settled = plain.settledCount;
    }
    // The scripts are worth something: answers of both kinds, and many that were thrown away.
    EXPECT_GT(answered, 50);
    EXPECT_LT(answered, 100);
    EXPECT_GT(regions, 20);
    EXPECT_GT(settled - answered, 50);
}

}  // namespace
}  // namespace Tarsel::Proc
