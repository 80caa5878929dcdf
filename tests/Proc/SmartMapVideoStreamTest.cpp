// What a map does as a stream: seeks, releases, its end, its format, its reports.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "contracts/Proc/IStreamVisitor.h"
#include "tests/Proc/SmartMapSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using testing::ElementsAre;
using testing::IsEmpty;

using Texts = std::vector<std::string>;

TEST(SmartMapVideoStream, ASeekIsHeldToTheTimeline) {
    VideoMap map;
    map.Add(MakePictures({40, 40}, 1));
    map->RequestSeek(80, nullptr);
    EXPECT_EQ(map->GetPosition(), 79);
    map->RequestSeek(5000, nullptr);
    EXPECT_EQ(map->GetPosition(), 79);
    map->RequestSeek(-5, nullptr);
    EXPECT_EQ(map->GetPosition(), 0);
    map->RequestSeek(NO_VALUE, nullptr);
    EXPECT_EQ(map->GetPosition(), 0);
}

TEST(SmartMapVideoStream, ASeekSeeksTheSourcesThereAndReleasesTheOthers) {
    VideoMap map;
    auto const there = MakePictures({40, 40}, 1);
    auto const before = MakePictures({40}, 1);
    auto const behind = MakePictures({40}, 1);
    map.Add(there, 20).Add(before).Add(behind, 41);
    there->log.Take();
    before->log.Take();
    behind->log.Take();
    map->RequestSeek(40, MakePictures({}, 1));
    EXPECT_THAT(there->log.Take(), ElementsAre("RequestSeek(20)", "DoSeek")) << "without the context";
    EXPECT_THAT(before->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_THAT(behind->log.Take(), ElementsAre("ReleaseInternalData"));
}

TEST(SmartMapVideoStream, BehindASeekThatFailedReadingGoesOnWhereItWas) {
    VideoMap map;
    auto const failing = MakeShared<EarlySource>();
    failing->makeFrame = [](int i) { return i == 0 ? MakeVideo(0, 1000, 99) : iptr<IDataVideo>(); };
    map.Add(MakePictures({40, 40, 40, 40}, 1), 0, 1).Add(failing);
    Seek(*map, 0);
    EXPECT_EQ(ReadText(*map), "0+40 #1");
    bool fails = true;
    failing->onRequestSeek = [&](int64) {
        failing->index = 0;
        if (std::exchange(fails, false)) TARSEL_THROW(ProcException, "no way there");
    };
    EXPECT_EQ(MessageOf<ProcException>([&] { map->RequestSeek(120, nullptr); }), "no way there");
    EXPECT_EQ(map->GetPosition(), 40);
    EXPECT_EQ(ReadText(*map), "40+40 #2");
}

TEST(SmartMapVideoStream, ASourceIsReleasedWhenItIsMappedAndWhenItsEndIsReached) {
    VideoMap map;
    auto const source = MakePictures({40}, 1);
    map.Add(source).Add(MakePictures({40, 40}, 11));
    EXPECT_THAT(source->log.Take(), ElementsAre("ReleaseInternalData"));
    Seek(*map, 0);
    source->log.Take();
    map->Read();
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "Read", "ReleaseInternalData"));
    map->Read();
    EXPECT_THAT(source->log.Take(), IsEmpty()) << "a source that has ended costs nothing";
}

TEST(SmartMapVideoStream, ReleasingTheMapsDataKeepsItsPositionAndReadingGoesOn) {
    VideoMap map;
    auto const source = MakePictures({40, 40}, 1);
    map.Add(source);
    Seek(*map, 0);
    EXPECT_EQ(ReadText(*map), "0+40 #1");
    source->log.Take();
    map->ReleaseInternalData();
    EXPECT_EQ(map->GetPosition(), 40);
    EXPECT_EQ(ReadText(*map), "40+40 #2");
    EXPECT_THAT(source->log.Take(),
                ElementsAre("ReleaseInternalData", "RequestSeek(40)", "DoSeek", "Read", "ReleaseInternalData"));
}

TEST(SmartMapVideoStream, FinishSeekAsksEverySource) {
    VideoMap map;
    auto const first = MakePictures({40}, 1);
    auto const second = MakePictures({40}, 1);
    map.Add(first).Add(second, 100);
    first->log.Take();
    second->log.Take();
    EXPECT_TRUE(map->FinishSeek());
    EXPECT_THAT(first->log.Take(), ElementsAre("FinishSeek"));
    EXPECT_THAT(second->log.Take(), ElementsAre("FinishSeek"));
    map.Add(iptr<IStreamVideo>(SmartMapVideo::Create()));
    EXPECT_TRUE(map->FinishSeek()) << "an empty map is ready";
}

TEST(SmartMapVideoStream, AMapThatIsToldToEndGivesNullUntilTheNextSeek) {
    VideoMap map;
    auto const source = MakePictures({40, 40}, 1);
    map.Add(source);
    Seek(*map, 0);
    EXPECT_EQ(ReadText(*map), "0+40 #1");
    EXPECT_FALSE(map->IsEndOfStream());
    map->SetEndOfStream();
    EXPECT_TRUE(map->IsEndOfStream());
    EXPECT_TRUE(source->IsEndOfStream());
    EXPECT_EQ(map->Read(), nullptr);
    EXPECT_EQ(map->GetPosition(), 40);
    EXPECT_THAT(map.ReadFrom(40), ElementsAre("40+40 #2"));
    EXPECT_FALSE(map->IsEndOfStream());
}

TEST(SmartMapVideoStream, TheEarliestSourceGivesTheFormat) {
    VideoMap map;
    auto const early = MakePictures({40}, 1);
    auto const late = MakePictures({40}, 1);
    early->format->SetFrameRate(30000, 1001);
    early->format->SetPixelFormat(PIX_FMT_YUV420P);
    early->format->InitByPixelAspect(720, 576, 16, 15);
    early->format->SetCodecID("h264");
    late->format->SetFrameRate(25, 1);
    auto const empty = map->GetFormatCodec();
    EXPECT_EQ(empty->GetFrameRate(), Ratio(1, 1));
    EXPECT_EQ(empty->GetPixelFormat(), PIX_FMT_NONE);
    EXPECT_EQ(empty->GetFrameInfo(), (Conf::FrameInfo{0, 0, 1, 1}));
    EXPECT_EQ(empty->GetCodecID(), "none");
    map.Add(late, 10).Add(early, 5);
    auto const format = map->GetFormatCodec();
    EXPECT_EQ(format->GetFrameRate(), Ratio(30000, 1001));
    EXPECT_EQ(format->GetPixelFormat(), PIX_FMT_YUV420P);
    EXPECT_EQ(format->GetFrameInfo(), (Conf::FrameInfo{720, 576, 16, 15}));
    EXPECT_EQ(format->GetCodecID(), "none") << "what comes out isn't coded";
    EXPECT_EQ(map->GetFormatCodec(), format) << "made once";
    EXPECT_EQ(empty->GetWidth(), 0) << "who holds the former one keeps it as it was";
    map->Lock();
    map.streams[1]->SetBegin(50);
    map->Unlock();
    EXPECT_EQ(map->GetFormatCodec()->GetFrameRate(), Ratio(25, 1));
    EXPECT_EQ(format->GetFrameRate(), Ratio(30000, 1001));
}

TEST(SmartMapVideoStream, AnEarliestSourceWithoutAFormatIsAFailure) {
    VideoMap map;
    auto const source = MakePictures({40}, 1);
    source->format.reset();
    map.Add(source);
    EXPECT_EQ(MessageOf<FilterException>([&] { map->GetFormatCodec(); }), "Source format codec must be present");
}

TEST(SmartMapVideoStream, StatisticsAreThoseOfTheMapTheSourcesByBeginAndTheEffectsAsMapped) {
    VideoMap map;
    map.Add(MakePictures({40}, 1), 40).Add(MakePictures({10, 10, 10, 10}, 1));
    map.Add(MakeShared<NotingEffect>("late"), 50, 60).Add(MakeShared<NotingEffect>("early"), 0, 10);
    Seek(*map, 0);
    for (int i = 0; i < 3; ++i) map->Read();
    Core::Property expected = Core::MakeStatistics("Tarsel::Proc::SmartMapVideo::GetStatistic", 0, 3);
    expected.Add(Core::GetRootItem().Add(Core::MakeStatistics("ScriptedStream", 0, 3)));
    expected.Add(Core::GetRootItem().Add(Core::MakeStatistics("ScriptedStream", 0, 0)));
    expected.Add(Core::MakeStatistics("late", 0, 0)).Add(Core::MakeStatistics("early", 0, 0));
    EXPECT_EQ(map->GetStatistic(), expected);
}

TEST(SmartMapVideoStream, VisitorsSeeTheMapAndThenItsSources) {
    VideoMap map;
    Visitors::FrameTypeCollector plain;
    map->Accept(plain);
    EXPECT_THAT(plain.frameTypes, ElementsAre(5));
    map.Add(MakePictures({40}, 1)).Add(MakePictures({40}, 1)).Add(MakeShared<NotingEffect>("gpu", 1), 0, 10);
    Visitors::InfoCollector names;
    map->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("SmartMapVideo", "ScriptedStream", "ScriptedStream"));
    Visitors::FrameTypeCollector types;
    map->Accept(types);
    EXPECT_THAT(types.frameTypes, ElementsAre(1, 5, 5));
}

TEST(SmartMapVideoStream, AMapCanStandOnAnotherMap) {
    VideoMap inner;
    inner.Add(MakePictures({40, 40}, 1)).Add(MakePictures({40}, 11), 40, 1);
    VideoMap outer;
    outer.Add(iptr<IStreamVideo>(inner.map), 100).Add(MakePictures({100}, 21));
    EXPECT_THAT(outer.ReadFrom(0), ElementsAre("0+100 #21", "100+40 #1", "140+40 #11"));
    EXPECT_THAT(outer.ReadFrom(145), ElementsAre("145+35 #11"));
}

TEST(SmartMapVideoStream, AFailureOfASourceComesThroughAndTheNextReadTriesAgain) {
    VideoMap map;
    auto const source =
        ScriptedVideo::Create({MakeVideo(0, 40, 1), Failure<ProcException>("a broken frame"), MakeVideo(40, 40, 2)});
    source->duration = 80;
    map.Add(source);
    Seek(*map, 0);
    EXPECT_EQ(ReadText(*map), "0+40 #1");
    EXPECT_EQ(MessageOf<ProcException>([&] { map->Read(); }), "a broken frame");
    EXPECT_EQ(ReadText(*map), "40+40 #2");
}

}  // namespace
}  // namespace Tarsel::Proc
