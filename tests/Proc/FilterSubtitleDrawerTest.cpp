#include "Proc/Filters/Filters/FilterSubtitleDrawer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <typeinfo>

#include "contracts/Conf/IPreset.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/FilterRegistrator.h"
#include "host/graph/Factories.h"
#include "host/graph/FilterRegistry.h"
#include "tests/Proc/SubtitleDrawerSupport.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FilterSubtitleDrawerTest : public SubtitleDrawerTest {};

// --- Look-ahead ------------------------------------------------------------------------------------------------------

TEST_F(FilterSubtitleDrawerTest, OneSubtitleBeyondThePictureIsFetched) {
    Make(6, TextsAt({0, 10000, 30000, 100000, 130000, 170000, 500000}));
    Read(6);
    // Up to the picture's time and one more; at least one.
    EXPECT_THAT(fetched, ElementsAre(2, 4, 5, 6, 7, 7));
    EXPECT_EQ(Engine().lines.size(), 7U);
}

TEST_F(FilterSubtitleDrawerTest, ASubtitleAtThePicturesTimeIsNotBeyondIt) {
    Make(2, TextsAt({0, 0, 40000, 40001, 80000}));
    Read(2);
    EXPECT_THAT(fetched, ElementsAre(3, 4));
}

TEST_F(FilterSubtitleDrawerTest, EachPictureTakesAtLeastOneSoThatTheTrackIsSoonRead) {
    Make(5, TextsAt({SECOND, 2 * SECOND, 3 * SECOND, 4 * SECOND}));
    Read(5);
    EXPECT_THAT(fetched, ElementsAre(1, 2, 3, 4, 4));
}

TEST_F(FilterSubtitleDrawerTest, FirstLookAheadIsThePositionOfTheOverlayStream) {
    Make(3, TextsAt({0, 70000, 90000, 300000}));
    // Read on its own first.
    overlay->Read();
    fetched.clear();
    Read(2);
    EXPECT_THAT(fetched, ElementsAre(2, 3));
}

TEST_F(FilterSubtitleDrawerTest, TheEndOfTheSubtitlesIsAskedForAtEachPicture) {
    Make(3, TextsAt({0}));
    Read(3);
    EXPECT_THAT(subtitles->log.Take(), ElementsAre("Read", "Read", "Read", "Read"));
    EXPECT_EQ(drawer->Read(), nullptr);
    EXPECT_EQ(drawer->Read(), nullptr);
    EXPECT_THAT(fetched, ElementsAre(1, 1, 1, 1, 1));
}

TEST_F(FilterSubtitleDrawerTest, BehindTheEndOfThePicturesEachReadStillTakesASubtitle) {
    Make(1, TextsAt({SECOND, 2 * SECOND, 3 * SECOND, 4 * SECOND}));
    Read(1);
    EXPECT_EQ(drawer->Read(), nullptr);
    EXPECT_EQ(drawer->Read(), nullptr);
    EXPECT_THAT(fetched, ElementsAre(1, 2, 3));
    EXPECT_EQ(Engine().lines.size(), 3U);
}

TEST_F(FilterSubtitleDrawerTest, SubtitlesWithoutATimeAreNotBeyondThePicture) {
    Make(2, TextsAt({NO_VALUE, NO_VALUE, NO_VALUE, 500000, NO_VALUE}));
    Read(1);
    EXPECT_THAT(fetched, ElementsAre(4));
    Read(1);
    EXPECT_THAT(fetched, ElementsAre(4, 5)) << "they end";
}

TEST_F(FilterSubtitleDrawerTest, DelayIsTakenOffTheTimesOfSubtitles) {
    Make(4, TextsAt({50000, 60000, 90000, 130000, 200000}));
    drawer->SetSubtitleDelay(50000);
    Read(3);
    // 0 and 10 at 0; 40 and 80 at 40; 150 at 80.
    EXPECT_THAT(fetched, ElementsAre(2, 4, 5));
}

TEST_F(FilterSubtitleDrawerTest, NegativeDelayMakesSubtitlesLater) {
    Make(2, TextsAt({0, 0, 10000, 20000}));
    drawer->SetSubtitleDelay(-40000);
    Read(2);
    EXPECT_THAT(fetched, ElementsAre(1, 3));
}

TEST_F(FilterSubtitleDrawerTest, DelayIsZeroUntilItIsSetAndForNoValue) {
    Make(0, {});
    EXPECT_EQ(drawer->GetSubtitleDelay(), 0);
    drawer->SetSubtitleDelay(-7);
    EXPECT_EQ(drawer->GetSubtitleDelay(), -7);
    drawer->SetSubtitleDelay(NO_VALUE);
    EXPECT_EQ(drawer->GetSubtitleDelay(), 0);
}

TEST_F(FilterSubtitleDrawerTest, ExtremeTimesAndDelaysDoNotOverflow) {
    Make(3, TextsAt({INT64_MAX, NO_VALUE + 1, INT64_MAX}));
    drawer->SetSubtitleDelay(INT64_MIN + 1);
    Read(1);
    EXPECT_THAT(fetched, ElementsAre(1));
    drawer->SetSubtitleDelay(INT64_MAX);
    Read(1);
    EXPECT_THAT(fetched, ElementsAre(1, 3));
}

// --- Providers -------------------------------------------------------------------------------------------------------

TEST_F(FilterSubtitleDrawerTest, BitmapsTextsAndScriptsChooseTheirProviders) {
    Make(1, {MakeTitle(0, SECOND, {Block(0, 0, 2, 2, {255, 255, 255, 255})})});
    Read(1);
    EXPECT_EQ(overlay->provider->GetStatistic().Name(), "Tarsel::Proc::TitleProviderFromBitmap::GetStatistic");
    EXPECT_EQ(overlay->drawn[0].crop, CropInfo(0, 2, 0, 2));
    for (AVSubtitleType const type : {SUBTITLE_TEXT, SUBTITLE_ASS}) {
        Make(1, {MakeTitle(0, SECOND, {TextRect("a", nullptr, type)})});
        Read(1);
        EXPECT_EQ(overlay->provider->GetStatistic().Name(), "Tarsel::Proc::TitleProviderFromAss::GetStatistic");
        EXPECT_EQ(Engine().lines.size(), 1U);
    }
}

TEST_F(FilterSubtitleDrawerTest, OtherTypesAreRefused) {
    Make(1, {MakeTitle(0, SECOND, {TextRect("a", nullptr, SUBTITLE_NONE)}),
             MakeTitle(0, SECOND, {TextRect("a", nullptr, SUBTITLE_NONE)})});
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->Read(); }), "Unsupported subtitles type");
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->Read(); }), "Unsupported subtitles type");
    EXPECT_EQ(overlay->provider, nullptr);
    Read(1);
    EXPECT_EQ(CountedIn(drawer->GetStatistic().Children()[2], "Subtitles"), 2) << "they were read, whatever they are";
}

TEST_F(FilterSubtitleDrawerTest, AMissingFirstRectangleIsOfNoType) {
    AVSubtitleRect* rects[] = {nullptr};
    AVSubtitle event{};
    event.num_rects = 1;
    event.rects = rects;
    Make(1, {MakeShared<BorrowedSubtitle>(&event, 0, SECOND)});
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->Read(); }), "Unsupported subtitles type");
}

TEST_F(FilterSubtitleDrawerTest, SubtitleWithoutRectanglesChoosesNoProvider) {
    Make(2, {MakeTitle(0, SECOND, {}), MakeShared<BorrowedSubtitle>(nullptr, 0, SECOND), MakeText(SECOND, SECOND),
             MakeTitle(2 * SECOND, SECOND, {})});
    subtitles->given = 0;
    overlay->onRead = [this] { EXPECT_EQ(overlay->provider != nullptr, subtitles->given > 2); };
    Read(2);
    EXPECT_EQ(subtitles->given, 4);
    EXPECT_EQ(engines->made.size(), 1U);
    Make(1, {MakeTitle(0, SECOND, {})});
    Read(1);
    EXPECT_EQ(overlay->provider, nullptr);
}

TEST_F(FilterSubtitleDrawerTest, FirstRectangleDecidesForTheWholeStream) {
    Make(1, {MakeTitle(0, SECOND, {Block(2, 2, 2, 2, {255, 255, 255, 255}), TextRect("a")}),
             MakeTitle(0, SECOND, {TextRect("b", nullptr, SUBTITLE_NONE)}), MakeText(0, SECOND)});
    Read(1);
    EXPECT_THAT(engines->made, IsEmpty());
    EXPECT_EQ(overlay->drawn[0].crop, CropInfo(0, 4, 0, 4)) << "texts are empty rectangles in the corner";
    Make(1, {MakeText(0, SECOND, "a"), MakeTitle(0, SECOND, {Block(0, 0, 2, 2, {255, 255, 255, 255})}),
             MakeTitle(0, SECOND, {TextRect("b", nullptr, SUBTITLE_NONE)})});
    Read(1);
    EXPECT_THAT(Engine().lines, ElementsAre("Dialogue: 0,0:00:00.00,0:00:01.00,Default,a",
                                            "Dialogue: 0,0:00:00.00,0:00:00.00,Default,b"));
}

TEST_F(FilterSubtitleDrawerTest, EngineGetsTheHeaderOfTheStream) {
    Make(MakeVideos(1, FRAME));
    subtitles = MakeShared<SubtitleScript>(TextsAt({0}));
    subtitles->format->SetSubtitleHeader("[Script Info]");
    drawer->CombineStream(subtitles);
    Read(1);
    EXPECT_EQ(engines->made.at(0).header, "[Script Info]");
}

TEST_F(FilterSubtitleDrawerTest, AFailedEngineIsTriedAgainWithTheNextSubtitle) {
    Make(2, TextsAt({0, 0}));
    engines->onCreate = [] { TARSEL_THROW(ProcException, "no fonts"); };
    EXPECT_EQ(MessageOf<ProcException>([&] { drawer->Read(); }), "no fonts");
    engines->onCreate = nullptr;
    Read(2);
    EXPECT_EQ(Engine().lines.size(), 1U);
}

TEST_F(FilterSubtitleDrawerTest, HeldBitmapCostsNoComposition) {
    Make(201, {MakeTitle(0, 200 * FRAME, {Block(0, 0, 2, 2, {255, 255, 255, 255})})});
    Read(201);
    for (int i = 0; i < 200; ++i) ASSERT_EQ(overlay->drawn[static_cast<std::size_t>(i)].image, overlay->drawn[0].image);
    EXPECT_EQ(overlay->drawn[200].image, nullptr);
    EXPECT_EQ(overlay->provider->GetStatistic()["Count"].GetInt64(), 1);
}

// --- Failures --------------------------------------------------------------------------------------------------------

TEST_F(FilterSubtitleDrawerTest, StreamsOfSubtitlesAreCheckedInOrder) {
    Make(MakeVideos(1, FRAME));
    auto const first = MakeShared<SubtitleScript>();
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->CombineStream(nullptr); }), "Subtitle stream is NULL!");
    first->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->CombineStream(first); }), "Input codec format is null");
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->Read(); }), "Subtitle stream is not set!");
    auto const second = MakeShared<SubtitleScript>();
    drawer->CombineStream(second, Core::Property("Options").SetChild("Any", 1));
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->CombineStream(first); }), "Subtitle stream is already set!");
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->CombineStream(second); }), "Subtitle stream is already set!");
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->CombineStream(nullptr); }), "Subtitle stream is NULL!");
    Read(1);
}

TEST_F(FilterSubtitleDrawerTest, WithoutSubtitlesReadingAndSeekingFailAndTheRestWorks) {
    Make(MakeVideos(1, FRAME));
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->Read(); }), "Subtitle stream is not set!");
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->RequestSeek(0, nullptr); }), "Subtitle stream is not set!");
    EXPECT_EQ(source->log.Take(), std::vector<std::string>()) << "the pictures moved";
    drawer->DoSeek();
    drawer->SetEndOfStream();
    drawer->ReleaseInternalData();
    EXPECT_THAT(source->log.Take(), ElementsAre("DoSeek", "SetEndOfStream", "ReleaseInternalData"));
    EXPECT_THAT(ReportNames(), ElementsAre("Subtitles", "Root"));
}

TEST_F(FilterSubtitleDrawerTest, NullPartsAreRefused) {
    source = ScriptedVideo::Create({});
    iptr<IFilterFactory const> const factory = Host::MakeFilterFactory();
    auto const create = [&](auto const& filters, iptr<IStreamVideo> const& stream, auto const& effect,
                            auto const& text) {
        return MessageOf<std::invalid_argument>([&] { FilterSubtitleDrawer::Create(filters, stream, effect, text); });
    };
    EXPECT_EQ(create(iptr<IFilterFactory const>(), source, effects, engines), "factory is NULL");
    EXPECT_EQ(create(factory, nullptr, effects, engines), "source is NULL");
    overlay = MakeShared<ScriptedOverlay>(source);
    auto const make = [&](iptr<IOverlayStream> stream, iptr<IEffectFactory const> effect,
                          iptr<IOverlayFactory const> text) {
        return MessageOf<std::invalid_argument>([&] { MakeShared<FilterSubtitleDrawer>(stream, effect, text); });
    };
    EXPECT_EQ(make(nullptr, effects, engines), "parentStream is NULL.");
    EXPECT_EQ(make(overlay, nullptr, engines), "effectFactory is NULL");
    EXPECT_EQ(make(overlay, effects, nullptr), "overlayFactory is NULL");
    EXPECT_EQ(overlay->GetRefCountImpl(), 1U);
}

TEST_F(FilterSubtitleDrawerTest, FailuresOfTheStreamsPassAndReadingGoesOn) {
    Make(std::vector<iptr<IDataVideo>>{});
    source = ScriptedVideo::Create(
        {MakeVideo(0, FRAME), Failure<ProcException>("a broken picture"), MakeVideo(2 * FRAME, FRAME)});
    overlay = MakeShared<ScriptedOverlay>(source);
    drawer = MakeShared<FilterSubtitleDrawer>(overlay, effects, engines);
    auto const broken = ScriptedSubtitle::Create({Failure<ProcException>("a broken subtitle"), MakeText(0, SECOND)});
    drawer->CombineStream(broken);
    EXPECT_EQ(MessageOf<ProcException>([&] { drawer->Read(); }), "a broken subtitle");
    EXPECT_THAT(drawer->Read(), IsVideo(0, FRAME));
    EXPECT_EQ(MessageOf<ProcException>([&] { drawer->Read(); }), "a broken picture");
    EXPECT_THAT(drawer->Read(), IsVideo(2 * FRAME, FRAME));
}

TEST_F(FilterSubtitleDrawerTest, AProviderThatFailsInTheMiddleLosesItsPictureAndNoTitle) {
    Make(5, TextsAt({0, 50000, 90000, 140000}));
    auto const picture = MakeVideo(0, 0, 0, PIX_FMT_RGBA);
    Read(2);
    Engine().onRender = [&](int64 time, Conf::FrameInfo const&, CropInfo&) -> iptr<IDataVideo> {
        if (time == 2 * FRAME) TARSEL_THROW(ProcException, "no memory for letters");
        return picture;
    };
    EXPECT_EQ(MessageOf<ProcException>([&] { drawer->Read(); }), "no memory for letters");
    EXPECT_THAT(drawer->Read(), IsVideo(3 * FRAME, FRAME));
    EXPECT_THAT(drawer->Read(), IsVideo(4 * FRAME, FRAME));
    EXPECT_EQ(overlay->drawn.back().image, picture);
    EXPECT_EQ(Engine().lines.size(), 4U);
    EXPECT_EQ(engines->made.size(), 1U);
    EXPECT_EQ(drawer->GetStatistic()["Count"].GetInt64(), 4);
}

// --- Settings --------------------------------------------------------------------------------------------------------

SettingsSubtitleDrawer Bold() {
    SettingsSubtitleDrawer settings;
    settings.SetBold(1);
    return settings;
}

TEST_F(FilterSubtitleDrawerTest, SettingsGoToTheOverlayStreamAndToTheEngine) {
    Make(1, TextsAt({0}));
    EXPECT_THAT(overlay->settings, IsEmpty());
    drawer->Initialize(Bold());
    EXPECT_THAT(overlay->settings, ElementsAre(Bold()));
    Read(1);
    EXPECT_EQ(engines->made.at(0).settings, Bold());
}

TEST_F(FilterSubtitleDrawerTest, PropertyAndSettingsObjectSetUpAlike) {
    Make(1, TextsAt({0}));
    drawer->Initialize(IFilterSubtitleDrawer::MakeSettings(Bold()));
    EXPECT_THAT(overlay->settings, ElementsAre(Bold()));
    Read(1);
    EXPECT_EQ(engines->made.at(0).settings, Bold());
}

TEST_F(FilterSubtitleDrawerTest, APropertyWithoutSettingsChangesNothing) {
    Make(1, TextsAt({0}));
    drawer->Initialize(Bold());
    drawer->Initialize(Core::Property(IFilterSubtitleDrawer::CLASS_ID));
    drawer->Initialize(drawer->GetSettings());
    EXPECT_EQ(overlay->settings.size(), 1U);
    Read(1);
    EXPECT_EQ(engines->made.at(0).settings, Bold());
}

TEST_F(FilterSubtitleDrawerTest, OtherSettingsAreRefused) {
    Make(0, {});
    EXPECT_THROW(drawer->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->Initialize(Core::Property("SettingsSubtitleDrawer")); }),
              "Filter was initialized with incorrect class (SettingsSubtitleDrawer)!");
    auto bad = IFilterSubtitleDrawer::MakeSettings(Bold());
    bad[SettingsSubtitleDrawer::CLASS_ID].SetChild("Bold", 2);
    EXPECT_EQ(MessageOf<FilterException>([&] { drawer->Initialize(bad); }),
              "Bold of SettingsSubtitleDrawer is out of range: 2");
    EXPECT_THAT(overlay->settings, IsEmpty());
}

TEST_F(FilterSubtitleDrawerTest, NewSettingsActOnTitlesThatHaveBeenFetched) {
    Make(2, TextsAt({0, SECOND}));
    Read(1);
    auto const lines = Engine().lines;
    drawer->Initialize(Bold());
    ASSERT_EQ(engines->made.size(), 2U);
    EXPECT_EQ(engines->made[1].settings, Bold());
    EXPECT_EQ(Engine().lines, lines);
    drawer->Initialize(Bold());
    EXPECT_EQ(engines->made.size(), 2U) << "the same settings again";
    EXPECT_THAT(overlay->settings, ElementsAre(Bold(), Bold()));
    Read(1);
    EXPECT_EQ(Engine().lines.size(), 2U);
}

TEST_F(FilterSubtitleDrawerTest, NewSettingsOverBitmapsGoToTheOverlayStreamAndMakeNoEngine) {
    Make(2, {MakeTitle(0, SECOND, {Block(0, 0, 2, 2, {255, 255, 255, 255})})});
    Read(1);
    auto const provider = overlay->provider;
    auto const image = overlay->drawn.back().image;
    ASSERT_NE(image, nullptr);
    drawer->Initialize(Bold());
    EXPECT_THAT(overlay->settings, ElementsAre(Bold()));
    EXPECT_THAT(engines->made, IsEmpty());
    EXPECT_EQ(overlay->provider, provider);
    Read(1);
    EXPECT_EQ(overlay->drawn.back().image, image);
}

TEST_F(FilterSubtitleDrawerTest, SettingsThatNoEngineTakesLeaveTheOldOnes) {
    Make(2, TextsAt({0, SECOND}));
    Read(1);
    engines->onCreate = [] { TARSEL_THROW(ProcException, "no such font"); };
    EXPECT_EQ(MessageOf<ProcException>([&] { drawer->Initialize(Bold()); }), "no such font");
    EXPECT_THAT(overlay->settings, IsEmpty());
    engines->onCreate = nullptr;
    Read(1);
    EXPECT_EQ(engines->made.size(), 1U);
    drawer->Initialize(Bold());
    EXPECT_EQ(engines->made.size(), 2U) << "the refused settings count as taken";
}

TEST_F(FilterSubtitleDrawerTest, SettingsNameTheFilterAndNothingElse) {
    Make(0, {});
    EXPECT_EQ(drawer->GetSettings(), Core::Property("FilterSubtitleDrawer").SetChild(Conf::IPreset::KEY_TYPE_ID, ""));
}

// --- Reports and wiring ----------------------------------------------------------------------------------------------

TEST_F(FilterSubtitleDrawerTest, DurationAndFormatAreThoseOfThePictures) {
    Make(0, {});
    source->duration = 123;
    EXPECT_EQ(drawer->GetDuration(), 123);
    EXPECT_EQ(drawer->GetFormatCodec(), source->format);
    EXPECT_EQ(drawer->GetPosition(), NO_VALUE);
}

TEST_F(FilterSubtitleDrawerTest, StatisticsCountPicturesAndSubtitlesAboveThoseOfAllParts) {
    Make(2, TextsAt({0, 10000, 500000}));
    Read(2);
    drawer->Read();
    Core::Property const report = drawer->GetStatistic();
    EXPECT_EQ(report.Name(), "Tarsel::Proc::FilterSubtitleDrawer::GetStatistic");
    EXPECT_EQ(report["Time"].GetInt64(), 0);
    EXPECT_EQ(report["Count"].GetInt64(), 2);
    EXPECT_THAT(ReportNames(),
                ElementsAre("Subtitles", "Root", "SubtitleScript", "Tarsel::Proc::TitleProviderFromAss::GetStatistic"));
    // Nulls don't count.
    EXPECT_EQ(report.Children()[2]["Count"].GetInt64(), 3);
}

TEST_F(FilterSubtitleDrawerTest, VisitorsSeeBothStreams) {
    Make(0, {});
    Visitors::InfoCollector names;
    drawer->Accept(names);
    EXPECT_THAT(names.names,
                ElementsAre("FilterSubtitleDrawer", "ScriptedOverlay", "ScriptedStream", "SubtitleScript"));
}

TEST_F(FilterSubtitleDrawerTest, EndGoesToBothStreamsAlsoDuringARead) {
    Make(1, TextsAt({0}));
    subtitles->log.Take();
    auto const gate = std::make_shared<Gate>();
    source->gate = gate;
    gate->Close();
    Core::Thread reader([this] { drawer->Read(); });
    gate->AwaitArrivals(1);
    drawer->SetEndOfStream();
    EXPECT_TRUE(subtitles->IsEndOfStream());
    EXPECT_TRUE(source->IsEndOfStream());
    EXPECT_TRUE(drawer->IsEndOfStream());
    gate->Open();
    reader.Join();
}

TEST_F(FilterSubtitleDrawerTest, IsFoundByItsNameInSlotOrder) {
    auto const registry = MakeShared<Host::FilterRegistry>();
    ::FilterRegistrator(*registry);
    std::vector<std::string> dedicated;
    for (auto const& row : registry->GetRows())
        if (row.kind == FilterKind::Dedicated) dedicated.push_back(row.classId);
    auto const own = std::find(dedicated.begin(), dedicated.end(), FilterSlots::SUBTITLE_DRAWER.name);
    ASSERT_NE(own, dedicated.end());
    ASSERT_NE(own, dedicated.begin());
    EXPECT_EQ(own[-1], "FilterRepeatController");
    EXPECT_EQ(own[1], "FilterApplyEffectsVideo");
    EXPECT_EQ(registry->Find(FilterSlots::SUBTITLE_DRAWER, ImplNames::TARSEL), &FilterSubtitleDrawer::Create);
}

TEST_F(FilterSubtitleDrawerTest, FactoryWrapsTheSourceInItsOverlayStream) {
    auto const registry = MakeShared<Host::FilterRegistry>();
    ::FilterRegistrator(*registry);
    source = ScriptedVideo::Create(MakeVideos(1, FRAME));
    iptr<IFilterFactory const> const factory =
        MakeShared<Host::FilterFactory>(registry, effects, Host::MakeAlgorithmFactory());
    auto const make = [&] { return factory->CreateSubtitleDrawer(source, engines, ImplNames::DEFAULT); };
    EXPECT_EQ(MessageOf<FilterException>(make), "There is no any implementation for OverlayStream");
    registry->RegisterOverlayStream(ImplNames::TARSEL, ScriptedOverlay::Create);
    iptr<IFilterSubtitleDrawer> const made = make();
    ASSERT_NE(ScriptedOverlay::last, nullptr);
    subtitles = MakeShared<SubtitleScript>(TextsAt({0}));
    auto* const combiner = dynamic_cast<IStreamCombiner<IStreamSubtitle>*>(made.get());
    ASSERT_NE(combiner, nullptr);
    combiner->CombineStream(subtitles);
    EXPECT_THAT(made->Read(), IsVideo(0, FRAME));
    EXPECT_NE(ScriptedOverlay::last->provider, nullptr);
    EXPECT_NE(dynamic_cast<IStreamVideoEx*>(made.get()), nullptr);
}

}  // namespace
}  // namespace Tarsel::Proc
