// Random maps against the plain model, and what holds for all maps.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/Proc/SmartMapModel.h"
#include "tests/Proc/SmartMapSupport.h"
#include "tests/support/Draw.h"
#include "tests/support/Sanitizer.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using TestSupport::Draw;

/// A map and its model, side by side.
class Pair {
  public:
    Pair(Draw& draw, bool isRegular) : draw(draw), isRegular(isRegular) {}

    void AddSource() {
        ModelSource source = isRegular ? RegularSource() : AnySource();
        source.begin = draw.Below(isRegular ? 300 : 500);
        source.order = static_cast<int>(draw.Below(4)) - 1;
        source.log.push_back("ReleaseInternalData");
        std::vector<ScriptedVideo::Step> steps;
        for (ModelFrame const& frame : source.script)
            steps.emplace_back(MakeVideo(frame.time, frame.duration, static_cast<u8>(frame.shade)));
        scripts.push_back(ScriptedVideo::Create(steps));
        scripts.back()->duration = source.duration;
        map.Add(scripts.back(), source.begin, source.order);
        model.sources.push_back(std::move(source));
    }
    void AddEffect() {
        std::string const name = "effect " + std::to_string(effects.size());
        int64 const begin = draw.Below(500);
        int64 const end = begin + 1 + draw.Below(200);
        effects.push_back(MakeShared<NotingEffect>(name));
        effects.back()->calls = &effectLog;
        map.Add(effects.back(), begin, end);
        model.effects.push_back({name, begin, end});
    }

    // Edits; a seek has to follow all but the first.

    void ChangeOrder() {
        if (scripts.empty()) return;
        std::size_t const i = draw.Below(static_cast<u32>(scripts.size()));
        model.sources[i].order = static_cast<int>(draw.Below(4)) - 1;
        MapLock const lock(*map);
        map.streams[i]->SetOrder(model.sources[i].order);
    }
    void MoveSource() {
        if (scripts.empty()) return;
        std::size_t const i = draw.Below(static_cast<u32>(scripts.size()));
        model.sources[i].begin = draw.Below(500);
        MapLock const lock(*map);
        map.streams[i]->SetBegin(model.sources[i].begin);
    }
    void RemoveSource() {
        if (scripts.empty()) return;
        auto const i = static_cast<std::ptrdiff_t>(draw.Below(static_cast<u32>(scripts.size())));
        MapLock const lock(*map);
        map.streams.erase(map.streams.begin() + i);
        scripts.erase(scripts.begin() + i);
        model.sources.erase(model.sources.begin() + i);
    }
    void MoveEffect() {
        if (effects.empty()) return;
        std::size_t const i = draw.Below(static_cast<u32>(effects.size()));
        model.effects[i].begin = draw.Below(500);
        model.effects[i].end = draw.Below(700);
        MapLock const lock(*map);
        map.effects[i]->SetBegin(model.effects[i].begin);
        map.effects[i]->SetEnd(model.effects[i].end);
    }

    void SeekTo(int64 target) {
        Seek(*map, target);
        model.SeekTo(target);
    }
    /// What the map gives; the model gives the same, and both have asked the same of everyone.
    std::string Read() {
        std::string got;
        try {
            got = ReadText(*map);
        } catch (std::logic_error const& failure) {
            got = failure.what();
        }
        EXPECT_EQ(got, model.Read());
        EXPECT_EQ(map->GetPosition(), model.position);
        return got;
    }
    void ExpectEqualCalls() {
        EXPECT_EQ(Sorted(std::exchange(effectLog, {})), Sorted(std::exchange(model.effectLog, {})));
        for (std::size_t i = 0; i < scripts.size(); ++i) {
            auto calls = scripts[i]->log.Take();
            std::erase(calls, "FinishSeek");
            EXPECT_EQ(calls, std::exchange(model.sources[i].log, {})) << "source " << i;
        }
    }

    VideoMap map;
    SmartMapModel model;
    std::vector<iptr<ScriptedVideo>> scripts;
    std::vector<iptr<NotingEffect>> effects;

  private:
    ModelSource RegularSource() {
        ModelSource source;
        int64 time = 0;
        int64 const length = 10 + draw.Below(30);
        for (u32 count = 1 + draw.Below(12); count > 0; --count) {
            source.script.push_back({time, length, shade++ % 250});
            time += length;
        }
        source.duration = time;
        return source;
    }
    /// Holes, overlaps, frames of no length, times below 0, and a length that isn't that of the frames.
    ModelSource AnySource() {
        ModelSource source;
        int64 time = draw.Below(4) == 0 ? static_cast<int64>(draw.Below(90)) - 60 : 0;
        for (u32 count = draw.Below(9); count > 0; --count) {
            int64 const length = draw.Below(8) == 0 ? 0 : 1 + draw.Below(60);
            source.script.push_back({time, length, shade++ % 250});
            time += length;
            if (draw.Below(10) == 0) time += static_cast<int64>(draw.Below(60)) - 20;
        }
        source.duration = std::max<int64>(time, 0);
        if (draw.Below(4) == 0) source.duration = draw.Below(300);
        return source;
    }
    /// Which of several effects that end together is told first isn't laid down.
    static std::vector<std::string> Sorted(std::vector<std::string> calls) {
        auto const isReset = [](std::string const& call) { return call.ends_with(": reset"); };
        for (auto first = calls.begin(); first != calls.end();) {
            auto const last = std::find_if_not(first, calls.end(), isReset);
            std::sort(first, last);
            first = last == calls.end() ? last : last + 1;
        }
        return calls;
    }

    Draw& draw;
    bool const isRegular;
    int shade = 1;
    std::vector<std::string> effectLog;
};

void RunAgainstModel(u32 seed, bool isRegular) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Draw draw(seed);
    Pair pair(draw, isRegular);
    for (u32 count = draw.Below(draw.Below(8) == 0 ? 40 : 7); count > 0; --count) pair.AddSource();
    for (u32 count = draw.Below(6); count > 0; --count) pair.AddEffect();
    for (int round = 0; round < 6; ++round) {
        int64 const duration = pair.model.GetDuration();
        pair.SeekTo(draw.Below(3) == 0 ? 0 : static_cast<int64>(draw.Below(static_cast<u32>(duration) + 20)) - 10);
        for (u32 reads = draw.Below(40); reads > 0; --reads) {
            std::string const got = pair.Read();
            if (got == "Empty packets buffer") break;
            if (draw.Below(10) == 0) pair.ChangeOrder();
        }
        pair.ExpectEqualCalls();
        if (testing::Test::HasFailure()) return;
        if (draw.Below(3) == 0) pair.MoveSource();
        if (draw.Below(4) == 0) pair.RemoveSource();
        if (draw.Below(3) == 0) pair.MoveEffect();
        if (draw.Below(4) == 0) pair.AddSource();
        if (draw.Below(4) == 0) pair.AddEffect();
    }
}

/// Tries all seeds, or under the address sanitizer a third of them.
constexpr u32 SHARE = Tarsel::Test::ThinnedBy(3);

TEST(SmartMapVideoModel, AnyMapDeliversWhatAPlainWalkOverAllRecordsDelivers) {
    for (u32 seed = 1; seed <= 3000 / SHARE && !HasFailure(); ++seed) RunAgainstModel(seed, false);
}

TEST(SmartMapVideoModel, SoDoMapsOfOrdinarySources) {
    for (u32 seed = 1; seed <= 1500 / SHARE && !HasFailure(); ++seed) RunAgainstModel(seed, true);
}

/// Begin and end of each item of one run.
struct Item {
    int64 begin;
    int64 end;
    int shade;

    bool operator==(Item const&) const = default;
};

std::vector<Item> ReadItems(VideoMap& map) {
    std::vector<Item> items;
    for (auto const& frame : ReadAll(*map))
        items.push_back({frame->GetTime(), AddTime(frame->GetTime(), frame->GetDuration()), ShadeOf(*frame)});
    return items;
}

TEST(SmartMapVideoModel, ItemsTileTheTimeline) {
    std::size_t count = 0;
    for (u32 seed = 1; seed <= 500 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Draw draw(seed);
        Pair pair(draw, true);
        for (u32 sources = 1 + draw.Below(8); sources > 0; --sources) pair.AddSource();
        for (u32 effects = draw.Below(4); effects > 0; --effects) pair.AddEffect();
        int64 const start = draw.Below(static_cast<u32>(pair.map->GetDuration()));
        Seek(*pair.map, start);
        int64 expected = start;
        for (Item const& item : ReadItems(pair.map)) {
            EXPECT_EQ(item.begin, expected);
            EXPECT_GT(item.end, item.begin);
            expected = item.end;
            ++count;
        }
        // What is left is less than half of a frame, or a gap.
        EXPECT_GE(pair.map->GetPosition(), expected);
        EXPECT_LT(pair.map->GetPosition() - expected, 20);
    }
    EXPECT_GT(count, 3000U);
}

TEST(SmartMapVideoModel, ReadingAfterASeekGoesOnAsReadingStraightThroughDoes) {
    std::size_t compared = 0;
    for (u32 seed = 1; seed <= 300 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Draw draw(seed);
        Pair pair(draw, true);
        for (u32 sources = 1 + draw.Below(8); sources > 0; --sources) pair.AddSource();
        for (u32 effects = draw.Below(4); effects > 0; --effects) pair.AddEffect();
        Seek(*pair.map, pair.model.sources.front().begin);
        std::vector<Item> const straight = ReadItems(pair.map);
        for (int i = 0; i < 8 && !straight.empty(); ++i) {
            int64 const target =
                straight.front().begin + draw.Below(static_cast<u32>(straight.back().end - straight.front().begin));
            Seek(*pair.map, target);
            std::vector<Item> const behind = ReadItems(pair.map);
            if (!behind.empty()) {
                EXPECT_EQ(behind.front().begin, target);
            }
            // The first items are cut at the position, until both come to one place.
            auto const begins = [&](int64 time) {
                return std::find_if(straight.begin(), straight.end(),
                                    [&](Item const& item) { return item.begin == time; });
            };
            auto const meeting = std::find_if(behind.begin(), behind.end(),
                                              [&](Item const& item) { return begins(item.begin) != straight.end(); });
            if (meeting == behind.end()) continue;
            std::vector<Item> const rest(meeting, behind.end());
            EXPECT_EQ(rest, (std::vector<Item>(begins(meeting->begin), straight.end())));
            compared += rest.size();
        }
    }
    EXPECT_GT(compared, 10000U);
}

}  // namespace
}  // namespace Tarsel::Proc
