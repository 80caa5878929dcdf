// What holds for chains over pictures and over sound alike.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/MultiEffect.h"
#include "tests/Proc/FilterApplyEffectsSupport.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

template <class Kind>
class FilterApplyEffects : public ChainTest<Kind> {};
TYPED_TEST_SUITE(FilterApplyEffects, ChainKinds);

TYPED_TEST(FilterApplyEffects, EmptyChainPassesItemsAsTheSameObjects) {
    auto const filter = this->MakeFilter(3);
    EXPECT_NE(dynamic_cast<typename TypeParam::StreamEx*>(filter.get()), nullptr);
    auto const items = ReadAll(*filter);
    ASSERT_EQ(items.size(), 3U);
    for (std::size_t i = 0; i < items.size(); ++i) EXPECT_EQ(items[i].get(), this->source->delivered[i]);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetPosition(), 30000);
    EXPECT_THAT(this->Calls(), IsEmpty());
}

TYPED_TEST(FilterApplyEffects, EffectsRunInTheOrderOfAddingOnTheOneObject) {
    auto const filter = this->MakeFilter(2);
    filter->AddEffect(NamedSettings("B"));
    filter->AddEffect(Core::Property("A"), ImplNames::TARSEL);
    filter->AddEffect(this->MakeOwnEffect("own"));
    EXPECT_THAT(this->Calls(), ElementsAre("B/Default: Initialize settings B", "A/Tarsel: Initialize property A"));
    auto const item = filter->Read();
    EXPECT_EQ(item.get(), this->source->delivered[0]);
    EXPECT_EQ(item->GetRefCountImpl(), 1U);
    EXPECT_THAT(this->Calls(), ElementsAre("B/Default: Process 0", "A/Tarsel: Process 0", "own: Process 0"));
    filter->Read();
    EXPECT_THAT(this->Calls(),
                ElementsAre("B/Default: Process 10000", "A/Tarsel: Process 10000", "own: Process 10000"));
}

TYPED_TEST(FilterApplyEffects, EffectOfSettingsRangesOverTheWholeStream) {
    auto const filter = this->MakeFilter(1);
    this->source->duration = 70000;
    filter->AddEffect(NamedSettings("A"));
    TimeToProgress const& map = this->effects.made.at(0)->GetTimeToProgress();
    EXPECT_EQ(map.begin, 0);
    EXPECT_EQ(map.end, 70000);
    EXPECT_EQ(map.GetProgress(35000), 0.5);
}

TYPED_TEST(FilterApplyEffects, OverAStreamOfUnknownLengthAnEffectOfSettingsHasNoEnd) {
    auto const filter = this->MakeFilter(1);
    filter->AddEffect(NamedSettings("A"));
    TimeToProgress const& map = this->effects.made.at(0)->GetTimeToProgress();
    EXPECT_EQ(map.end, NO_VALUE);
    EXPECT_EQ(map.GetProgress(35000), 1.0);
}

TYPED_TEST(FilterApplyEffects, IntervalsOfOtherFormsOfAddingAreTheEffectsOwn) {
    auto const filter = this->MakeFilter(1);
    this->source->duration = 70000;
    auto const own = this->MakeOwnEffect("own");
    own->GetTimeToProgress().end = 5;
    filter->AddEffect(own);
    filter->AddEffect(Core::Property("A"), ImplNames::DEFAULT);
    EXPECT_EQ(own->GetTimeToProgress().end, 5);
    EXPECT_EQ(this->effects.made.at(0)->GetTimeToProgress().end, 0);
}

TYPED_TEST(FilterApplyEffects, NullFromAnEffectGoesOnIntoTheNextOneAndIsTheResult) {
    auto const filter = this->MakeFilter(2);
    filter->AddEffect(NamedSettings("A"));
    filter->AddEffect(NamedSettings("B"));
    filter->AddEffect(NamedSettings("C"));
    this->effects.made[0]->onProcess = [](auto) { return nullptr; };
    auto const made = TypeParam::MakeItem(77);
    this->effects.made[1]->onProcess = [&](auto item) { return item ? item : made; };
    this->Calls();
    EXPECT_EQ(filter->Read(), made) << "an effect may make something of nothing";
    EXPECT_THAT(this->Calls(), ElementsAre("A/Default: Process 0", "B/Default: Process null", "C/Default: Process 77"));
    this->effects.made[1]->onProcess = nullptr;
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(this->Calls(),
                ElementsAre("A/Default: Process 10000", "B/Default: Process null", "C/Default: Process null"));
    EXPECT_EQ(filter->GetStatistic().Children().back().operator[]("Count").GetInt64(), 1);
}

TYPED_TEST(FilterApplyEffects, EndOfTheSourceIsNotHandedToTheEffects) {
    auto const filter = this->MakeFilter(1);
    filter->AddEffect(NamedSettings("A"));
    ReadAll(*filter);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(this->Calls(), ElementsAre("A/Default: Initialize settings A", "A/Default: Process 0"));
}

TYPED_TEST(FilterApplyEffects, InitializeTwiceGivesTheChainOfTheSecondPropertyAlone) {
    auto const filter = this->MakeFilter(1);
    filter->Initialize(this->ChainOf({"A", "B"}));
    EXPECT_EQ(filter->GetSettings(), this->ChainOf({"A", "B"}));
    filter->Initialize(this->ChainOf({"C"}));
    EXPECT_EQ(filter->GetSettings(), this->ChainOf({"C"}));
    this->Calls();
    filter->Read();
    EXPECT_THAT(this->Calls(), ElementsAre("C/Default: Process 0"));
    filter->Initialize(this->ChainOf({}));
    EXPECT_EQ(filter->GetSettings(), this->ChainOf({}));
}

TYPED_TEST(FilterApplyEffects, InitializeReleasesTheStreamAndTheOldEffects) {
    auto const filter = this->MakeFilter(3);
    filter->AddEffect(NamedSettings("A"));
    EXPECT_EQ(filter->GetPosition(), 0);
    this->Calls();
    this->source->log.Take();
    filter->Initialize(this->ChainOf({"B"}));
    EXPECT_THAT(this->source->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_THAT(this->Calls(), ElementsAre("B/Default: Initialize property B", "A/Default: Reset"));
    EXPECT_EQ(this->effects.made[0]->GetRefCountImpl(), 1U);
    EXPECT_EQ(filter->Read()->GetTime(), 10000) << "what the old chain had processed ahead is gone";
}

TYPED_TEST(FilterApplyEffects, SettingsObjectIsTheWholeChain) {
    auto const filter = this->MakeFilter(1);
    this->source->duration = 500;
    filter->AddEffect(NamedSettings("A"));
    filter->Initialize(NamedSettings("B"));
    EXPECT_EQ(filter->GetSettings(), this->ChainOf({"B"}));
    EXPECT_EQ(this->effects.made.at(1)->GetTimeToProgress().end, 500);
    filter->Initialize(SettingsMultiEffect().Add(NamedSettings("C")).Add(NamedSettings("A")));
    EXPECT_EQ(filter->GetSettings(), this->ChainOf({"C", "A"}));
}

TYPED_TEST(FilterApplyEffects, PropertyOfAnotherClassIsRefusedAndTheChainStays) {
    auto const filter = this->MakeFilter(1);
    filter->AddEffect(NamedSettings("A"));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property("FilterResize")); }),
              "Filter was initialized with incorrect class (FilterResize)!");
    EXPECT_EQ(filter->GetSettings(), this->ChainOf({"A"}));
}

TYPED_TEST(FilterApplyEffects, FailedInitializeLeavesTheOldChain) {
    auto const filter = this->MakeFilter(1);
    filter->Initialize(this->ChainOf({"A"}));
    EXPECT_EQ(MessageOf<FilterException>([&] {
                  filter->Initialize(this->ChainOf({"B", "Unknown"}));
              }),
              "There is no any implementation for Unknown");
    this->effects.Know("B", {ImplNames::TARSEL},
                       [](auto& effect) { effect.onInitialize = [] { TARSEL_THROW(EffectException, "bad value"); }; });
    EXPECT_EQ(MessageOf<EffectException>([&] { filter->Initialize(NamedSettings("B")); }), "bad value");
    EXPECT_EQ(filter->GetSettings(), this->ChainOf({"A"}));
}

TYPED_TEST(FilterApplyEffects, ClassWithoutImplementationIsRefusedByEveryFormOfAdding) {
    auto const filter = this->MakeFilter(1);
    SettingsMultiEffect const group = SettingsMultiEffect().Add(NamedSettings("A")).Add(NamedSettings("Unknown"));
    using Group = MultiEffect<typename TypeParam::Effect, typename TypeParam::Data>;
    auto const object = MakeShared<Group>(this->effects.factory, group, ImplNames::TARSEL, TimeToProgress());
    auto const expectBoth = [&](auto call) {
        EXPECT_EQ(MessageOf<FilterException>(call), "There is no any implementation for Unknown");
        EXPECT_EQ(MessageOf<EffectException>(call), "There is no any implementation for Unknown");
    };
    expectBoth([&] { filter->AddEffect(NamedSettings("Unknown")); });
    expectBoth([&] { filter->AddEffect(Core::Property("Unknown"), ImplNames::DEFAULT); });
    expectBoth([&] { filter->AddEffect(Core::Property("Unknown"), ImplNames::TARSEL); });
    expectBoth([&] { filter->AddEffect(group); });
    expectBoth([&] { filter->AddEffect(object); });
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->AddEffect(Core::Property("A"), ImplNames::FFMPEG); }),
              "There is no any implementation for A");
    EXPECT_EQ(filter->GetSettings(), this->ChainOf({}));
}

TYPED_TEST(FilterApplyEffects, EffectOfAnotherKindIsNoImplementation) {
    auto const filter = this->MakeFilter(1);
    using Other =
        std::conditional_t<std::is_same_v<TypeParam, PictureKind>, IOneInputEffectAudio, IOneInputEffectVideo>;
    this->effects.factory->onCreate = [](std::string const&, std::string const&) {
        return iptr<IEffect>(new IdleEffect<Other>());
    };
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->AddEffect(NamedSettings("A")); }),
              "There is no any implementation for A");
    this->effects.factory->onCreate = [](std::string const&, std::string const&) { return iptr<IEffect>(); };
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->AddEffect(NamedSettings("A")); }),
              "There is no any implementation for A");
}

TYPED_TEST(FilterApplyEffects, FailureOfAKnownEffectsBirthPassesThrough) {
    auto const filter = this->MakeFilter(1);
    this->effects.factory->onCreate = [](std::string const&, std::string const&) -> iptr<IEffect> {
        TARSEL_THROW(EffectException, "no display");
    };
    for (char const* name : {ImplNames::DEFAULT, ImplNames::TARSEL}) {
        auto const add = [&] { filter->AddEffect(Core::Property("A"), name); };
        EXPECT_EQ(MessageOf<EffectException>(add), "no display");
        EXPECT_THROW(add(), boost::wrapexcept<EffectException>);
    }
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->AddEffect(Core::Property("A"), ImplNames::OGL); }),
              "There is no any implementation for A");
}

TYPED_TEST(FilterApplyEffects, NullPartsAreRefused) {
    auto const filter = this->MakeFilter(1);
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { filter->AddEffect(iptr<typename TypeParam::Effect>()); }),
              "effect is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { TypeParam::Filter::Create(this->source, nullptr); }),
              "effectFactory is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { TypeParam::Filter::Create(nullptr, this->effects.factory); }),
              "parentStream is NULL.");
}

TYPED_TEST(FilterApplyEffects, GroupIsAppendedEffectByEffectWithoutAnInterval) {
    auto const filter = this->MakeFilter(1);
    this->source->duration = 70000;
    filter->AddEffect(NamedSettings("C"));
    filter->AddEffect(SettingsMultiEffect().Add(NamedSettings("B")).Add(NamedSettings("A")));
    EXPECT_EQ(filter->GetSettings(), this->ChainOf({"C", "B", "A"}));
    EXPECT_EQ(this->effects.made[1]->GetName(), "B/Default");
    for (std::size_t i : {1, 2}) {
        TimeToProgress const& map = this->effects.made[i]->GetTimeToProgress();
        EXPECT_EQ(map.begin, 0);
        EXPECT_EQ(map.end, 0);
        EXPECT_EQ(map.GetProgress(35000), 1.0);
    }
}

TYPED_TEST(FilterApplyEffects, EffectThatIsAGroupIsTakenApartWithItsNameAndInterval) {
    auto const filter = this->MakeFilter(1);
    filter->AddEffect(NamedSettings("C"));
    TimeToProgress map;
    map.begin = 10;
    map.end = 30;
    using Group = MultiEffect<typename TypeParam::Effect, typename TypeParam::Data>;
    filter->AddEffect(iptr<typename TypeParam::Effect>(
        new Group(this->effects.factory, SettingsMultiEffect().Add(NamedSettings("A")).Add(NamedSettings("B")),
                  ImplNames::TARSEL, map)));
    EXPECT_EQ(filter->GetSettings(), this->ChainOf({"C", "A", "B"}));
    ASSERT_EQ(this->effects.made.size(), 3U);
    EXPECT_EQ(this->effects.made[2]->GetName(), "B/Tarsel");
    for (std::size_t i : {1, 2}) {
        EXPECT_EQ(this->effects.made[i]->GetTimeToProgress().begin, 10);
        EXPECT_EQ(this->effects.made[i]->GetTimeToProgress().end, 30);
    }
}

TYPED_TEST(FilterApplyEffects, GroupThatFailsHalfWayAppendsNothing) {
    auto const filter = this->MakeFilter(1);
    this->effects.Know("B", {ImplNames::TARSEL},
                       [](auto& effect) { effect.onInitialize = [] { TARSEL_THROW(EffectException, "bad value"); }; });
    auto const add = [&] { filter->AddEffect(SettingsMultiEffect().Add(NamedSettings("A")).Add(NamedSettings("B"))); };
    EXPECT_EQ(MessageOf<EffectException>(add), "bad value");
    EXPECT_EQ(filter->GetSettings(), this->ChainOf({}));
    EXPECT_EQ(this->effects.made.at(0)->GetRefCountImpl(), 1U);
}

TYPED_TEST(FilterApplyEffects, EmptyGroupAppendsNothing) {
    auto const filter = this->MakeFilter(1);
    filter->AddEffect(SettingsMultiEffect());
    EXPECT_EQ(filter->GetSettings(), this->ChainOf({}));
}

TYPED_TEST(FilterApplyEffects, ClearReleasesAndEmpties) {
    auto const filter = this->MakeFilter(2);
    filter->AddEffect(NamedSettings("A"));
    this->Calls();
    filter->ClearEffects();
    EXPECT_THAT(this->Calls(), ElementsAre("A/Default: Reset"));
    EXPECT_THAT(this->source->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_EQ(this->effects.made[0]->GetRefCountImpl(), 1U);
    filter->Read();
    EXPECT_THAT(this->Calls(), IsEmpty());
}

TYPED_TEST(FilterApplyEffects, ReleaseResetsTheEffectsAndReleasesTheSource) {
    auto const filter = this->MakeFilter(2);
    filter->AddEffect(NamedSettings("A"));
    filter->AddEffect(NamedSettings("B"));
    EXPECT_EQ(filter->GetPosition(), 0);
    this->Calls();
    this->source->log.Take();
    filter->ReleaseInternalData();
    EXPECT_THAT(this->Calls(), ElementsAre("A/Default: Reset", "B/Default: Reset"));
    EXPECT_THAT(this->source->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_EQ(filter->Read()->GetTime(), 10000) << "the item read ahead is released";
}

TYPED_TEST(FilterApplyEffects, SeekGoesToTheSourceAndTheEffectsForget) {
    auto const filter = this->MakeFilter(3);
    this->source->duration = 30000;
    filter->AddEffect(NamedSettings("A"));
    this->Calls();
    filter->RequestSeek(99000, this->source);
    EXPECT_THAT(this->source->log.Take(), ElementsAre("RequestSeek(30000, context)"));
    EXPECT_THAT(this->Calls(), ElementsAre("A/Default: Reset"));
    filter->DoSeek();
    EXPECT_THAT(this->source->log.Take(), ElementsAre("DoSeek"));
    Seek(*filter, 15000);
    EXPECT_EQ(filter->GetPosition(), 10000);
    EXPECT_EQ(filter->Read()->GetTime(), 10000);
    EXPECT_EQ(filter->GetDuration(), 30000);
}

TYPED_TEST(FilterApplyEffects, SeekPropertyHoldsForEffectsThatCarryNothingOver) {
    auto const filter = this->MakeFilter(20);
    this->source->duration = 200000;
    filter->AddEffect(NamedSettings("A"));
    this->effects.made[0]->onProcess = [](auto item) {
        item = MakeOwn(std::move(item));
        item->SetTime(item->GetTime() + 7);
        return item;
    };
    Seek(*filter, 0);
    auto const straight = ReadAll(*filter);
    ASSERT_EQ(straight.size(), 20U);
    TestSupport::Draw draw(20260801);
    for (int round = 0; round < 60; ++round) {
        auto const position = static_cast<int64>(draw.Below(round % 3 == 0 ? 220000 : 200000));
        SCOPED_TRACE(position);
        Seek(*filter, position);
        std::size_t index = static_cast<std::size_t>(std::min<int64>(position, 200000) / 10000);
        for (u32 i = draw.Below(25) + 1; i > 0; --i, ++index) {
            auto const item = filter->Read();
            ASSERT_EQ(item != nullptr, index < straight.size());
            if (!item) break;
            EXPECT_EQ(item->GetTime(), straight[index]->GetTime());
            EXPECT_EQ(item->GetDuration(), straight[index]->GetDuration());
        }
    }
}

TYPED_TEST(FilterApplyEffects, EndFromTheHostGivesNullAndASeekBringsTheStreamBack) {
    auto const filter = this->MakeFilter(3);
    filter->AddEffect(NamedSettings("A"));
    EXPECT_NE(filter->Read(), nullptr);
    filter->SetEndOfStream();
    EXPECT_TRUE(filter->IsEndOfStream());
    EXPECT_TRUE(this->source->IsEndOfStream());
    EXPECT_EQ(filter->Read(), nullptr);
    Seek(*filter, 0);
    EXPECT_EQ(ReadAll(*filter).size(), 3U);
}

TYPED_TEST(FilterApplyEffects, FailuresOfSourceAndEffectsPassThroughAndReadingGoesOn) {
    using Step = typename ScriptedStream<typename TypeParam::Stream>::Step;
    auto const items = this->Items(3);
    auto const filter = this->MakeFilter(ScriptedStream<typename TypeParam::Stream>::Create(
        std::vector<Step>{Failure<FilterException>("broken"), items[0], items[1], items[2]}));
    filter->AddEffect(NamedSettings("A"));
    filter->AddEffect(NamedSettings("B"));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
    bool fail = true;
    this->effects.made[0]->onProcess = [&](auto item) {
        if (std::exchange(fail, false)) TARSEL_THROW(EffectException, "no");
        return item;
    };
    this->Calls();
    EXPECT_EQ(MessageOf<EffectException>([&] { filter->Read(); }), "no");
    EXPECT_THAT(this->Calls(), ElementsAre("A/Default: Process 0"));
    EXPECT_EQ(filter->Read()->GetTime(), 10000) << "the item of the failure is lost";
    Seek(*filter, 0);
    EXPECT_EQ(ReadAll(*filter).size(), 3U);
}

TYPED_TEST(FilterApplyEffects, EffectThatClearsItsOwnChainStillEndsTheItemsPass) {
    auto const filter = this->MakeFilter(2);
    filter->AddEffect(NamedSettings("A"));
    filter->AddEffect(NamedSettings("B"));
    this->effects.made[0]->onProcess = [&](auto item) {
        filter->ClearEffects();
        return item;
    };
    this->Calls();
    filter->Read();
    EXPECT_THAT(this->Calls(),
                ElementsAre("A/Default: Process 0", "A/Default: Reset", "B/Default: Reset", "B/Default: Process 0"));
    filter->Read();
    EXPECT_THAT(this->Calls(), IsEmpty());
}

TYPED_TEST(FilterApplyEffects, FormatIsACopyOfTheSourcesThroughEachEffectWithoutAnyRead) {
    auto const filter = this->MakeFilter(1);
    this->source->format->SetCodecID("own");
    filter->AddEffect(NamedSettings("A"));
    filter->AddEffect(NamedSettings("B"));
    this->effects.made[0]->onAdapt = [](auto& format) { format->SetCodecID(format->GetCodecID() + "+A"); };
    this->effects.made[1]->onAdapt = [](auto& format) { format->SetCodecID(format->GetCodecID() + "+B"); };
    EXPECT_EQ(filter->GetFormatCodec()->GetCodecID(), "own+A+B");
    EXPECT_EQ(this->source->format->GetCodecID(), "own");
    EXPECT_NE(filter->GetFormatCodec(), filter->GetFormatCodec());
    EXPECT_THAT(this->source->log.Take(), IsEmpty());
    filter->ClearEffects();
    EXPECT_EQ(filter->GetFormatCodec()->GetCodecID(), "own");
    EXPECT_NE(filter->GetFormatCodec(), this->source->format);
}

TYPED_TEST(FilterApplyEffects, FormatsThatAreNoneAreRefused) {
    auto const filter = this->MakeFilter(1);
    filter->AddEffect(NamedSettings("A"));
    this->effects.made[0]->onAdapt = [](auto& format) { format = Conf::IFormatCodecSubtitle::Create(); };
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetFormatCodec(); }),
              "An effect changes the format into one of another kind");
    this->source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetFormatCodec(); }), "Source format codec must be present");
}

TYPED_TEST(FilterApplyEffects, StatisticsStandBehindTheSourcesWithThoseOfTheEffectsInside) {
    auto const filter = this->MakeFilter(2);
    filter->AddEffect(NamedSettings("A"));
    filter->AddEffect(NamedSettings("B"));
    ReadAll(*filter);
    Core::Property node =
        Core::MakeStatistics("Tarsel::Proc::" + std::string(TypeParam::NAME) + "::GetStatistic", 0, 2);
    node.Add(Core::Property("A/Default::GetStatistic")).Add(Core::Property("B/Default::GetStatistic"));
    EXPECT_EQ(filter->GetStatistic(), this->source->GetStatistic().Add(node));
}

TYPED_TEST(FilterApplyEffects, NamesItselfAndItsEffectsToVisitors) {
    auto const filter = this->MakeFilter(1);
    auto const name = std::string(TypeParam::NAME);
    Visitors::InfoCollector before;
    filter->Accept(before);
    EXPECT_THAT(before.names, ElementsAre(name + " ()", "ScriptedStream"));
    filter->AddEffect(NamedSettings("B"));
    filter->AddEffect(NamedSettings("A"));
    Visitors::InfoCollector names;
    filter->Accept(names);
    EXPECT_THAT(names.names, ElementsAre(name + " (B, A)", "ScriptedStream"));
    Visitors::FrameTypeCollector types;
    filter->Accept(types);
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
    struct Foreign : IStreamVisitor {
        int GetType() const override { return 3; }
    } foreign;
    EXPECT_EQ(MessageOf<std::logic_error>([&] { filter->Accept(foreign); }), "Unknown visitor type");
}

}  // namespace
}  // namespace Tarsel::Proc
