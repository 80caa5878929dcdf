#include "Proc/Filters/Filters/FilterStreamMetadataUpdater.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <typeinfo>

#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

using VideoUpdater = FilterStreamMetadataUpdater<IStreamVideo>;
using AudioUpdater = FilterStreamMetadataUpdater<IStreamAudio>;

SettingsStreamMetadataUpdater Language(char const* language) {
    return SettingsStreamMetadataUpdater(Core::Property("Tags").SetChild("language", language));
}

TEST(FilterStreamMetadataUpdater, SecondParameterIsTheExInterface) {
    static_assert(std::is_same_v<VideoUpdater, FilterStreamMetadataUpdater<IStreamVideo, IStreamVideoEx>>);
    static_assert(std::is_convertible_v<VideoUpdater*, IStreamVideoEx*>);
    static_assert(std::is_convertible_v<AudioUpdater*, IStreamAudioEx*>);
}

TEST(FilterStreamMetadataUpdater, ItemsPassAsTheSameObjects) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40, 1), MakeVideo(NO_VALUE, NO_VALUE, 2)});
    auto const filter = MakeShared<VideoUpdater>(source, Language("eng"));
    Seek(*filter, 0);
    auto const items = ReadAll(*filter);
    EXPECT_THAT(items, ElementsAre(IsVideo(0, 40), IsVideo(NO_VALUE, NO_VALUE)));
    EXPECT_THAT(source->delivered, ElementsAre(items[0].get(), items[1].get()));
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterStreamMetadataUpdater, AudioItemsPassAsTheSameObjects) {
    auto const source = ScriptedAudio::Create({MakeAudio(0, 100), MakeAudio(2083, 50)});
    auto const filter = MakeShared<AudioUpdater>(source, Language("eng"));
    auto const items = ReadAll(*filter);
    EXPECT_THAT(items, ElementsAre(IsAudio(0, 100), IsAudio(2083, 50)));
    EXPECT_EQ(items[0].get(), source->delivered[0]);
}

TEST(FilterStreamMetadataUpdater, EveryFormatIsAFreshCloneWithTheMetadata) {
    auto const source = ScriptedVideo::Create({});
    source->format->SetCodecID("h264");
    source->format->SetMetadata(Core::Property("Tags").SetChild("title", "old"));
    auto const filter = MakeShared<VideoUpdater>(source, Language("eng"));
    auto const first = filter->GetFormatCodec();
    auto const second = filter->GetFormatCodec();
    EXPECT_NE(first, second);
    EXPECT_NE(first, source->format);
    EXPECT_EQ(first->GetMetadata(), second->GetMetadata());
    EXPECT_EQ(first->GetMetadata()["language"].GetString(), "eng");
    EXPECT_FALSE(first->GetMetadata().ChildExists("title"));
    EXPECT_EQ(first->GetCodecID(), "h264");
    EXPECT_EQ(second->GetCodecID(), "h264");
    EXPECT_EQ(source->format->GetMetadata()["title"].GetString(), "old");
}

TEST(FilterStreamMetadataUpdater, NothingOfTheFormatIsCached) {
    auto const source = ScriptedAudio::Create({});
    auto const filter = MakeShared<AudioUpdater>(source, Language("eng"));
    EXPECT_EQ(filter->GetFormatCodec()->GetSampleInfo().GetSampleRate(), -1);
    source->format->SetSampleRate(48000);
    filter->Initialize(Language("deu"));
    EXPECT_EQ(filter->GetFormatCodec()->GetSampleInfo().GetSampleRate(), 48000);
    EXPECT_EQ(filter->GetFormatCodec()->GetMetadata()["language"].GetString(), "deu");
}

TEST(FilterStreamMetadataUpdater, SourceWithoutAFormatIsRefused) {
    auto const source = ScriptedVideo::Create({});
    source->format = nullptr;
    auto const filter = MakeShared<VideoUpdater>(source, Language("eng"));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetFormatCodec(); }), "Source format codec must be present");
}

TEST(FilterStreamMetadataUpdater, SettingsOfAnotherClassAreRefusedAlsoByTheConstructor) {
    auto const source = ScriptedVideo::Create({});
    EXPECT_THROW(VideoUpdater(source, OtherSettings()), std::bad_cast);
    auto const filter = MakeShared<VideoUpdater>(source, Language("eng"));
    EXPECT_THROW(filter->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(filter->GetFormatCodec()->GetMetadata()["language"].GetString(), "eng");
    EXPECT_EQ(source->GetRefCountImpl(), 2U);
}

TEST(FilterStreamMetadataUpdater, NullSourceIsRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { VideoUpdater filter(nullptr, Language("eng")); }),
              "parentStream is NULL.");
}

TEST(FilterStreamMetadataUpdater, PropertyFormIsNotImplementedAndSettingsAreTheEmptyProperty) {
    auto const filter = MakeShared<VideoUpdater>(ScriptedVideo::Create({}), Language("eng"));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property("x")); }), "Method not implemented");
    IStream& base = *filter;
    EXPECT_EQ(MessageOf<FilterException>([&] { base.Initialize(Core::Property()); }), "Method not implemented");
    EXPECT_EQ(filter->GetSettings(), Core::Property());
}

TEST(FilterStreamMetadataUpdater, SeekAndReleaseGoToTheSource) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40)});
    source->duration = 40;
    auto const filter = MakeShared<VideoUpdater>(source, Language("eng"));
    filter->RequestSeek(100, source);
    filter->DoSeek();
    EXPECT_TRUE(filter->FinishSeek());
    filter->SetEndOfStream();
    filter->ReleaseInternalData();
    EXPECT_EQ(filter->GetDuration(), 40);
    EXPECT_THAT(source->log.Take(),
                ElementsAre("RequestSeek(40, context)", "DoSeek", "SetEndOfStream", "ReleaseInternalData"));
}

TEST(FilterStreamMetadataUpdater, StatisticsComeBehindTheSourcesAndCountItems) {
    auto const video =
        MakeShared<VideoUpdater>(ScriptedVideo::Create({MakeVideo(0, 40), MakeVideo(40, 40)}), Language("eng"));
    ReadAll(*video);
    video->Read();
    Core::Property const statistic = video->GetStatistic();
    ASSERT_EQ(statistic.Children().size(), 2U);
    EXPECT_EQ(statistic.Children()[0].Name(), "ScriptedStream");
    EXPECT_EQ(statistic.Children()[1],
              Core::MakeStatistics("Tarsel::Proc::FilterStreamMetadataUpdater<class Tarsel::Proc::IStreamVideo,class "
                                   "Tarsel::Proc::IStreamVideoEx>::GetStatistic",
                                   0, 2));
    auto const audio = MakeShared<AudioUpdater>(ScriptedAudio::Create({}), Language("eng"));
    EXPECT_EQ(audio->GetStatistic().Children().back().Name(),
              "Tarsel::Proc::FilterStreamMetadataUpdater<class Tarsel::Proc::IStreamAudio,class "
              "Tarsel::Proc::IStreamAudioEx>::GetStatistic");
}

TEST(FilterStreamMetadataUpdater, VisitorMeetsItAsAPlainFilter) {
    auto const filter = MakeShared<VideoUpdater>(ScriptedVideo::Create({}), Language("eng"));
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterStreamMetadataUpdater", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

}  // namespace
}  // namespace Tarsel::Proc
