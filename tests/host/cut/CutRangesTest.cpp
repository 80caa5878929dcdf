#include "host/cut/CutRanges.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int64 END = Interval::TO_END;

/// Pictures at 0, 40, 80 ... 960 ms of a file of one second.
std::vector<int64> Pictures() {
    std::vector<int64> times;
    for (int64 time = 0; time < SECOND; time += 40000) times.push_back(time);
    return times;
}

struct Resolved {
    Intervals removed;
    std::vector<std::string> warnings;
};

Resolved Resolve(std::vector<std::string> const& ranges, bool keep = false,
                 std::vector<int64> const& pictures = Pictures()) {
    CutRequest request;
    request.keep = keep;
    for (std::string const& text : ranges) request.ranges.push_back(ParseRange(text));
    Resolved resolved;
    resolved.removed = ResolveRanges(request, SECOND, pictures, resolved.warnings);
    return resolved;
}

TEST(CutRanges, BothEndsMoveUpToTheNextPicture) {
    auto const resolved = Resolve({"50ms-130ms"});
    EXPECT_THAT(resolved.removed, ElementsAre(Interval{80000, 160000}));
    EXPECT_THAT(resolved.warnings, ElementsAre(HasSubstr("00:00.080 - 00:00.160")));
}

TEST(CutRanges, EndsOnPicturesStayWithoutAWord) {
    auto const resolved = Resolve({"40ms-80ms"});
    EXPECT_THAT(resolved.removed, ElementsAre(Interval{40000, 80000}));
    EXPECT_THAT(resolved.warnings, IsEmpty());
}

TEST(CutRanges, WithoutPicturesNothingIsMoved) {
    auto const resolved = Resolve({"50ms-130ms"}, false, {});
    EXPECT_THAT(resolved.removed, ElementsAre(Interval{50000, 130000}));
    EXPECT_THAT(resolved.warnings, IsEmpty());
}

TEST(CutRanges, ARangeBetweenTwoPicturesIsDroppedWithANotice) {
    auto const resolved = Resolve({"41ms-79ms"});
    EXPECT_THAT(resolved.removed, IsEmpty());
    EXPECT_THAT(resolved.warnings, ElementsAre(HasSubstr("holds no picture")));
}

TEST(CutRanges, AnEndBehindTheLastPictureIsTheEndOfTheFile) {
    EXPECT_THAT(Resolve({"500ms-970ms"}).removed, ElementsAre(Interval{520000, END}));
    EXPECT_THAT(Resolve({"500ms-end"}).removed, ElementsAre(Interval{520000, END}));
    EXPECT_THAT(Resolve({"500ms-1s"}).removed, ElementsAre(Interval{520000, END}));
}

TEST(CutRanges, TouchingAndOverlappingRangesAreJoined) {
    EXPECT_THAT(Resolve({"200ms-400ms", "80ms-200ms", "320ms-480ms"}).removed, ElementsAre(Interval{80000, 480000}));
    // Apart as asked, touching on the grid of pictures.
    EXPECT_THAT(Resolve({"80ms-170ms", "180ms-240ms"}).removed, ElementsAre(Interval{80000, 240000}));
}

TEST(CutRanges, KeptRangesRemoveTheRest) {
    EXPECT_THAT(Resolve({"80ms-160ms", "400ms-480ms"}, true).removed,
                ElementsAre(Interval{0, 80000}, Interval{160000, 400000}, Interval{480000, END}));
    EXPECT_THAT(Resolve({"start-400ms"}, true).removed, ElementsAre(Interval{400000, END}));
    EXPECT_THAT(Resolve({"400ms-end"}, true).removed, ElementsAre(Interval{0, 400000}));
    EXPECT_THAT(Resolve({"-"}, true).removed, IsEmpty());
}

TEST(CutRanges, ARangeBeyondTheEndFailsAndOnePartlyBeyondIsCutWithAWarning) {
    EXPECT_THROW(Resolve({"1s-2s"}), Proc::ProcException);
    auto const resolved = Resolve({"800ms-2s"});
    EXPECT_THAT(resolved.removed, ElementsAre(Interval{800000, END}));
    EXPECT_THAT(resolved.warnings, ElementsAre(HasSubstr("reaches beyond the end")));
}

TEST(CutRanges, NothingLeftFails) {
    EXPECT_THROW(Resolve({"-"}), Proc::ProcException);
    EXPECT_THROW(Resolve({"0-500ms", "480ms-end"}), Proc::ProcException);
    EXPECT_THROW(Resolve({"41ms-79ms"}, true), Proc::ProcException);
}

TEST(CutRanges, SnapsInwardToKeyPictures) {
    std::vector<int64> const keys{0, 400000, 800000};
    std::vector<std::string> warnings;
    EXPECT_THAT(SnapInward({{80000, 840000}}, keys, warnings), ElementsAre(Interval{400000, 800000}));
    EXPECT_EQ(warnings.size(), 1U);
    warnings.clear();
    EXPECT_THAT(SnapInward({{400000, 800000}, {0, 400000}}, keys, warnings),
                ElementsAre(Interval{400000, 800000}, Interval{0, 400000}));
    EXPECT_THAT(warnings, IsEmpty());
    EXPECT_THAT(SnapInward({{440000, END}}, keys, warnings), ElementsAre(Interval{800000, END}));
    warnings.clear();
    EXPECT_THAT(SnapInward({{440000, 760000}}, keys, warnings), IsEmpty());
    EXPECT_THAT(warnings, ElementsAre(HasSubstr("no whole group")));
}

}  // namespace
}  // namespace Tarsel::Host
