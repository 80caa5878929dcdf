#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <type_traits>

#include "Proc/Filters/Filters/FilterMD5StreamAudio.h"
#include "Proc/Filters/Filters/FilterMD5StreamRaw.h"
#include "Proc/Filters/Filters/FilterMD5StreamSubtitle.h"
#include "Proc/Filters/Filters/FilterMD5StreamVideo.h"
#include "contracts/Proc/DataMD5.h"
#include "contracts/Proc/ICRCStreamController.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/PlacedPicture.h"
#include "tests/support/ScriptedCollector.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Items of a duration of 10, told apart by their contents.
struct VideoKind {
    using Filter = FilterMD5StreamVideo;
    using Stream = IStreamVideo;
    static constexpr char NAME[] = "FilterMD5StreamVideo";
    static constexpr char STATISTIC[] = "Tarsel::Proc::FilterMD5StreamVideo::GetStatistic";
    static iptr<IDataVideo> Make(int64 time, u8 contents) { return MakeVideo(time, 10, contents); }
    static std::string Digest(iptr<IDataVideo> const& item) { return CalculateVideoDataMD5(item); }
};
struct AudioKind {
    using Filter = FilterMD5StreamAudio;
    using Stream = IStreamAudio;
    static constexpr char NAME[] = "FilterMD5StreamAudio";
    static constexpr char STATISTIC[] = "Tarsel::Proc::FilterMD5StreamAudio::GetStatistic";
    static iptr<IDataAudio> Make(int64 time, u8 contents) {
        auto block = MakeAudio(time, 16);
        block->SetDuration(10);
        block->GetBlob()->GetWritableData()[3] = contents;
        return block;
    }
    static std::string Digest(iptr<IDataAudio> const& item) { return CalculateAudioDataMD5(item); }
};
struct SubtitleKind {
    using Filter = FilterMD5StreamSubtitle;
    using Stream = IStreamSubtitle;
    static constexpr char NAME[] = "FilterMD5StreamSubtitle";
    static constexpr char STATISTIC[] = "Tarsel::Proc::FilterMD5StreamSubtitle::GetStatistic";
    static iptr<IDataSubtitle> Make(int64 time, u8 contents) {
        return MakeSubtitle(time, 10, std::to_string(int{contents}));
    }
    static std::string Digest(iptr<IDataSubtitle> const& item) { return CalculateSubtitleDataMD5(item); }
};
struct RawKind {
    using Filter = FilterMD5StreamRaw;
    using Stream = IStreamRaw;
    static constexpr char NAME[] = "FilterMD5StreamRaw";
    static constexpr char STATISTIC[] = "Tarsel::Proc::FilterMD5StreamRaw::GetStatistic";
    static iptr<IDataPacket> Make(int64 time, u8 contents) { return MakePacket(time, time, 10, true, {contents}); }
    static std::string Digest(iptr<IDataPacket> const& item) { return CalculatePacketDataMD5(item); }
};

template <class Kind>
class FilterMD5Stream : public ::testing::Test {
  protected:
    using Source = ScriptedStream<typename Kind::Stream>;
    using Step = typename Source::Step;

    /// A filter over a source that plays the steps.
    iptr<typename Kind::Filter> Over(std::initializer_list<Step> steps) {
        source = Source::Create(steps);
        return MakeShared<typename Kind::Filter>(source, collector);
    }
    static std::string Line(int64 node, int64 time, u8 contents) {
        return std::to_string(node) + " " + Kind::Digest(Kind::Make(time, contents)) + " " + std::to_string(time);
    }
    static unsigned CountOf(IStream& filter) {
        Core::Property const node = filter.GetStatistic().Children().back();
        for (unsigned count = 0; count < 100; ++count)
            if (node == Core::MakeStatistics(Kind::STATISTIC, 0, count)) return count;
        ADD_FAILURE() << "not the statistics of " << Kind::NAME << ": " << node.Name();
        return 1000;
    }

    iptr<Source> source;
    iptr<ScriptedCollector> const collector = MakeShared<ScriptedCollector>();
};

using Kinds = ::testing::Types<VideoKind, AudioKind, SubtitleKind, RawKind>;
TYPED_TEST_SUITE(FilterMD5Stream, Kinds);

Core::Property NodeId(int64 id) {
    return Core::Property(ICRCStreamController::SOURCE_NODE_ID).SetValue(id);
}

TYPED_TEST(FilterMD5Stream, ItemsPassAsTheSameObjectsAndAreRecordedInOrder) {
    auto const filter = this->Over({TypeParam::Make(0, 1), TypeParam::Make(10, 2), TypeParam::Make(20, 3)});
    filter->Initialize(NodeId(42));
    Seek(*filter, 0);
    auto const items = ReadAll(*filter);
    ASSERT_EQ(items.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(items[i].get(), this->source->delivered[i]);
        EXPECT_EQ(items[i]->GetRefCountImpl(), 1U) << "kept by the filter";
        EXPECT_EQ(items[i]->GetTime(), static_cast<int64>(i) * 10);
        EXPECT_EQ(items[i]->GetDuration(), 10);
    }
    EXPECT_THAT(this->collector->lines,
                ElementsAre(this->Line(42, 0, 1), this->Line(42, 10, 2), this->Line(42, 20, 3)));
}

TYPED_TEST(FilterMD5Stream, TheCollectorTakesTheDigestAheadOfTheTime) {
    auto const filter = this->Over({TypeParam::Make(77, 1)});
    iptr<IGraphDataCRCCollector> const collector = this->collector;
    collector->AddPacketCRCInfo(1, "digest", 77);
    EXPECT_THAT(this->collector->lines, ElementsAre("1 digest 77"));
    this->collector->lines.clear();
    filter->Read();
    EXPECT_THAT(this->collector->lines, ElementsAre(this->Line(0, 77, 1)));
}

TYPED_TEST(FilterMD5Stream, TheEndAddsNothingHoweverOftenItIsRead) {
    auto const filter = this->Over({TypeParam::Make(0, 1), nullptr, TypeParam::Make(10, 2)});
    EXPECT_NE(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(this->CountOf(*filter), 1U);
    EXPECT_NE(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(this->CountOf(*filter), 2U);
    EXPECT_THAT(this->collector->lines, ElementsAre(this->Line(0, 0, 1), this->Line(0, 10, 2)));
}

TYPED_TEST(FilterMD5Stream, WithoutANodeItemsLandUnderNodeZero) {
    auto const filter = this->Over({TypeParam::Make(0, 1)});
    filter->Read();
    EXPECT_THAT(this->collector->lines, ElementsAre(this->Line(0, 0, 1)));
}

TYPED_TEST(FilterMD5Stream, NodeIdsOfAnySizeAreTaken) {
    auto const filter = this->Over({TypeParam::Make(0, 1), TypeParam::Make(10, 2)});
    IStream& base = *filter;
    base.Initialize(NodeId(-1));
    filter->Read();
    base.Initialize(NodeId(std::numeric_limits<int64>::max()));
    filter->Read();
    EXPECT_THAT(this->collector->lines,
                ElementsAre(this->Line(-1, 0, 1), this->Line(std::numeric_limits<int64>::max(), 10, 2)));
}

TYPED_TEST(FilterMD5Stream, APropertyOfAnotherNameIsRefusedAndTheNodeStays) {
    auto const filter = this->Over({TypeParam::Make(0, 1)});
    filter->Initialize(NodeId(5));
    for (char const* const name : {"", "sourcenodeid", "FilterMD5Stream"})
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property(name).SetValue(7)); }),
                  "Source node Id in graph is not specified");
    // A node id that is no number is the property's own failure.
    EXPECT_THROW(filter->Initialize(Core::Property(ICRCStreamController::SOURCE_NODE_ID)), Core::CoreException);
    EXPECT_THROW(filter->Initialize(Core::Property(ICRCStreamController::SOURCE_NODE_ID).SetValue("five")),
                 Core::CoreException);
    filter->Read();
    EXPECT_THAT(this->collector->lines, ElementsAre(this->Line(5, 0, 1)));
}

TYPED_TEST(FilterMD5Stream, ATimeWithoutAValueIsRecordedAsItStands) {
    auto const filter = this->Over({TypeParam::Make(NO_VALUE, 1)});
    filter->Read();
    EXPECT_THAT(this->collector->lines, ElementsAre(this->Line(0, NO_VALUE, 1)));
    EXPECT_THAT(this->collector->lines[0], ::testing::EndsWith(" -9223372036854775808"));
}

TYPED_TEST(FilterMD5Stream, NullSourceIsRefusedAheadOfANullCollector) {
    using Filter = typename TypeParam::Filter;
    auto const stream = TestFixture::Source::Create({});
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { Filter filter(nullptr, this->collector); }), "source is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { Filter filter(nullptr, nullptr); }), "source is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { Filter filter(stream, nullptr); }), "crcDataCollector is NULL");
    EXPECT_EQ(stream->GetRefCountImpl(), 1U);
}

TYPED_TEST(FilterMD5Stream, FailureOfTheSourcePassesAndLeavesRecordAndCount) {
    auto const filter = this->Over({TypeParam::Make(0, 1), Failure<ProcException>("broken"), TypeParam::Make(10, 2)});
    filter->Read();
    EXPECT_EQ(MessageOf<ProcException>([&] { filter->Read(); }), "broken");
    EXPECT_EQ(this->CountOf(*filter), 1U);
    EXPECT_EQ(this->collector->lines.size(), 1U);
    EXPECT_NE(filter->Read(), nullptr);
    EXPECT_THAT(this->collector->lines, ElementsAre(this->Line(0, 0, 1), this->Line(0, 10, 2)));
    EXPECT_EQ(this->CountOf(*filter), 2U);
}

TYPED_TEST(FilterMD5Stream, FailureOfTheCollectorPassesAndTheItemIsNotCounted) {
    auto const filter = this->Over({TypeParam::Make(0, 1), TypeParam::Make(10, 2)});
    this->collector->refuses = true;
    EXPECT_EQ(MessageOf<ProcException>([&] { filter->Read(); }), "no more");
    EXPECT_EQ(this->CountOf(*filter), 0U);
    this->collector->refuses = false;
    EXPECT_NE(filter->Read(), nullptr);
    EXPECT_EQ(this->CountOf(*filter), 1U);
    EXPECT_THAT(this->collector->lines, ElementsAre(this->Line(0, 10, 2)));
}

TYPED_TEST(FilterMD5Stream, ASeekLeavesEarlierEntriesAndItemsReadAgainAreAppendedAgain) {
    auto const filter = this->Over({TypeParam::Make(0, 1), TypeParam::Make(10, 2)});
    Seek(*filter, 0);
    ReadAll(*filter);
    Seek(*filter, 10);
    ReadAll(*filter);
    EXPECT_THAT(this->collector->lines, ElementsAre(this->Line(0, 0, 1), this->Line(0, 10, 2), this->Line(0, 10, 2)));
    EXPECT_EQ(this->CountOf(*filter), 3U);
}

TYPED_TEST(FilterMD5Stream, WhatIsReadAheadForThePositionAndDroppedBehindItIsRecordedAndCounted) {
    // Nothing is read ahead of packets.
    bool const readsAhead = !std::is_same_v<TypeParam, RawKind>;
    for (bool const released : {false, true}) {
        this->collector->lines.clear();
        auto const filter = this->Over({TypeParam::Make(0, 1), TypeParam::Make(10, 2)});
        Seek(*filter, 0);
        EXPECT_EQ(filter->GetPosition(), readsAhead ? 0 : NO_VALUE);
        EXPECT_EQ(this->CountOf(*filter), readsAhead ? 1U : 0U);
        // Both leave the source in front of the second item, or of packets behind a release the first.
        if (released)
            filter->ReleaseInternalData();
        else
            Seek(*filter, 10);
        std::vector<std::string> expected;
        if (readsAhead) expected.push_back(this->Line(0, 0, 1));
        EXPECT_EQ(this->collector->lines, expected);
        bool const comesFirst = released && !readsAhead;
        auto const item = filter->Read();
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->GetTime(), comesFirst ? 0 : 10);
        expected.push_back(comesFirst ? this->Line(0, 0, 1) : this->Line(0, 10, 2));
        EXPECT_EQ(this->collector->lines, expected);
        EXPECT_EQ(this->CountOf(*filter), expected.size());
    }
}

TYPED_TEST(FilterMD5Stream, SeekReleaseAndEndGoToTheSourceWithTheContext) {
    auto const filter = this->Over({TypeParam::Make(0, 1)});
    this->source->duration = 1000;
    filter->RequestSeek(40, MakeShared<ScriptedCollector>());
    filter->DoSeek();
    EXPECT_TRUE(filter->FinishSeek());
    filter->ReleaseInternalData();
    EXPECT_FALSE(filter->IsEndOfStream());
    filter->SetEndOfStream();
    EXPECT_TRUE(filter->IsEndOfStream());
    EXPECT_EQ(filter->GetDuration(), 1000);
    auto calls = this->source->log.Take();
    // The base of decoded streams answers the third phase itself.
    std::erase(calls, "FinishSeek");
    EXPECT_THAT(calls, ElementsAre("RequestSeek(40, context)", "DoSeek", "ReleaseInternalData", "SetEndOfStream"));
}

TYPED_TEST(FilterMD5Stream, SettingsAndFormatAreTheSources) {
    auto const filter = this->Over({});
    EXPECT_EQ(filter->GetSettings(), Core::Property("ScriptedStream"));
    EXPECT_EQ(filter->GetFormatCodec(), this->source->format);
    EXPECT_EQ(this->source->log.Take(), std::vector<std::string>()) << "the node is the filter's own affair";
}

TYPED_TEST(FilterMD5Stream, StatisticsComeBehindTheSources) {
    auto const filter = this->Over({TypeParam::Make(0, 1), TypeParam::Make(10, 2)});
    ReadAll(*filter);
    Core::Property const statistic = filter->GetStatistic();
    ASSERT_EQ(statistic.Children().size(), 2U);
    EXPECT_EQ(statistic.Children()[0].Name(), "ScriptedStream");
    EXPECT_EQ(statistic.Children()[1], Core::MakeStatistics(TypeParam::STATISTIC, 0, 2));
}

TYPED_TEST(FilterMD5Stream, VisitorMeetsItUnderItsNameAheadOfTheSource) {
    auto const filter = this->Over({});
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre(TypeParam::NAME, "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

// --- What only some kinds have ---------------------------------------------------------------------------------------

TEST(FilterMD5StreamVideo, FailureOfTheDigestPassesAndLeavesRecordAndCount) {
    auto const collector = MakeShared<ScriptedCollector>();
    auto const source = ScriptedVideo::Create(
        {iptr<IDataVideo>(PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 0)), MakeVideo(40, 40, 1)});
    auto const filter = MakeShared<FilterMD5StreamVideo>(source, collector);
    EXPECT_EQ(MessageOf<ProcException>([&] { filter->Read(); }),
              "A frame outside processor memory has no digest of its own");
    EXPECT_THAT(collector->lines, IsEmpty());
    EXPECT_EQ(filter->GetStatistic().Children().back(), Core::MakeStatistics(VideoKind::STATISTIC, 0, 0));
    EXPECT_THAT(filter->Read(), IsVideo(40, 40));
    EXPECT_EQ(collector->lines.size(), 1U);
}

TEST(FilterMD5StreamVideo, AnItemThatIsReadAheadForThePositionIsRecordedOnce) {
    auto const collector = MakeShared<ScriptedCollector>();
    auto const filter =
        MakeShared<FilterMD5StreamVideo>(ScriptedVideo::Create({MakeVideo(0, 40), MakeVideo(40, 40)}), collector);
    Seek(*filter, 0);
    EXPECT_EQ(filter->GetPosition(), 0);
    EXPECT_EQ(collector->lines.size(), 1U);
    EXPECT_THAT(filter->Read(), IsVideo(0, 40));
    EXPECT_EQ(collector->lines.size(), 1U);
    EXPECT_EQ(filter->GetPosition(), 40);
}

TEST(FilterMD5StreamVideo, SeeksBeyondTheEndAreClampedAsByEveryFilter) {
    auto const source = ScriptedVideo::Create({});
    source->duration = 1000;
    MakeShared<FilterMD5StreamVideo>(source, MakeShared<ScriptedCollector>())->RequestSeek(5000, nullptr);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(1000)"));
}

TEST(FilterMD5StreamRaw, APacketWithoutPayloadIsCountedButNotRecorded) {
    auto const collector = MakeShared<ScriptedCollector>();
    auto const source = ScriptedRaw::Create({MakePacket(0, 0, 10, true, {}), MakePacket(10, 10, 10, true, {1})});
    auto const filter = MakeShared<FilterMD5StreamRaw>(source, collector);
    EXPECT_THAT(filter->Read(), IsPacket(0, 0, 10, true));
    EXPECT_THAT(collector->lines, IsEmpty());
    EXPECT_EQ(filter->GetStatistic().Children().back(), Core::MakeStatistics(RawKind::STATISTIC, 0, 1));
    EXPECT_THAT(filter->Read(), IsPacket(10, 10, 10, true));
    EXPECT_EQ(collector->lines.size(), 1U);
    EXPECT_EQ(filter->GetStatistic().Children().back(), Core::MakeStatistics(RawKind::STATISTIC, 0, 2));
}

/// A source whose position and readiness can be told from what a base would make up.
class Positioned final : public ScriptedRaw {
  public:
    Positioned() : ScriptedRaw({}) {}
    int64 GetPosition() override { return 4711; }
    bool FinishSeek() override { return false; }
    bool IsEndOfStream() override { return true; }
};

TEST(FilterMD5StreamRaw, ForwardsEverythingByHandAndClampsNothing) {
    auto const source = MakeShared<Positioned>();
    source->duration = 1000;
    source->mediaType = MEDIA_TYPE_AUDIO;
    auto const filter = MakeShared<FilterMD5StreamRaw>(source, MakeShared<ScriptedCollector>());
    EXPECT_EQ(filter->GetPosition(), 4711);
    EXPECT_FALSE(filter->FinishSeek());
    EXPECT_TRUE(filter->IsEndOfStream());
    EXPECT_EQ(filter->GetMediaType(), MEDIA_TYPE_AUDIO);
    filter->RequestSeek(5000, nullptr);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(5000)"));
}

TEST(FilterMD5StreamRaw, NothingIsReadAheadForThePosition) {
    auto const source = ScriptedRaw::Create({MakePacket(0, 0, 10, true)});
    auto const filter = MakeShared<FilterMD5StreamRaw>(source, MakeShared<ScriptedCollector>());
    EXPECT_EQ(filter->GetPosition(), NO_VALUE);
    EXPECT_THAT(source->log.Take(), IsEmpty());
}

}  // namespace
}  // namespace Tarsel::Proc
