// What a window costs, by count: calls of the source by a seek inside it, items in memory during a long read.
#include <gtest/gtest.h>

#include <random>

#include "tests/Proc/CacheSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

/// The items in a window of two seconds, one on each side of the reader.
class CacheWindow : public ::testing::TestWithParam<int> {
  protected:
    CacheWindow() {
        std::vector<KeptVideo::Step> steps;
        for (int i = 0; i < 5 * count; ++i) steps.emplace_back(MakeVideo(i * length, length));
        source = MakeShared<KeptVideo>(std::move(steps));
        source->duration = 5 * count * length;
    }
    /// Ends the thread.
    void SeekFirst(int64 position) {
        WithEndedThreads(1, [&] {
            stream = controller->AddStream(iptr<IStreamVideo>(source));
            Seek(*stream, position);
        });
    }

    int const count = GetParam();
    int64 const length = 2 * SECOND / count;
    iptr<FilterCacheController> const controller = MakeShared<FilterCacheController>();
    iptr<KeptVideo> source;
    iptr<IStreamVideo> stream;
};

TEST_P(CacheWindow, SeeksInsideCallNoSource) {
    // The items from four to six seconds, without the edges, which count as outside.
    SeekFirst(5 * SECOND);
    ASSERT_NE(stream->Read(), nullptr);
    source->log.Take();
    std::mt19937 random(1);
    for (int i = 0; i < 200; ++i) {
        int64 const first = (4 * SECOND + length - 1) / length + 1;
        int64 const last = 6 * SECOND / length - 1;
        int64 const item = std::uniform_int_distribution<int64>(first, last)(random);
        Seek(*stream, item * length + std::uniform_int_distribution<int64>(1, length - 1)(random));
        auto const found = stream->Read();
        ASSERT_NE(found, nullptr);
        ASSERT_EQ(found->GetTime(), item * length);
    }
    EXPECT_TRUE(source->log.Take().empty());
}

TEST_P(CacheWindow, LongReadBehindASeekKeepsNoMoreThanTheWindow) {
    SeekFirst(0);
    std::size_t most = 0;
    int64 items = 0;
    while (auto const item = stream->Read()) {
        ++items;
        if (items % 7 != 0 && items % (count / 2) > 2) continue;
        most = std::max(most, source->GetAlive().size());
    }
    EXPECT_GT(items, 5 * count - 2);
    // The window, the item that ends behind it, those that end at its beginning and are held by the reader.
    EXPECT_LE(most, static_cast<std::size_t>(count) + 3);
    EXPECT_GE(most, static_cast<std::size_t>(count));
}

INSTANTIATE_TEST_SUITE_P(Items, CacheWindow, ::testing::Values(25, 250, 2500));

}  // namespace
}  // namespace Tarsel::Proc
