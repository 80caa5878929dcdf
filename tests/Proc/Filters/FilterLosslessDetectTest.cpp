#include "Proc/Filters/Filters/FilterLosslessDetect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/SettingsFilterBitStream.h"
#include "tests/support/BitStreams.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using TestSupport::BuildHEVCUnit;
using TestSupport::JoinAnnexB;
using TestSupport::JoinMP4;
using TestSupport::MakeBlob;

constexpr char TOO_MANY[] = "Lossless impossible: too many sequental bad pts";
constexpr char CRA[] = "Lossless cut impossible: hevc stream has CRA packets instead of IDR";
constexpr char ABOVE[] = "Lossless impossible: dts > pts";
constexpr char NO_INCREASE[] = "Lossless impossible: dts does not increase";
constexpr char NO_HEADER[] = "There is no global header in stream, can't search fro CRA packets in hevc stream";

constexpr u32 IDR_UNIT = 19;
constexpr u32 CRA_UNIT = 21;

iptr<IFilterLosslessDetect> MakeFilter(iptr<IStreamRaw> const& source, u32 maxBadPts = 3) {
    return FilterLosslessDetect::Create(source, SettingsLosslessDetect(maxBadPts));
}

struct Times {
    int64 pts;
    int64 dts;
};

iptr<ScriptedRaw> MakeTimed(std::vector<Times> const& times, char const* codecId = H264) {
    std::vector<ScriptedRaw::Step> steps;
    for (auto const& [pts, dts] : times) steps.emplace_back(MakePacket(pts, dts, 40, false));
    return MakeRaw(codecId, nullptr, steps);
}

/// The filter behind all packets with these times.
iptr<IFilterLosslessDetect> Judge(std::vector<Times> const& times, u32 maxBadPts = 3) {
    auto filter = MakeFilter(MakeTimed(times), maxBadPts);
    EXPECT_EQ(ReadAll(*filter).size(), times.size());
    return filter;
}

iptr<IFilterLosslessDetect> JudgeHevc(PacketBytes const& header, std::vector<PacketBytes> const& payloads) {
    std::vector<ScriptedRaw::Step> steps;
    for (std::size_t i = 0; i < payloads.size(); ++i)
        steps.emplace_back(NumberedPacket(static_cast<int>(i), true, payloads[i]));
    auto filter = MakeFilter(MakeRaw(HEVC, MakeBlob(header), steps));
    EXPECT_EQ(ReadAll(*filter).size(), payloads.size());
    return filter;
}

// --- Passing ---------------------------------------------------------------------------------------------------------

TEST(FilterLosslessDetect, PacketsPassAsTheSameObjects) {
    auto const source = MakeTimed({{0, 0}, {NO_VALUE, 40}, {80, NO_VALUE}});
    auto const filter = MakeFilter(source);
    auto const packets = ReadAll(*filter);
    EXPECT_THAT(packets, ElementsAre(IsPacket(0, 0, 40, false), IsPacket(NO_VALUE, 40, 40, false),
                                     IsPacket(80, NO_VALUE, 40, false)));
    EXPECT_THAT(source->delivered, ElementsAre(packets[0].get(), packets[1].get(), packets[2].get()));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetFormatCodec(), source->format);
    EXPECT_EQ(filter->GetMediaType(), MEDIA_TYPE_VIDEO);
}

TEST(FilterLosslessDetect, FailureOfTheSourcePassesThrough) {
    auto const filter =
        MakeFilter(MakeRaw(H264, nullptr, {Failure<FilterException>("broken"), MakePacket(0, 0, 40, true)}));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
    EXPECT_NE(filter->Read(), nullptr);
}

TEST(FilterLosslessDetect, StreamWithoutFindingsCanBeCut) {
    auto const filter = Judge({{40, 0}, {160, 40}, {80, 80}, {120, 120}, {200, 160}});
    EXPECT_TRUE(filter->IsLosslessPossible());
    EXPECT_FALSE(filter->HasCraPackets());
    EXPECT_THAT(filter->GetFindings(), IsEmpty());
}

// --- Times -----------------------------------------------------------------------------------------------------------

TEST(FilterLosslessDetect, AsManyPacketsInARowWithoutATimeAsTheLimitAreTolerated) {
    EXPECT_TRUE(Judge({{NO_VALUE, 0}, {NO_VALUE, 1}, {NO_VALUE, 2}, {3, 3}})->IsLosslessPossible());
}

TEST(FilterLosslessDetect, OnePacketMoreWithoutATimeIsAFinding) {
    auto const filter = Judge({{NO_VALUE, 0}, {NO_VALUE, 1}, {NO_VALUE, 2}, {NO_VALUE, 3}, {4, 4}});
    EXPECT_FALSE(filter->IsLosslessPossible());
    EXPECT_THAT(filter->GetFindings(), ElementsAre(TOO_MANY));
}

TEST(FilterLosslessDetect, PacketWithATimeEndsTheRun) {
    auto const filter =
        Judge({{NO_VALUE, 0}, {NO_VALUE, 1}, {NO_VALUE, 2}, {3, 3}, {NO_VALUE, 4}, {NO_VALUE, 5}, {NO_VALUE, 6}});
    EXPECT_TRUE(filter->IsLosslessPossible());
    EXPECT_EQ(dynamic_cast<FilterLosslessDetect&>(*filter).GetBadPtsTotal(), 6U);
}

TEST(FilterLosslessDetect, LimitOf0ToleratesNoPacketWithoutATime) {
    EXPECT_TRUE(Judge({{0, 0}, {1, 1}}, 0)->IsLosslessPossible());
    EXPECT_FALSE(Judge({{0, 0}, {NO_VALUE, 1}}, 0)->IsLosslessPossible());
}

TEST(FilterLosslessDetect, DecodingTimeAboveThePresentationTimeIsAFinding) {
    EXPECT_TRUE(Judge({{0, 0}, {40, 40}})->IsLosslessPossible());
    auto const filter = Judge({{0, 0}, {39, 40}});
    EXPECT_FALSE(filter->IsLosslessPossible());
    EXPECT_THAT(filter->GetFindings(), ElementsAre(ABOVE));
}

TEST(FilterLosslessDetect, TimesWithoutAValueAreNotComparedWithEachOther) {
    EXPECT_THAT(Judge({{NO_VALUE, 5}, {0, NO_VALUE}, {NO_VALUE, NO_VALUE}})->GetFindings(), IsEmpty());
}

TEST(FilterLosslessDetect, DecodingTimeThatStandsStillOrGoesBackIsAFinding) {
    EXPECT_THAT(Judge({{100, 40}, {100, 40}})->GetFindings(), ElementsAre(NO_INCREASE));
    auto const filter = Judge({{100, 40}, {100, 39}});
    EXPECT_THAT(filter->GetFindings(), ElementsAre(NO_INCREASE));
    EXPECT_FALSE(filter->IsLosslessPossible());
}

TEST(FilterLosslessDetect, FirstPacketNeverFailsTheComparisonWithTheOneBefore) {
    for (int64 const dts : {std::numeric_limits<int64>::min() + 1, int64{-1}, int64{0}, int64{5}})
        EXPECT_THAT(Judge({{100, dts}})->GetFindings(), IsEmpty()) << dts;
}

TEST(FilterLosslessDetect, DecodingTimeWithoutAValueIsPassedOver) {
    EXPECT_THAT(Judge({{100, 40}, {100, NO_VALUE}, {100, 80}})->GetFindings(), IsEmpty());
    EXPECT_THAT(Judge({{100, 40}, {100, NO_VALUE}, {100, 40}})->GetFindings(), ElementsAre(NO_INCREASE));
}

TEST(FilterLosslessDetect, VerdictStaysWhateverComesBehind) {
    auto const filter = Judge({{0, 10}, {20, 20}, {30, 30}, {40, 40}});
    EXPECT_FALSE(filter->IsLosslessPossible());
    EXPECT_THAT(filter->GetFindings(), ElementsAre(ABOVE));
}

TEST(FilterLosslessDetect, FindingsAreToldOnceInTheOrderOfTheirAppearance) {
    auto const filter = Judge({{0, 10}, {0, 10}, {NO_VALUE, 11}, {NO_VALUE, 12}, {0, 5}}, 1);
    EXPECT_THAT(filter->GetFindings(), ElementsAre(ABOVE, NO_INCREASE, TOO_MANY));
}

TEST(FilterLosslessDetect, TimesOfSoundAreLookedAtToo) {
    auto const filter = MakeFilter(MakeTimed({{0, 0}, {0, 0}}, AAC));
    ReadAll(*filter);
    EXPECT_THAT(filter->GetFindings(), ElementsAre(NO_INCREASE));
}

TEST(FilterLosslessDetect, VerdictAgreesWithAPlainModelOnRandomTimes) {
    std::mt19937 random(11);
    for (int round = 0; round < 500; ++round) {
        u32 const limit = random() % 3;
        std::vector<Times> times;
        int64 dts = 0;
        for (int i = 0; i < 12; ++i) {
            dts += random() % 20 == 0 ? -40 : 40;
            times.push_back({random() % 4 == 0 ? NO_VALUE : dts + int64{40} * (int(random() % 9) - 1),
                             random() % 9 == 0 ? NO_VALUE : dts});
        }
        bool possible = true;
        u32 run = 0;
        for (std::size_t i = 0; i < times.size(); ++i) {
            run = HasValue(times[i].pts) ? 0 : run + 1;
            possible = possible && run <= limit;
            possible = possible && !(HasValue(times[i].pts) && HasValue(times[i].dts) && times[i].dts > times[i].pts);
            auto before = i;
            while (before != 0 && !HasValue(times[before - 1].dts)) --before;
            if (before != 0 && HasValue(times[i].dts)) possible = possible && times[i].dts > times[before - 1].dts;
        }
        ASSERT_EQ(Judge(times, limit)->IsLosslessPossible(), possible) << "round " << round;
    }
}

// --- HEVC ------------------------------------------------------------------------------------------------------------

TEST(FilterLosslessDetect, CraPictureIsFoundInEveryFraming) {
    for (int const lengthSize : {1, 2, 3, 4}) {
        auto const join = [&](u32 type) { return JoinMP4({BuildHEVCUnit(35), BuildHEVCUnit(type)}, lengthSize); };
        EXPECT_FALSE(JudgeHevc(HEVCHvcC(lengthSize), {join(IDR_UNIT), join(1)})->HasCraPackets());
        auto const filter = JudgeHevc(HEVCHvcC(lengthSize), {join(IDR_UNIT), join(CRA_UNIT), join(CRA_UNIT)});
        EXPECT_TRUE(filter->HasCraPackets()) << lengthSize;
        EXPECT_THAT(filter->GetFindings(), ElementsAre(CRA));
    }
    auto const join = [](u32 type) { return JoinAnnexB({BuildHEVCUnit(35), BuildHEVCUnit(type)}); };
    EXPECT_FALSE(JudgeHevc(HEVCAnnexBHeader(), {join(IDR_UNIT), join(1)})->HasCraPackets());
    EXPECT_TRUE(JudgeHevc(HEVCAnnexBHeader(), {join(IDR_UNIT), join(CRA_UNIT)})->HasCraPackets());
}

TEST(FilterLosslessDetect, CraPictureAloneLeavesTheVerdict) {
    auto const filter = JudgeHevc(HEVCHvcC(), {JoinMP4({BuildHEVCUnit(CRA_UNIT)}, 4)});
    EXPECT_TRUE(filter->HasCraPackets());
    EXPECT_TRUE(filter->IsLosslessPossible());
}

TEST(FilterLosslessDetect, StreamsOfOtherCodecsAreNotSearched) {
    auto const filter = MakeFilter(
        MakeRaw(H264, MakeBlob(HEVCHvcC()), {NumberedPacket(0, true, JoinMP4({BuildHEVCUnit(CRA_UNIT)}, 4))}));
    ReadAll(*filter);
    EXPECT_FALSE(filter->HasCraPackets());
}

TEST(FilterLosslessDetect, MalformedUnitsAreLoggedAndThePacketPasses) {
    LogLines const log(31);
    PacketBytes broken = JoinMP4({BuildHEVCUnit(CRA_UNIT)}, 4);
    broken.pop_back();
    auto const filter = JudgeHevc(HEVCHvcC(), {broken, {0, 0, 0, 0, 1}, {1}, {}});
    EXPECT_FALSE(filter->HasCraPackets());
    EXPECT_TRUE(filter->IsLosslessPossible());
    EXPECT_TRUE(log.Has("[0]: NAL units are malformed: out of range"));
    EXPECT_TRUE(log.Has("[40000]: NAL units are malformed: bad naluSize"));
    EXPECT_TRUE(log.Has("[80000]: NAL units are malformed: out of range"));
    EXPECT_FALSE(log.Has("[120000]"));
}

TEST(FilterLosslessDetect, UnitsInFrontOfAMalformedOneAreLookedAt) {
    auto payload = JoinMP4({BuildHEVCUnit(CRA_UNIT), BuildHEVCUnit(1)}, 4);
    payload.pop_back();
    EXPECT_TRUE(JudgeHevc(HEVCHvcC(), {payload})->HasCraPackets());
}

TEST(FilterLosslessDetect, EmptyUnitsOfAnnexBAreNoUnits) {
    EXPECT_FALSE(JudgeHevc(HEVCAnnexBHeader(), {{0, 0, 1, 0, 0, 1}, {0, 0, 0, 1}, {}})->HasCraPackets());
}

TEST(FilterLosslessDetect, HevcWithoutAGlobalHeaderIsNotSearchedAndThatIsLogged) {
    for (auto const& header : {iptr<IBlob>(), MakeBlob({})}) {
        LogLines const log(0);
        auto const filter =
            MakeFilter(MakeRaw(HEVC, header, {NumberedPacket(0, true, JoinAnnexB({BuildHEVCUnit(CRA_UNIT)}))}));
        EXPECT_THAT(log.Get(google::GLOG_WARNING), ElementsAre(NO_HEADER));
        EXPECT_EQ(ReadAll(*filter).size(), 1U);
        EXPECT_FALSE(filter->HasCraPackets());
        EXPECT_TRUE(filter->IsLosslessPossible());
    }
}

TEST(FilterLosslessDetect, HevcWithABrokenGlobalHeaderIsNotSearchedAndThatIsLogged) {
    for (auto const& header : {PacketBytes{1, 2, 3}, PacketBytes{0, 0}}) {
        LogLines const log(0);
        auto const filter =
            MakeFilter(MakeRaw(HEVC, MakeBlob(header), {MakePacket(0, 0, 40, true), MakePacket(0, 0, 40, true)}));
        auto const warnings = log.Get(google::GLOG_WARNING);
        ASSERT_EQ(warnings.size(), 1U);
        EXPECT_THAT(warnings[0], HasSubstr("Not enougth data to determine"));
        ReadAll(*filter);
        EXPECT_FALSE(filter->HasCraPackets());
        EXPECT_THAT(filter->GetFindings(), ElementsAre(NO_INCREASE));
    }
}

TEST(FilterLosslessDetect, OtherCodecsNeedNoGlobalHeader) {
    LogLines const log(31);
    MakeFilter(MakeRaw(H264, nullptr));
    EXPECT_THAT(log.Get(google::GLOG_WARNING), IsEmpty());
}

// --- Log lines -------------------------------------------------------------------------------------------------------

TEST(FilterLosslessDetect, EveryFindingIsLoggedBehindThePacketsTime) {
    LogLines const log(31);
    Judge({{0, 10}, {0, 10}, {NO_VALUE, 11}, {NO_VALUE, 12}}, 1);
    JudgeHevc(HEVCHvcC(), {JoinMP4({BuildHEVCUnit(CRA_UNIT)}, 4), JoinMP4({BuildHEVCUnit(CRA_UNIT)}, 4)});
    EXPECT_EQ(log.Count(std::string("[0]: ") + ABOVE), 2U);
    EXPECT_EQ(log.Count(std::string("[0]: ") + NO_INCREASE), 1U);
    // A packet without a time is named by its decoding time.
    EXPECT_EQ(log.Count(std::string("[12]: ") + TOO_MANY), 1U);
    EXPECT_EQ(log.Count(std::string("[0]: ") + CRA), 1U);
    EXPECT_EQ(log.Count("[40000]"), 0U);
}

TEST(FilterLosslessDetect, BelowVerbosity31NothingIsLogged) {
    LogLines const log(30);
    EXPECT_FALSE(Judge({{0, 10}})->IsLosslessPossible());
    JudgeHevc(HEVCHvcC(), {{1}});
    EXPECT_THAT(log.Get(google::GLOG_INFO), IsEmpty());
    EXPECT_THAT(log.Get(google::GLOG_WARNING), IsEmpty());
}

// --- Seeking ---------------------------------------------------------------------------------------------------------

TEST(FilterLosslessDetect, SeekBackIsNoFinding) {
    auto const source = MakeTimed({{40, 0}, {80, 40}, {120, 80}});
    auto const filter = MakeFilter(source);
    ReadAll(*filter);
    Seek(*filter, 0);
    ReadAll(*filter);
    EXPECT_THAT(filter->GetFindings(), IsEmpty());
}

TEST(FilterLosslessDetect, SeekEndsARunWithoutTimes) {
    auto const filter =
        MakeFilter(MakeRaw(H264, nullptr, {MakePacket(NO_VALUE, 0, 40, true), MakePacket(NO_VALUE, 40, 40, false)}), 2);
    filter->Read();
    filter->Read();
    filter->RequestSeek(NO_VALUE, nullptr);
    filter->DoSeek();
    ReadAll(*filter);
    EXPECT_TRUE(filter->IsLosslessPossible());
}

TEST(FilterLosslessDetect, FindingsStayAcrossASeek) {
    auto const filter = Judge({{0, 10}, {20, 20}});
    Seek(*filter, 20);
    ReadAll(*filter);
    EXPECT_FALSE(filter->IsLosslessPossible());
    EXPECT_THAT(filter->GetFindings(), ElementsAre(ABOVE));
}

TEST(FilterLosslessDetect, SeekAndReleaseGoToTheSource) {
    auto const source = MakeTimed({});
    source->duration = 40;
    auto const filter = MakeFilter(source);
    filter->RequestSeek(100, source);
    filter->DoSeek();
    EXPECT_TRUE(filter->FinishSeek());
    filter->SetEndOfStream();
    filter->ReleaseInternalData();
    EXPECT_EQ(filter->GetDuration(), 40);
    EXPECT_THAT(source->log.Take(),
                ElementsAre("RequestSeek(40, context)", "DoSeek", "SetEndOfStream", "ReleaseInternalData"));
}

// --- Settings and reports --------------------------------------------------------------------------------------------

TEST(FilterLosslessDetect, NullSourceAndSourceWithoutAFormatAreRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { MakeFilter(nullptr); }), "parentStream is NULL.");
    auto const source = ScriptedRaw::Create({});
    source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { MakeFilter(source); }), "Source format codec must be present");
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(FilterLosslessDetect, SettingsOfAnotherClassAreRefusedAndTheFilterReleased) {
    auto const source = MakeTimed({});
    EXPECT_THROW(FilterLosslessDetect::Create(source, SettingsFilterBitStream()), std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(FilterLosslessDetect, SettingsComeAndGoAsAProperty) {
    auto const filter = MakeFilter(MakeTimed({{NO_VALUE, 0}, {NO_VALUE, 1}}), 7);
    EXPECT_EQ(filter->GetSettings(), Settings2Property(SettingsLosslessDetect(7)));
    IStream& base = *filter;
    base.Initialize(Settings2Property(SettingsLosslessDetect(1)));
    EXPECT_EQ(filter->GetSettings(), Settings2Property(SettingsLosslessDetect(1)));
    ReadAll(*filter);
    EXPECT_THAT(filter->GetFindings(), ElementsAre(TOO_MANY));
    EXPECT_EQ(MessageOf<FilterException>([&] { base.Initialize(Core::Property("Other")); }),
              "Filter was initialized with incorrect class (Other)!");
    EXPECT_THAT(filter->GetFindings(), ElementsAre(TOO_MANY));
}

TEST(FilterLosslessDetect, NewSettingsBeginAnew) {
    auto const source = MakeTimed({{0, 10}, {NO_VALUE, 11}, {50, 5}});
    auto const filter = MakeFilter(source, 0);
    filter->Read();
    filter->Read();
    EXPECT_THAT(filter->GetFindings(), ElementsAre(ABOVE, TOO_MANY));
    filter->Initialize(SettingsLosslessDetect(2));
    EXPECT_TRUE(filter->IsLosslessPossible());
    EXPECT_THAT(filter->GetFindings(), IsEmpty());
    EXPECT_EQ(dynamic_cast<FilterLosslessDetect&>(*filter).GetBadPtsTotal(), 0U);
    filter->Read();
    EXPECT_THAT(filter->GetFindings(), IsEmpty());
}

TEST(FilterLosslessDetect, StatisticsComeBehindTheSourcesAndCountPackets) {
    auto const filter = Judge({{0, 0}, {NO_VALUE, 1}});
    filter->Read();
    Core::Property const statistic = filter->GetStatistic();
    ASSERT_EQ(statistic.Children().size(), 2U);
    EXPECT_EQ(statistic.Children()[0].Name(), "ScriptedStream");
    EXPECT_EQ(statistic.Children()[1], Core::MakeStatistics("Tarsel::Proc::FilterLosslessDetect::GetStatistic", 0, 2));
}

TEST(FilterLosslessDetect, VisitorMeetsItAsAPlainFilter) {
    auto const filter = MakeFilter(MakeTimed({}));
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterLosslessDetect", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
    class Stranger : public IStreamVisitor {
        int GetType() const override { return 99; }
    } stranger;
    EXPECT_EQ(MessageOf<std::logic_error>([&] { filter->Accept(stranger); }), "Unknown visitor type");
}

TEST(FilterLosslessDetect, VerdictIsReadBesideTheReader) {
    std::vector<Times> times;
    for (int64 i = 0; i < 5000; ++i) times.push_back({i == 2500 ? i - 1 : i, i});
    auto const filter = MakeFilter(MakeTimed(times));
    std::atomic<bool> done{false};
    bool changedBack = false;
    std::thread watcher([&] {
        bool wasPossible = true;
        while (!done) {
            bool const possible = filter->IsLosslessPossible();
            changedBack = changedBack || (possible && !wasPossible);
            wasPossible = possible;
            if (!possible && filter->GetFindings().empty()) changedBack = true;
        }
    });
    ReadAll(*filter);
    done = true;
    watcher.join();
    EXPECT_FALSE(changedBack);
    EXPECT_THAT(filter->GetFindings(), ElementsAre(ABOVE));
}

}  // namespace
}  // namespace Tarsel::Proc
