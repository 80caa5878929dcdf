// Records of chance, compared with what plain models say of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "contracts/Core/Time.h"
#include "host/digest/RecordComparison.h"
#include "tests/support/Draw.h"
#include "tests/support/RecordedItems.h"

namespace Tarsel::Host {
namespace {

using namespace Tarsel::Test;
using TestSupport::Draw;
using Kind = ItemDifference::Kind;

NodeComparison Compare(RecordedItems const& first, RecordedItems const& second) {
    auto const comparison = CompareRecords(MakeRecord({{1, first}}), MakeRecord({{1, second}}));
    return comparison.nodes.empty() ? NodeComparison{} : comparison.nodes.at(0);
}

/// Items that both have in order, time and digest, by the plain table: what a comparison line by line keeps.
std::size_t CommonLines(RecordedItems const& first, RecordedItems const& second) {
    std::vector<std::size_t> row(second.size() + 1);
    for (RecordedItem const& item : first) {
        std::size_t diagonal = 0;
        for (std::size_t j = 0; j < second.size(); ++j) {
            std::size_t const above = row[j + 1];
            row[j + 1] = item == second[j] ? diagonal + 1 : std::max(above, row[j]);
            diagonal = above;
        }
    }
    return row.back();
}

/// What the differences make of the first record.
RecordedItems Apply(RecordedItems const& first, RecordedItems const& second, NodeComparison const& node) {
    std::map<u32, ItemDifference const*> byFirst;
    std::map<u32, ItemDifference const*> extra;
    for (ItemDifference const& difference : node.differences)
        (difference.first ? byFirst[*difference.first] : extra[*difference.second]) = &difference;
    RecordedItems result;
    auto const addExtra = [&] {
        for (auto next = extra.find(static_cast<u32>(result.size())); next != extra.end();
             next = extra.find(static_cast<u32>(result.size())))
            result.push_back(second.at(next->first));
    };
    for (u32 i = 0; i < first.size(); ++i) {
        auto const found = byFirst.find(i);
        if (found != byFirst.end() && found->second->kind == Kind::Missing) continue;
        addExtra();
        result.push_back(first[i]);
        if (found != byFirst.end()) {
            EXPECT_EQ(result.size() - 1, *found->second->second);
            EXPECT_EQ(first[i].second, found->second->timeUs);
            EXPECT_NE(found->second->timeUs, found->second->movedToUs);
            result.back().second = found->second->movedToUs;
        }
    }
    addExtra();
    return result;
}

void ExpectSound(RecordedItems const& first, RecordedItems const& second, NodeComparison const& node) {
    EXPECT_EQ(second, Apply(first, second, node));
    std::size_t counts[3] = {};
    for (ItemDifference const& difference : node.differences) ++counts[static_cast<std::size_t>(difference.kind)];
    EXPECT_EQ(counts[0], node.missing);
    EXPECT_EQ(counts[1], node.extra);
    EXPECT_EQ(counts[2], node.moved);
    EXPECT_EQ(first == second, node.IsEqual());
}

/// A record in which times mostly ascend.
RecordedItems DrawRecord(Draw& draw, std::size_t count, u32 digests) {
    RecordedItems items;
    int64 time = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::string const digest(1, static_cast<char>('a' + draw.Below(digests)));
        items.emplace_back(digest, draw.Below(40) == 0 ? NO_VALUE : time);
        time = draw.Below(12) == 0 ? 10 * int64{draw.Below(5)} : time + (draw.Below(6) == 0 ? 5 : 10);
    }
    return items;
}

/// Loses, adds, replaces and delays items here and there.
RecordedItems Disturb(Draw& draw, RecordedItems items, u32 digests) {
    for (u32 i = 0, edits = draw.Below(5); i < edits && !items.empty(); ++i) {
        u32 const place = draw.Below(static_cast<u32>(items.size()));
        std::string const digest(1, static_cast<char>('a' + draw.Below(digests)));
        switch (draw.Below(4)) {
            case 0:
                items = Without(items, place);
                break;
            case 1:
                items = With(items, place, {digest, SubTime(items[place].second, 5)});
                break;
            case 2:
                items[place].first = digest;
                break;
            default:
                for (u32 later = place; later < items.size(); ++later)
                    items[later].second = AddTime(items[later].second, 10);
        }
    }
    return items;
}

TEST(RandomComparison, TheDifferencesMakeTheSecondRecordOfTheFirst) {
    for (u32 seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Draw draw(seed);
        u32 const digests = 1 + draw.Below(6);
        auto const first = DrawRecord(draw, draw.Below(40), digests);
        auto const second =
            draw.Below(4) == 0 ? DrawRecord(draw, draw.Below(40), digests) : Disturb(draw, first, digests);
        ExpectSound(first, second, Compare(first, second));
        if (HasFailure()) return;
    }
}

TEST(RandomComparison, WhereADigestBelongsToATimeAsMuchIsEqualAsAComparisonLineByLineKeeps) {
    for (u32 seed = 1; seed <= 1500; ++seed) {
        Draw draw(seed);
        auto const drawItems = [&] {
            RecordedItems items;
            for (u32 i = draw.Below(40); i > 0; --i) {
                u32 const number = draw.Below(seed % 2 == 0 ? 60 : 12);
                items.emplace_back(std::to_string(number), number * 10);
            }
            return items;
        };
        auto const first = drawItems();
        auto const second = drawItems();
        NodeComparison const node = Compare(first, second);
        EXPECT_EQ(0U, node.moved);
        ASSERT_EQ(CommonLines(first, second), first.size() - node.missing) << "seed " << seed;
    }
}

TEST(RandomComparison, NoMoreItemsAreLeftOverThanInAComparisonLineByLine) {
    for (u32 seed = 1; seed <= 3000; ++seed) {
        Draw draw(seed);
        u32 const digests = 1 + draw.Below(6);
        auto const first = DrawRecord(draw, draw.Below(30), digests);
        auto const second = draw.Flag() ? DrawRecord(draw, draw.Below(30), digests) : Disturb(draw, first, digests);
        NodeComparison const node = Compare(first, second);
        std::size_t const lines = first.size() + second.size() - 2 * CommonLines(first, second);
        ASSERT_LE(node.missing + node.extra, lines) << "seed " << seed;
    }
}

TEST(RandomComparison, OneLostItemIsOneMissingItemWhateverTheRecord) {
    for (u32 seed = 1; seed <= 1000; ++seed) {
        Draw draw(seed);
        auto const first = DrawRecord(draw, 1 + draw.Below(50), 1 + draw.Below(6));
        u32 const lost = draw.Below(static_cast<u32>(first.size()));
        NodeComparison const node = Compare(first, Without(first, lost));
        ASSERT_EQ(1U, node.missing) << "seed " << seed;
        ASSERT_EQ(0U, node.extra) << "seed " << seed;
        ASSERT_EQ(0U, node.moved) << "seed " << seed;
        ASSERT_EQ(first[lost], first[*node.differences.at(0).first]) << "seed " << seed;
    }
}

TEST(RandomComparison, LongRecordsOfFewDigestsAreSound) {
    Draw draw(9);
    for (u32 const digests : {1U, 2U, 30U}) {
        auto const first = DrawRecord(draw, 50000, digests);
        auto const second = DrawRecord(draw, 50000, digests);
        ExpectSound(first, second, Compare(first, second));
    }
}

TEST(RandomComparison, AMillionItemsWithoutOneInTheMiddle) {
    RecordedItems items;
    for (int64 i = 0; i < 1000000; ++i) items.emplace_back(std::to_string(i / 3), i * 40);
    NodeComparison const node = Compare(items, Without(items, 500000));
    EXPECT_EQ(1U, node.missing);
    EXPECT_EQ(0U, node.extra + node.moved);
    EXPECT_EQ(500000U, node.differences.at(0).first);
}

}  // namespace
}  // namespace Tarsel::Host
