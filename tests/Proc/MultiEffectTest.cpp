#include "contracts/Proc/MultiEffect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/SettingsResizer.h"
#include "tests/Proc/FilterApplyEffectsSupport.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int CPU = IDataVideo::FRAME_ALLOC_CPU;
constexpr int GPU = IDataVideo::FRAME_ALLOC_GPU;
constexpr int ANY = IDataVideo::FRAME_ALLOC_ANY;

TEST(SettingsMultiEffect, HoldsCopiesInOrder) {
    SettingsMultiEffect group;
    EXPECT_EQ(group.GetClassId(), SettingsMultiEffect::CLASS_ID);
    EXPECT_THAT(group.GetEffects(), IsEmpty());
    SettingsResizer resizer;
    resizer.SetCustomMode(SettingsResizer::MODE_CROP, {64, 48, 1, 1});
    SettingsResizer const before = resizer;
    group.Add(resizer).Add(NamedSettings("A"));
    resizer.SetCustomMode(SettingsResizer::MODE_KEEP, {});
    ASSERT_EQ(group.GetEffects().size(), 2U);
    EXPECT_EQ(dynamic_cast<SettingsResizer const&>(*group.GetEffects()[0]), before);
    EXPECT_EQ(group.GetEffects()[1]->GetClassId(), "A");
    auto const shared = std::make_shared<NamedSettings>("B");
    group.Add(SettingsMultiEffect::Element(shared));
    EXPECT_EQ(group.GetEffects()[2], shared);
    SettingsMultiEffect copy = group;
    copy.Add(NamedSettings("C"));
    EXPECT_EQ(group.GetEffects().size(), 3U);
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { group.Add(SettingsMultiEffect::Element()); }), "settings is NULL");
}

template <class Kind>
class MultiEffectTest : public ChainTest<Kind> {
  protected:
    using Group = MultiEffect<typename Kind::Effect, typename Kind::Data>;

    iptr<Group> Make(std::vector<std::string> const& names, std::string const& implName = ImplNames::DEFAULT,
                     TimeToProgress const& map = {}) {
        SettingsMultiEffect settings;
        for (auto const& name : names) settings.Add(NamedSettings(name));
        return iptr<Group>(new Group(this->effects.factory, settings, implName, map));
    }
};
TYPED_TEST_SUITE(MultiEffectTest, ChainKinds);

TYPED_TEST(MultiEffectTest, RunsItsEffectsInOrderAndMakesThemAtTheFirstNeed) {
    auto const group = this->Make({"B", "A"}, ImplNames::TARSEL);
    EXPECT_THAT(this->effects.made, IsEmpty());
    auto item = TypeParam::MakeItem(5);
    auto const* const object = item.get();
    group->Process(item);
    EXPECT_EQ(item.get(), object);
    EXPECT_THAT(this->Calls(), ElementsAre("B/Tarsel: Initialize settings B", "A/Tarsel: Initialize settings A",
                                           "B/Tarsel: Process 5", "A/Tarsel: Process 5"));
    group->Process(item);
    EXPECT_THAT(this->Calls(), ElementsAre("B/Tarsel: Process 5", "A/Tarsel: Process 5"));
    EXPECT_EQ(group->GetImplName(), ImplNames::TARSEL);
    EXPECT_EQ(group->GetEffectSettings().GetEffects().size(), 2U);
}

TYPED_TEST(MultiEffectTest, TakesTheTopmostOfSeveralInputs) {
    auto const group = this->Make({"A"});
    auto const below = TypeParam::MakeItem(1);
    auto const top = TypeParam::MakeItem(2);
    EXPECT_EQ(group->ProcessData({below, top}), top);
    EXPECT_THAT(this->Calls(), ::testing::Contains("A/Default: Process 2"));
}

TYPED_TEST(MultiEffectTest, NullGoesThroughAllEffects) {
    auto const group = this->Make({"A", "B"});
    typename TestFixture::Item item;
    group->Process(item);
    EXPECT_EQ(item, nullptr);
    EXPECT_THAT(this->Calls(), ElementsAre("A/Default: Initialize settings A", "B/Default: Initialize settings B",
                                           "A/Default: Process null", "B/Default: Process null"));
    EXPECT_EQ(group->GetStatistic()["Count"].GetInt64(), 0);
}

TYPED_TEST(MultiEffectTest, EmptyGroupPassesItems) {
    auto const group = this->Make({});
    auto item = TypeParam::MakeItem(5);
    auto const* const object = item.get();
    group->Process(item);
    EXPECT_EQ(item.get(), object);
    EXPECT_EQ(group->GetProcessingFrameType(), ANY);
}

TYPED_TEST(MultiEffectTest, IntervalReachesTheEffectsEvenWhenItsEndsAreMovedUnderWay) {
    TimeToProgress map;
    map.begin = 10;
    map.end = 30;
    auto const group = this->Make({"A", "B"}, ImplNames::DEFAULT, map);
    auto item = TypeParam::MakeItem(5);
    group->Process(item);
    for (auto const& effect : this->effects.made) EXPECT_EQ(effect->GetTimeToProgress().end, 30);
    group->GetTimeToProgress().end = 50;
    group->Process(item);
    for (auto const& effect : this->effects.made) EXPECT_EQ(effect->GetTimeToProgress().end, 50);
    map.begin = -7;
    group->SetTimeToProgress(map);
    group->Process(item);
    for (auto const& effect : this->effects.made) {
        EXPECT_EQ(effect->GetTimeToProgress().begin, -7);
        EXPECT_EQ(effect->GetTimeToProgress().end, 30);
    }
}

TYPED_TEST(MultiEffectTest, SeeksStatisticsAndFormatsReachTheEffects) {
    auto const group = this->Make({"A", "B"});
    group->ResetEffectState();
    EXPECT_EQ(group->GetStatistic(), Core::MakeStatistics("Tarsel::Proc::MultiEffect::GetStatistic", 0, 0));
    EXPECT_THAT(this->effects.made, IsEmpty()) << "what isn't made has nothing to forget and nothing to tell";
    auto item = TypeParam::MakeItem(5);
    group->Process(item);
    this->Calls();
    group->ResetEffectState();
    iptr<Conf::IFormatCodec> format = Conf::IFormatCodecVideo::Create();
    group->AdaptFormatCodec(format);
    EXPECT_THAT(this->Calls(),
                ElementsAre("A/Default: Reset", "B/Default: Reset", "A/Default: Adapt", "B/Default: Adapt"));
    Core::Property node = Core::MakeStatistics("Tarsel::Proc::MultiEffect::GetStatistic", 0, 1);
    node.Add(Core::Property("A/Default::GetStatistic")).Add(Core::Property("B/Default::GetStatistic"));
    EXPECT_EQ(group->GetStatistic(), node);
}

TYPED_TEST(MultiEffectTest, FormatIsToldBeforeAnyItem) {
    auto const group = this->Make({"A"});
    iptr<Conf::IFormatCodec> format = Conf::IFormatCodecVideo::Create();
    group->AdaptFormatCodec(format);
    EXPECT_THAT(this->Calls(), ElementsAre("A/Default: Initialize settings A", "A/Default: Adapt"));
}

TYPED_TEST(MultiEffectTest, SettingsMakeTheEffectsAnewAndThereIsNoPropertyForm) {
    auto const group = this->Make({"A"});
    auto item = TypeParam::MakeItem(5);
    group->Process(item);
    group->Initialize(SettingsMultiEffect().Add(NamedSettings("B")));
    EXPECT_EQ(this->effects.made[0]->GetRefCountImpl(), 1U);
    EXPECT_EQ(group->GetSettings(), Core::Property(SettingsMultiEffect::CLASS_ID).Add(Core::Property("B")));
    EXPECT_THROW(group->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(MessageOf<FilterException>([&] { group->Initialize(group->GetSettings()); }), "Method not implemented");
}

TYPED_TEST(MultiEffectTest, FailuresOfMakingComeAtTheFirstNeedAndAgain) {
    auto const group = this->Make({"A", "Unknown"});
    auto item = TypeParam::MakeItem(5);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(MessageOf<FilterException>([&] { group->Process(item); }),
                  "There is no any implementation for Unknown");
        EXPECT_NE(item, nullptr);
    }
    EXPECT_THAT(this->effects.made, IsEmpty());
    auto const named = this->Make({"A", "Unknown"}, ImplNames::TARSEL);
    EXPECT_EQ(MessageOf<EffectException>([&] { named->Process(item); }), "There is no any implementation for Unknown");
    using Group = typename TestFixture::Group;
    EXPECT_EQ(MessageOf<std::invalid_argument>(
                  [] { Group(nullptr, SettingsMultiEffect(), ImplNames::DEFAULT, TimeToProgress()); }),
              "effectFactory is NULL");
}

TYPED_TEST(MultiEffectTest, GroupInAGroupIsAClassThatNobodyMakes) {
    SettingsMultiEffect const inner = SettingsMultiEffect().Add(NamedSettings("A"));
    using Group = typename TestFixture::Group;
    Group group(this->effects.factory, SettingsMultiEffect().Add(inner), ImplNames::DEFAULT, TimeToProgress());
    EXPECT_EQ(MessageOf<FilterException>([&] { group.GetSettings(); }),
              "There is no any implementation for SettingsMultiEffect");
}

class MultiEffectVideoTest : public MultiEffectTest<PictureKind> {};

TEST_F(MultiEffectVideoTest, WorksWhereItsEffectsWork) {
    for (auto const& [types, expected] : {std::pair{std::vector{ANY, ANY}, ANY},
                                          {std::vector{CPU, ANY}, CPU},
                                          {std::vector{ANY, GPU}, GPU},
                                          {std::vector{GPU, GPU}, GPU}}) {
        auto const group = Make({"A", "B"});
        effects.made.clear();
        group->GetSettings();
        effects.made[0]->frameType = types[0];
        effects.made[1]->frameType = types[1];
        EXPECT_EQ(group->GetProcessingFrameType(), expected);
    }
}

TEST_F(MultiEffectVideoTest, EffectsOfBothSidesAreRefused) {
    auto const group = Make({"A", "B"});
    group->GetSettings();
    effects.made[0]->frameType = CPU;
    effects.made[1]->frameType = GPU;
    EXPECT_EQ(MessageOf<FilterException>([&] { group->GetProcessingFrameType(); }),
              "Cannot find effect implementation for frame alloc type");
    EXPECT_THROW(group->GetProcessingFrameType(), EffectException);
    effects.Know("A", {ImplNames::TARSEL, ImplNames::OGL});
    auto item = MakeVideo(0, 40);
    EXPECT_EQ(MessageOf<FilterException>([&] {
                  Make({"A", "B"})->Process(item);
              }),
              "Settings are not all of the same type for default impl settings");
}

}  // namespace
}  // namespace Tarsel::Proc
