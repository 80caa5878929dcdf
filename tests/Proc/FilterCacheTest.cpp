#include "Proc/Filters/Filters/FilterCache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Builders.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

TEST(FilterCache, GivesTheSourcesItems) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40000), MakeVideo(40000, 40000)});
    auto const controller = FilterCacheController::Create();
    auto const cache = controller->AddStream(iptr<IStreamVideo>(source));
    Seek(*cache, 0);
    iptr<IDataVideo> const first = cache->Read();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->GetTime(), 0);
    EXPECT_EQ(cache->Read(), first);
    EXPECT_FALSE(cache->Read());
}

}  // namespace
}  // namespace Tarsel::Proc
