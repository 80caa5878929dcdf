// What threads do to a map beside its reader.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Proc/Filters/Filters/SmartMapAudio.h"
#include "contracts/Core/Thread.h"
#include "tests/Proc/SmartMapSupport.h"
#include "tests/support/ConformingFactory.h"
#include "tests/support/Gate.h"
#include "tests/support/LogLines.h"
#include "tests/support/SoundBlocks.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using Core::Thread;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char MUST_LOCK[] = "You must lock stream before settings changing";
constexpr char MUST_SEEK[] = "seek required after adding, deleting or remapping source streams";

TEST(SmartMapThreads, TellingAMapToEndBreaksAReadThatWaitsForASource) {
    VideoMap map;
    auto const source = MakePictures({40, 40}, 1);
    source->gate = std::make_shared<Gate>();
    map.Add(source);
    Seek(*map, 0);
    EXPECT_EQ(ReadText(*map), "0+40 #1");
    source->gate->Close();
    std::string got;
    Thread reader([&] { got = ReadText(*map); });
    source->gate->AwaitArrivals(2);
    // It comes back although the reader holds the lock.
    map->SetEndOfStream();
    EXPECT_TRUE(source->IsEndOfStream());
    source->gate->Open();
    reader.Join();
    EXPECT_EQ(got, "null") << "neither the frame nor the last one, shown on";
    EXPECT_EQ(map->GetPosition(), 40);
    EXPECT_THAT(map.ReadFrom(40), ElementsAre("40+40 #2"));
}

TEST(SmartMapThreads, TellingAMapToEndWhileItEntersASourceKeepsItFromReading) {
    auto const gate = std::make_shared<Gate>();
    auto const source = MakePictures({40, 40}, 1);
    // The seek that is under way makes the source forget that it has been told.
    class Sought final : public ScriptedFilter<IStreamVideo> {
      public:
        using ScriptedFilter::ScriptedFilter;
        int64 GetDuration() const override { return 80; }
    };
    auto const sought = MakeShared<Sought>(iptr<IStreamVideo>(source));
    VideoMap map;
    map.Add(MakePictures({40}, 11)).Add(sought, 40);
    Seek(*map, 0);
    EXPECT_EQ(ReadText(*map), "0+40 #11");
    sought->onRequestSeek = [&](int64) { gate->Pass(); };
    gate->Close();
    sought->log->Take();
    std::string got;
    Thread reader([&] { got = ReadText(*map); });
    gate->AwaitArrivals(1);
    Thread ender([&] { map->SetEndOfStream(); });
    while (!map->IsEndOfStream()) Core::InterruptionPoint();
    gate->Open();
    ender.Join();
    reader.Join();
    EXPECT_EQ(got, "null");
    EXPECT_EQ(map->GetPosition(), 40);
    EXPECT_THAT(sought->log->Take(), ElementsAre("RequestSeekInternal(0)", "DoSeekInternal")) << "no read";
}

TEST(SmartMapThreads, AMapOfSoundThatIsToldToEndLosesNoSlice) {
    ConformingPlan plan;
    iptr<ISmartMapAudio> const map = SmartMapAudio::Create(MakeShared<ConformingFactory>(plan));
    Conf::SampleInfo const info{Conf::SAMPLE_FORMAT_S32, 48000, Conf::CHANNEL_LAYOUT_MONO};
    auto const source = ScriptedAudio::Create({MakeSound(info, 0, 4800, [](int, int) { return 0; }),
                                               MakeSound(info, 100000, 4800, [](int, int) { return 1; })});
    source->format->SetSampleInfo(info);
    source->duration = 200000;
    source->gate = std::make_shared<Gate>();
    map->Lock();
    map->SetSampleInfo(info);
    auto handle = map->MapStream(source);
    map->Unlock();
    Seek(*map, 0);
    EXPECT_NE(map->Read(), nullptr);
    source->gate->Close();
    iptr<IDataAudio> got;
    Thread reader([&] { got = map->Read(); });
    source->gate->AwaitArrivals(2);
    map->SetEndOfStream();
    source->gate->Open();
    reader.Join();
    EXPECT_EQ(got, nullptr);
    EXPECT_EQ(map->GetPosition(), 100000);
    Seek(*map, 100000);
    got = map->Read();
    ASSERT_NE(got, nullptr);
    EXPECT_EQ(got->GetTime(), 100000);
    Unmap(*map, handle);
}

TEST(SmartMapThreads, OthersSeeTheTimelineOnlyWhenTheLockIsGone) {
    VideoMap map;
    Gate locked;
    Gate edited;
    edited.Close();
    locked.Close();
    Thread editor([&] {
        map->Lock();
        locked.Open();
        edited.Pass();
        map.Add(MakePictures({40}, 1)).Add(MakePictures({40}, 11), 40);
        map->RequestSeek(0, nullptr);
        map->DoSeek();
        map->Unlock();
    });
    locked.Pass();
    // These don't wait.
    EXPECT_FALSE(map->TryLock());
    EXPECT_EQ(map->GetPosition(), 0);
    EXPECT_FALSE(map->IsEndOfStream());
    map->Unlock();
    EXPECT_FALSE(map->TryLock()) << "the lock of another thread isn't this one's to give up";
    // These do.
    int64 duration = 0;
    std::string got;
    Thread asking([&] { duration = map->GetDuration(); });
    Thread reading([&] { got = ReadText(*map); });
    edited.Open();
    editor.Join();
    asking.Join();
    reading.Join();
    EXPECT_EQ(duration, 80);
    EXPECT_EQ(got, "0+40 #1");
    EXPECT_TRUE(map->TryLock());
    map->Unlock();
}

TEST(SmartMapThreads, WhoseLockItIsMakesNoDifferenceToAHandle) {
    VideoMap map;
    map.Add(MakePictures({40}, 1), 5);
    Gate locked;
    Gate passed;
    locked.Close();
    passed.Close();
    Thread owner([&] {
        map->Lock();
        locked.Open();
        passed.Pass();
        map.streams[0]->SetBegin(7);
        map->Unlock();
    });
    locked.Pass();
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { map->MapStream(nullptr); }), "source is NULL")
        << "no complaint of a lock that is missing";
    passed.Open();
    owner.Join();
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map->MapStream(nullptr); }), MUST_LOCK);
}

TEST(SmartMapThreads, AHandleThatGoesInAnotherThreadWaitsForTheRead) {
    auto const source = MakePictures({40, 40}, 1);
    source->gate = std::make_shared<Gate>();
    VideoMap map;
    map.Add(source);
    Seek(*map, 0);
    source->gate->Close();
    LogLines const lines(0);
    std::string got;
    Thread reader([&] { got = ReadText(*map); });
    source->gate->AwaitArrivals(1);
    Thread remover([&] { map.streams.clear(); });
    source->gate->Open();
    reader.Join();
    remover.Join();
    EXPECT_EQ(got, "0+40 #1");
    EXPECT_THAT(lines.Get(google::GLOG_ERROR), ElementsAre(MUST_LOCK));
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map->Read(); }), MUST_SEEK);
    EXPECT_EQ(map->GetDuration(), 0);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(SmartMapThreads, TheLastHandleTakesItsMapAlongInWhateverThreadItGoes) {
    auto map = SmartMapVideo::Create();
    map->Lock();
    auto first = map->MapStream(MakePictures({40}, 1));
    auto second = map->MapEffect(MakeShared<NotingEffect>(), 0, 10);
    map->Unlock();
    map.reset();
    LogLines const lines(0);
    Thread one([&] { first.reset(); });
    Thread two([&] { second.reset(); });
    one.Join();
    two.Join();
    EXPECT_THAT(lines.Get(google::GLOG_ERROR), ElementsAre(MUST_LOCK, MUST_LOCK));
}

TEST(SmartMapThreads, ReadersEditorsAndOthersLeaveAWholeTimeline) {
    VideoMap map;
    map.Add(MakePictures({40, 40, 40}, 1)).Add(MakePictures({30, 30, 30}, 11), 60);
    Seek(*map, 0);
    std::atomic<bool> done{false};
    Thread reader([&] {
        while (!done) {
            try {
                map->Read();
            } catch (std::logic_error const& failure) {
                EXPECT_EQ(failure.what(), std::string(MUST_SEEK));
            }
        }
    });
    Thread others([&] {
        while (!done) {
            map->SetEndOfStream();
            map->IsEndOfStream();
            map->GetPosition();
            map->GetDuration();
            map->GetFormatCodec();
            map->GetStatistic();
        }
    });
    for (int i = 0; i < 300; ++i) {
        {
            MapLock const lock(*map);
            auto extra = map->MapStream(MakePictures({50, 50}, 21));
            auto effect = map->MapEffect(MakeShared<NotingEffect>(), 10, 90);
            extra->SetBegin(i % 50);
            map.streams[0]->SetOrder(i % 3);
            effect->GetEffect()->GetTimeToProgress().begin = i % 20;
            map->RequestSeek(i % 150, nullptr);
            map->DoSeek();
            map->Read();
        }
        map->RequestSeek(i % 100, nullptr);
        map->DoSeek();
    }
    done = true;
    reader.Join();
    others.Join();
    map->Lock();
    map.streams[0]->SetOrder(0);
    map->Unlock();
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #1", "40+20 #2", "60+20 #11", "80+40 #12", "120+30 #13"));
}

}  // namespace
}  // namespace Tarsel::Proc
