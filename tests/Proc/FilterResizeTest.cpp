#include "Proc/Filters/Filters/FilterResize.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IResize.h"
#include "contracts/Proc/SettingsFrameDownloader.h"
#include "contracts/Proc/SettingsFrameUploader.h"
#include "tests/support/Builders.h"
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
constexpr char DOWNLOAD_LINE[] = "Downloading from GPU. Possible speed loss. Please use OGL resizer here.";
constexpr char UPLOAD_LINE[] = "Uploading to GPU. Possible speed loss. Please use software resizer here.";

SettingsResizer SizedSettings(int width, int height, std::string const& implName = ImplNames::DEFAULT) {
    SettingsResizer settings;
    settings.SetCustomMode(SettingsResizer::MODE_STRETCH, {width, height, 1, 1});
    settings.SetImplName(implName);
    return settings;
}

class FilterResizeTest : public ::testing::Test {
  protected:
    FilterResizeTest() {
        effects.Know(IResize::CLASS_ID, {ImplNames::TARSEL, ImplNames::OGL}, [this](auto& effect) {
            effect.frameType = frameType;
            effect.onInitialize = onInitialize;
        });
        effects.Know(SettingsFrameUploader::CLASS_ID, {ImplNames::OGL}, [](auto& effect) {
            effect.onProcess = [](auto frame) { return PlacedPicture::Create(GPU, frame->GetTime()); };
        });
        effects.Know(SettingsFrameDownloader::CLASS_ID, {ImplNames::OGL}, [](auto& effect) {
            effect.onProcess = [](auto frame) { return PlacedPicture::Create(CPU, frame->GetTime()); };
        });
    }
    iptr<FilterResize> Make(iptr<ScriptedVideo> stream, Settings const& settings = SettingsResizer()) {
        source = std::move(stream);
        auto filter = MakeShared<FilterResize>(source, effects.factory, settings);
        effects.log->Take();
        return filter;
    }
    std::vector<std::string> Calls() { return effects.log->Take(); }
    EffectsOf<IOneInputEffectVideo>::Effect& Resizer() { return *effects.made.back(); }

    int frameType = CPU;
    std::function<void()> onInitialize;
    EffectsOf<IOneInputEffectVideo> effects;
    iptr<ScriptedVideo> source;
};

TEST_F(FilterResizeTest, EachPictureIsWhatTheResizerMakesOfIt) {
    auto const filter = Make(ScriptedVideo::Create(MakeVideos(2, 40)));
    auto const made = MakeVideo(7, 8);
    Resizer().onProcess = [&](auto) { return made; };
    EXPECT_EQ(filter->Read(), made);
    Resizer().onProcess = nullptr;
    EXPECT_TRUE(GivesTheSourcesOwn(*filter, *source, 1));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(Calls(), ElementsAre("SettingsResizer/Default: Process 0", "SettingsResizer/Default: Process 40"));
    EXPECT_EQ(filter->GetPosition(), 80);
}

TEST_F(FilterResizeTest, DedicatedFormHasDefaultSettings) {
    auto const filter = FilterResize::Create(ScriptedVideo::Create({}), effects.factory);
    EXPECT_EQ(filter->GetSettings(), IFilterResize::Settings2Property(SettingsResizer()));
    EXPECT_NE(dynamic_cast<IStreamVideoEx*>(filter.get()), nullptr);
    EXPECT_THAT(Calls(), ElementsAre("SettingsResizer/Default: Initialize settings SettingsResizer"));
}

TEST_F(FilterResizeTest, NewSettingsMakeAResizerOfTheirImplementationOverTheWholeStream) {
    auto const filter = Make(ScriptedVideo::Create(MakeVideos(2, 40)));
    source->duration = 80;
    filter->UpdateSettings(SizedSettings(320, 200, ImplNames::OGL));
    EXPECT_THAT(Calls(), ElementsAre("SettingsResizer/OGL: Initialize settings SettingsResizer"));
    EXPECT_EQ(Resizer().GetTimeToProgress().begin, 0);
    EXPECT_EQ(Resizer().GetTimeToProgress().end, 80);
    EXPECT_EQ(Resizer().GetTimeToProgress().GetProgress(20), 0.25);
    EXPECT_EQ(filter->GetSettings(), IFilterResize::Settings2Property(SizedSettings(320, 200, ImplNames::OGL)));
    EXPECT_EQ(effects.made[0]->GetRefCountImpl(), 1U);
    filter->Read();
    EXPECT_THAT(Calls(), ElementsAre("SettingsResizer/OGL: Process 0"));
}

TEST_F(FilterResizeTest, OverAStreamOfUnknownLengthTheIntervalHasNoEnd) {
    auto const filter = Make(ScriptedVideo::Create({}));
    EXPECT_EQ(Resizer().GetTimeToProgress().end, NO_VALUE);
}

TEST_F(FilterResizeTest, PropertyAndSettingsObjectSetUpAlike) {
    auto const filter = Make(ScriptedVideo::Create({}));
    auto const property = IFilterResize::Settings2Property(SizedSettings(320, 200, ImplNames::OGL));
    filter->Initialize(property);
    EXPECT_EQ(filter->GetSettings(), property);
    EXPECT_EQ(Resizer().GetName(), "SettingsResizer/OGL");
    filter->Initialize(SizedSettings(64, 48));
    EXPECT_EQ(filter->GetSettings(), IFilterResize::Settings2Property(SizedSettings(64, 48)));
}

TEST_F(FilterResizeTest, SettingsThatCannotBeTakenLeaveTheOldOnes) {
    auto const filter = Make(ScriptedVideo::Create(MakeVideos(1, 40)), SizedSettings(320, 200));
    auto const before = filter->GetSettings();
    EXPECT_THROW(filter->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_THROW(filter->UpdateSettings(OtherSettings()), std::bad_cast);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property("SettingsResizer")); }),
              "Filter was initialized with incorrect class (SettingsResizer)!");
    auto const unknown = [&] { filter->UpdateSettings(SizedSettings(1, 1, "Other")); };
    EXPECT_EQ(MessageOf<EffectException>(unknown), "There is no any implementation for SettingsResizer");
    EXPECT_EQ(MessageOf<FilterException>(unknown), "There is no any implementation for SettingsResizer");
    onInitialize = [] { TARSEL_THROW(EffectException, "no such size"); };
    EXPECT_EQ(MessageOf<EffectException>([&] { filter->UpdateSettings(SizedSettings(9, 9)); }), "no such size");
    EXPECT_EQ(filter->GetSettings(), before);
    Calls();
    filter->Read();
    EXPECT_THAT(Calls(), ElementsAre("SettingsResizer/Default: Process 0"));
    EXPECT_EQ(effects.made[0]->GetRefCountImpl(), 2U);
}

TEST_F(FilterResizeTest, NullPartsAndMissingEnginesAreRefused) {
    source = ScriptedVideo::Create({});
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterResize::Create(source, nullptr); }),
              "effectFactory is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterResize::Create(nullptr, effects.factory); }),
              "parentStream is NULL.");
    effects.Know(IResize::CLASS_ID, {});
    EXPECT_EQ(MessageOf<FilterException>([&] { FilterResize::Create(source, effects.factory); }),
              "There is no any implementation for SettingsResizer");
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST_F(FilterResizeTest, FormatIsACopyOfTheSourcesAdaptedByTheResizer) {
    auto const filter = Make(ScriptedVideo::Create({}));
    source->format->InitByPixelAspect(1920, 1080, 1, 1);
    Resizer().onAdapt = [](auto& format) {
        dynamic_cast<Conf::IFormatCodecVideo&>(*format).InitByPixelAspect(320, 200, 1, 1);
    };
    EXPECT_EQ(filter->GetFormatCodec()->GetWidth(), 320);
    EXPECT_EQ(source->format->GetWidth(), 1920);
    source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetFormatCodec(); }), "Source format codec must be present");
}

TEST_F(FilterResizeTest, PictureOnTheOtherSideIsBroughtOverWithAWarning) {
    for (int const place : {CPU, GPU}) {
        frameType = place;
        auto const filter = Make(ScriptedVideo::Create(
            std::vector<iptr<IDataVideo>>{PlacedPicture::Create(1 - place, 0), PlacedPicture::Create(1 - place, 40)}));
        LogLines const lines(21);
        EXPECT_EQ(filter->Read()->GetFrameAlloc(), place);
        EXPECT_EQ(filter->Read()->GetFrameAlloc(), place);
        std::string const line = place == CPU ? DOWNLOAD_LINE : UPLOAD_LINE;
        EXPECT_THAT(lines.Get(google::GLOG_WARNING), ElementsAre(line, line));
        std::string const converter = place == CPU ? "SettingsFrameDownloader/OGL" : "SettingsFrameUploader/OGL";
        EXPECT_THAT(Calls(), ElementsAre(converter + ": Process 0", "SettingsResizer/Default: Process 0",
                                         converter + ": Process 40", "SettingsResizer/Default: Process 40"));
    }
}

TEST_F(FilterResizeTest, WarningsAreSilentBelowTheirVerbosity) {
    auto const filter = Make(ScriptedVideo::Create(std::vector<iptr<IDataVideo>>{PlacedPicture::Create(GPU, 0)}));
    LogLines const lines(20);
    EXPECT_EQ(filter->Read()->GetFrameAlloc(), CPU);
    EXPECT_FALSE(lines.Has(DOWNLOAD_LINE));
}

TEST_F(FilterResizeTest, PictureOnTheRightSideIsNeitherConvertedNorCopied) {
    for (int const place : {CPU, GPU}) {
        frameType = place;
        auto const picture = PlacedPicture::Create(place, 0);
        auto const filter = Make(ScriptedVideo::Create(std::vector<iptr<IDataVideo>>{picture}));
        LogLines const lines(21);
        EXPECT_TRUE(GivesTheSourcesOwn(*filter, *source, 0));
        EXPECT_THAT(lines.Get(google::GLOG_WARNING), IsEmpty());
        EXPECT_EQ(picture->counts->copies, 0);
        EXPECT_EQ(picture->counts->clones, 1) << "the source's own, at its read";
    }
}

TEST_F(FilterResizeTest, PlacesThatCannotBeMatchedAreRefused) {
    auto const filter = Make(ScriptedVideo::Create(std::vector<iptr<IDataVideo>>{PlacedPicture::Create(2, 0)}));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "Unsupported frame allocators set");
}

TEST_F(FilterResizeTest, NullFromTheResizerIsTheResultAndIsNotCounted) {
    auto const filter = Make(ScriptedVideo::Create(MakeVideos(2, 40)));
    Resizer().onProcess = [](auto) { return nullptr; };
    EXPECT_EQ(filter->Read(), nullptr);
    Resizer().onProcess = nullptr;
    EXPECT_THAT(filter->Read(), IsVideo(40, 40));
    Core::Property node = Core::MakeStatistics("Tarsel::Proc::FilterResize::GetStatistic", 0, 1);
    node.Add(Core::Property("SettingsResizer/Default::GetStatistic"));
    EXPECT_EQ(filter->GetStatistic(), source->GetStatistic().Add(node));
}

TEST_F(FilterResizeTest, SeekAndReleaseReachTheSourceAndTheResizer) {
    auto const filter = Make(ScriptedVideo::Create(MakeVideos(3, 40)));
    source->duration = 120;
    filter->RequestSeek(50, source);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(50, context)"));
    EXPECT_THAT(Calls(), ElementsAre("SettingsResizer/Default: Reset"));
    filter->DoSeek();
    EXPECT_EQ(filter->GetPosition(), 40);
    source->log.Take();
    Calls();
    filter->ReleaseInternalData();
    EXPECT_THAT(source->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_THAT(Calls(), ElementsAre("SettingsResizer/Default: Reset"));
    EXPECT_THAT(filter->Read(), IsVideo(80, 40));
}

TEST_F(FilterResizeTest, SeekPropertyHolds) {
    auto const filter = Make(ScriptedVideo::Create(MakeVideos(25, 40)));
    source->duration = 1000;
    TestSupport::Draw draw(7123);
    for (int round = 0; round < 60; ++round) {
        auto const position = static_cast<int64>(draw.Below(1100));
        SCOPED_TRACE(position);
        Seek(*filter, position);
        auto index = std::min<int64>(position, 1000) / 40;
        for (u32 i = draw.Below(30) + 1; i > 0; --i, ++index) {
            auto const frame = filter->Read();
            ASSERT_EQ(frame != nullptr, index < 25);
            if (!frame) break;
            EXPECT_THAT(frame, IsVideo(index * 40, 40));
        }
    }
}

TEST_F(FilterResizeTest, EndsFromTheHostAndFailuresPassAndASeekBringsTheStreamBack) {
    auto const filter =
        Make(ScriptedVideo::Create({Failure<FilterException>("broken"), MakeVideo(0, 40), MakeVideo(40, 40)}));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
    Resizer().onProcess = [](auto) -> iptr<IDataVideo> { TARSEL_THROW(EffectException, "no"); };
    EXPECT_EQ(MessageOf<EffectException>([&] { filter->Read(); }), "no");
    Resizer().onProcess = nullptr;
    EXPECT_THAT(filter->Read(), IsVideo(40, 40));
    filter->SetEndOfStream();
    EXPECT_EQ(filter->Read(), nullptr);
    Seek(*filter, 0);
    EXPECT_EQ(ReadAll(*filter).size(), 2U);
}

TEST_F(FilterResizeTest, NamesItselfToVisitors) {
    auto const filter = Make(ScriptedVideo::Create({}));
    Visitors::InfoCollector names;
    filter->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterResize", "ScriptedStream"));
}

}  // namespace
}  // namespace Tarsel::Proc
