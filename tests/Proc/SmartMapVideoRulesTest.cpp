// What a map does with sources that aren't as they should be, with edits under way, and with its lock.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/Proc/SmartMapSupport.h"
#include "tests/support/LogLines.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using testing::ElementsAre;
using testing::IsEmpty;

using Texts = std::vector<std::string>;

constexpr char MUST_LOCK[] = "You must lock stream before settings changing";
constexpr char MUST_SEEK[] = "seek required after adding, deleting or remapping source streams";
constexpr char NO_FRAME[] = "Empty packets buffer";

// --- Sources that run dry --------------------------------------------------------------------------------------------

/// A source that says that it lasts longer than its frames do.
iptr<ScriptedVideo> MakeShort(std::vector<int64> const& lengths, int shade, int64 stated) {
    auto source = MakePictures(lengths, shade);
    source->duration = stated;
    return source;
}

TEST(SmartMapVideoRules, TheLastFrameOfAShortSourceHoldsUntilItsEnd) {
    VideoMap map;
    map.Add(MakeShort({40, 40}, 1, 300), 100).Add(MakePictures({100}, 11));
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+100 #11", "100+40 #1", "140+40 #2", "180+220 #2"));
}

TEST(SmartMapVideoRules, AFrameThatIsShownOnIsAnotherObjectThanTheOneDelivered) {
    VideoMap map;
    map.Add(MakeShort({40}, 1, 100));
    Seek(*map, 0);
    iptr<IDataVideo> const delivered = map->Read();
    iptr<IDataVideo> const shownOn = map->Read();
    EXPECT_NE(delivered, shownOn);
    EXPECT_EQ(TextOf(*delivered), "0+40 #1") << "it stays as the consumer has got it";
    EXPECT_EQ(TextOf(*shownOn), "40+60 #1");
}

TEST(SmartMapVideoRules, AMapGoesOnBehindASourceWithoutFrames) {
    VideoMap map;
    map.Add(MakeShort({}, 1, 100)).Add(MakePictures({40}, 11), 100);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+140 #11"));
}

TEST(SmartMapVideoRules, ALoneSourceWithoutFramesEndsTheMap) {
    VideoMap map;
    map.Add(MakeShort({}, 1, 100));
    EXPECT_THAT(map.ReadFrom(0), IsEmpty());
    EXPECT_EQ(map->GetPosition(), 100);
}

TEST(SmartMapVideoRules, ASourceWithoutFramesBesideAnotherIsAFailureAndTheMapGoesOnBehindIt) {
    VideoMap map;
    map.Add(MakePictures({40, 40, 40}, 1)).Add(MakeShort({}, 11, 50));
    Seek(*map, 0);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map->Read(); }), NO_FRAME);
    EXPECT_EQ(map->GetPosition(), 50);
    EXPECT_THAT(ReadTexts(*map), ElementsAre("50+30 #2", "80+40 #3"));
}

TEST(SmartMapVideoRules, BehindASourceWithoutFramesAnotherThatIsEnteredInItsMiddleIsSoughtThere) {
    VideoMap map;
    auto const late = MakePictures({40, 40, 40}, 11);
    map.Add(MakeShort({}, 1, 100)).Add(late, 50);
    late->log.Take();
    Seek(*map, 0);
    EXPECT_THAT(late->log.Take(), ElementsAre("ReleaseInternalData", "FinishSeek"));
    EXPECT_EQ(ReadText(*map), "0+130 #12");
    EXPECT_THAT(late->log.Take(), ElementsAre("RequestSeek(50)", "DoSeek", "Read"));
}

// --- Frames that aren't where they should be -------------------------------------------------------------------------

TEST(SmartMapVideoRules, FramesInFrontOfASourcesTime0ArentShown) {
    VideoMap map;
    auto const source = MakePictures({40, 40, 40, 40}, 1, -80);
    source->duration = 80;
    map.Add(source, 10).Add(MakePictures({10}, 11));
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+10 #11", "10+40 #3", "50+40 #4"));
}

TEST(SmartMapVideoRules, ASourceThatLandsEarlyIsReadUpToThePosition) {
    VideoMap map;
    auto const source = MakeShared<EarlySource>();
    source->makeFrame = [](int i) {
        return i < 25 ? MakeVideo(int64{40} * i, 40, static_cast<u8>(i)) : iptr<IDataVideo>();
    };
    map.Add(source);
    Seek(*map, 500);
    EXPECT_EQ(ReadText(*map), "500+20 #12") << "half of the frame is left: an item of its own";
    EXPECT_EQ(ReadText(*map), "520+40 #13");
    EXPECT_EQ(source->index, 14);
}

TEST(SmartMapVideoRules, AFirstFrameThatComesLateIsAFailure) {
    VideoMap map;
    map.Add(MakePictures({40, 40}, 1, 20));
    Seek(*map, 0);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map->Read(); }), NO_FRAME);
    EXPECT_EQ(map->GetPosition(), 0);
}

TEST(SmartMapVideoRules, FramesWithoutLengthAreReadOver) {
    VideoMap map;
    auto const noValue = MakeVideo(40, NO_VALUE, 2);
    auto const negative = MakeVideo(40, -500, 3);
    auto const source =
        ScriptedVideo::Create({MakeVideo(0, 40, 1), MakeVideo(40, 0, 9), noValue, negative, MakeVideo(40, 40, 4)});
    source->duration = 80;
    map.Add(source);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #1", "40+40 #4"));
}

TEST(SmartMapVideoRules, AFrameWithoutATimeIsReadOver) {
    VideoMap map;
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40, 1), MakeVideo(NO_VALUE, 40, 2), MakeVideo(40, 40, 3)});
    source->duration = 80;
    map.Add(source);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #1", "40+40 #3"));
}

TEST(SmartMapVideoRules, AFrameAtTheEndOfAllTimesIsCutAtTheSourcesEnd) {
    VideoMap map;
    constexpr int64 LAST = std::numeric_limits<int64>::max();
    auto const source = ScriptedVideo::Create({MakeVideo(0, LAST, 1)});
    source->duration = LAST;
    map.Add(source, 1000);
    EXPECT_EQ(map->GetDuration(), LAST);
    Seek(*map, 1000);
    EXPECT_EQ(ReadText(*map), "1000+9223372036854774807 #1");
    EXPECT_EQ(map->Read(), nullptr);
}

TEST(SmartMapVideoRules, AFrameThatOverhangsItsSourcesEndIsShownUntilItEnds) {
    VideoMap map;
    auto const source = MakePictures({100}, 1);
    source->duration = 60;
    map.Add(source, 0, 1).Add(MakePictures({100, 100}, 11), 60);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+60 #1", "60+100 #11", "160+100 #12"))
        << "its rest is less than half of it";
}

TEST(SmartMapVideoRules, AnItemThatOthersHoldIsntChanged) {
    VideoMap map;
    auto const source = MakeShared<EarlySource>();
    auto const held = MakeVideo(0, 1000, 1);
    source->makeFrame = [&](int) { return held; };
    map.Add(source, 500);
    EXPECT_THAT(map.ReadFrom(500), ElementsAre("500+1000 #1"));
    EXPECT_EQ(TextOf(*held), "0+1000 #1");
}

constexpr char ENDLESS[] = "Mapped sources go on giving items that don't bring the map further";

TEST(SmartMapVideoRules, ASourceThatGivesEmptyFramesForEverIsAFailure) {
    VideoMap map;
    auto const source = MakeShared<EarlySource>();
    source->makeFrame = [](int) { return MakeVideo(0, 0, 1); };
    map.Add(source);
    Seek(*map, 0);
    EXPECT_EQ(MessageOf<FilterException>([&] { map->Read(); }), ENDLESS);
    EXPECT_EQ(source->index, 100001) << "the first one may have been in front";
}

TEST(SmartMapVideoRules, ASourceWhoseFramesAllEndAMicrosecondFurtherIsAFailure) {
    VideoMap map;
    auto const source = MakeShared<EarlySource>();
    source->makeFrame = [](int i) { return MakeVideo(i + 1 - 1000000000, 1000000000, 1); };
    source->length = 1000000;
    map.Add(source);
    Seek(*map, 0);
    // Each slice is far below half of a frame, so that nothing is ever delivered.
    EXPECT_EQ(MessageOf<FilterException>([&] { map->Read(); }), ENDLESS);
    EXPECT_EQ(source->index, 100000);
}

// --- What a map refuses ----------------------------------------------------------------------------------------------

TEST(SmartMapVideoRules, ASourceOfUnknownLengthIsRefused) {
    auto const map = SmartMapVideo::Create();
    auto const source = MakePictures({40}, 1);
    source->duration = NO_VALUE;
    MapLock const lock(*map);
    EXPECT_EQ(MessageOf<FilterException>([&] { map->MapStream(source); }), "Incorrect duration in source stream");
    source->duration = -1;
    EXPECT_EQ(MessageOf<FilterException>([&] { map->MapStream(source); }), "Incorrect duration in source stream");
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
    EXPECT_EQ(map->Read(), nullptr) << "nothing has changed, and no seek is needed";
}

TEST(SmartMapVideoRules, ASourceThatLosesItsLengthStaysWhereItIs) {
    VideoMap map;
    auto const source = MakePictures({40}, 1);
    map.Add(source, 10);
    source->duration = NO_VALUE;
    MapLock const lock(*map);
    EXPECT_EQ(MessageOf<FilterException>([&] { map.streams[0]->SetBegin(500); }),
              "Incorrect duration in source stream");
    EXPECT_EQ(map.streams[0]->GetBegin(), 10);
    EXPECT_EQ(map.streams[0]->GetDuration(), 40);
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { map.streams[0]->SetBegin(NO_VALUE); }),
              "A mapped stream needs a begin");
}

TEST(SmartMapVideoRules, NullAndItselfAreRefused) {
    auto const map = SmartMapVideo::Create();
    MapLock const lock(*map);
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { map->MapStream(nullptr); }), "source is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { map->MapStream(map); }), "A map can't be mapped on itself");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { map->MapEffect(nullptr, 0, 1); }), "effect is NULL");
}

TEST(SmartMapVideoRules, AnEffectThatEndsWhereItBeginsIsRefusedAndLeftAlone) {
    auto const map = SmartMapVideo::Create();
    iptr<NotingEffect> const effect = MakeShared<NotingEffect>();
    MapLock const lock(*map);
    for (int64 const begin : {int64{50}, int64{51}, NO_VALUE})
        EXPECT_EQ(MessageOf<FilterException>([&] { map->MapEffect(effect, begin, 50); }),
                  "Bad effect mapping, begin >= end");
    EXPECT_EQ(effect->GetTimeToProgress().end, 0);
    EXPECT_EQ(effect->GetRefCountImpl(), 1U);
}

TEST(SmartMapVideoRules, EffectsThatWorkInDifferentMemoryAreRefused) {
    VideoMap map;
    map.Add(MakeShared<NotingEffect>("processor", 0), 0, 10);
    MapLock const lock(*map);
    EXPECT_EQ(MessageOf<FilterException>([&] { map->MapEffect(MakeShared<NotingEffect>("gpu", 1), 0, 10); }),
              "Trying to map effects with not equal processing frame types");
    map.effects.clear();
    EXPECT_NE(map->MapEffect(MakeShared<NotingEffect>("gpu", 1), 0, 10), nullptr) << "the first one has gone";
}

TEST(SmartMapVideoRules, ARecordThatIsGoneIsAFailure) {
    SmartMapEffects effects;
    EXPECT_EQ(MessageOf<std::logic_error>([&] { effects.GetEffectData(nullptr); }), "required unmapped effect");
    EXPECT_EQ(effects.Remove(nullptr), nullptr);
}

TEST(SmartMapVideoRules, OperationsThatAMapDoesntHaveAreRefused) {
    auto const map = SmartMapVideo::Create();
    EXPECT_EQ(MessageOf<FilterException>([&] { map->Initialize(Core::Property("x")); }), "Method not implemented");
    EXPECT_EQ(MessageOf<FilterException>([&] { map->GetSettings(); }), "Method not implemented");
}

// --- Edits -----------------------------------------------------------------------------------------------------------

TEST(SmartMapVideoRules, AReadBehindAnyChangeButThatOfAnOrderNeedsASeek) {
    VideoMap map;
    map.Add(MakePictures({40, 40}, 1)).Add(MakeShared<NotingEffect>(), 0, 40);
    auto const refuses = [&] {
        bool const refused = MessageOf<std::logic_error>([&] { map->Read(); }) == MUST_SEEK;
        map->RequestSeek(0, nullptr);
        bool const still = MessageOf<std::logic_error>([&] { map->Read(); }) == MUST_SEEK;
        map->DoSeek();
        return refused && still && map->Read() != nullptr;
    };
    EXPECT_TRUE(refuses()) << "mapping";
    MapLock const lock(*map);
    map.streams[0]->SetOrder(7);
    map.streams[0]->SetReserved(7);
    EXPECT_NE(map->Read(), nullptr);
    map.streams[0]->SetBegin(0);
    EXPECT_TRUE(refuses()) << "moving a source";
    map.effects[0]->SetBegin(1);
    EXPECT_TRUE(refuses()) << "moving the begin of an effect";
    map.effects[0]->SetEnd(39);
    EXPECT_TRUE(refuses()) << "moving the end of an effect";
    map.effects.clear();
    EXPECT_TRUE(refuses()) << "removing an effect";
    map.streams.push_back(map->MapStream(MakePictures({40}, 1)));
    EXPECT_TRUE(refuses()) << "another source";
    map.streams.pop_back();
    EXPECT_TRUE(refuses()) << "removing a source";
}

TEST(SmartMapVideoRules, ASecondPhaseAloneBehindAnEditReadsTheEditedTimeline) {
    VideoMap map;
    map.Add(MakePictures({40, 40, 40}, 1));
    Seek(*map, 0);
    EXPECT_EQ(ReadText(*map), "0+40 #1");
    map.Add(MakePictures({30, 30, 30}, 11), 0, 1);
    map->DoSeek();
    EXPECT_EQ(ReadText(*map), "40+20 #12") << "the new source is sought to where the map stands";
}

TEST(SmartMapVideoRules, ASecondPhaseAloneFindsASourceThatBeginsInFrontOfTheOthers) {
    VideoMap map;
    map.Add(MakePictures({40, 40}, 1), 10);
    Seek(*map, 10);
    EXPECT_EQ(ReadText(*map), "10+40 #1");
    map.Add(MakePictures({90, 90}, 11), 0, 1);
    map->DoSeek();
    EXPECT_EQ(ReadText(*map), "50+40 #11");
}

TEST(SmartMapVideoRules, ASecondPhaseAloneBehindAMoveShowsNothingOfTheFormerPlace) {
    VideoMap map;
    map.Add(MakePictures({100, 100}, 1)).Add(MakeShared<NotingEffect>(), 0, 50);
    Seek(*map, 0);
    EXPECT_EQ(ReadText(*map), "0+50 #1");
    map->Lock();
    map.streams[0]->SetBegin(-10);
    map->Unlock();
    map->DoSeek();
    EXPECT_EQ(ReadText(*map), "50+140 #2") << "40 of the first frame are left, and go into the second one";
}

TEST(SmartMapVideoRules, AMovedSourceAsksForItsLengthAgain) {
    VideoMap map;
    auto const source = MakePictures({40, 40}, 1);
    map.Add(source);
    source->duration = 40;
    EXPECT_EQ(map->GetDuration(), 80);
    MapLock const lock(*map);
    map.streams[0]->SetBegin(5);
    EXPECT_EQ(map.streams[0]->GetDuration(), 40);
    EXPECT_EQ(map->GetDuration(), 45);
}

TEST(SmartMapVideoRules, AHandleKeepsItsMapAndAMapItsRecordOnlyWithTheHandle) {
    auto const source = MakePictures({40}, 1);
    iptr<NotingEffect> const effect = MakeShared<NotingEffect>();
    auto map = SmartMapVideo::Create();
    map->Lock();
    auto stream = map->MapStream(source);
    auto mapped = map->MapEffect(effect, 0, 10);
    map->Unlock();
    ISmartMapVideo* const raw = map.get();
    map.reset();
    EXPECT_EQ(raw->GetDuration(), 40) << "the handles hold it";
    Unmap(*raw, stream);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
    EXPECT_EQ(raw->GetDuration(), 0);
    LogLines const lines(0);
    mapped.reset();
    EXPECT_EQ(effect->GetRefCountImpl(), 1U);
    EXPECT_THAT(lines.Get(google::GLOG_ERROR), ElementsAre(MUST_LOCK)) << "the map went with its last handle";
}

TEST(SmartMapVideoRules, AHandleReleasedWithoutALockIsLoggedAndRemovedAllTheSame) {
    VideoMap map;
    map.Add(MakePictures({40}, 1)).Add(MakePictures({80}, 11)).Add(MakeShared<NotingEffect>(), 0, 10);
    LogLines const lines(0);
    map.streams.pop_back();
    map.effects.clear();
    EXPECT_THAT(lines.Get(google::GLOG_ERROR), ElementsAre(MUST_LOCK, MUST_LOCK));
    EXPECT_EQ(map->GetDuration(), 40);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map->Read(); }), MUST_SEEK);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+40 #1"));
}

TEST(SmartMapVideoRules, EverythingBehindTheLockNeedsIt) {
    VideoMap map;
    map.Add(MakePictures({40}, 1), 3, 4).Add(MakeShared<NotingEffect>(), 5, 7);
    auto& stream = *map.streams[0];
    auto& effect = *map.effects[0];
    iptr<Conf::IFormatCodec> format(Conf::IFormatCodecVideo::Create());
    std::vector<std::function<void()>> const calls{
        [&] { map->MapStream(MakePictures({40}, 1)); },
        [&] { map->MapEffect(MakeShared<NotingEffect>(), 0, 1); },
        [&] { stream.GetBegin(); },
        [&] { stream.SetBegin(0); },
        [&] { stream.GetDuration(); },
        [&] { stream.SetOrder(0); },
        [&] { stream.GetOrder(); },
        [&] { stream.SetReserved(0); },
        [&] { effect.GetBegin(); },
        [&] { effect.SetBegin(0); },
        [&] { effect.GetDuration(); },
        [&] { effect.GetEnd(); },
        [&] { effect.SetEnd(0); },
        [&] { effect.GetEffect(); },
        [&] { effect.GetEffect(format); },
    };
    for (std::size_t i = 0; i < calls.size(); ++i) EXPECT_EQ(MessageOf<std::logic_error>(calls[i]), MUST_LOCK) << i;
    MapLock const lock(*map);
    EXPECT_EQ(stream.GetBegin(), 3);
    EXPECT_EQ(stream.GetDuration(), 40);
    EXPECT_EQ(stream.GetOrder(), 4);
    EXPECT_EQ(effect.GetBegin(), 5);
    EXPECT_EQ(effect.GetEnd(), 7);
    EXPECT_EQ(effect.GetDuration(), 2);
    EXPECT_EQ(effect.GetEffect()->GetTimeToProgress().end, 7);
    effect.GetEffect(format);
    EXPECT_EQ(format->GetCodecID(), "adapted");
}

TEST(SmartMapVideoRules, AnUnlockWithoutALockIsIgnored) {
    VideoMap map;
    map.Add(MakePictures({40}, 1));
    map->Unlock();
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map.streams[0]->GetBegin(); }), MUST_LOCK);
    map->Lock();
    EXPECT_TRUE(map->TryLock());
    map->Unlock();
    EXPECT_EQ(map.streams[0]->GetBegin(), 0) << "one lock is still open";
    map->Unlock();
    map->Unlock();
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map.streams[0]->GetBegin(); }), MUST_LOCK);
}

}  // namespace
}  // namespace Tarsel::Proc
