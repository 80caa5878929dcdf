#include "tests/support/CutLists.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "contracts/Core/Time.h"

namespace Tarsel::Test {
namespace {

class Maker {
  public:
    Maker(SourceMedia const& source, unsigned seed) : source(source), random(seed) {
        for (auto const& group : source.groups) borders.push_back(group.start);
        if (borders.empty())
            for (int64 time = 0; time < source.duration; time += 2 * SECOND) borders.push_back(time);
        borders.push_back(source.duration);
    }

    TimeRanges Ranges(CutShape shape) {
        switch (shape) {
            case CutShape::WithinOnePicture:
                return {WithinOnePicture()};
            case CutShape::InsideOneGroup:
                return {OverGroups(-1)};
            case CutShape::OverNoWholeGroup:
                return {OverGroups(0)};
            case CutShape::OverOneWholeGroup:
                return {OverGroups(1)};
            case CutShape::OverSeveralGroups:
                return {OverGroups(2 + Below(3))};
            case CutShape::LongerThanAJump:
                return {LongRange()};
            case CutShape::Touching:
                return Touching();
            case CutShape::Overlapping:
                return Overlapping();
            case CutShape::AtTheStart:
                return {{0, Between(1, source.duration - 1)}};
            case CutShape::ToTheEnd:
                return {{Between(1, source.duration - 1), Below(2) == 0 ? TO_END : source.duration}};
            case CutShape::Everything:
                return {{0, TO_END}};
            case CutShape::OnGroupStarts:
                return {OnGroupStarts()};
            case CutShape::Several:
                return Several();
            default:
                return {};
        }
    }

    int Below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(std::max(limit, 1))); }
    /// Moves a time off the immediate neighbourhood of a picture, where roundings of different time bases decide.
    int64 Clear(int64 time) const {
        if (time == TO_END || time <= 0) return time;
        for (auto const& picture : source.pictures) {
            int64 const distance = time - picture.time;
            if (std::abs(distance) <= 2 && picture.time > 3) return picture.time - 3;
        }
        return time;
    }

  private:
    int64 Between(int64 low, int64 high) {
        if (high <= low) return low;
        return low + static_cast<int64>(random() % static_cast<uint64>(high - low + 1));
    }

    int64 InGroup(std::size_t group) { return Between(borders[group] + 1, borders[group + 1] - 1); }

    TimeRange WithinOnePicture() {
        if (source.pictures.empty()) return {SECOND, SECOND + Between(1, 5000)};
        int const picture = Below(static_cast<int>(source.pictures.size()));
        int64 const begin = source.pictures[static_cast<std::size_t>(picture)].time;
        int64 const end = source.PictureEnd(picture);
        int64 const from = Between(begin, end - 20);
        return {from, Between(from + 10, end - 5)};
    }

    /// From the middle of a group to the middle of one behind it with `whole` groups between; -1: the same group.
    TimeRange OverGroups(int whole) {
        int const groups = static_cast<int>(borders.size()) - 1;
        int const span = std::min(whole + 1, groups - 1);
        auto const first = static_cast<std::size_t>(Below(groups - span));
        int64 begin = InGroup(first);
        int64 end = InGroup(first + static_cast<std::size_t>(span));
        if (begin > end) std::swap(begin, end);
        return {begin, std::max(end, begin + 1000)};
    }

    TimeRange LongRange() {
        int64 const length = std::min(source.duration - 2 * SECOND / 10, 5 * SECOND + Between(100000, 2 * SECOND));
        int64 const begin = Between(1, std::max<int64>(1, source.duration - length - 1));
        return {begin, begin + length};
    }

    TimeRanges Touching() {
        auto const whole = OverGroups(Below(3) - 1);
        int64 const middle = Clear(Between(whole.begin + 1, whole.end - 1));
        return {{whole.begin, middle}, {middle, whole.end}};
    }

    TimeRanges Overlapping() {
        auto const a = OverGroups(Below(2));
        int64 const middle = Between(a.begin + 1, a.end - 1);
        return {a, {middle, std::min(source.duration, middle + Between(SECOND / 2, 2 * SECOND))}};
    }

    TimeRange OnGroupStarts() {
        int const groups = static_cast<int>(borders.size()) - 1;
        int const first = Below(groups);
        int const last = first + 1 + Below(groups - first);
        return {borders[static_cast<std::size_t>(first)], borders[static_cast<std::size_t>(last)]};
    }

    TimeRanges Several() {
        TimeRanges ranges;
        int const count = 2 + Below(5);
        for (int i = 0; i < count; i++) {
            int64 const begin = Between(0, source.duration - 2);
            ranges.push_back({begin, std::min(source.duration, begin + Between(10000, source.duration / count))});
            if (ranges.back().end <= ranges.back().begin) ranges.pop_back();
        }
        return ranges;
    }

    SourceMedia const& source;
    std::mt19937 random;
    std::vector<int64> borders;
};

std::string RangeText(TimeRange const& range, unsigned form) {
    std::string const begin = range.begin == 0 && form % 3 == 1   ? "start"
                              : range.begin == 0 && form % 3 == 2 ? ""
                                                                  : TimeText(range.begin, form);
    std::string const end = range.end == TO_END ? (form % 2 == 0 ? "end" : "") : TimeText(range.end, form / 2);
    return begin + "-" + end;
}

}  // namespace

std::string TimeText(int64 time, unsigned form) {
    std::array<char, 64> text{};
    auto const whole = static_cast<long long>(time / SECOND);
    auto const part = static_cast<long long>(time % SECOND);
    switch (form % 6) {
        case 0:
            std::snprintf(text.data(), text.size(), "%lld.%06lld", whole, part);
            break;
        case 1:
            std::snprintf(text.data(), text.size(), "%lld.%06llds", whole, part);
            break;
        case 2:
            std::snprintf(text.data(), text.size(), "%lldus", static_cast<long long>(time));
            break;
        case 3:
            std::snprintf(text.data(), text.size(), "%lld:%02lld.%06lld", whole / 60, whole % 60, part);
            break;
        case 4:
            std::snprintf(text.data(), text.size(), "%02lld:%02lld:%02lld.%06lld", whole / 3600, whole / 60 % 60,
                          whole % 60, part);
            break;
        default:
            std::snprintf(text.data(), text.size(), "%lld.%03lldms", static_cast<long long>(time / 1000),
                          static_cast<long long>(time % 1000));
    }
    return text.data();
}

char const* NameOf(CutShape shape) {
    static constexpr std::array<char const*, static_cast<std::size_t>(CutShape::Count)> NAMES{"within one picture",
                                                                                              "inside one group",
                                                                                              "over no whole group",
                                                                                              "over one whole group",
                                                                                              "over several groups",
                                                                                              "longer than a jump",
                                                                                              "touching",
                                                                                              "overlapping",
                                                                                              "at the start",
                                                                                              "to the end",
                                                                                              "everything",
                                                                                              "nothing",
                                                                                              "on group starts",
                                                                                              "several"};
    return NAMES[static_cast<std::size_t>(shape)];
}

CutShape ShapeOf(unsigned seed) {
    return static_cast<CutShape>(seed % static_cast<unsigned>(CutShape::Count));
}

CutList MakeCutList(SourceMedia const& source, unsigned seed) {
    Maker maker(source, seed);
    CutList list;
    list.shape = ShapeOf(seed);
    list.request.ranges = maker.Ranges(list.shape);
    if (list.request.ranges.empty()) {
        // Nothing goes: a person says so by keeping all of it.
        list.request = {true, {{0, TO_END}}, false};
    } else if (list.shape != CutShape::Everything && maker.Below(3) == 0) {
        list.request.keep = true;
    }
    list.request.snapMore = maker.Below(2) == 1;
    for (auto& range : list.request.ranges) {
        range = {maker.Clear(range.begin), maker.Clear(range.end)};
        if (range.end <= range.begin) range.end = range.begin + 4;
        list.texts.push_back(RangeText(range, static_cast<unsigned>(maker.Below(60))));
    }
    return list;
}

}  // namespace Tarsel::Test
