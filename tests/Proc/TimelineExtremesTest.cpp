// The timeline filters at the ends of all numbers: whatever comes out, nothing overflows, hangs or grows.
#include <glog/logging.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <random>
#include <string>

#include "Proc/Filters/Filters/FilterDurationTrimmerAudio.h"
#include "Proc/Filters/Filters/FilterDurationTrimmerSubtitle.h"
#include "Proc/Filters/Filters/FilterDurationTrimmerVideo.h"
#include "Proc/Filters/Filters/FilterFrameRateAdjust.h"
#include "Proc/Filters/Filters/FilterIntroLoopOutroVideo.h"
#include "Proc/Filters/Filters/FilterLoop.h"
#include "Proc/Filters/Filters/FilterRepeatController.h"
#include "Proc/Filters/Filters/FilterSpeedUpVideo.h"
#include "Proc/Filters/Filters/TFilterJoin.h"
#include "tests/Proc/ReverseSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

constexpr int64 MAX = std::numeric_limits<int64>::max();

class Extremes {
  public:
    explicit Extremes(unsigned seed) : random(seed) {}

    template <class T>
    T Pick(std::vector<T> const& values) {
        return values[std::uniform_int_distribution<std::size_t>(0, values.size() - 1)(random)];
    }
    int64 Time() {
        return Pick<int64>({NO_VALUE, NO_VALUE + 1, -MAX / 2, -SECOND, -1, 0, 0, 1, 39999, 40000, SECOND, MAX_DURATION,
                            MAX_DURATION + 1, MAX / 2, MAX - 1, MAX});
    }
    Ratio Rate() {
        int64 const huge = int64{1} << 62;
        return Pick<Ratio>({{25, 1}, {30000, 1001}, {1, huge}, {huge, 1}, {1, 1}, {MAX, 3}, {3, MAX}, {2000001, 1}});
    }
    double Factor() {
        return Pick<double>({1, 2, 0.5, 1e-300, 1e300, std::numeric_limits<double>::denorm_min(),
                             std::numeric_limits<double>::max(), 1e-9, 1e9});
    }
    iptr<SeekingVideo> Video() {
        std::vector<iptr<IDataVideo>> frames;
        for (int i = Pick<int>({0, 1, 2, 6}); i > 0; --i) frames.push_back(MakeVideo(Time(), Time()));
        auto const source = MakeShared<SeekingVideo>(frames, Where());
        source->duration = Time();
        source->format->SetFrameRate(Rate());
        return source;
    }
    iptr<SeekingAudio> Audio(int highestRate = std::numeric_limits<int>::max()) {
        std::vector<iptr<IDataAudio>> blocks;
        Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_U8, Pick<int>({1, 7, 44100, highestRate}),
                                    Conf::CHANNEL_LAYOUT_MONO);
        for (int i = Pick<int>({0, 1, 2, 6}); i > 0; --i) {
            blocks.push_back(DataAudioFF::CreateBySampleCount(info, Pick<int>({0, 1, 1, 7, 4410})));
            blocks.back()->SetTime(Time());
            if (Pick<int>({0, 1}) == 0) blocks.back()->SetDuration(Time());
        }
        auto const source = MakeShared<SeekingAudio>(blocks, Where());
        source->duration = Time();
        source->format->SetSampleInfo(info);
        return source;
    }
    /// Seeks and reads; failures of the library are answers like others.
    template <class T>
    void Drive(T& stream, int seeks = 4) {
        for (; seeks > 0; --seeks) {
            try {
                stream.RequestSeek(Time(), nullptr);
                stream.DoSeek();
                if (Pick<int>({0, 1}) == 0) stream.GetPosition();
                for (int reads = 0; reads < 30 && stream.Read(); ++reads) stream.GetPosition();
                if (Pick<int>({0, 1, 2}) == 0) stream.ReleaseInternalData();
                stream.GetDuration();
                stream.GetFormatCodec();
            } catch (std::exception const&) {
            }
        }
    }

  private:
    Landing Where() { return Pick<Landing>({Landing::Containing, Landing::Early, Landing::Late, Landing::Start}); }

    std::mt19937 random;
};

class TimelineExtremes : public ::testing::Test {
  protected:
    TimelineExtremes() { FLAGS_minloglevel = google::GLOG_FATAL; }
    ~TimelineExtremes() override { FLAGS_minloglevel = google::GLOG_INFO; }

    static void ForSeeds(std::function<void(Extremes&)> const& body) {
        for (unsigned seed = 1; seed <= 600; ++seed) {
            SCOPED_TRACE("seed " + std::to_string(seed));
            Extremes extremes(seed);
            try {
                body(extremes);
            } catch (std::exception const&) {
                // Refused settings and sources.
            }
        }
    }
};

TEST_F(TimelineExtremes, TrimmersStandThem) {
    ForSeeds([](Extremes& extremes) {
        auto const video = MakeShared<FilterDurationTrimmerVideo>(extremes.Video());
        video->Initialize(SettingsFilterDurationTrimmer(extremes.Time()));
        extremes.Drive(*video);
        video->RequestSeek(extremes.Time(), nullptr);
        video->Initialize(SettingsFilterDurationTrimmer(SECOND));
        video->DoSeek();
        for (int reads = 0; reads < 30 && video->Read(); ++reads) continue;
    });
    ForSeeds([](Extremes& extremes) {
        // A tenth of a second of silence is a lot of memory at the highest rate of all.
        auto const audio = MakeShared<FilterDurationTrimmerAudio>(extremes.Audio(192000));
        audio->Initialize(SettingsFilterDurationTrimmer(extremes.Time()));
        extremes.Drive(*audio);
    });
}

TEST_F(TimelineExtremes, LoopsAndRepeatsStandThem) {
    ForSeeds([](Extremes& extremes) {
        auto const video = MakeShared<FilterLoopVideo>(extremes.Video());
        video->Initialize(SettingsFilterLoop(extremes.Time()));
        extremes.Drive(*video);
        auto const audio = MakeShared<FilterLoopAudio>(extremes.Audio());
        audio->Initialize(SettingsFilterLoop(extremes.Time()));
        extremes.Drive(*audio);
        auto const controller = FilterRepeatController::Create();
        Core::Property property(IFilterRepeatController::CLASS_ID);
        property.SetChild(IFilterRepeatController::REDEFINE_DURATION, extremes.Time());
        property.SetChild(IFilterRepeatController::REPEAT_MODE, IFilterRepeatController::REPEAT_MODE_LAST);
        controller->Initialize(property);
        extremes.Drive(*controller->AddStream(iptr<IStreamVideo>(extremes.Video())));
        extremes.Drive(*controller->AddStream(iptr<IStreamAudio>(extremes.Audio())));
    });
    ForSeeds([](Extremes& extremes) {
        auto const filter = MakeShared<FilterIntroLoopOutroVideo>(extremes.Video(), nullptr);
        SettingsFilterIntroLoopOutro settings(extremes.Time());
        settings.SetIntroLength(extremes.Time());
        settings.SetOutroLength(extremes.Time());
        settings.SetMinLoopCount(extremes.Time());
        filter->Initialize(settings);
        extremes.Drive(*filter);
    });
}

TEST_F(TimelineExtremes, SpeedsAndRatesStandThem) {
    ForSeeds([](Extremes& extremes) {
        auto const speed = MakeShared<FilterSpeedUpVideo>(extremes.Video());
        speed->Initialize(SettingsFilterSpeedUp(extremes.Factor()));
        extremes.Drive(*speed);
        SettingsFilterFrameRate const settings(extremes.Rate());
        extremes.Drive(*MakeShared<FilterFrameRate>(extremes.Video(), settings));
        auto const adjust = MakeShared<FilterFrameRateAdjust>(extremes.Video(), settings);
        extremes.Drive(*adjust);
        adjust->Initialize(SettingsFilterFrameRate(extremes.Rate()));
        extremes.Drive(*adjust);
        extremes.Drive(*MakeShared<FilterFrameRate>(speed, SettingsFilterFrameRate()));
    });
}

TEST_F(TimelineExtremes, JoinsAndReversedStreamsStandThem) {
    ForSeeds([](Extremes& extremes) {
        auto const join = FilterJoinVideo::Create();
        for (int i = extremes.Pick<int>({1, 2, 5}); i > 0; --i) join->AddStream(extremes.Video(), nullptr);
        extremes.Drive(*join);
        extremes.Drive(*ReverseOf(iptr<IStreamVideo>(join)));
    });
    ForSeeds([](Extremes& extremes) { extremes.Drive(*ReverseOf(iptr<IStreamVideo>(extremes.Video()))); });
    ForSeeds([](Extremes& extremes) { extremes.Drive(*ReverseOf(iptr<IStreamAudio>(extremes.Audio()))); });
    EXPECT_EQ(ReverseMemory::GetUsed(), 0);
}

TEST(TimelineEnds, JoinThatWasToldToEndGoesOnToNoOtherClipUntilItIsSought) {
    auto const first = MakePictures(2), second = MakePictures(2);
    auto const join = FilterJoinVideo::Create();
    join->AddStream(first, nullptr);
    join->AddStream(second, nullptr);
    Seek(*join, 0);
    join->SetEndOfStream();
    EXPECT_EQ(join->Read(), nullptr);
    EXPECT_EQ(join->Read(), nullptr);
    EXPECT_TRUE(second->IsEndOfStream());
    EXPECT_THAT(second->log.Take(), ElementsAre("ReleaseInternalData"));
    Seek(*join, 0);
    EXPECT_EQ(ReadAll(*join).size(), 4U);
}

}  // namespace
}  // namespace Tarsel::Proc
