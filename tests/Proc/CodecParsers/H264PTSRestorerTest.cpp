#include "Proc/CodecParsers/H264PTSRestorer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <ostream>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "tests/support/Draw.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/H264Builder.h"
#include "tests/support/Packets.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using namespace TestSupport;

constexpr u32 P = 0;
constexpr u32 B = 1;
constexpr u32 I = 2;
constexpr int64 MS = 1000;
constexpr int64 LARGEST = std::numeric_limits<int64>::max();
constexpr int64 SMALLEST = NO_VALUE + 1;

iptr<IDataPacket> Slice(u32 type, int64 dts, int64 duration = 40 * MS) {
    return MakePacket(JoinAnnexB({BuildSlice(type == I ? 5 : 1, type)}), type == I, 777 * MS, dts, duration);
}

struct Times {
    iptr<IDataPacket> packet;
    int64 pts;
    int64 dts;
    bool operator==(Times const&) const = default;
};

std::ostream& operator<<(std::ostream& out, Times const& times) {
    return out << times.packet.get() << " at " << times.pts << ", decoded at " << times.dts;
}

std::vector<Times> TakeReady(IPTSRestorer& restorer) {
    std::vector<Times> result;
    for (RestoredPacket entry = restorer.GetPacket(); entry.packet; entry = restorer.GetPacket())
        result.push_back({entry.packet, entry.pts, entry.dts});
    return result;
}

// All packets and the end of the stream.
std::vector<Times> Restore(std::vector<iptr<IDataPacket>> const& packets) {
    H264PTSRestorer restorer(false, 0);
    for (auto const& packet : packets) restorer.AddPacket(packet);
    restorer.AddPacket(nullptr);
    return TakeReady(restorer);
}

TEST(PTSRestorer, EachOfIPPClosesTheGroupOfTheOneBefore) {
    H264PTSRestorer restorer(false, 0);
    auto const first = Slice(I, 0);
    auto const second = Slice(P, 40 * MS);
    auto const third = Slice(P, 80 * MS);
    restorer.AddPacket(first);
    EXPECT_EQ(restorer.GetPacket().packet, nullptr);
    restorer.AddPacket(second);
    EXPECT_EQ(TakeReady(restorer), (std::vector<Times>{{first, -40 * MS, 0}}));
    restorer.AddPacket(third);
    EXPECT_EQ(TakeReady(restorer), (std::vector<Times>{{second, 0, 40 * MS}}));
    restorer.AddPacket(nullptr);
    EXPECT_EQ(TakeReady(restorer), (std::vector<Times>{{third, 40 * MS, 80 * MS}}));
}

TEST(PTSRestorer, AGroupComesOutWithItsAnchorLastWhenTheNextAnchorArrives) {
    H264PTSRestorer restorer(false, 0);
    std::vector<iptr<IDataPacket>> const group = {Slice(I, 0), Slice(B, 40 * MS), Slice(B, 80 * MS)};
    for (auto const& packet : group) restorer.AddPacket(packet);
    EXPECT_EQ(restorer.GetPacket().packet, nullptr);
    restorer.AddPacket(Slice(P, 120 * MS));
    EXPECT_EQ(TakeReady(restorer),
              (std::vector<Times>{{group[1], 0, 40 * MS}, {group[2], 40 * MS, 80 * MS}, {group[0], -40 * MS, 0}}));
}

TEST(PTSRestorer, TimesOfAGroupDoNotAscend) {
    auto const times = Restore({Slice(I, 0), Slice(B, 40 * MS), Slice(B, 80 * MS)});
    ASSERT_EQ(times.size(), 3U);
    EXPECT_EQ(times[0].pts, 0);
    EXPECT_EQ(times[1].pts, 40 * MS);
    EXPECT_EQ(times[2].pts, -40 * MS);
}

TEST(PTSRestorer, TheLastGroupComesOutOnlyAtTheEndOfTheStream) {
    H264PTSRestorer restorer(false, 0);
    restorer.AddPacket(Slice(I, 0));
    restorer.AddPacket(Slice(B, 40 * MS));
    EXPECT_TRUE(TakeReady(restorer).empty());
    restorer.AddPacket(nullptr);
    EXPECT_EQ(TakeReady(restorer).size(), 2U);
}

TEST(PTSRestorer, AnEndOfTheStreamWithNothingPendingDoesNothing) {
    H264PTSRestorer restorer(false, 0);
    restorer.AddPacket(nullptr);
    EXPECT_EQ(restorer.GetPacket().packet, nullptr);
    auto const packet = Slice(I, 0);
    restorer.AddPacket(packet);
    restorer.AddPacket(nullptr);
    restorer.AddPacket(nullptr);
    EXPECT_EQ(TakeReady(restorer), (std::vector<Times>{{packet, -40 * MS, 0}}));
}

TEST(PTSRestorer, NothingReadyIsAnEmptyEntryWithoutTimes) {
    H264PTSRestorer restorer(false, 0);
    RestoredPacket const entry = restorer.GetPacket();
    EXPECT_EQ(entry.packet, nullptr);
    EXPECT_EQ(entry.pts, NO_VALUE);
    EXPECT_EQ(entry.dts, NO_VALUE);
}

TEST(PTSRestorer, PacketsStayAsTheyAre) {
    auto const packet = Slice(I, NO_VALUE);
    auto const behind = Slice(P, 40 * MS);
    auto const times = Restore({packet, behind});
    EXPECT_EQ(times[0].dts, 0);
    EXPECT_EQ(packet->GetTime(), 777 * MS);
    EXPECT_EQ(packet->GetDecodingTime(), NO_VALUE);
    EXPECT_EQ(packet->GetDuration(), 40 * MS);
}

TEST(PTSRestorer, EachPacketIsShownItsOwnDurationAheadOfItsDecodingTime) {
    auto const times = Restore({Slice(I, 0, 40 * MS), Slice(B, 40 * MS, 10 * MS), Slice(B, 50 * MS, 0)});
    EXPECT_EQ(times[0].pts, 30 * MS);
    EXPECT_EQ(times[1].pts, 50 * MS);
    EXPECT_EQ(times[2].pts, -40 * MS);
}

TEST(PTSRestorer, BSlicesAheadOfTheFirstAnchorKeepTheirOrder) {
    auto const first = Slice(B, 0);
    auto const second = Slice(B, 40 * MS);
    auto const anchor = Slice(P, 80 * MS);
    EXPECT_EQ(Restore({first, second, anchor}),
              (std::vector<Times>{{first, -40 * MS, 0}, {second, 0, 40 * MS}, {anchor, 40 * MS, 80 * MS}}));
}

TEST(PTSRestorer, APacketWithoutASliceClosesTheGroupAsAnAnchorDoes) {
    H264PTSRestorer restorer(false, 0);
    auto const anchor = Slice(I, 0);
    auto const inter = Slice(B, 40 * MS);
    auto const other = MakePacket(JoinAnnexB({{6, 5, 4}}), false, 0, 80 * MS, 40 * MS);
    restorer.AddPacket(anchor);
    restorer.AddPacket(inter);
    restorer.AddPacket(other);
    EXPECT_EQ(TakeReady(restorer), (std::vector<Times>{{inter, 0, 40 * MS}, {anchor, -40 * MS, 0}}));
    auto const next = Slice(B, 120 * MS);
    restorer.AddPacket(next);
    restorer.AddPacket(nullptr);
    EXPECT_EQ(TakeReady(restorer), (std::vector<Times>{{next, 80 * MS, 120 * MS}, {other, 40 * MS, 80 * MS}}));
}

TEST(PTSRestorer, SliceTypesFromFiveOnCountAsTheOnesBelow) {
    auto const anchor = Slice(I, 0);
    auto const inter = MakePacket(JoinAnnexB({BuildSlice(1, 6)}), false, 0, 40 * MS, 40 * MS);
    auto const times = Restore({anchor, inter});
    EXPECT_EQ(times[0].packet, inter);
    EXPECT_EQ(times[1].packet, anchor);
}

TEST(PTSRestorer, LengthPrefixedPacketsAreReadWithTheLengthSizeGiven) {
    for (u32 lengthSize = 1; lengthSize <= 4; ++lengthSize) {
        int const size = static_cast<int>(lengthSize);
        auto const anchor = MakePacket(JoinMP4({BuildSlice(5, I)}, size), true, 0, 0, 40 * MS);
        auto const inter = MakePacket(JoinMP4({BuildSlice(1, B)}, size), false, 0, 40 * MS, 40 * MS);
        auto const restorer = CreateH264PTSRestorer(true, lengthSize);
        restorer->AddPacket(anchor);
        restorer->AddPacket(inter);
        restorer->AddPacket(nullptr);
        EXPECT_EQ(TakeReady(*restorer), (std::vector<Times>{{inter, 0, 40 * MS}, {anchor, -40 * MS, 0}}));
    }
}

TEST(PTSRestorer, ClearForgetsBothLists) {
    H264PTSRestorer restorer(false, 0);
    restorer.AddPacket(Slice(I, 0));
    restorer.AddPacket(Slice(P, 40 * MS));
    restorer.Clear();
    EXPECT_EQ(restorer.GetPacket().packet, nullptr);
    restorer.AddPacket(nullptr);
    EXPECT_EQ(restorer.GetPacket().packet, nullptr);
    auto const packet = Slice(B, 0);
    restorer.AddPacket(packet);
    restorer.AddPacket(nullptr);
    EXPECT_EQ(TakeReady(restorer), (std::vector<Times>{{packet, -40 * MS, 0}}));
}

// --- Missing decoding times ------------------------------------------------------------------------------------------

TEST(PTSRestorerFill, MissingDecodingTimesAreFilledBackwardsFromTheNextAnchor) {
    auto const anchor = Slice(I, NO_VALUE);
    auto const first = Slice(B, NO_VALUE);
    auto const second = Slice(B, NO_VALUE);
    auto const next = Slice(P, 200 * MS);
    EXPECT_EQ(Restore({anchor, first, second, next}), (std::vector<Times>{{first, 80 * MS, 120 * MS},
                                                                          {second, 120 * MS, 160 * MS},
                                                                          {anchor, 40 * MS, 80 * MS},
                                                                          {next, 160 * MS, 200 * MS}}));
}

TEST(PTSRestorerFill, TheAnchorsDurationIsTheSpacingOfItsGroup) {
    auto const times = Restore({Slice(I, NO_VALUE, 20 * MS), Slice(B, NO_VALUE, 50 * MS), Slice(P, 200 * MS)});
    EXPECT_EQ(times[0].dts, 180 * MS);
    EXPECT_EQ(times[0].pts, 130 * MS);
    EXPECT_EQ(times[1].dts, 160 * MS);
    EXPECT_EQ(times[1].pts, 140 * MS);
}

TEST(PTSRestorerFill, KnownDecodingTimesStayWhatTheyAre) {
    auto const times = Restore({Slice(I, 3 * MS), Slice(B, NO_VALUE), Slice(B, 5 * MS), Slice(P, 200 * MS)});
    EXPECT_EQ(times[0].dts, 120 * MS);
    EXPECT_EQ(times[1].dts, 5 * MS);
    EXPECT_EQ(times[2].dts, 3 * MS);
}

TEST(PTSRestorerFill, WithoutATimeBehindTheFirstKnownOneOfTheGroupIsTakenOn) {
    auto const times = Restore({Slice(I, NO_VALUE), Slice(B, 100 * MS), Slice(B, 999 * MS), Slice(B, NO_VALUE)});
    ASSERT_EQ(times.size(), 4U);
    EXPECT_EQ(times[0].dts, 100 * MS);
    EXPECT_EQ(times[1].dts, 999 * MS);
    EXPECT_EQ(times[2].dts, 180 * MS);
    EXPECT_EQ(times[3].dts, 60 * MS);
}

TEST(PTSRestorerFill, AnAnchorWithoutATimeGetsTheOneThatItsForerunnersGive) {
    auto const times = Restore({Slice(I, 0), Slice(B, NO_VALUE), Slice(P, NO_VALUE), Slice(P, 200 * MS)});
    ASSERT_EQ(times.size(), 4U);
    EXPECT_EQ(times[0].dts, 40 * MS);
    EXPECT_EQ(times[1].dts, 0);
    EXPECT_EQ(times[2].dts, 80 * MS);
    EXPECT_EQ(times[2].pts, 40 * MS);
    EXPECT_EQ(times[3].dts, 200 * MS);
}

TEST(PTSRestorerFill, OneKnownTimeIsCarriedOnThroughAllThatFollows) {
    auto const times = Restore({Slice(I, 10 * MS), Slice(B, NO_VALUE), Slice(P, NO_VALUE), Slice(B, NO_VALUE),
                                Slice(B, NO_VALUE), Slice(I, NO_VALUE), Slice(P, NO_VALUE)});
    std::vector<int64> dts;
    for (Times const& time : times) dts.push_back(time.dts / MS);
    EXPECT_EQ(dts, (std::vector<int64>{50, 10, 130, 170, 90, 210, 250}));
}

TEST(PTSRestorerFill, ATimeIsNotCarriedOverAGroupWithoutADuration) {
    auto const times = Restore({Slice(I, 0, NO_VALUE), Slice(P, NO_VALUE), Slice(P, 80 * MS)});
    ASSERT_EQ(times.size(), 3U);
    EXPECT_EQ(times[1].dts, 40 * MS);
    EXPECT_EQ(times[2].dts, 80 * MS);
}

TEST(PTSRestorerFill, WithoutBSlicesAndTimesDurationsAloneSetTheTimes) {
    for (auto const& stream :
         {std::vector{Slice(I, NO_VALUE), Slice(P, 40 * MS), Slice(P, NO_VALUE), Slice(P, 120 * MS)},
          std::vector{Slice(I, 0), Slice(P, NO_VALUE), Slice(P, NO_VALUE), Slice(P, NO_VALUE)}}) {
        auto const times = Restore(stream);
        ASSERT_EQ(times.size(), 4U);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(times[static_cast<std::size_t>(i)].dts, i * 40 * MS);
            EXPECT_EQ(times[static_cast<std::size_t>(i)].pts, (i - 1) * 40 * MS);
        }
    }
}

TEST(PTSRestorerFill, WithoutAnyTimeTheTimesHaveNoValue) {
    for (Times const& times : Restore({Slice(I, NO_VALUE), Slice(B, NO_VALUE), Slice(P, NO_VALUE)})) {
        EXPECT_EQ(times.dts, NO_VALUE);
        EXPECT_EQ(times.pts, NO_VALUE);
    }
}

TEST(PTSRestorerFill, APacketWithoutADurationHasNoPresentationTime) {
    auto const times = Restore({Slice(I, 0), Slice(B, 40 * MS, NO_VALUE)});
    EXPECT_EQ(times[0].dts, 40 * MS);
    EXPECT_EQ(times[0].pts, NO_VALUE);
    EXPECT_EQ(times[1].pts, -40 * MS);
}

TEST(PTSRestorerFill, AnAnchorWithoutADurationLeavesMissingTimesMissing) {
    auto const times = Restore({Slice(I, 0, NO_VALUE), Slice(B, NO_VALUE), Slice(B, 80 * MS), Slice(P, 120 * MS)});
    EXPECT_EQ(times[0].dts, NO_VALUE);
    EXPECT_EQ(times[0].pts, NO_VALUE);
    EXPECT_EQ(times[1].pts, 40 * MS);
    EXPECT_EQ(times[2].dts, 0);
    EXPECT_EQ(times[2].pts, NO_VALUE);
}

TEST(PTSRestorerFill, TimesTooFarApartStopShortOfNoValue) {
    auto const late = Restore({Slice(I, NO_VALUE, LARGEST), Slice(B, NO_VALUE), Slice(P, -1000)});
    EXPECT_EQ(late[0].dts, SMALLEST);
    EXPECT_EQ(late[0].pts, SMALLEST);
    EXPECT_EQ(late[1].dts, SMALLEST);
    auto const early = Restore({Slice(I, NO_VALUE, SMALLEST), Slice(B, NO_VALUE), Slice(P, 1000)});
    EXPECT_EQ(early[0].dts, LARGEST);
    EXPECT_EQ(early[1].dts, LARGEST);
    EXPECT_EQ(early[1].pts, LARGEST);
    // Two frames of this duration make just the time that would read as none.
    auto const exact = Restore({Slice(I, NO_VALUE, NO_VALUE / 2), Slice(B, NO_VALUE), Slice(P, 0)});
    EXPECT_EQ(exact[1].dts, LARGEST);
}

// The same rules in their plainest form: each step on its own, on positions.
class PlainModel {
  public:
    void Add(iptr<IDataPacket> const& packet, bool isB) {
        int64 dts = packet ? packet->GetDecodingTime() : NO_VALUE;
        if (!group.empty() && !isB) {
            auto const count = static_cast<int64>(group.size());
            int64 const frame = group[0].packet->GetDuration();
            for (int64 p = 0; p < count && !HasValue(dts); ++p)
                if (HasValue(At(p).dts)) dts = At(p).dts + (count - p) * frame;
            for (int64 p = 0; p < count; ++p)
                if (!HasValue(At(p).dts) && HasValue(dts)) At(p).dts = dts - (count - p) * frame;
            if (!firstIsB) std::rotate(group.begin(), group.begin() + 1, group.end());
            for (Times& entry : group)
                entry.pts = HasValue(entry.dts) ? entry.dts - entry.packet->GetDuration() : NO_VALUE;
            ready.insert(ready.end(), group.begin(), group.end());
            group.clear();
        }
        if (!packet) return;
        if (group.empty()) firstIsB = isB;
        group.push_back({packet, packet->GetTime(), dts});
    }

    std::vector<Times> ready;

  private:
    Times& At(int64 position) { return group[static_cast<std::size_t>(position)]; }

    std::vector<Times> group;
    bool firstIsB = false;
};

TEST(PTSRestorerFill, AgreesWithAPlainModelOnRandomPackets) {
    Draw draw(2024);
    for (int round = 0; round < 300; ++round) {
        H264PTSRestorer restorer(false, 0);
        PlainModel model;
        u32 const known = draw.Below(5);  // of 4 stamps
        for (u32 i = draw.Below(30); i != 0; --i) {
            u32 const type = draw.Below(3);
            int64 const dts = draw.Below(4) < known ? draw.Below(1000) : NO_VALUE;
            auto const packet = Slice(type, dts, draw.Below(100));
            restorer.AddPacket(packet);
            model.Add(packet, type == B);
        }
        restorer.AddPacket(nullptr);
        model.Add(nullptr, false);
        ASSERT_EQ(TakeReady(restorer), model.ready) << "round " << round;
    }
}

// --- Failures --------------------------------------------------------------------------------------------------------

TEST(PTSRestorerFailure, APacketThatCannotBeReadLeavesTheStateAsItWas) {
    H264PTSRestorer restorer(true, 4);
    auto const anchor = MakePacket(JoinMP4({BuildSlice(5, I)}, 4), true, 0, 0, 40 * MS);
    restorer.AddPacket(anchor);
    EXPECT_EQ(MessageOf<std::logic_error>([&] {
                  restorer.AddPacket(MakePacket({0, 0, 0, 9, 0x65}, true));
              }),
              "out of range");
    EXPECT_TRUE(TakeReady(restorer).empty());
    auto const inter = MakePacket(JoinMP4({BuildSlice(1, B)}, 4), false, 0, 40 * MS, 40 * MS);
    restorer.AddPacket(inter);
    restorer.AddPacket(nullptr);
    EXPECT_EQ(TakeReady(restorer), (std::vector<Times>{{inter, 0, 40 * MS}, {anchor, -40 * MS, 0}}));
}

TEST(PTSRestorerFailure, ASliceThatIsCutOffIsRefusedAsByItsParser) {
    H264PTSRestorer restorer(false, 0);
    EXPECT_EQ(MessageOf<Exception>([&] { restorer.AddPacket(MakePacket(JoinAnnexB({{0x65}}), true)); }),
              "Read past the end of data: 1 bits wanted at bit 8, 0 left");
    restorer.AddPacket(nullptr);
    EXPECT_TRUE(TakeReady(restorer).empty());
}

TEST(PTSRestorerFailure, AnAnchorThatChangedSinceItWasAddedLeavesTheStateAsItWas) {
    H264PTSRestorer restorer(true, 4);
    auto const payload = JoinMP4({BuildSlice(5, I)}, 4);
    auto const anchor = MakePacket(payload, true, 0, NO_VALUE, 40 * MS);
    restorer.AddPacket(anchor);
    auto const writable = anchor->GetBlob();
    writable->GetWritableData()[0] = 0x7F;
    auto const next = MakePacket(payload, true, 0, 40 * MS, 40 * MS);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { restorer.AddPacket(next); }), "out of range");
    EXPECT_TRUE(TakeReady(restorer).empty());
    writable->GetWritableData()[0] = 0;
    restorer.AddPacket(next);
    EXPECT_EQ(TakeReady(restorer), (std::vector<Times>{{anchor, -40 * MS, 0}}));
}

TEST(PTSRestorerFailure, ALengthSizeThatIsNoneIsRefused) {
    for (u32 const size : {0U, 5U, 0xFFFFFFFFU}) {
        H264PTSRestorer restorer(true, size);
        EXPECT_EQ(MessageOf<std::logic_error>([&] { restorer.AddPacket(Slice(I, 0)); }), "bad naluSize");
    }
}

TEST(PTSRestorerFailure, AGroupOfBSlicesGrowsUntilTheListIsTooLong) {
    H264PTSRestorer restorer(false, 0, 3);
    std::vector<iptr<IDataPacket>> const group = {Slice(I, 0), Slice(B, 40 * MS), Slice(B, 80 * MS)};
    for (auto const& packet : group) restorer.AddPacket(packet);
    EXPECT_EQ(MessageOf<std::length_error>([&] { restorer.AddPacket(Slice(B, 120 * MS)); }), "list too long");
    restorer.AddPacket(nullptr);
    EXPECT_EQ(TakeReady(restorer),
              (std::vector<Times>{{group[1], 0, 40 * MS}, {group[2], 40 * MS, 80 * MS}, {group[0], -40 * MS, 0}}));
}

TEST(PTSRestorerFailure, PacketsThatNobodyTakesGrowUntilTheListIsTooLong) {
    H264PTSRestorer restorer(false, 0, 2);
    for (int i = 0; i < 3; ++i) restorer.AddPacket(Slice(P, i * 40 * MS));
    EXPECT_EQ(MessageOf<std::length_error>([&] { restorer.AddPacket(Slice(P, 120 * MS)); }), "list too long");
    EXPECT_EQ(restorer.GetPacket().dts, 0);
    restorer.AddPacket(Slice(P, 120 * MS));
    EXPECT_EQ(TakeReady(restorer).size(), 2U);
    restorer.AddPacket(nullptr);
    EXPECT_EQ(TakeReady(restorer).size(), 1U);
}

TEST(PTSRestorerFailure, AListHoldsItsHundredThirtyFourMillionEntries) {
    EXPECT_EQ(H264PTSRestorer::MAX_ENTRIES, 134217727U);
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
