#include "Proc/Filters/Filters/FilterVideoMixer.h"

#include <functional>
#include <limits>
#include <stdexcept>
#include <tuple>
#include <typeinfo>

#include "contracts/Core/TimerSimple.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "tests/Proc/VideoMixerSupport.h"
#include "tests/support/OtherSettings.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char ASPECT_TEXT[] =
    "Aspect ratio of destination stream and blended picture does not match. Watermark must be prepared!";

iptr<IDataVideo> WithAspect(iptr<IDataVideo> const& like, int num, int den) {
    auto const frame = DataVideoFF::Create(like->GetPixelFormat(), {16, 16, num, den}, nullptr);
    frame->SetTime(like->GetTime());
    frame->SetDuration(like->GetDuration());
    return frame;
}

/// Two pictures, of processor and of GPU memory, the first one at time 0.
iptr<ScriptedVideo> MovingBetween(int first, int second) {
    return ScriptedVideo::Create(std::vector<iptr<IDataVideo>>{PlacedPicture::Create(first, 0, 40000),
                                                               PlacedPicture::Create(second, 40000, 40000)});
}

// --- Construction and settings ---------------------------------------------------------------------------------------

TEST_F(VideoMixerTest, NullPartsAreRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { MakeShared<FilterVideoMixer>(nullptr, factory); }),
              "parentStream is NULL.");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { MakeShared<FilterVideoMixer>(main, nullptr); }),
              "effectFactory is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { mixer->AddWatermark(nullptr, 0, 0, 0, Always(255)); }),
              "NULL frame");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { mixer->AddStream(nullptr, 0, 0, 0, Always(255), false); }),
              "source is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { mixer->CombineStream(nullptr, Options()); }), "source is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { MixingImageData(nullptr, 0, 0, Always(255), factory); }),
              "image cann't be nullptr");
    EXPECT_EQ(MessageOf<std::invalid_argument>(
                  [&] { mixer->AddStream(ScriptedVideo::Create({}), 0, 0, 0, Always(255), false); }),
              "image cann't be nullptr");
    EXPECT_THAT(Drawn(), IsEmpty()) << "what was refused isn't drawn";
}

TEST_F(VideoMixerTest, SettingsAndPropertyAndSetterAllSetTheOverlap) {
    EXPECT_EQ(mixer->GetMinOverlap(), 10000);
    EXPECT_EQ(mixer->GetSettings(), IFilterVideoMixer::Settings2Property(SettingsFilterVideoMixer()));
    mixer->Initialize(SettingsFilterVideoMixer(7));
    EXPECT_EQ(mixer->GetMinOverlap(), 7);
    mixer->Initialize(IFilterVideoMixer::Settings2Property(SettingsFilterVideoMixer(8)));
    EXPECT_EQ(mixer->GetMinOverlap(), 8);
    mixer->SetMinOverlap(-9);
    EXPECT_EQ(mixer->GetMinOverlap(), -9);
    EXPECT_EQ(mixer->GetSettings(), IFilterVideoMixer::Settings2Property(SettingsFilterVideoMixer(-9)));
    mixer->Initialize(Core::Property(IFilterVideoMixer::CLASS_ID));
    EXPECT_EQ(mixer->GetMinOverlap(), 10000);
}

TEST_F(VideoMixerTest, SettingsOfAnotherClassAreRefused) {
    mixer->SetMinOverlap(5);
    EXPECT_EQ(MessageOf<FilterException>([&] { mixer->Initialize(Core::Property("Other")); }),
              "Filter was initialized with incorrect class (Other)!");
    EXPECT_EQ(MessageOf<FilterException>([&] { mixer->Initialize(Core::Property("SettingsFilterVideoMixer")); }),
              "Filter was initialized with incorrect class (SettingsFilterVideoMixer)!");
    EXPECT_THROW(mixer->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(mixer->GetMinOverlap(), 5);
}

TEST_F(VideoMixerTest, FormatDurationAndEndAreThoseOfTheMainStream) {
    main->duration = 200000;
    auto const drawn = ScriptedVideo::Create(MakeVideos(9, 40000));
    drawn->duration = 360000;
    mixer->AddStream(drawn, 0, 0, 0, Always(255), false);
    EXPECT_EQ(mixer->GetDuration(), 200000);
    EXPECT_EQ(mixer->GetFormatCodec(), main->format);
    auto const frames = ReadAll(*mixer);
    EXPECT_THAT(frames, ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 40000),
                                    IsVideo(120000, 40000), IsVideo(160000, 40000)));
    EXPECT_EQ(mixer->Read(), nullptr);
    EXPECT_EQ(mixer->GetPosition(), 200000);
}

// --- What is drawn, where and in which order -------------------------------------------------------------------------

TEST_F(VideoMixerTest, StreamsLieBelowWatermarksEachInTheOrderOfAdding) {
    mixer->AddWatermark(MakeVideo(901, 1), 0, 0, 0, Always(1));
    mixer->AddStream(ScriptedVideo::Create({MakeVideo(1, 40000)}), 0, 0, 0, Always(2), false);
    mixer->AddWatermark(MakeVideo(902, 1), 0, 0, 0, Always(3));
    mixer->AddStream(ScriptedVideo::Create({MakeVideo(2, 40000)}), 0, 0, 0, Always(4), false);
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 1 at 0,0 with 2 on 0", "Tarsel: 2 at 0,0 with 4 on 0",
                                     "Tarsel: 901 at 0,0 with 1 on 0", "Tarsel: 902 at 0,0 with 3 on 0"));
}

TEST_F(VideoMixerTest, OddPositionsBecomeTheEvenOnesBelow) {
    int const least = std::numeric_limits<int>::min(), largest = std::numeric_limits<int>::max();
    mixer->AddWatermark(MakeVideo(1, 1), 101, 100, 0, Always(255));
    mixer->AddWatermark(MakeVideo(2, 1), -1, -2, 0, Always(255));
    mixer->AddWatermark(MakeVideo(3, 1), least, largest, 0, Always(255));
    mixer->AddStream(ScriptedVideo::Create({MakeVideo(0, 40000)}), 7, 9, 0, Always(255), false);
    EXPECT_THAT(Drawn(),
                ElementsAre("Tarsel: 0 at 6,8 with 255 on 0", "Tarsel: 1 at 100,100 with 255 on 0",
                            "Tarsel: 2 at -2,-2 with 255 on 0", "Tarsel: 3 at -2147483648,2147483646 with 255 on 0"));
}

TEST_F(VideoMixerTest, WatermarkIsDrawnFromItsStartToTheEnd) {
    mixer->AddWatermark(MakeVideo(1, 1), 0, 0, 80000, Always(255));
    mixer->AddWatermark(MakeVideo(2, 1), 0, 0, 80001, Always(255));
    EXPECT_THAT(Drawn(), IsEmpty());
    EXPECT_THAT(Drawn(), IsEmpty());
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 1 at 0,0 with 255 on 80000"));
    for (char const* time : {"120000", "160000"})
        EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 1 at 0,0 with 255 on " + std::string(time),
                                         "Tarsel: 2 at 0,0 with 255 on " + std::string(time)));
    EXPECT_EQ(mixer->Read(), nullptr);
}

TEST_F(VideoMixerTest, FirstFrameAsAWatermarkIsAStillPictureAndTheStreamIsLetGo) {
    auto const logo = ScriptedVideo::Create(VideosAt({7, 8, 9}, 1));
    mixer->CombineStream(logo, Options(40000, 3, 5)
                                   .SetChild(IFilterVideoMixer::USE_FIRST_FRAME_AS_WATERMARK, 1)
                                   .SetChild(IFilterVideoMixer::LOOP_STREAM, 1));
    EXPECT_EQ(logo->GetRefCountImpl(), 1U);
    EXPECT_THAT(Drawn(), IsEmpty());
    for (char const* time : {"40000", "80000", "120000", "160000"})
        EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 7 at 2,4 with 255 on " + std::string(time)));
    EXPECT_THAT(logo->log.Take(), ElementsAre("Read"));
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] {
                  mixer->CombineStream(ScriptedVideo::Create({}),
                                       Options().SetChild(IFilterVideoMixer::USE_FIRST_FRAME_AS_WATERMARK, 1));
              }),
              "NULL frame");
}

TEST_F(VideoMixerTest, EndedStreamThatDoesNotLoopLeavesTheMainVideoClean) {
    mixer->CombineStream(ScriptedVideo::Create(MakeVideos(2, 40000)), Options());
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 0 at 0,0 with 255 on 0"));
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 40000 at 0,0 with 255 on 40000"));
    for (int i = 0; i < 3; ++i) EXPECT_THAT(Drawn(), IsEmpty());
}

TEST_F(VideoMixerTest, CombinedStreamStartsOverWhenToldTo) {
    auto const drawn = ScriptedVideo::Create(MakeVideos(2, 40000));
    drawn->duration = 80000;
    mixer->CombineStream(drawn, Options().SetChild(IFilterVideoMixer::LOOP_STREAM, "true"));
    for (char const* picture : {"0", "40000", "0", "40000", "0"})
        EXPECT_EQ(Drawn().at(0).substr(8, std::string(picture).size()), picture);
}

TEST_F(VideoMixerTest, AddedPictureIsACloneOfItsOwn) {
    auto const picture = MakeVideo(7, 1);
    mixer->AddWatermark(picture, 0, 0, 0, Always(255));
    picture->SetTime(8);
    EXPECT_EQ(picture->GetRefCountImpl(), 1U);
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 7 at 0,0 with 255 on 0"));
}

TEST_F(VideoMixerTest, AlphaIsAskedOnceForEachDrawnPictureWithTheFramesTime) {
    std::vector<int64> asked;
    mixer->AddWatermark(MakeVideo(1, 1), 0, 0, 40000, [&](int64 time) {
        asked.push_back(time);
        return static_cast<int>(time / 40000);
    });
    EXPECT_THAT(Drawn(), IsEmpty());
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 1 at 0,0 with 1 on 40000"));
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 1 at 0,0 with 2 on 80000"));
    EXPECT_THAT(asked, ElementsAre(40000, 80000));
}

TEST_F(VideoMixerTest, EmptyAlphaFunctionIsAFaultOfTheRead) {
    mixer->AddWatermark(MakeVideo(1, 1), 0, 0, 40000, nullptr);
    EXPECT_THAT(Drawn(), IsEmpty());
    EXPECT_THROW(mixer->Read(), std::bad_function_call);
}

TEST_F(VideoMixerTest, FramesWithoutATimeGetNoStreams) {
    Over(ScriptedVideo::Create({MakeVideo(NO_VALUE, 40000), MakeVideo(0, NO_VALUE), MakeVideo(0, 40000)}));
    auto const drawn = ScriptedVideo::Create({MakeVideo(0, 40000)});
    mixer->AddStream(drawn, 0, 0, 0, Always(255), false);
    mixer->AddWatermark(MakeVideo(1, 1), 0, 0, 0, Always(255));
    EXPECT_THAT(Drawn(), IsEmpty());
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 1 at 0,0 with 255 on 0"));
    EXPECT_THAT(drawn->log.Take(), ElementsAre("Read"));
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 0 at 0,0 with 255 on 0", "Tarsel: 1 at 0,0 with 255 on 0"));
}

// --- Blenders and the main frame -------------------------------------------------------------------------------------

TEST_F(VideoMixerTest, EachBlenderIsMadeOnceAtItsFirstUse) {
    constexpr int CPU = IDataVideo::FRAME_ALLOC_CPU, GPU = IDataVideo::FRAME_ALLOC_GPU;
    Over(ScriptedVideo::Create(
        std::vector<iptr<IDataVideo>>{PlacedPicture::Create(CPU, 0), PlacedPicture::Create(GPU, 40),
                                      PlacedPicture::Create(CPU, 80), PlacedPicture::Create(GPU, 120)}));
    EXPECT_THAT(factory->asked, IsEmpty());
    ReadAll(*mixer);
    EXPECT_THAT(factory->asked, ElementsAre("SettingsEffectImageBlender/Tarsel", "SettingsEffectImageBlender/OGL"));
    EXPECT_EQ(factory->made[0]->initialized, 0) << "nothing was drawn";
}

TEST_F(VideoMixerTest, FrameOfAnotherPlaceIsRefusedAsFilterAndAsEffect) {
    for (int const place : {2, 4, -1}) {
        Over(ScriptedVideo::Create(std::vector<iptr<IDataVideo>>{PlacedPicture::Create(place, 0)}));
        EXPECT_EQ(MessageOf<FilterException>([&] { mixer->Read(); }),
                  "Cannot find effect implementation for frame alloc type");
        Seek(*mixer, 0);
        EXPECT_EQ(MessageOf<EffectException>([&] { mixer->Read(); }),
                  "Cannot find effect implementation for frame alloc type");
    }
}

TEST_F(VideoMixerTest, MainFrameIsMadeWritableOnceAReadHoweverMuchIsDrawn) {
    auto const picture = PlacedPicture::Create(IDataVideo::FRAME_ALLOC_CPU, 0, 40000);
    Over(ScriptedVideo::Create(std::vector<iptr<IDataVideo>>{picture}));
    for (int i = 0; i < 3; ++i) mixer->AddWatermark(MakeVideo(i, 1), 0, 0, 0, Always(255));
    EXPECT_EQ(Drawn().size(), 3U);
    EXPECT_EQ(picture->counts->copies, 1);
}

TEST_F(VideoMixerTest, FrameThatOthersHoldComesOutAsACopyEvenWhenNothingIsDrawn) {
    auto const held = MakeVideo(0, 40000, 77);
    Over(ScriptedVideo::Create({held}));
    auto const out = mixer->Read();
    ASSERT_NE(out, nullptr);
    EXPECT_NE(out->GetPlaneConst(0).GetData(), held->GetPlaneConst(0).GetData());
    EXPECT_EQ(out->GetPlaneConst(0).GetData()[0], 77);
}

TEST_F(VideoMixerTest, PicturesOfTheGpuAreNotPreparedForFramesThere) {
    constexpr int GPU = IDataVideo::FRAME_ALLOC_GPU;
    Over(ScriptedVideo::Create(std::vector<iptr<IDataVideo>>{PlacedPicture::Create(GPU, 0)}));
    mixer->AddWatermark(PlacedPicture::Create(GPU, 1), 0, 0, 0, Always(255));
    mixer->AddWatermark(PlacedPicture::Create(IDataVideo::FRAME_ALLOC_CPU, 2), 0, 0, 0, Always(255));
    EXPECT_THAT(Drawn(), ElementsAre("OGL: 1 at 0,0 with 255 on 0", "OGL: 2 at 0,0 with 255 on 0"));
    int prepared = 0;
    for (auto const& blender : factory->made) prepared += blender->prepared;
    EXPECT_EQ(prepared, 1) << "the one of processor memory";
}

TEST_F(VideoMixerTest, PictureOfTheGpuIsFetchedOnceForFramesOfProcessorMemory) {
    mixer->AddWatermark(PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 7), 0, 0, 0, Always(255));
    ScriptedDownloader::count = 0;
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 7 at 0,0 with 255 on 0"));
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 7 at 0,0 with 255 on 40000"));
    EXPECT_EQ(ScriptedDownloader::count, 1);
}

TEST_F(VideoMixerTest, DrawnStreamWhosePicturesChangePlaceIsPreparedWhereItsPictureLivesNow) {
    constexpr int CPU = IDataVideo::FRAME_ALLOC_CPU, GPU = IDataVideo::FRAME_ALLOC_GPU;
    for (auto const& [first, second] : {std::pair{CPU, GPU}, std::pair{GPU, CPU}}) {
        SCOPED_TRACE(first);
        factory->made.clear();
        Over(MovingBetween(GPU, GPU));
        mixer->AddStream(MovingBetween(first, second), 0, 0, 0, Always(255), false);
        std::vector<int> prepared;
        for (char const* time : {"0", "40000"}) {
            EXPECT_THAT(Drawn(), ElementsAre("OGL: " + std::string(time) + " at 0,0 with 255 on " + time));
            int count = 0;
            for (auto const& blender : factory->made) count += blender->prepared;
            prepared.push_back(count);
        }
        EXPECT_THAT(prepared, first == CPU ? ElementsAre(1, 1) : ElementsAre(0, 1)) << "that of processor memory alone";
    }
}

TEST_F(VideoMixerTest, DrawnStreamWhosePicturesChangePlaceIsFetchedWhereItsPictureLivesNow) {
    constexpr int CPU = IDataVideo::FRAME_ALLOC_CPU, GPU = IDataVideo::FRAME_ALLOC_GPU;
    for (auto const& [first, second] : {std::pair{CPU, GPU}, std::pair{GPU, CPU}}) {
        SCOPED_TRACE(first);
        Over(MovingBetween(CPU, CPU));
        mixer->AddStream(MovingBetween(first, second), 0, 0, 0, Always(255), false);
        ScriptedDownloader::count = 0;
        std::vector<int> fetched;
        for (char const* time : {"0", "40000"}) {
            EXPECT_THAT(Drawn(), ElementsAre("Tarsel: " + std::string(time) + " at 0,0 with 255 on " + time));
            fetched.push_back(ScriptedDownloader::count);
        }
        EXPECT_THAT(fetched, first == CPU ? ElementsAre(0, 1) : ElementsAre(1, 1)) << "that of GPU memory alone";
    }
}

TEST_F(VideoMixerTest, PixelAspectsAreComparedNumberByNumber) {
    for (auto const& [num, den, fits] : std::vector<std::tuple<int, int, bool>>{
             {2, 1, true}, {4, 2, false}, {1, 2, false}, {1, 1, false}, {2, 3, false}, {3, 1, false}}) {
        SCOPED_TRACE(num * 10 + den);
        Over(ScriptedVideo::Create({WithAspect(MakeVideo(0, 40000), 2, 1)}));
        mixer->AddWatermark(WithAspect(MakeVideo(1, 1), num, den), 0, 0, 0, Always(255));
        std::string const message = MessageOf<std::invalid_argument>([&] { mixer->Read(); });
        EXPECT_EQ(message, fits ? "[nothing was thrown]" : ASPECT_TEXT);
    }
}

TEST_F(VideoMixerTest, AspectIsComparedBeforeTheAlphaIsAsked) {
    bool asked = false;
    mixer->AddWatermark(WithAspect(MakeVideo(1, 1), 4, 3), 0, 0, 0, [&](int64) { return asked = true; });
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { mixer->Read(); }), ASPECT_TEXT);
    EXPECT_FALSE(asked);
}

// --- Failures --------------------------------------------------------------------------------------------------------

TEST_F(VideoMixerTest, FailureOfADrawnStreamPassesAndTheNextReadGoesOnFromTheLastStep) {
    mixer->AddStream(
        ScriptedVideo::Create({MakeVideo(0, 40000), Failure<FilterException>("broken"), MakeVideo(80000, 40000)}), 0, 0,
        0, Always(255), false);
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 0 at 0,0 with 255 on 0"));
    EXPECT_EQ(MessageOf<FilterException>([&] { mixer->Read(); }), "broken");
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 80000 at 0,0 with 255 on 80000"));
}

TEST_F(VideoMixerTest, StreamThatFailsAtOnceIsNotTakenIn) {
    auto const broken = ScriptedVideo::Create({Failure<EffectException>("broken")});
    EXPECT_EQ(MessageOf<EffectException>([&] { mixer->AddStream(broken, 0, 0, 0, Always(255), false); }), "broken");
    EXPECT_EQ(broken->GetRefCountImpl(), 1U);
    mixer->SetEndOfStream();
    EXPECT_FALSE(broken->IsEndOfStream());
}

TEST_F(VideoMixerTest, FailuresOfTheMainStreamAndOfTheBlenderPassAndCountNothing) {
    Over(ScriptedVideo::Create({Failure<FilterException>("main"), MakeVideo(0, 40000), MakeVideo(40000, 40000)}));
    mixer->AddWatermark(MakeVideo(1, 1), 0, 0, 0, Always(255));
    EXPECT_EQ(MessageOf<FilterException>([&] { mixer->Read(); }), "main");
    factory->onMade = [](ScriptedBlender& blender) {
        blender.onProcess = [] { TARSEL_THROW(EffectException, "can't draw"); };
    };
    EXPECT_EQ(MessageOf<EffectException>([&] { mixer->Read(); }), "can't draw");
    factory->made[0]->onProcess = nullptr;
    EXPECT_THAT(mixer->Read(), IsVideo(40000, 40000));
    EXPECT_EQ(mixer->GetStatistic()["Count"].GetInt64(), 1);
}

// --- Reports ---------------------------------------------------------------------------------------------------------

TEST_F(VideoMixerTest, StatisticsAreANodeOfItsOwnWithAllStreamsInside) {
    auto const drawn = ScriptedVideo::Create(MakeVideos(3, 40000));
    main->format->SetPixelFormat(PIX_FMT_YUV420P);
    mixer->AddStream(drawn, 0, 0, 0, Always(255), false);
    mixer->Read();
    mixer->Read();
    Core::Property const found = mixer->GetStatistic();
    Core::Property wanted = Core::MakeStatistics("Tarsel::Proc::FilterVideoMixer::GetStatistic", 0, 2);
    wanted.SetChild("Main stream color space", "yuv420p");
    wanted.SetChild("Time", found["Time"].GetDouble());
    wanted.Add(main->GetStatistic());
    wanted.Add(drawn->GetStatistic());
    EXPECT_EQ(found, wanted);
}

TEST_F(VideoMixerTest, TimeOfReadingIsToldInSeconds) {
    mixer->AddWatermark(MakeVideo(1, 1), 0, 0, 0, Always(255));
    factory->onMade = [](ScriptedBlender& blender) {
        blender.onProcess = [] {
            for (Core::TimerSimple const timer; timer.GetElapsed() < 2000;) continue;
        };
    };
    Core::TimerSimple const whole;
    mixer->Read();
    double const told = mixer->GetStatistic()["Time"].GetDouble();
    EXPECT_GE(told, 0.002);
    EXPECT_LE(told, static_cast<double>(whole.GetElapsed() + 1) / 1000000);
}

TEST_F(VideoMixerTest, StatisticsOfAStreamWithoutAFormatNameNoColourSpace) {
    EXPECT_EQ(mixer->GetStatistic()["Main stream color space"].GetString(), "");
    main->format = nullptr;
    EXPECT_EQ(mixer->GetStatistic()["Main stream color space"].GetString(), "");
}

TEST_F(VideoMixerTest, NamesItselfToVisitorsThenTheMainStreamThenTheOthers) {
    class Named final : public ScriptedFilter<IStreamVideo> {
      public:
        using ScriptedFilter::ScriptedFilter;
    };
    mixer = MakeShared<FilterVideoMixer>(iptr<IStreamVideo>(new Named(main)), factory);
    mixer->AddStream(ScriptedVideo::Create({MakeVideo(0, 1)}), 0, 0, 0, Always(255), false);
    Visitors::InfoCollector names;
    mixer->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterVideoMixer", "ScriptedFilter", "ScriptedStream", "ScriptedStream"));
}

TEST_F(VideoMixerTest, CountsAsAFilterAmongTheKindsOfFrames) {
    Visitors::FrameTypeCollector kinds;
    mixer->Accept(kinds);
    EXPECT_THAT(kinds.frameTypes, ElementsAre(5, 5)) << "its own and that of the main stream";
}

}  // namespace
}  // namespace Tarsel::Proc
