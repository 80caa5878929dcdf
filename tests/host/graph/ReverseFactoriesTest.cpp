// The rows of the reverse filters, through the shared library and the host's factory.
#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterLoop.h"
#include "contracts/Proc/SettingsFilterReverse.h"
#include "host/graph/Factories.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;

TEST(ReverseFactories, VideoRowMakesTheFilterWithItsSettings) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40), MakeVideo(40, 40)});
    source->duration = 80;
    auto const factory = MakeFilterFactory();
    auto const* const row =
        factory->GetRegistry().Find(FilterKind::Video, SettingsFilterReverse::CLASS_ID, ImplNames::TARSEL);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->form, 'a');
    auto filter =
        factory->CreateVideo(SettingsFilterReverse::CLASS_ID, ImplNames::TARSEL, source, SettingsFilterReverse(true));
    Seek(*filter, 10);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(10, 30), IsVideo(40, 40)));
    filter = nullptr;
    EXPECT_THROW(factory->CreateVideo(SettingsFilterReverse::CLASS_ID, ImplNames::TARSEL, source, SettingsFilterLoop()),
                 std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(ReverseFactories, AudioRowMakesTheFilterWithItsSettings) {
    auto const source = ScriptedAudio::Create({MakeAudio(0, 480), MakeAudio(10000, 480)});
    source->duration = 20000;
    auto const factory = MakeFilterFactory();
    auto const* const row =
        factory->GetRegistry().Find(FilterKind::Audio, SettingsFilterReverse::CLASS_ID, ImplNames::TARSEL);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->form, 'c');
    auto filter =
        factory->CreateAudio(SettingsFilterReverse::CLASS_ID, ImplNames::TARSEL, source, SettingsFilterReverse(true));
    Seek(*filter, 5000);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsAudio(5000, 240), IsAudio(10000, 480)));
    filter = nullptr;
    EXPECT_THROW(factory->CreateAudio(SettingsFilterReverse::CLASS_ID, ImplNames::TARSEL, source, SettingsFilterLoop()),
                 std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

}  // namespace
}  // namespace Tarsel::Host
