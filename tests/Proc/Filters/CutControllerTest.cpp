#include <gtest/gtest.h>

#include "Proc/Filters/Filters/FilterCutController.h"
#include "contracts/Core/Exception.h"
#include "tests/support/CutSupport.h"
#include "tests/support/OtherSettings.h"

// The controller and the decoded streams.

namespace Tarsel::CutTest {
namespace {

using Proc::FilterCutController;
using Proc::IStreamAudio;
using Proc::IStreamRaw;
using Proc::IStreamSubtitle;
using Proc::IStreamVideo;

using Tarsel::Test::OtherSettings;
using VideoSource = Source<IStreamVideo>;
using AudioSource = Source<IStreamAudio>;
using SubtitleSource = Source<IStreamSubtitle>;

struct Span {
    int64 time;
    int64 duration;
    bool operator==(Span const&) const = default;
    friend void PrintTo(Span const& span, std::ostream* out) { *out << span.time << "+" << span.duration; }
};
template <class Item>
std::vector<Span> SpansOf(std::vector<iptr<Item>> const& items) {
    std::vector<Span> spans;
    for (auto const& item : items) spans.push_back({item->GetTime(), item->GetDuration()});
    return spans;
}
template <class Item>
std::vector<u32> IdsOf(std::vector<iptr<Item>> const& items) {
    std::vector<u32> ids;
    for (auto const& item : items) ids.push_back(IdOf(*item));
    return ids;
}

/// `count` pictures of `length` from 0, with ids from 1.
iptr<VideoSource> MakeVideo(int count, int64 length, int64 duration) {
    std::vector<iptr<Proc::IDataVideo>> frames;
    for (int i = 0; i < count; ++i) frames.push_back(MakeFrame(i * length, length, static_cast<u32>(i + 1)));
    return MakeShared<VideoSource>(frames, duration);
}
/// Blocks of 100 samples, 1 ms each, counting up.
iptr<AudioSource> MakeAudio(int blocks, int64 duration) {
    std::vector<iptr<Proc::IDataAudio>> items;
    for (int i = 0; i < blocks; ++i) items.push_back(MakeBlock(i * 100000, 100, i * 100));
    return MakeShared<AudioSource>(items, duration);
}
iptr<SubtitleSource> MakeSubtitles(std::vector<Span> const& spans, int64 duration) {
    std::vector<iptr<Proc::IDataSubtitle>> items;
    for (Span const& span : spans) items.push_back(MakeSubtitle(span.time, span.duration));
    return MakeShared<SubtitleSource>(items, duration);
}

iptr<FilterCutController> MakeController(std::vector<std::pair<int64, int64>> const& ranges) {
    auto controller = MakeShared<FilterCutController>();
    controller->UpdateSettings(Cuts(ranges));
    return controller;
}

template <class T, class S>
iptr<T> Add(FilterCutController& controller, iptr<S> const& source) {
    return controller.AddStream(iptr<T>(source));
}

std::vector<int> SamplesOf(std::vector<iptr<Proc::IDataAudio>> const& blocks) {
    std::vector<int> samples;
    for (auto const& block : blocks) {
        auto const* const data = reinterpret_cast<std::int16_t const*>(block->GetBlob()->GetData());
        samples.insert(samples.end(), data, data + block->GetSampleCount());
    }
    return samples;
}

// --- Registration ----------------------------------------------------------------------------------------------------

TEST(CutController, RefusesWrongStreams) {
    auto controller = MakeController({});
    iptr<IStreamVideo> const video = MakeVideo(2, FRAME, 2 * FRAME);
    auto const kept = controller->AddStream(video);
    EXPECT_EQ(MessageOf<Proc::FilterException>([&] { controller->AddStream(video); }),
              "This stream is already added into current FilterCutController object");
    EXPECT_EQ(MessageOf<Proc::FilterException>([&] { Add<IStreamVideo>(*controller, MakeVideo(1, FRAME, FRAME)); }),
              "Duration of new stream differs from duration of other streams already registered in "
              "FilterCutController.");
    EXPECT_EQ(MessageOf<Proc::FilterException>([&] { Add<IStreamRaw>(*controller, MakeSoundSource({}, 2 * FRAME)); }),
              "Codec factory is not provided to FilterCutController. Call FilterCutController::SetCodecFacory(..) "
              "before.");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->AddStream(iptr<IStreamVideo>()); }),
              "parentStream is NULL.");
}

TEST(CutController, StreamThatIsGoneCanBeAddedAgain) {
    auto controller = MakeController({});
    iptr<IStreamVideo> const video = MakeVideo(2, FRAME, 2 * FRAME);
    controller->AddStream(video);
    EXPECT_TRUE(controller->AddStream(video));
    EXPECT_EQ(controller->GetRefCountImpl(), 1U);
}

TEST(CutController, RefusesWrongSettings) {
    auto controller = MakeController({});
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->UpdateSettings(OtherSettings()); }), "wrong settings");
    EXPECT_EQ(MessageOf<Proc::FilterException>([&] { FilterCutController::Create(OtherSettings(), nullptr); }),
              "Wrong settings!");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->Initialize(Core::Property("Other")); }),
              "incorrect controller name");
}

TEST(CutController, TakesSettingsAsObjectAndAsProperty) {
    auto const created = FilterCutController::Create(Cuts({{1, 2}}), MakeFactory());
    EXPECT_EQ(created->GetCutSettings(), Cuts({{1, 2}}));
    created->Initialize(Proc::Settings2Property(Cuts({{3, 4}})));
    EXPECT_EQ(created->GetCutSettings(), Cuts({{3, 4}}));
    EXPECT_TRUE(Add<IStreamRaw>(dynamic_cast<FilterCutController&>(*created), MakeSoundSource({}, 0)));
}

// --- Reading ---------------------------------------------------------------------------------------------------------

TEST(CutDecoded, EmptyListPassesTheSameObjects) {
    auto controller = MakeController({});
    auto source = MakeVideo(3, FRAME, 3 * FRAME);
    auto stream = Add<IStreamVideo>(*controller, source);
    SeekTo(*stream, 0);
    EXPECT_EQ(SpansOf(ReadAll(*stream)), (std::vector<Span>{{0, FRAME}, {FRAME, FRAME}, {2 * FRAME, FRAME}}));
    EXPECT_EQ(stream->GetDuration(), 3 * FRAME);
    // Pass-through isn't counted.
    EXPECT_EQ(
        stream->GetStatistic().Children()[0],
        Core::GetRootItem()
            .Add(Core::MakeStatistics(
                "Tarsel::Proc::FilterCutControllerStreamImpl<class Tarsel::Proc::IStreamVideo>::GetStatistic", 0, 0))
            .Children()[0]);
}

TEST(CutDecoded, PicturesAreRemovedAndMovedAndPartlyRemovedOnesShortened) {
    auto controller = MakeController({{60000, 130000}});
    auto stream = Add<IStreamVideo>(*controller, MakeVideo(5, FRAME, 5 * FRAME));
    SeekTo(*stream, 0);
    auto const frames = ReadAll(*stream);
    EXPECT_EQ(SpansOf(frames), (std::vector<Span>{{0, 40000}, {40000, 20000}, {60000, 30000}, {90000, 40000}}));
    EXPECT_EQ(IdsOf(frames), (std::vector<u32>{1, 2, 4, 5}));
    EXPECT_EQ(stream->GetDuration(), 130000);
    EXPECT_FALSE(stream->Read());
    Core::Property const statistic = stream->GetStatistic();
    EXPECT_EQ(
        statistic.Children()[0],
        Core::GetRootItem()
            .Add(Core::MakeStatistics(
                "Tarsel::Proc::FilterCutControllerStreamImpl<class Tarsel::Proc::IStreamVideo>::GetStatistic", 0, 4))
            .Children()[0]);
}

TEST(CutDecoded, SoundIsCutToTheSample) {
    auto controller = MakeController({{50000, 320000}, {555000, 556000}});
    auto stream = Add<IStreamAudio>(*controller, MakeAudio(6, 600000));
    SeekTo(*stream, 0);
    auto const blocks = ReadAll(*stream);
    EXPECT_EQ(SpansOf(blocks), (std::vector<Span>{{0, 50000}, {50000, 80000}, {130000, 100000}, {230000, 99000}}));
    std::vector<int> expected;
    for (int i = 0; i < 600; ++i)
        if (!(i >= 50 && i < 320) && i != 555) expected.push_back(i);
    EXPECT_EQ(SamplesOf(blocks), expected);
    EXPECT_EQ(stream->GetStatistic().Children()[0].Name(),
              "Tarsel::Proc::FilterCutControllerStreamImpl<class Tarsel::Proc::IStreamAudio>::GetStatistic");
}

TEST(CutDecoded, ItemOverSeveralBoundariesKeepsItsPiecesJoined) {
    auto controller = MakeController({{20000, 30000}, {50000, 70000}});
    auto stream = Add<IStreamAudio>(*controller, MakeAudio(1, 100000));
    SeekTo(*stream, 0);
    auto const blocks = ReadAll(*stream);
    EXPECT_EQ(SpansOf(blocks), (std::vector<Span>{{0, 70000}}));
    EXPECT_EQ(SamplesOf(blocks).size(), 70U);
    EXPECT_EQ(SamplesOf(blocks)[20], 30);
    EXPECT_EQ(SamplesOf(blocks)[40], 70);
}

TEST(CutDecoded, RangeToTheEndEndsTheStreamAndAskingAgainIsSafe) {
    auto controller = MakeController({{80000, NO_VALUE}});
    auto source = MakeVideo(100, FRAME, 100 * FRAME);
    auto stream = Add<IStreamVideo>(*controller, source);
    SeekTo(*stream, 0);
    EXPECT_EQ(ReadAll(*stream).size(), 2U);
    unsigned const reads = source->reads;
    EXPECT_FALSE(stream->Read());
    EXPECT_FALSE(stream->Read());
    EXPECT_EQ(source->reads, reads);
    EXPECT_EQ(stream->GetDuration(), 80000);
    SeekTo(*stream, 0);
    EXPECT_EQ(ReadAll(*stream).size(), 2U);
}

TEST(CutDecoded, UnknownDurationNeverEndsAStreamEarly) {
    auto controller = MakeController({{FRAME, NO_VALUE}});
    auto stream = Add<IStreamVideo>(*controller, MakeVideo(4, FRAME, NO_VALUE));
    EXPECT_EQ(stream->GetDuration(), NO_VALUE);
    EXPECT_FALSE(controller->IsCutPastEnd(2 * FRAME));
    SeekTo(*stream, 0);
    EXPECT_EQ(ReadAll(*stream).size(), 1U);
}

TEST(CutDecoded, SeekIsMappedToSourceTime) {
    auto controller = MakeController({{80000, 200000}});
    auto source = MakeVideo(10, FRAME, 10 * FRAME);
    auto stream = Add<IStreamVideo>(*controller, source);
    SeekTo(*stream, 80000);
    EXPECT_EQ(source->seeks.back(), 200000);
    EXPECT_EQ(stream->GetPosition(), 80000);
    EXPECT_EQ(IdsOf(ReadAll(*stream)), (std::vector<u32>{6, 7, 8, 9, 10}));
    SeekTo(*stream, 100000000);
    EXPECT_EQ(source->seeks.back(), 400000);
}

TEST(CutDecoded, PointItemsAreKeptOrRemovedByTheirTime) {
    auto controller = MakeController({{40000, 80000}});
    auto source = MakeSubtitles({{0, 0}, {40000, NO_VALUE}, {60000, 0}, {80000, NO_VALUE}}, 100000);
    auto stream = Add<IStreamSubtitle>(*controller, source);
    SeekTo(*stream, 0);
    EXPECT_EQ(SpansOf(ReadAll(*stream)), (std::vector<Span>{{0, 0}, {40000, NO_VALUE}}));
    EXPECT_EQ(stream->GetStatistic().Children()[0].Name(),
              "Tarsel::Proc::FilterCutControllerStreamImpl<class Tarsel::Proc::IStreamSubtitle>::GetStatistic");
}

TEST(CutDecoded, TellsVisitorsAndRefusesWhatItHasNot) {
    auto controller = MakeController({});
    auto stream = Add<IStreamVideo>(*controller, MakeVideo(1, FRAME, FRAME));
    Proc::Visitors::InfoCollector names;
    stream->Accept(names);
    EXPECT_EQ(names.names, (std::vector<std::string>{"FilterCutControllerStreamImpl", "Source"}));
    EXPECT_EQ(MessageOf<Proc::FilterException>([&] { stream->Initialize(Core::Property("X")); }),
              "Method not implemented");
    EXPECT_EQ(MessageOf<Proc::FilterException>([&] { stream->GetSettings(); }), "Method not implemented");
}

// --- Jumps -----------------------------------------------------------------------------------------------------------

TEST(CutJump, RangeOfLessThanFiveSecondsIsReadThrough) {
    auto controller = MakeController({{SECOND, 6 * SECOND - 1}});
    auto source = MakeVideo(10, SECOND, 10 * SECOND);
    auto stream = Add<IStreamVideo>(*controller, source);
    SeekTo(*stream, 0);
    EXPECT_EQ(IdsOf(ReadAll(*stream)), (std::vector<u32>{1, 6, 7, 8, 9, 10}));
    EXPECT_EQ(source->seeks, std::vector<int64>{0});
}

TEST(CutJump, LongRangeIsLeftByAllStreamsTogether) {
    auto controller = MakeController({{SECOND, 7 * SECOND}});
    auto video = MakeVideo(10, SECOND, 10 * SECOND);
    auto audio = MakeAudio(100, 10 * SECOND);
    auto videoStream = Add<IStreamVideo>(*controller, video);
    auto audioStream = Add<IStreamAudio>(*controller, audio);
    SeekTo(*videoStream, 0);
    SeekTo(*audioStream, 0);
    EXPECT_EQ(IdsOf(ReadAll(*videoStream)), (std::vector<u32>{1, 8, 9, 10}));
    EXPECT_EQ(video->seeks, (std::vector<int64>{0, 7 * SECOND}));
    EXPECT_EQ(audio->seeks, (std::vector<int64>{0, 7 * SECOND}));
    auto const samples = SamplesOf(ReadAll(*audioStream));
    EXPECT_EQ(samples.size(), 4000U);
    // The sound that the jump read ahead is there, and nothing of it twice.
    for (int i = 0; i < 4000; ++i) ASSERT_EQ(samples[static_cast<std::size_t>(i)], i < 1000 ? i : i + 6000) << i;
    EXPECT_LT(audio->reads, 60U);
}

/// A stream that lags has material ahead of the range that its reader has not had.
TEST(CutJump, KeptItemsOfALaggingStreamAreNotLost) {
    auto controller = MakeController({{SECOND, 7 * SECOND}});
    auto video = MakeVideo(10, SECOND, 10 * SECOND);
    auto audio = MakeAudio(100, 10 * SECOND);
    auto videoStream = Add<IStreamVideo>(*controller, video);
    auto audioStream = Add<IStreamAudio>(*controller, audio);
    SeekTo(*videoStream, 0);
    SeekTo(*audioStream, 0);
    for (int i = 0; i < 8; ++i) ASSERT_TRUE(audioStream->Read());  // 0.2 s behind
    ASSERT_TRUE(videoStream->Read());
    ASSERT_TRUE(videoStream->Read());  // jumps
    auto const rest = SpansOf(ReadAll(*audioStream));
    ASSERT_EQ(rest.size(), 32U);
    EXPECT_EQ(rest.front(), (Span{800000, 100000}));
    EXPECT_EQ(rest[1], (Span{900000, 100000}));
    EXPECT_EQ(rest[2], (Span{1000000, 100000}));
}

/// One jump moves all streams; a stream that then still meets the range must not rewind those that have read on.
TEST(CutJump, SecondStreamInTheSameRangeDoesNotJumpAgain) {
    auto controller = MakeController({{SECOND, 7 * SECOND}});
    auto video = MakeVideo(10, SECOND, 10 * SECOND);
    auto audio = MakeAudio(100, 10 * SECOND);
    audio->landEarlier = 25;  // its seek lands inside the range
    auto videoStream = Add<IStreamVideo>(*controller, video);
    auto audioStream = Add<IStreamAudio>(*controller, audio);
    SeekTo(*videoStream, 0);
    SeekTo(*audioStream, 0);
    std::vector<iptr<Proc::IDataVideo>> frames;
    for (int i = 0; i < 3; ++i) frames.push_back(videoStream->Read());
    auto const samples = SamplesOf(ReadAll(*audioStream));
    EXPECT_EQ(samples.size(), 4000U);
    // What it still meets of the range is read through, not jumped over again and again.
    EXPECT_EQ(audio->seeks, (std::vector<int64>{0, 7 * SECOND}));
    while (auto frame = videoStream->Read()) frames.push_back(frame);
    EXPECT_EQ(IdsOf(frames), (std::vector<u32>{1, 8, 9, 10}));
    EXPECT_EQ(video->seeks.size(), 2U);
    // After the next seek the range is jumped over again.
    SeekTo(*videoStream, 0);
    SeekTo(*audioStream, 0);
    EXPECT_EQ(ReadAll(*videoStream).size(), 4U);
    EXPECT_EQ(video->seeks.size(), 4U);
}

TEST(CutJump, StreamPastTheRangeIsNeitherSearchedNorSought) {
    auto controller = MakeController({{SECOND, 7 * SECOND}});
    auto video = MakeVideo(10, SECOND, 10 * SECOND);
    auto subtitles = MakeSubtitles({{0, SECOND}, {8 * SECOND, SECOND}, {9 * SECOND, SECOND}}, 10 * SECOND);
    auto videoStream = Add<IStreamVideo>(*controller, video);
    auto subtitleStream = Add<IStreamSubtitle>(*controller, subtitles);
    SeekTo(*videoStream, 0);
    SeekTo(*subtitleStream, 0);
    subtitleStream->Read();
    subtitleStream->Read();
    std::size_t const seeks = subtitles->seeks.size();
    EXPECT_EQ(ReadAll(*videoStream).size(), 4U);
    EXPECT_EQ(subtitles->seeks.size(), seeks);
    EXPECT_EQ(SpansOf(ReadAll(*subtitleStream)), (std::vector<Span>{{3 * SECOND, SECOND}}));
}

TEST(CutJump, ItemThatSpansTheWholeRangeComesOnce) {
    auto controller = MakeController({{SECOND, 7 * SECOND}});
    auto video = MakeVideo(10, SECOND, 10 * SECOND);
    auto subtitles = MakeSubtitles({{500000, 9 * SECOND}, {9500000, 500000}}, 10 * SECOND);
    auto videoStream = Add<IStreamVideo>(*controller, video);
    auto subtitleStream = Add<IStreamSubtitle>(*controller, subtitles);
    SeekTo(*videoStream, 0);
    SeekTo(*subtitleStream, 0);
    ReadAll(*videoStream);
    EXPECT_EQ(SpansOf(ReadAll(*subtitleStream)), (std::vector<Span>{{500000, 3 * SECOND}, {3500000, 500000}}));
}

/// A seek behind the last packet lands on that packet, which has been read.
TEST(CutJump, StreamThatHasEndedAheadOfTheRangeGivesNothingTwice) {
    auto controller = MakeController({{SECOND, 7 * SECOND}});
    controller->SetCodecFacory(MakeFactory());
    auto videoStream = Add<IStreamVideo>(*controller, MakeVideo(10, SECOND, 10 * SECOND));
    auto soundStream = Add<IStreamRaw>(*controller, MakeSoundSource(MakeSound(9, 100000), 10 * SECOND));
    SeekTo(*videoStream, 0);
    SeekTo(*soundStream, 0);
    EXPECT_EQ(ReadAll(*soundStream).size(), 9U);
    EXPECT_EQ(ReadAll(*videoStream).size(), 4U);
    EXPECT_FALSE(soundStream->Read());
}

TEST(CutJump, FailureOnASearchThreadReachesTheReaderAndASeekRepairs) {
    auto controller = MakeController({{SECOND, 7 * SECOND}});
    auto video = MakeVideo(10, SECOND, 10 * SECOND);
    auto audio = MakeAudio(100, 10 * SECOND);
    bool broken = true;
    audio->onRead = [&](std::size_t index) {
        if (broken && index == 5) TARSEL_THROW(Core::IOException, "disk gone");
    };
    auto videoStream = Add<IStreamVideo>(*controller, video);
    auto audioStream = Add<IStreamAudio>(*controller, audio);
    SeekTo(*videoStream, 0);
    SeekTo(*audioStream, 0);
    videoStream->Read();
    EXPECT_EQ(MessageOf<Core::IOException>([&] { videoStream->Read(); }), "disk gone");
    broken = false;
    SeekTo(*videoStream, 0);
    SeekTo(*audioStream, 0);
    EXPECT_EQ(ReadAll(*videoStream).size(), 4U);
    EXPECT_EQ(SamplesOf(ReadAll(*audioStream)).size(), 4000U);
}

TEST(CutJump, ReleaseForgetsWhatWasReadAhead) {
    auto controller = MakeController({{SECOND, 7 * SECOND}});
    auto video = MakeVideo(10, SECOND, 10 * SECOND);
    auto audio = MakeAudio(100, 10 * SECOND);
    auto videoStream = Add<IStreamVideo>(*controller, video);
    auto audioStream = Add<IStreamAudio>(*controller, audio);
    SeekTo(*videoStream, 0);
    SeekTo(*audioStream, 0);
    ReadAll(*videoStream);
    audioStream->ReleaseInternalData();
    SeekTo(*audioStream, 0);
    EXPECT_EQ(SamplesOf(ReadAll(*audioStream)).size(), 4000U);
}

}  // namespace
}  // namespace Tarsel::CutTest
