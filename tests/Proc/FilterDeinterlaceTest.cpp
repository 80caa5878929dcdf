#include "Proc/Filters/Filters/FilterDeinterlace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/SettingsEffectDeinterlace.h"
#include "contracts/Proc/SettingsEffectLineSmoother.h"
#include "contracts/Proc/SettingsFrameDownloader.h"
#include "contracts/Proc/SettingsFrameUploader.h"
#include "tests/support/Draw.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"
#include "tests/support/PlacedPicture.h"
#include "tests/support/ScriptedEffects.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int CPU = IDataVideo::FRAME_ALLOC_CPU;
constexpr int GPU = IDataVideo::FRAME_ALLOC_GPU;
constexpr char DOWNLOAD_LINE[] = "Downloading from GPU. Possible speed loss. Please use OGL deinterlace here.";

using Pictures = std::vector<iptr<IDataVideo>>;

/// Pictures of 40 microseconds, one for each letter: 'p' progressive, 'i' interlaced.
Pictures MakePictures(std::string const& kinds, int place = CPU) {
    Pictures pictures;
    for (std::size_t i = 0; i < kinds.size(); ++i)
        pictures.push_back(PlacedPicture::Create(place, static_cast<int64>(i) * 40, 40, PIX_FMT_RGBA, kinds[i] == 'i'));
    return pictures;
}

class FilterDeinterlaceTest : public ::testing::Test {
  protected:
    FilterDeinterlaceTest() {
        auto const setUp = [this](auto& effect) {
            effect.frameType = frameType;
            effect.onInitialize = onInitialize;
        };
        effects.Know(SettingsEffectDeinterlace::CLASS_ID, {ImplNames::TARSEL, ImplNames::OGL}, setUp);
        effects.Know(SettingsEffectLineSmoother::CLASS_ID, {ImplNames::TARSEL}, setUp);
        effects.Know(SettingsFrameUploader::CLASS_ID, {ImplNames::OGL}, [](auto& effect) {
            effect.onProcess = [](auto frame) { return PlacedPicture::Create(GPU, frame->GetTime()); };
        });
        effects.Know(SettingsFrameDownloader::CLASS_ID, {ImplNames::OGL}, [](auto& effect) {
            effect.onProcess = [](auto frame) { return PlacedPicture::Create(CPU, frame->GetTime()); };
        });
    }
    static SettingsDeinterlace Smoothing() {
        SettingsDeinterlace settings;
        settings.SetSmoothing(true);
        return settings;
    }
    iptr<FilterDeinterlace> Make(iptr<ScriptedVideo> stream, Settings const& settings = SettingsDeinterlace()) {
        source = std::move(stream);
        auto filter = MakeShared<FilterDeinterlace>(source, effects.factory, settings);
        effects.log->Take();
        return filter;
    }
    iptr<FilterDeinterlace> Make(std::string const& kinds, Settings const& settings = SettingsDeinterlace()) {
        return Make(ScriptedVideo::Create(MakePictures(kinds)), settings);
    }
    std::vector<std::string> Calls() { return effects.log->Take(); }
    EffectsOf<IOneInputEffectVideo>::Effect& First() { return *effects.made.at(0); }
    EffectsOf<IOneInputEffectVideo>::Effect& Second() { return *effects.made.at(1); }

    int frameType = CPU;
    std::function<void()> onInitialize;
    EffectsOf<IOneInputEffectVideo> effects;
    iptr<ScriptedVideo> source;
};

TEST_F(FilterDeinterlaceTest, ProgressiveStreamIsPeekedAtForThreePicturesAndPassesUnchanged) {
    auto const filter = Make("pppppppp");
    EXPECT_TRUE(GivesTheSourcesOwn(*filter, *source, 0));
    EXPECT_THAT(source->log.Take(), ElementsAre("Read", "Read", "Read"));
    auto const rest = ReadAll(*filter);
    ASSERT_EQ(rest.size(), 7U);
    for (std::size_t i = 0; i < rest.size(); ++i) {
        EXPECT_EQ(rest[i].get(), source->delivered[i + 1]);
        EXPECT_THAT(rest[i], IsVideo(static_cast<int64>(i + 1) * 40, 40));
    }
    EXPECT_EQ(source->log.Take().size(), 6U);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(FilterDeinterlaceTest, InterlacedPictureBehindTheThirdComesTooLate) {
    auto const filter = Make("pppiii");
    EXPECT_EQ(ReadAll(*filter).size(), 6U);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(FilterDeinterlaceTest, InterlacedSecondPictureSendsTheFirstThroughTheEffectsToo) {
    auto const filter = Make("pip");
    EXPECT_TRUE(GivesTheSourcesOwn(*filter, *source, 0));
    EXPECT_THAT(source->log.Take(), ElementsAre("Read", "Read")) << "the look-ahead ends at it";
    EXPECT_EQ(ReadAll(*filter).size(), 2U);
    EXPECT_THAT(Calls(), ElementsAre("SettingsEffectDeinterlace/Default: Process 0",
                                     "SettingsEffectDeinterlace/Default: Process 40",
                                     "SettingsEffectDeinterlace/Default: Process 80"));
}

TEST_F(FilterDeinterlaceTest, InterlacedThirdPictureStillDecides) {
    auto const filter = Make("ppip");
    EXPECT_EQ(ReadAll(*filter).size(), 4U);
    EXPECT_EQ(Calls().size(), 4U);
}

TEST_F(FilterDeinterlaceTest, StreamOfFewerThanThreePicturesPassesAndStaysProgressive) {
    for (std::string const kinds : {"", "p", "pp"}) {
        auto const filter = Make(kinds);
        EXPECT_EQ(ReadAll(*filter).size(), kinds.size());
        EXPECT_EQ(filter->Read(), nullptr);
        EXPECT_THAT(Calls(), IsEmpty());
        source->log.Take();
        Seek(*filter, 0);
        EXPECT_EQ(filter->Read() != nullptr, !kinds.empty());
        EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "Read")) << "decided once and for all";
    }
}

TEST_F(FilterDeinterlaceTest, ShortInterlacedStreamIsDeinterlaced) {
    auto const filter = Make("i");
    EXPECT_EQ(ReadAll(*filter).size(), 1U);
    EXPECT_THAT(Calls(), ElementsAre("SettingsEffectDeinterlace/Default: Process 0"));
}

TEST_F(FilterDeinterlaceTest, SecondEffectRunsBehindTheFirstWhereSmoothingIsWanted) {
    auto const filter = Make("ii", Smoothing());
    EXPECT_TRUE(GivesTheSourcesOwn(*filter, *source, 0));
    EXPECT_THAT(Calls(), ElementsAre("SettingsEffectDeinterlace/Default: Process 0",
                                     "SettingsEffectLineSmoother/Default: Process 0"));
}

TEST_F(FilterDeinterlaceTest, SecondEffectIsNotCalledWithoutAPicture) {
    auto const filter = Make("ii", Smoothing());
    First().onProcess = [](auto) { return nullptr; };
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(Calls(), ElementsAre("SettingsEffectDeinterlace/Default: Process 0",
                                     "SettingsEffectDeinterlace/Default: Process 40"));
}

/// Keeps pictures back, `count` of them, and stamps what it gives with the time of the one just put in.
std::function<iptr<IDataVideo>(iptr<IDataVideo>)> Keeping(int count) {
    return [count](iptr<IDataVideo> frame) mutable { return count-- > 0 ? nullptr : frame; };
}

TEST_F(FilterDeinterlaceTest, TimeOfKeptPicturesIsGivenToTheNextThatComesOut) {
    for (bool const bySecond : {false, true}) {
        effects.made.clear();
        auto const filter = Make("iiii", Smoothing());
        (bySecond ? Second() : First()).onProcess = Keeping(2);
        LogLines const lines(4000);
        EXPECT_THAT(filter->Read(), IsVideo(0, 120));
        EXPECT_THAT(lines.Get(google::GLOG_INFO), ElementsAre("Deinterlace (fixed):     Time=0 Duration=120"));
        EXPECT_THAT(filter->Read(), IsVideo(120, 40)) << "accounted for once";
        EXPECT_EQ(lines.Get(google::GLOG_INFO).size(), 1U);
        EXPECT_EQ(filter->Read(), nullptr);
    }
}

TEST_F(FilterDeinterlaceTest, LineOfAFixedPictureIsSilentBelowItsVerbosity) {
    auto const filter = Make("iiii");
    First().onProcess = Keeping(1);
    LogLines const lines(3999);
    EXPECT_THAT(filter->Read(), IsVideo(0, 80));
    EXPECT_FALSE(lines.Has("Deinterlace"));
}

TEST_F(FilterDeinterlaceTest, FixingLeavesAPictureThatOthersHoldAlone) {
    auto const filter = Make("ii");
    iptr<IDataVideo> const held = PlacedPicture::Create(CPU, 40);
    bool first = true;
    First().onProcess = [&](auto) { return std::exchange(first, false) ? nullptr : held; };
    EXPECT_THAT(filter->Read(), IsVideo(0, 80));
    EXPECT_THAT(held, IsVideo(40, 40));
}

TEST_F(FilterDeinterlaceTest, KeptPicturesWithoutADurationAddNothing) {
    Pictures pictures = MakePictures("iiii");
    pictures[0]->SetDuration(NO_VALUE);
    pictures[1]->SetDuration(-5);
    auto const filter = Make(ScriptedVideo::Create(pictures));
    First().onProcess = Keeping(3);
    EXPECT_THAT(filter->Read(), IsVideo(80, 80));
}

TEST_F(FilterDeinterlaceTest, PictureOfUnknownTimeOrDurationStaysSoWhenFixed) {
    Pictures pictures = MakePictures("iiii");
    pictures[1]->SetTime(NO_VALUE);
    pictures[1]->SetDuration(NO_VALUE);
    auto const filter = Make(ScriptedVideo::Create(pictures));
    First().onProcess = Keeping(1);
    EXPECT_THAT(filter->Read(), IsVideo(NO_VALUE, NO_VALUE));
}

TEST_F(FilterDeinterlaceTest, CarriedTimeDoesNotWrapAround) {
    constexpr int64 LONG = std::numeric_limits<int64>::max() - 10;
    Pictures pictures = MakePictures("iii");
    pictures[0]->SetDuration(LONG);
    pictures[1]->SetDuration(LONG);
    auto const filter = Make(ScriptedVideo::Create(pictures));
    First().onProcess = Keeping(2);
    EXPECT_THAT(filter->Read(), IsVideo(80 - std::numeric_limits<int64>::max(), std::numeric_limits<int64>::max()));
}

TEST_F(FilterDeinterlaceTest, SeekDropsWhatIsPeekedAndCarriedAndTheEffectsForget) {
    auto const filter = Make("iiiiii", Smoothing());
    source->duration = 240;
    First().onProcess = Keeping(1);
    EXPECT_THAT(filter->Read(), IsVideo(0, 80));
    First().onProcess = [](auto) { return nullptr; };
    EXPECT_EQ(filter->Read(), nullptr) << "four pictures are carried";
    Calls();
    filter->RequestSeek(100, source);
    EXPECT_THAT(source->log.Take(), ::testing::Contains("RequestSeek(100, context)"));
    EXPECT_THAT(Calls(),
                ElementsAre("SettingsEffectDeinterlace/Default: Reset", "SettingsEffectLineSmoother/Default: Reset"));
    filter->DoSeek();
    First().onProcess = nullptr;
    EXPECT_THAT(filter->Read(), IsVideo(80, 40));
}

TEST_F(FilterDeinterlaceTest, SeekBeforeTheDecisionsPicturesAreGivenDropsThem) {
    auto const filter = Make("pppiii");
    source->duration = 240;
    EXPECT_THAT(filter->Read(), IsVideo(0, 40));
    Seek(*filter, 160);
    EXPECT_THAT(filter->Read(), IsVideo(160, 40)) << "not the peeked second and third";
    EXPECT_THAT(Calls(), ::testing::Not(::testing::Contains(::testing::HasSubstr("Process")))) << "the decision stays";
}

TEST_F(FilterDeinterlaceTest, DecisionToDeinterlaceStaysBehindASeek) {
    auto const filter = Make("ippppp");
    source->duration = 240;
    filter->Read();
    Calls();
    Seek(*filter, 120);
    source->log.Take();
    EXPECT_THAT(filter->Read(), IsVideo(120, 40));
    EXPECT_THAT(source->log.Take(), ElementsAre("Read"));
    EXPECT_THAT(Calls(), ::testing::Contains("SettingsEffectDeinterlace/Default: Process 120"));
}

TEST_F(FilterDeinterlaceTest, FailureInTheLookAheadLosesNothing) {
    auto const pictures = MakePictures("ppip");
    auto const filter = Make(ScriptedVideo::Create(
        {pictures[0], pictures[1], Failure<FilterException>("broken"), pictures[2], pictures[3]}));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
    EXPECT_EQ(ReadAll(*filter).size(), 4U);
    EXPECT_EQ(Calls().size(), 4U) << "the third picture still decides";
}

TEST_F(FilterDeinterlaceTest, LookAheadThatFailedOftenIsNotLongerThanThreePictures) {
    auto const pictures = MakePictures("pppi");
    auto const filter = Make(ScriptedVideo::Create({pictures[0], Failure<FilterException>("broken"), pictures[1],
                                                    Failure<FilterException>("broken"), pictures[2], pictures[3]}));
    EXPECT_THROW(filter->Read(), FilterException);
    EXPECT_THROW(filter->Read(), FilterException);
    EXPECT_EQ(ReadAll(*filter).size(), 4U);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(FilterDeinterlaceTest, EndFromTheHostDecidesNothing) {
    auto const filter = Make("pip");
    filter->SetEndOfStream();
    EXPECT_EQ(filter->Read(), nullptr);
    Seek(*filter, 0);
    EXPECT_EQ(ReadAll(*filter).size(), 3U);
    EXPECT_THAT(Calls(), ::testing::Contains("SettingsEffectDeinterlace/Default: Process 0"));
}

TEST_F(FilterDeinterlaceTest, FailuresOfTheEffectsPassAndReadingGoesOn) {
    auto const filter = Make("iii");
    First().onProcess = [](auto) -> iptr<IDataVideo> { TARSEL_THROW(EffectException, "no"); };
    EXPECT_EQ(MessageOf<EffectException>([&] { filter->Read(); }), "no");
    First().onProcess = nullptr;
    EXPECT_THAT(filter->Read(), IsVideo(40, 40));
    filter->SetEndOfStream();
    EXPECT_EQ(filter->Read(), nullptr);
    Seek(*filter, 0);
    EXPECT_EQ(ReadAll(*filter).size(), 3U);
}

TEST_F(FilterDeinterlaceTest, ReleaseDropsWhatIsHeldAndReachesAll) {
    auto const filter = Make("pppp", Smoothing());
    source->duration = 160;
    filter->Read();
    source->log.Take();
    filter->ReleaseInternalData();
    EXPECT_THAT(source->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_THAT(Calls(),
                ElementsAre("SettingsEffectDeinterlace/Default: Reset", "SettingsEffectLineSmoother/Default: Reset"));
    EXPECT_THAT(filter->Read(), IsVideo(120, 40)) << "the peeked pictures are gone";
}

TEST_F(FilterDeinterlaceTest, SeekPropertyHolds) {
    for (std::string const& kinds : {std::string(25, 'p'), std::string(25, 'i')}) {
        auto const filter = Make(kinds);
        source->duration = 1000;
        TestSupport::Draw draw(4711);
        for (int round = 0; round < 60; ++round) {
            auto const position = static_cast<int64>(draw.Below(1100));
            SCOPED_TRACE(position);
            Seek(*filter, position);
            auto index = std::min<int64>(position, 1000) / 40;
            if (draw.Flag()) {
                EXPECT_EQ(filter->GetPosition(), index < 25 ? index * 40 : NO_VALUE);
            }
            for (u32 i = draw.Below(30) + 1; i > 0; --i, ++index) {
                auto const frame = filter->Read();
                ASSERT_EQ(frame != nullptr, index < 25);
                if (!frame) break;
                EXPECT_THAT(frame, IsVideo(index * 40, 40));
            }
        }
    }
}

TEST_F(FilterDeinterlaceTest, EffectsAreMadeWithTheMethodUnderTheSettingsImplementation) {
    source = ScriptedVideo::Create({});
    SettingsDeinterlace::Methods method{};
    effects.Know(SettingsEffectDeinterlace::CLASS_ID, {ImplNames::OGL});
    struct Noting : IdleEffect<IOneInputEffectVideo> {
        using IEffect::Initialize;
        explicit Noting(SettingsDeinterlace::Methods& method) : method(method) {}
        void Initialize(Settings const& settings) override {
            method = dynamic_cast<SettingsEffectDeinterlace const&>(settings).GetMethod();
        }
        SettingsDeinterlace::Methods& method;
    };
    std::vector<std::string> made;
    effects.factory->onCreate = [&](std::string const& classId, std::string const& implName) -> iptr<IEffect> {
        made.push_back(classId + "/" + implName);
        if (classId == SettingsEffectDeinterlace::CLASS_ID) return iptr<IEffect>(new Noting(method));
        return iptr<IEffect>(new IdleEffect<IOneInputEffectVideo>());
    };
    SettingsDeinterlace settings;
    settings.SetImplName(ImplNames::OGL);
    settings.SetMethod(SettingsDeinterlace::METHOD_SPATIAL);
    FilterDeinterlace const spatial(source, effects.factory, settings);
    EXPECT_THAT(made, ElementsAre("SettingsEffectDeinterlace/OGL"));
    EXPECT_EQ(method, SettingsDeinterlace::METHOD_SPATIAL);
    settings.SetMethod(SettingsDeinterlace::METHOD_ADAPTIVE);
    settings.SetSmoothing(true);
    FilterDeinterlace const adaptive(source, effects.factory, settings);
    EXPECT_THAT(made, ElementsAre("SettingsEffectDeinterlace/OGL", "SettingsEffectDeinterlace/OGL",
                                  "SettingsEffectLineSmoother/OGL"));
    EXPECT_EQ(method, SettingsDeinterlace::METHOD_ADAPTIVE);
}

TEST_F(FilterDeinterlaceTest, NewSettingsMakeNewEffectsAndDropWhatIsCarried) {
    auto const filter = Make("iiii");
    First().onProcess = [](auto) { return nullptr; };
    EXPECT_EQ(filter->Read(), nullptr);
    source->duration = 160;
    filter->Initialize(Smoothing());
    EXPECT_EQ(filter->GetSettings(), Settings2Property(Smoothing()));
    EXPECT_EQ(effects.made[0]->GetRefCountImpl(), 1U);
    source->RequestSeek(80, nullptr);
    source->DoSeek();
    EXPECT_THAT(filter->Read(), IsVideo(80, 40)) << "the old effects' time doesn't come back";
    EXPECT_THAT(Calls(), ::testing::Contains("SettingsEffectLineSmoother/Default: Process 80"));
}

TEST_F(FilterDeinterlaceTest, PropertyAndSettingsObjectSetUpAlike) {
    auto const filter = Make("");
    EXPECT_EQ(filter->GetSettings(), Settings2Property(SettingsDeinterlace()));
    filter->Initialize(Settings2Property(Smoothing()));
    EXPECT_EQ(filter->GetSettings(), Settings2Property(Smoothing()));
    EXPECT_EQ(effects.made.size(), 3U);
}

TEST_F(FilterDeinterlaceTest, SettingsThatCannotBeTakenLeaveTheOldOnes) {
    auto const filter = Make("i", Smoothing());
    EXPECT_THROW(filter->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property("FilterDeinterlace")); }),
              "Object was initialized with incorrect class (FilterDeinterlace)!");
    SettingsDeinterlace settings;
    settings.SetImplName("Other");
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(settings); }),
              "There is no any implementation for SettingsEffectDeinterlace");
    settings.SetImplName(ImplNames::OGL);
    settings.SetSmoothing(true);
    EXPECT_EQ(MessageOf<EffectException>([&] { filter->Initialize(settings); }),
              "There is no any implementation for SettingsEffectLineSmoother");
    EXPECT_EQ(filter->GetSettings(), Settings2Property(Smoothing()));
    Calls();
    filter->Read();
    EXPECT_EQ(Calls().size(), 2U);
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterDeinterlace(source, nullptr); }), "effectFactory is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterDeinterlace(nullptr, effects.factory); }),
              "parentStream is NULL.");
}

TEST_F(FilterDeinterlaceTest, PictureOnTheOtherSideIsBroughtOverAndADownloadIsWarnedOf) {
    for (int const place : {CPU, GPU}) {
        frameType = place;
        effects.made.clear();
        auto const filter = Make(ScriptedVideo::Create(MakePictures("ii", 1 - place)), Smoothing());
        LogLines const lines(21);
        EXPECT_EQ(filter->Read()->GetFrameAlloc(), place);
        if (place == CPU)
            EXPECT_THAT(lines.Get(google::GLOG_WARNING), ElementsAre(DOWNLOAD_LINE));
        else
            EXPECT_THAT(lines.Get(google::GLOG_WARNING), IsEmpty());
        EXPECT_EQ(Calls().size(), 3U) << "converted once, in front of the first effect";
    }
    LogLines const lines(20);
    frameType = CPU;
    Make(ScriptedVideo::Create(MakePictures("i", GPU)))->Read();
    EXPECT_FALSE(lines.Has("Downloading"));
}

TEST_F(FilterDeinterlaceTest, PlacesThatCannotBeMatchedAreRefused) {
    auto const filter = Make(ScriptedVideo::Create(MakePictures("i", 2)));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "Unsupported frame allocators set");
}

TEST_F(FilterDeinterlaceTest, ProgressiveGpuPicturesAreNotMoved) {
    auto const filter = Make(ScriptedVideo::Create(MakePictures("pppp", GPU)));
    for (auto const& frame : ReadAll(*filter)) EXPECT_EQ(frame->GetFrameAlloc(), GPU);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(FilterDeinterlaceTest, FormatIsAdaptedUnlessTheStreamHasTurnedOutProgressive) {
    auto const adapt = [](auto& format) { format->SetCodecID(format->GetCodecID() + "+"); };
    for (bool const interlaced : {false, true}) {
        effects.made.clear();
        auto const filter = Make(interlaced ? "iii" : "ppp", Smoothing());
        source->format->SetCodecID("own");
        First().onAdapt = adapt;
        Second().onAdapt = adapt;
        EXPECT_EQ(filter->GetFormatCodec()->GetCodecID(), "own++");
        filter->Read();
        EXPECT_EQ(filter->GetFormatCodec()->GetCodecID(), interlaced ? "own++" : "own");
        EXPECT_NE(filter->GetFormatCodec(), source->format);
        EXPECT_EQ(source->format->GetCodecID(), "own");
    }
    source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { FilterDeinterlace(source, effects.factory).GetFormatCodec(); }),
              "Source format codec must be present");
}

TEST_F(FilterDeinterlaceTest, StatisticsStandBehindTheSourcesWithThoseOfTheEffectsInside) {
    for (bool const smoothing : {false, true}) {
        auto const filter = Make("ii", smoothing ? Smoothing() : SettingsDeinterlace());
        ReadAll(*filter);
        Core::Property node = Core::MakeStatistics("Tarsel::Proc::FilterDeinterlace::GetStatistic", 0, 2);
        node.Add(Core::Property("SettingsEffectDeinterlace/Default::GetStatistic"));
        if (smoothing) node.Add(Core::Property("SettingsEffectLineSmoother/Default::GetStatistic"));
        EXPECT_EQ(filter->GetStatistic(), source->GetStatistic().Add(node));
    }
    auto const filter = Make("ppp");
    filter->Read();
    EXPECT_EQ(filter->GetStatistic().Children().back()["Count"].GetInt64(), 1);
}

TEST_F(FilterDeinterlaceTest, NamesItselfToVisitors) {
    auto const filter = Make("");
    Visitors::InfoCollector names;
    filter->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterDeinterlace", "ScriptedStream"));
}

}  // namespace
}  // namespace Tarsel::Proc
