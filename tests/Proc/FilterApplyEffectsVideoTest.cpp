// Where pictures live on their way through a chain.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/Proc/MultiEffect.h"
#include "contracts/Proc/SettingsEffectStabilizer.h"
#include "contracts/Proc/SettingsFrameDownloader.h"
#include "contracts/Proc/SettingsFrameUploader.h"
#include "tests/Proc/FilterApplyEffectsSupport.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"
#include "tests/support/PlacedPicture.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int CPU = IDataVideo::FRAME_ALLOC_CPU;
constexpr int GPU = IDataVideo::FRAME_ALLOC_GPU;
constexpr int ANY = IDataVideo::FRAME_ALLOC_ANY;

/// Effects "cpu", "gpu" and "any", and the two converters, which the host has for the GPU alone.
class FilterApplyEffectsVideoPlaces : public ChainTest<PictureKind> {
  protected:
    FilterApplyEffectsVideoPlaces() {
        effects.Know("cpu", {ImplNames::TARSEL}, [](auto& effect) { effect.frameType = CPU; });
        effects.Know("gpu", {ImplNames::OGL}, [](auto& effect) { effect.frameType = GPU; });
        effects.Know("both", {ImplNames::TARSEL, ImplNames::OGL});
        effects.Know("any");
        effects.Know(SettingsFrameUploader::CLASS_ID, {ImplNames::OGL}, [](auto& effect) {
            effect.onProcess = [](Item frame) { return PlacedPicture::Create(GPU, frame->GetTime()); };
        });
        effects.Know(SettingsFrameDownloader::CLASS_ID, {ImplNames::OGL}, [](auto& effect) {
            effect.onProcess = [](Item frame) { return PlacedPicture::Create(CPU, frame->GetTime()); };
        });
    }
    /// A chain of the named effects over pictures that live there.
    iptr<FilterApplyEffectsVideo> MakeChain(int frameAlloc, std::vector<std::string> const& names, int count = 2) {
        std::vector<Item> pictures;
        for (int i = 0; i < count; ++i) {
            pictures.push_back(PlacedPicture::Create(frameAlloc, 40 * i));
            counts.push_back(static_cast<PlacedPicture&>(*pictures.back()).counts);
        }
        auto filter = MakeFilter(ScriptedVideo::Create(pictures));
        for (auto const& name : names) filter->AddEffect(NamedSettings(name));
        effects.log->Take();
        return filter;
    }

    std::vector<std::shared_ptr<PictureCounts>> counts;
};

TEST_F(FilterApplyEffectsVideoPlaces, EmptyChainLeavesPicturesWhereTheyLive) {
    for (int const place : {CPU, GPU, ANY, 2}) {
        auto const filter = MakeChain(place, {});
        auto const frame = filter->Read();
        EXPECT_EQ(frame->GetFrameAlloc(), place);
        EXPECT_EQ(frame.get(), source->delivered[0]);
    }
    EXPECT_THAT(effects.made, IsEmpty());
}

TEST_F(FilterApplyEffectsVideoPlaces, GpuPictureIsDownloadedOnceAndStaysForALaterCpuEffect) {
    auto const filter = MakeChain(GPU, {"cpu", "cpu"});
    EXPECT_EQ(filter->Read()->GetFrameAlloc(), CPU);
    EXPECT_THAT(Calls(), ElementsAre("SettingsFrameDownloader/OGL: Process 0", "cpu/Default: Process 0",
                                     "cpu/Default: Process 0"));
    filter->Read();
    EXPECT_EQ(effects.made.size(), 3U) << "the converter is made once";
    EXPECT_THAT(Calls(), ElementsAre("SettingsFrameDownloader/OGL: Process 40", "cpu/Default: Process 40",
                                     "cpu/Default: Process 40"));
}

TEST_F(FilterApplyEffectsVideoPlaces, CpuPictureIsUploadedOnceForTwoGpuEffectsAndStaysThere) {
    auto const filter = MakeChain(CPU, {"gpu", "any", "gpu"});
    EXPECT_EQ(filter->Read()->GetFrameAlloc(), GPU);
    EXPECT_THAT(Calls(), ElementsAre("SettingsFrameUploader/OGL: Process 0", "gpu/Default: Process 0",
                                     "any/Default: Process 0", "gpu/Default: Process 0"));
}

TEST_F(FilterApplyEffectsVideoPlaces, PictureMovesAsOftenAsTheNextEffectWantsItElsewhere) {
    auto const filter = MakeChain(CPU, {"gpu", "cpu", "gpu"});
    EXPECT_EQ(filter->Read()->GetFrameAlloc(), GPU);
    EXPECT_THAT(Calls(), ElementsAre("SettingsFrameUploader/OGL: Process 0", "gpu/Default: Process 0",
                                     "SettingsFrameDownloader/OGL: Process 0", "cpu/Default: Process 0",
                                     "SettingsFrameUploader/OGL: Process 0", "gpu/Default: Process 0"));
    EXPECT_EQ(effects.made.size(), 5U);
}

TEST_F(FilterApplyEffectsVideoPlaces, ChainOnOneSideMakesNoCopyAndNoConverter) {
    for (auto const& [place, names] : {std::pair{CPU, std::vector<std::string>{"cpu", "any", "cpu"}},
                                       std::pair{GPU, std::vector<std::string>{"gpu", "any", "gpu"}}}) {
        effects.made.clear();
        counts.clear();
        auto const filter = MakeChain(place, names, 5);
        std::vector<void const*> given;
        while (auto const frame = filter->Read()) given.push_back(frame.get());
        EXPECT_EQ(given, source->delivered) << "the source's own objects";
        ASSERT_EQ(counts.size(), 5U);
        for (auto const& count : counts) {
            EXPECT_EQ(count->clones, 1) << "the source's own, at its read";
            EXPECT_EQ(count->copies, 0);
        }
        EXPECT_EQ(effects.made.size(), 3U);
    }
}

TEST_F(FilterApplyEffectsVideoPlaces, ConvertersStandNeitherInSettingsNorInStatisticsNorInNames) {
    auto const filter = MakeChain(GPU, {"cpu"});
    filter->Read();
    EXPECT_EQ(filter->GetSettings(), ChainOf({"cpu"}));
    EXPECT_EQ(filter->GetStatistic().Children().back().Children().back().Name(), "cpu/Default::GetStatistic");
    Visitors::InfoCollector names;
    filter->Accept(names);
    EXPECT_EQ(names.names.at(0), "FilterApplyEffectsVideo (cpu)");
    filter->ClearEffects();
    filter->AddEffect(NamedSettings("cpu"));
    filter->Read();
    EXPECT_EQ(effects.made.size(), 3U) << "they outlive the chain";
}

TEST_F(FilterApplyEffectsVideoPlaces, ConvertersForgetWithTheEffects) {
    auto const filter = MakeChain(GPU, {"cpu", "gpu"});
    filter->Read();
    Calls();
    auto const everyone = ElementsAre("cpu/Default: Reset", "gpu/Default: Reset", "SettingsFrameDownloader/OGL: Reset",
                                      "SettingsFrameUploader/OGL: Reset");
    filter->ReleaseInternalData();
    EXPECT_THAT(Calls(), everyone);
    Seek(*filter, 0);
    EXPECT_THAT(Calls(), everyone);
}

TEST_F(FilterApplyEffectsVideoPlaces, PlacesThatCannotBeMatchedAreRefused) {
    for (int const have : {CPU, GPU, 2, ANY}) {
        for (int const wanted : {CPU, GPU, 2, ANY}) {
            auto const filter = MakeChain(have, {"any"});
            effects.made.back()->frameType = wanted;
            bool const convertible = have <= GPU && (wanted <= GPU || wanted == ANY);
            SCOPED_TRACE(std::to_string(have) + " to " + std::to_string(wanted));
            if (have == wanted || convertible) {
                EXPECT_NE(filter->Read(), nullptr);
            } else {
                EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "Unsupported frame allocators set");
                EXPECT_THAT(Calls(), IsEmpty());
            }
        }
    }
}

TEST_F(FilterApplyEffectsVideoPlaces, NullPassesByTheConverters) {
    auto const filter = MakeChain(GPU, {"any", "cpu"});
    effects.made[0]->onProcess = [](auto) { return nullptr; };
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(Calls(), ElementsAre("any/Default: Process 0", "cpu/Default: Process null"));
    effects.made[0]->onProcess = nullptr;
    filter->Read();
    effects.made[2]->onProcess = [](auto) { return nullptr; };
    Calls();
    Seek(*filter, 0);
    Calls();
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(Calls(), ElementsAre("any/Default: Process 0", "SettingsFrameDownloader/OGL: Process 0",
                                     "cpu/Default: Process null"));
}

TEST_F(FilterApplyEffectsVideoPlaces, HostWithoutAConverterFailsAtTheFirstNeedOfIt) {
    effects.Know(SettingsFrameUploader::CLASS_ID, {});
    effects.Know(SettingsFrameDownloader::CLASS_ID, {ImplNames::TARSEL});
    EXPECT_EQ(MessageOf<FilterException>([&] { MakeChain(CPU, {"gpu"})->Read(); }),
              "There is no any implementation for SettingsFrameUploader");
    EXPECT_EQ(MessageOf<EffectException>([&] { MakeChain(GPU, {"cpu"})->Read(); }),
              "There is no any implementation for SettingsFrameDownloader");
}

TEST_F(FilterApplyEffectsVideoPlaces, ChainsConvertWithoutAWarning) {
    LogLines const lines(21);
    MakeChain(CPU, {"gpu", "cpu"})->Read();
    EXPECT_THAT(lines.Get(google::GLOG_WARNING), IsEmpty());
}

TEST_F(FilterApplyEffectsVideoPlaces, GroupOfWhichOneEffectAloneRunsOnTheGpuIsRefused) {
    auto const filter = MakeChain(CPU, {"any"});
    SettingsMultiEffect const mixed = SettingsMultiEffect().Add(NamedSettings("both")).Add(NamedSettings("any"));
    auto const add = [&] { filter->AddEffect(mixed); };
    EXPECT_EQ(MessageOf<FilterException>(add), "Settings are not all of the same type for default impl settings");
    EXPECT_EQ(MessageOf<EffectException>(add), "Settings are not all of the same type for default impl settings");
    EXPECT_THROW(filter->Initialize(mixed), FilterEffectException);
    EXPECT_EQ(filter->GetSettings(), ChainOf({"any"}));
    EXPECT_EQ(effects.made.size(), 1U) << "refused before any of it is made";
    // A name that is told is the caller's own choice.
    filter->AddEffect(
        iptr<IOneInputEffectVideo>(new MultiEffectVideo(effects.factory, mixed, ImplNames::TARSEL, TimeToProgress())));
    EXPECT_EQ(filter->GetSettings(), ChainOf({"any", "both", "any"}));
}

TEST_F(FilterApplyEffectsVideoPlaces, GroupsOfOneSideAreTaken) {
    auto const filter = MakeChain(CPU, {});
    filter->AddEffect(SettingsMultiEffect().Add(NamedSettings("any")).Add(NamedSettings("cpu")));
    filter->AddEffect(SettingsMultiEffect().Add(NamedSettings("both")).Add(NamedSettings("both")));
    EXPECT_EQ(filter->GetSettings(), ChainOf({"any", "cpu", "both", "both"}));
}

TEST_F(FilterApplyEffectsVideoPlaces, SoundKnowsNoSides) {
    EffectsOf<IOneInputEffectAudio> sound;
    sound.Know("both", {ImplNames::TARSEL, ImplNames::OGL});
    sound.Know("one");
    auto const filter = MakeShared<FilterApplyEffectsAudio>(ScriptedAudio::Create({}), sound.factory);
    filter->AddEffect(SettingsMultiEffect().Add(NamedSettings("both")).Add(NamedSettings("one")));
    EXPECT_EQ(sound.made.size(), 2U);
}

TEST_F(FilterApplyEffectsVideoPlaces, FindStabilizerGivesTheFirstOneOrNull) {
    effects.Know(SettingsEffectStabilizer::CLASS_ID);
    auto const filter = MakeChain(CPU, {"cpu"});
    EXPECT_EQ(filter->FindStabilizer(), nullptr);
    filter->AddEffect(SettingsEffectStabilizer());
    filter->AddEffect(SettingsEffectStabilizer());
    EXPECT_EQ(filter->FindStabilizer(), effects.made[1]);
    filter->ClearEffects();
    EXPECT_EQ(filter->FindStabilizer(), nullptr);
}

}  // namespace
}  // namespace Tarsel::Proc
