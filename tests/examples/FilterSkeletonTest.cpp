#include "examples/filter-skeleton/FilterSkeleton.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterLoop.h"
#include "host/graph/Factories.h"
#include "host/graph/FilterRegistry.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

iptr<ScriptedVideo> MakeClip() {
    return ScriptedVideo::Create({MakeVideo(0, 40), MakeVideo(40, 100), MakeVideo(140, NO_VALUE), MakeVideo(200, 41)});
}

auto MakeFilter(iptr<IStreamVideo> const& source, int64 limit) {
    auto filter = MakeShared<FilterSkeleton>(source);
    filter->Initialize(SettingsFilterSkeleton(limit));
    return filter;
}

TEST(FilterSkeleton, ShowsNoPictureLongerThanTheLimitAndLeavesTheOthersAlone) {
    auto const source = MakeClip();
    auto const items = ReadAll(*MakeFilter(source, 40));
    EXPECT_THAT(items, ElementsAre(IsVideo(0, 40), IsVideo(40, 40), IsVideo(140, NO_VALUE), IsVideo(200, 40)));
    for (std::size_t i = 0; i < items.size(); ++i) EXPECT_EQ(items[i].get(), source->delivered[i]);
}

TEST(FilterSkeleton, PictureThatOthersHoldIsNotChanged) {
    iptr<IDataVideo> const held = MakeVideo(0, 100);
    auto const inner = MakeShared<ScriptedFilter<IStreamVideo>>(MakeClip());
    inner->onRead = [&] { return held; };
    EXPECT_THAT(MakeFilter(inner, 40)->Read(), IsVideo(0, 40));
    EXPECT_THAT(held, IsVideo(0, 100));
}

TEST(FilterSkeleton, AnySeekReadsOnAsReadingStraightThrough) {
    auto const source = ScriptedVideo::Create(MakeVideos(20, 50));
    source->duration = 1000;
    auto const filter = MakeFilter(source, 30);
    Seek(*filter, 0);
    auto const all = ReadAll(*filter);
    std::mt19937 random(1);
    for (int i = 0; i < 50; ++i) {
        int64 const position = std::uniform_int_distribution<int64>(0, 999)(random);
        SCOPED_TRACE("position " + std::to_string(position));
        Seek(*filter, position);
        auto const rest = ReadAll(*filter);
        auto const first = static_cast<std::size_t>(position / 50);
        ASSERT_EQ(rest.size(), all.size() - first);
        for (std::size_t k = 0; k < rest.size(); ++k) ASSERT_THAT(rest[k], IsVideo(all[first + k]->GetTime(), 30));
    }
}

TEST(FilterSkeleton, SettingsThatAreWrongOrOfAnotherClassAreRefusedAndTheOldOnesStay) {
    auto const filter = MakeFilter(MakeClip(), 40);
    for (int64 const limit : {int64(0), int64(-1), NO_VALUE})
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(SettingsFilterSkeleton(limit)); }),
                  "Wrong settings!");
    EXPECT_THROW(filter->Initialize(SettingsFilterLoop(1)), std::bad_cast);
    EXPECT_EQ(Property2SettingsFilterSkeleton(filter->GetSettings()), SettingsFilterSkeleton(40));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property("x")); }), "Method not implemented");
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterSkeleton none(nullptr); }), "parentStream is NULL.");
}

TEST(FilterSkeleton, SettingsSurviveTheWayThroughAProperty) {
    SettingsFilterSkeleton const settings(7);
    EXPECT_EQ(settings.GetClassId(), SettingsFilterSkeleton::CLASS_ID);
    EXPECT_EQ(Property2SettingsFilterSkeleton(Settings2Property(settings)), settings);
    EXPECT_EQ(Property2SettingsFilterSkeleton(Core::Property(SettingsFilterSkeleton::CLASS_ID)),
              SettingsFilterSkeleton(MAX_DURATION));
    EXPECT_EQ(MessageOf<FilterException>([] { Property2SettingsFilterSkeleton(Core::Property("x")); }),
              "Object was initialized with incorrect class (x)!");
}

TEST(FilterSkeleton, FormatStatisticsAndVisitorAreThoseOfAPlainFilter) {
    auto const source = MakeClip();
    auto const filter = MakeFilter(source, 40);
    EXPECT_EQ(filter->GetFormatCodec(), source->format);
    ReadAll(*filter);
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterSkeleton::GetStatistic", 0, 4));
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterSkeleton", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

TEST(FilterSkeleton, HostMakesItThroughItsRow) {
    auto const registry = MakeShared<Host::FilterRegistry>();
    RegisterFilterSkeleton(*registry);
    auto const* const row = registry->Find(FilterKind::Video, SettingsFilterSkeleton::CLASS_ID, ImplNames::TARSEL);
    ASSERT_NE(row, nullptr);
    auto const& make = std::get<VideoExFactoryA>(std::get<ExFactory>(row->factory));
    auto const source = MakeClip();
    EXPECT_THAT(make(source, SettingsFilterSkeleton(30))->Read(), IsVideo(0, 30));
    EXPECT_EQ(MessageOf<FilterException>([&] { make(source, SettingsFilterSkeleton(0)); }), "Wrong settings!");
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

}  // namespace
}  // namespace Tarsel::Proc
