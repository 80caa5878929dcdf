#include "Proc/Filters/Filters/FilterAudioFormatter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <typeinfo>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterAudioFormatter.h"
#include "contracts/Proc/Time.h"
#include "host/graph/Factories.h"
#include "tests/support/Builders.h"
#include "tests/support/EmptyBlocksStream.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedEngines.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char const* NO_ENGINE = "There is no any implementation for AudioFormatter";

/// A filter over scripted blocks whose cutter notes its calls.
struct Scripted {
    explicit Scripted(iptr<ScriptedAudio> stream) : source(std::move(stream)) {
        factory->onCreate = [this](std::string const& classId, std::string const& implName) {
            log->Add("CreateAudioFormatter " + classId + " " + implName);
            return engine;
        };
    }
    iptr<FilterAudioFormatter> Make() {
        auto filter = MakeShared<FilterAudioFormatter>(source, factory);
        log->Take();
        return filter;
    }

    std::shared_ptr<CallLog> log = std::make_shared<CallLog>();
    iptr<ScriptedAudio> source;
    iptr<ScriptedAlgorithmFactory> factory = MakeShared<ScriptedAlgorithmFactory>();
    iptr<ScriptedAudioFormatter> engine = MakeShared<ScriptedAudioFormatter>(log);
};

TEST(FilterAudioFormatter, MakesTheDefaultCutterAtOnce) {
    Scripted scripted(ScriptedAudio::Create({}));
    MakeShared<FilterAudioFormatter>(scripted.source, scripted.factory);
    EXPECT_THAT(scripted.log->Take(), ElementsAre("CreateAudioFormatter AudioFormatter Default"));
    auto const filter = FilterAudioFormatter::Create(scripted.source, scripted.factory);
    EXPECT_NE(dynamic_cast<IStreamAudioEx*>(filter.get()), nullptr);
}

TEST(FilterAudioFormatter, AsksTheCutterAheadOfTheSourceAndPushesWhatItReads) {
    Scripted scripted(ScriptedAudio::Create({MakeAudio(0, 1), MakeAudio(1, 2)}));
    auto const filter = scripted.Make();
    auto const made = MakeAudio(77, 9);
    scripted.engine->onPop = [&](int64, bool) -> iptr<IDataAudio> {
        scripted.source->log.Add("Pop");
        return scripted.engine->pushed.size() == 2 ? made : nullptr;
    };
    EXPECT_EQ(filter->Read(), made) << "what the cutter gives is the result, as it is";
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Pop(100000)", "Push", "Pop(100000)", "Push", "Pop(100000)"));
    EXPECT_THAT(scripted.source->log.Take(), ElementsAre("Pop", "Read", "Pop", "Read", "Pop"));
    EXPECT_THAT(scripted.engine->pushed, ElementsAre(IsAudio(0, 1), IsAudio(1, 2)));
    EXPECT_EQ(filter->Read(), made);
    EXPECT_THAT(scripted.source->log.Take(), ElementsAre("Pop")) << "while it has enough the source isn't read";
}

TEST(FilterAudioFormatter, AtTheEndTheRestIsFlushed) {
    Scripted scripted(ScriptedAudio::Create({MakeAudio(0, 1)}));
    auto const filter = scripted.Make();
    auto rest = MakeAudio(5, 3);
    scripted.engine->onPop = [&](int64, bool flush) { return flush ? std::exchange(rest, nullptr) : nullptr; };
    EXPECT_THAT(filter->Read(), IsAudio(5, 3));
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Pop(100000)", "Push", "Pop(100000)", "Pop(100000, flush)"));
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterAudioFormatter::GetStatistic", 0, 1));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Pop(100000)", "Pop(100000, flush)"));
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterAudioFormatter::GetStatistic", 0, 1));
}

TEST(FilterAudioFormatter, StreamThatEndsWithNothingBufferedEndsWithNull) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Pop(100000)", "Pop(100000, flush)"));
}

TEST(FilterAudioFormatter, EndFromTheHostGivesNullWithoutAskingTheCutter) {
    Scripted scripted(ScriptedAudio::Create({MakeAudio(0, 1)}));
    auto const filter = scripted.Make();
    filter->SetEndOfStream();
    scripted.source->log.Take();
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(scripted.log->Take(), IsEmpty());
    EXPECT_THAT(scripted.source->log.Take(), IsEmpty());
}

TEST(FilterAudioFormatter, EndFromTheHostBetweenTwoBlocksOfTheSourceGivesNull) {
    Scripted scripted(ScriptedAudio::Create({MakeAudio(0, 1), MakeAudio(1, 1)}));
    auto const filter = scripted.Make();
    scripted.engine->onPop = [&](int64, bool) {
        if (!scripted.engine->pushed.empty()) ADD_FAILURE() << "the end comes ahead of the next step";
        filter->SetEndOfStream();
        return nullptr;
    };
    scripted.source->log.Take();
    // The source has been told of the end, too, so that its read gives null and the cutter is flushed.
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(scripted.source->log.Take(), ElementsAre("SetEndOfStream", "Read", "SetEndOfStream"));
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Pop(100000)", "Pop(100000, flush)"));
}

TEST(FilterAudioFormatter, SeekResetsTheCutterToNoTimeAndGoesToTheSource) {
    Scripted scripted(ScriptedAudio::Create({MakeAudio(0, 480), MakeAudio(10000, 480)}));
    scripted.source->duration = 20000;
    auto const filter = scripted.Make();
    filter->RequestSeek(12000, scripted.source);
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Reset(no value)"));
    EXPECT_THAT(scripted.source->log.Take(), ElementsAre("RequestSeek(12000, context)"));
    filter->DoSeek();
    EXPECT_THAT(scripted.source->log.Take(), ElementsAre("DoSeek"));
    EXPECT_EQ(filter->GetDuration(), 20000);
}

TEST(FilterAudioFormatter, ReleaseResetsTheCutterToZeroAndReleasesTheSource) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    filter->ReleaseInternalData();
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Reset(0)"));
    EXPECT_THAT(scripted.source->log.Take(), ElementsAre("ReleaseInternalData"));
}

TEST(FilterAudioFormatter, PacketDurationMayChangeBetweenTwoReads) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    for (int64 const duration : {int64{50000}, int64{1}, int64{-5}}) {
        filter->SetPacketDuration(duration);
        filter->Read();
        std::string const text = std::to_string(duration);
        EXPECT_THAT(scripted.log->Take(), ElementsAre("Pop(" + text + ")", "Pop(" + text + ", flush)"));
    }
}

Core::Property PropertyFor(int64 duration) {
    return Core::Property(IFilterAudioFormatter::CLASS_ID)
        .SetChild(IAudioFormatter::CLASS_ID, Core::Property(IAudioFormatter::CLASS_ID).SetChild("Own", 7))
        .SetChild(IFilterAudioFormatter::PACKET_DURATION, duration);
}

TEST(FilterAudioFormatter, PropertySetsTheCutterUpAndTheDuration) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    EXPECT_EQ(filter->GetSettings(), Core::Property(IFilterAudioFormatter::CLASS_ID)
                                         .SetChild(IAudioFormatter::CLASS_ID, Core::Property(IAudioFormatter::CLASS_ID))
                                         .SetChild(IFilterAudioFormatter::PACKET_DURATION, int64{100000}));
    filter->Initialize(PropertyFor(12345));
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Initialize AudioFormatter"));
    EXPECT_EQ(filter->GetSettings(), PropertyFor(12345));
    filter->Read();
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Pop(12345)", "Pop(12345, flush)"));
}

TEST(FilterAudioFormatter, PropertyOfAnotherClassIsRefusedByItsName) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    auto const before = filter->GetSettings();
    for (char const* name : {"FilterResample", "SettingsFilterAudioFormatter", ""})
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property(name)); }),
                  std::string("Filter was initialized with incorrect class (") + name + ")!");
    EXPECT_THROW(filter->Initialize(Core::Property(IFilterAudioFormatter::CLASS_ID)), Core::CoreException);
    auto broken = PropertyFor(5);
    broken.SetChild(IFilterAudioFormatter::PACKET_DURATION, "long");
    EXPECT_THROW(filter->Initialize(broken), Core::CoreException);
    EXPECT_THAT(scripted.log->Take(), IsEmpty());
    EXPECT_EQ(filter->GetSettings(), before);
}

TEST(FilterAudioFormatter, SettingsSetTheDurationAndOthersAreABadCast) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    filter->Initialize(SettingsFilterAudioFormatter(777));
    EXPECT_EQ(filter->GetSettings()[IFilterAudioFormatter::PACKET_DURATION].GetInt64(), 777);
    EXPECT_THROW(filter->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(filter->GetSettings()[IFilterAudioFormatter::PACKET_DURATION].GetInt64(), 777);
    EXPECT_THAT(scripted.log->Take(), IsEmpty());
}

TEST(FilterAudioFormatter, FormatIsTheSourcesAdaptedByTheCutter) {
    Scripted scripted(ScriptedAudio::Create({}));
    scripted.source->format->SetCodecID("pcm");
    scripted.source->format->SetSampleRate(44100);
    auto const filter = scripted.Make();
    auto const format = filter->GetFormatCodec();
    EXPECT_THAT(scripted.log->Take(), ElementsAre("AdaptFormatCodec"));
    EXPECT_EQ(format->GetSampleInfo().GetSampleRate(), 12345);
    EXPECT_EQ(format->GetCodecID(), "pcm");
    EXPECT_EQ(scripted.source->format->GetSampleInfo().GetSampleRate(), 44100) << "the source's own format stays";
    scripted.source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetFormatCodec(); }), "Source format codec must be present");
}

TEST(FilterAudioFormatter, NullPartsAreRefused) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const source = scripted.source;
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterAudioFormatter::Create(source, nullptr); }),
              "algorithmFactory is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterAudioFormatter::Create(nullptr, scripted.factory); }),
              "parentStream is NULL.");
    scripted.engine = nullptr;
    EXPECT_EQ(MessageOf<AlgorithmException>([&] { FilterAudioFormatter::Create(source, scripted.factory); }),
              NO_ENGINE);
    EXPECT_EQ(MessageOf<AlgorithmException>(
                  [&] { FilterAudioFormatter::Create(source, MakeShared<Host::AlgorithmFactory>()); }),
              NO_ENGINE);
    EXPECT_EQ(source->GetRefCountImpl(), 2U);
}

TEST(FilterAudioFormatter, FailuresOfTheSourcePassThroughAndReadingGoesOn) {
    Scripted scripted(ScriptedAudio::Create({Failure<FilterException>("broken"), MakeAudio(0, 1)}));
    auto const filter = scripted.Make();
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(scripted.engine->pushed, ElementsAre(IsAudio(0, 1)));
}

TEST(FilterAudioFormatter, NamesItselfToVisitors) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    Visitors::InfoCollector names;
    filter->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterAudioFormatter", "ScriptedStream"));
}

// --- With the host's cutter ------------------------------------------------------------------------------------------

/// Blocks of numbers that run on, each as long as one of `sizes`, in turn.
iptr<ScriptedAudio> MakeNumbers(int count, int rate, std::vector<int> const& sizes) {
    std::vector<iptr<IDataAudio>> script;
    for (int first = 0; first < count;) {
        int const size = std::min(sizes[script.size() % sizes.size()], count - first);
        auto block = MakeAudio(SampleCount2Duration(first, rate), size, rate, Conf::SAMPLE_FORMAT_S32,
                               Conf::CHANNEL_LAYOUT_MONO);
        for (int i = 0; i < size; ++i) SamplesOf<i32>(*block)[i] = first + i;
        script.push_back(block);
        first += size;
    }
    auto source = ScriptedAudio::Create(script);
    source->duration = SampleCount2Duration(count, rate);
    return source;
}

iptr<IStreamAudioEx> MakeFilter(iptr<ScriptedAudio> const& source, int64 duration) {
    return Host::MakeFilterFactory()->CreateAudio(SettingsFilterAudioFormatter::CLASS_ID, ImplNames::DEFAULT, source,
                                                  SettingsFilterAudioFormatter(duration));
}

TEST(FilterAudioFormatter, LastBlockOfAStreamIsShorter) {
    auto const filter = MakeFilter(MakeNumbers(10000, 48000, {1024}), 100000);
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsAudio(0, 4800), IsAudio(100000, 4800), IsAudio(200000, 400)));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetPosition(), 208333);
}

TEST(FilterAudioFormatter, DedicatedFormCutsIntoTenthsOfASecond) {
    auto const source = MakeNumbers(10000, 48000, {1024});
    auto const filter = Host::MakeFilterFactory()->CreateAudioFormatter(iptr<IStreamAudio>(source), ImplNames::DEFAULT);
    EXPECT_THAT(filter->Read(), IsAudio(0, 4800));
    filter->SetPacketDuration(50000);
    EXPECT_THAT(filter->Read(), IsAudio(100000, 2400));
}

TEST(FilterAudioFormatter, DurationOfZeroGivesBlocksAsTheyCome) {
    auto const source = MakeNumbers(3000, 48000, {1000, 500});
    auto const filter = MakeFilter(source, 0);
    auto const blocks = ReadAll(*filter);
    EXPECT_THAT(blocks, ElementsAre(IsAudio(0, 1000), IsAudio(20833, 500), IsAudio(31250, 1000), IsAudio(52083, 500)));
    EXPECT_THAT(source->delivered, ElementsAre(blocks[0].get(), blocks[1].get(), blocks[2].get(), blocks[3].get()));
}

TEST(FilterAudioFormatter, BehindReleaseTheClockBeginsAtZeroUntilASeek) {
    auto const filter = MakeFilter(MakeNumbers(48000, 48000, {4800}), 100000);
    EXPECT_THAT(filter->Read(), IsAudio(0, 4800));
    EXPECT_THAT(filter->Read(), IsAudio(100000, 4800));
    filter->ReleaseInternalData();
    EXPECT_THAT(filter->Read(), IsAudio(0, 4800));
    Seek(*filter, 500000);
    EXPECT_THAT(filter->Read(), IsAudio(500000, 4800));
}

TEST(FilterAudioFormatter, SourceThatGivesEmptyBlocksForEverIsAFailureAndCanBeSoughtAgain) {
    auto const source = MakeShared<EmptyBlocksStream>();
    auto const filter = MakeFilter(source, 100000);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), EMPTY_BLOCKS_TEXT);
    EXPECT_EQ(source->reads, 100000);
    Seek(*filter, 0);
    source->watched = filter.get();
    source->endAt = 100010;
    EXPECT_EQ(filter->Read(), nullptr) << "an end that is set meanwhile ends the search for samples";
}

TEST(FilterAudioFormatter, BehindASeekToTheGridReadingGivesWhatReadingStraightThroughGives) {
    for (int const rate : {11025, 44100}) {
        // A block of the source each 200 ms: where one begins, the grid has a line.
        auto const filter = MakeFilter(MakeNumbers(rate * 4, rate, {rate / 5}), 100000);
        Seek(*filter, 0);
        auto const straight = ReadAll(*filter);
        ASSERT_EQ(straight.size(), 40U);
        for (unsigned seed = 1; seed <= 30; ++seed) {
            std::mt19937 random(seed);
            Seek(*filter, static_cast<int64>(random() % 4000000));
            auto const blocks = ReadAll(*filter);
            ASSERT_FALSE(blocks.empty());
            auto expected = straight.end() - static_cast<std::ptrdiff_t>(blocks.size());
            for (auto const& block : blocks) {
                ASSERT_THAT(block, IsAudio((*expected)->GetTime(), (*expected)->GetSampleCount()));
                ASSERT_EQ(SamplesOf<i32>(*block)[0], SamplesOf<i32>(**expected)[0]);
                ++expected;
            }
        }
    }
}

TEST(FilterAudioFormatter, BehindAnySeekSamplesRunOnFromTheBlockOfTheSource) {
    int const rate = 44100;
    auto const filter = MakeFilter(MakeNumbers(rate * 2, rate, {1024, 777}), 100000);
    for (unsigned seed = 1; seed <= 50; ++seed) {
        std::mt19937 random(seed);
        Seek(*filter, static_cast<int64>(random() % 2000000));
        int64 begin = NO_VALUE;
        int next = 0;
        for (auto const& block : ReadAll(*filter)) {
            if (!HasValue(begin)) {
                begin = block->GetTime();
                next = SamplesOf<i32>(*block)[0];
                ASSERT_EQ(begin, SampleCount2Duration(next, rate)) << "seed " << seed;
            }
            ASSERT_EQ((block->GetTime() - begin) % 100000, 0);
            for (int i = 0; i < block->GetSampleCount(); ++i) ASSERT_EQ(SamplesOf<i32>(*block)[i], next++);
        }
        ASSERT_EQ(next, rate * 2) << "seed " << seed;
    }
}

TEST(FilterAudioFormatter, ItsRowRefusesSettingsOfAnotherClassAndReleasesTheHalfBuiltFilter) {
    auto const source = MakeNumbers(100, 48000, {100});
    EXPECT_THROW(Host::MakeFilterFactory()->CreateAudio(SettingsFilterAudioFormatter::CLASS_ID, ImplNames::TARSEL,
                                                        source, OtherSettings()),
                 std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

}  // namespace
}  // namespace Tarsel::Proc
