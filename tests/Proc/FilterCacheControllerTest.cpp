#include "Proc/Filters/Filters/FilterCacheController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include "Proc/Filters/Filters/FilterSeekController.h"
#include "tests/Proc/CachedClip.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Two clips of 20 s under one controller.
struct Pair {
    iptr<ScriptedVideo> firstSource = MakeClip(500);
    iptr<ScriptedVideo> secondSource = MakeClip(500);
    iptr<IFilterCacheController> controller = FilterCacheController::Create();
    iptr<IStreamVideo> first = controller->AddStream(iptr<IStreamVideo>(firstSource));
    iptr<IStreamVideo> second = controller->AddStream(iptr<IStreamVideo>(secondSource));

    /// Phase by phase over both.
    void SeekBoth(int64 position) const {
        first->RequestSeek(position, nullptr);
        second->RequestSeek(position, nullptr);
        first->DoSeek();
        second->DoSeek();
    }
    static IFilterCache& CacheOf(iptr<IStreamVideo> const& stream) { return dynamic_cast<IFilterCache&>(*stream); }
    /// What both sources were asked, reading left out.
    std::vector<std::string> TakeSeeks() const {
        std::vector<std::string> calls = firstSource->log.Take();
        for (std::string const& call : secondSource->log.Take()) calls.push_back(call);
        calls.erase(std::remove(calls.begin(), calls.end(), "Read"), calls.end());
        return calls;
    }
};

/// Their threads have ended.
Pair MakeSoughtPair(int64 position) {
    return AfterThreadsEnd(2, [position] {
        Pair pair;
        pair.SeekBoth(position);
        return pair;
    });
}

// --- Seeks of several caches -----------------------------------------------------------------------------------------

TEST(FilterCacheController, AllSourcesAreAskedBeforeTheFirstOneMoves) {
    class Watched final : public ScriptedVideo {
      public:
        Watched(std::vector<std::string>& order, std::string name)
            : ScriptedStream({}), order(order), name(std::move(name)) {}
        void RequestSeek(int64 position, iptr<IRefCountable>) override {
            order.push_back(name + " to " + std::to_string(position));
        }
        void DoSeek() override { order.push_back(name + " goes"); }

      private:
        std::vector<std::string>& order;
        std::string const name;
    };
    std::vector<std::string> order;
    auto const controller = FilterCacheController::Create();
    auto const first = controller->AddStream(iptr<IStreamVideo>(MakeShared<Watched>(order, "first")));
    auto const second = controller->AddStream(iptr<IStreamVideo>(MakeShared<Watched>(order, "second")));
    first->RequestSeek(3 * SECOND, nullptr);
    second->RequestSeek(3 * SECOND, nullptr);
    first->DoSeek();
    EXPECT_THAT(order, ElementsAre("first to 2000000", "second to 2000000", "first goes", "second goes"));
    second->DoSeek();
    EXPECT_EQ(order.size(), 4U);
}

TEST(FilterCacheController, TheFirstCacheOutsideTakesAllOfThemOut) {
    Pair const pair = MakeSoughtPair(5 * SECOND);
    EXPECT_THAT(pair.TakeSeeks(), ElementsAre("RequestSeek(4000000)", "DoSeek", "RequestSeek(4000000)", "DoSeek"));
    EXPECT_EQ(pair.first->Read()->GetTime(), 5 * SECOND);
    EXPECT_EQ(pair.second->Read()->GetTime(), 5 * SECOND);
    EXPECT_FALSE(Pair::CacheOf(pair.first).IsSeekRequested());
    EXPECT_FALSE(Pair::CacheOf(pair.second).IsSeekRequested());
}

TEST(FilterCacheController, SeeksInsideAllWindowsTouchNoSourceAndEndWithTheLastCache) {
    Pair const pair = MakeSoughtPair(5 * SECOND);
    pair.first->Read();
    pair.second->Read();
    pair.TakeSeeks();
    pair.first->RequestSeek(4500001, nullptr);
    pair.second->RequestSeek(4500001, nullptr);
    pair.first->DoSeek();
    EXPECT_TRUE(Pair::CacheOf(pair.first).IsSeekInBuffer());
    EXPECT_TRUE(Pair::CacheOf(pair.first).IsSeekRequested());
    EXPECT_FALSE(Pair::CacheOf(pair.second).IsSeekInBuffer());
    pair.second->DoSeek();
    for (auto const& stream : {pair.first, pair.second}) {
        EXPECT_FALSE(Pair::CacheOf(stream).IsSeekRequested());
        EXPECT_FALSE(Pair::CacheOf(stream).IsSeekInBuffer());
        EXPECT_EQ(stream->Read()->GetTime(), 4480000);
    }
    EXPECT_THAT(pair.TakeSeeks(), IsEmpty());
}

TEST(FilterCacheController, ACacheOutsideEmptiesTheOneThatHadFoundThePosition) {
    Pair const pair = MakeSoughtPair(5 * SECOND);
    pair.first->Read();
    // The second one's window lies elsewhere: it has read on.
    for (int i = 0; i < 200; ++i) pair.second->Read();
    pair.TakeSeeks();
    pair.first->RequestSeek(5500001, nullptr);
    pair.second->RequestSeek(5500001, nullptr);
    pair.first->DoSeek();
    EXPECT_TRUE(Pair::CacheOf(pair.first).IsSeekInBuffer());
    EXPECT_THAT(pair.TakeSeeks(), IsEmpty());
    pair.second->DoSeek();
    // Back for the second one: both keep a second more.
    EXPECT_THAT(pair.TakeSeeks(), ElementsAre("RequestSeek(3500001)", "DoSeek", "RequestSeek(3500001)", "DoSeek"));
    for (auto const& stream : {pair.first, pair.second}) {
        EXPECT_FALSE(Pair::CacheOf(stream).IsSeekRequested());
        EXPECT_FALSE(Pair::CacheOf(stream).IsSeekInBuffer());
        EXPECT_EQ(Pair::CacheOf(stream).GetCacheSpan(), 2 * SECOND);
        EXPECT_EQ(stream->Read()->GetTime(), 5480000);
    }
}

TEST(FilterCacheController, ASeekOfOneOfTwoDoesNothingAndReadingGoesOnAtThePositionAsked) {
    Pair const pair = MakeSoughtPair(0);
    pair.TakeSeeks();
    pair.first->RequestSeek(500000, nullptr);
    pair.first->DoSeek();
    EXPECT_THAT(pair.TakeSeeks(), IsEmpty());
    EXPECT_TRUE(Pair::CacheOf(pair.first).IsSeekRequested());
    EXPECT_EQ(pair.first->Read()->GetTime(), 480000);
    EXPECT_EQ(pair.second->Read()->GetTime(), 0);
}

TEST(FilterCacheController, ACacheAloneSeeksAlone) {
    CachedClip const clip(250);
    Seek(*clip.cache, 3 * SECOND);
    EXPECT_THAT(clip.TakeSeeks(), ElementsAre("RequestSeek(2000000)", "DoSeek"));
    Seek(*clip.cache, 7 * SECOND);
    EXPECT_THAT(clip.TakeSeeks(), ElementsAre("RequestSeek(6000000)", "DoSeek"));
}

TEST(FilterCacheController, CachesAskedForDifferentPositionsAreRefused) {
    Pair const pair;
    pair.first->RequestSeek(SECOND, nullptr);
    try {
        pair.second->RequestSeek(2 * SECOND, nullptr);
        FAIL() << "the difference went unnoticed";
    } catch (std::logic_error const& failure) {
        EXPECT_STREQ(failure.what(), "all registered caches must be positioned to the same position");
        EXPECT_STREQ(*boost::get_error_info<boost::throw_function>(failure), "CheckLogicalPositions");
    }
    EXPECT_TRUE(Pair::CacheOf(pair.first).IsSeekRequested());
    EXPECT_TRUE(Pair::CacheOf(pair.second).IsSeekRequested());
    // The one that was asked last is asked again.
    pair.second->RequestSeek(SECOND, nullptr);
    pair.first->DoSeek();
    pair.second->DoSeek();
    EXPECT_EQ(pair.second->Read()->GetTime(), SECOND);
}

TEST(FilterCacheController, ACacheThatWasNotAskedIsNotCompared) {
    Pair const pair = MakeSoughtPair(5 * SECOND);
    EXPECT_NO_THROW(pair.first->RequestSeek(7 * SECOND, nullptr));
}

TEST(FilterCacheController, SourcesAreNeverSoughtBelowZero) {
    CachedClip const clip(250);
    Seek(*clip.cache, SECOND / 2);
    EXPECT_THAT(clip.TakeSeeks(), ElementsAre("RequestSeek(0)", "DoSeek"));
    EXPECT_EQ(clip.ReadTime(), 480000);
}

TEST(FilterCacheController, TheSmallestSpanSaysHowFarBackTheSourcesGo) {
    Pair const pair;
    auto const subtitles = pair.controller->AddStream(iptr<IStreamSubtitle>(ScriptedSubtitle::Create({})));
    Pair::CacheOf(pair.first).IncreaseCacheSpan();
    pair.controller->SeekCaches(5 * SECOND);
    EXPECT_THAT(pair.TakeSeeks(), ElementsAre("RequestSeek(4000000)", "DoSeek", "RequestSeek(4000000)", "DoSeek"));
}

TEST(FilterCacheController, SubtitlesKeepALongerWindow) {
    auto const source = ScriptedSubtitle::Create({MakeSubtitle(0, SECOND), MakeSubtitle(SECOND, SECOND)});
    auto const controller = FilterCacheController::Create();
    auto const cache = controller->AddStream(iptr<IStreamSubtitle>(source));
    EXPECT_EQ(dynamic_cast<IFilterCache&>(*cache).GetCacheSpan(), IFilterCacheController::DEFAULT_CACHE_SPAN_SUBTITLE);
    Seek(*cache, 0);
    EXPECT_THAT(cache->Read(), IsSubtitle(0, SECOND));
}

TEST(FilterCacheController, SoundIsCachedAsPicturesAre) {
    std::vector<iptr<IDataAudio>> blocks;
    for (int i = 0; i < 300; ++i) blocks.push_back(MakeAudio(i * 10000, 480));
    auto const source = ScriptedAudio::Create(blocks);
    auto const controller = FilterCacheController::Create();
    auto const cache = AfterThreadsEnd(1, [&] {
        auto sought = controller->AddStream(iptr<IStreamAudio>(source));
        Seek(*sought, SECOND);
        return sought;
    });
    EXPECT_THAT(cache->Read(), IsAudio(SECOND, 480));
    source->log.Take();
    Seek(*cache, 505000);
    EXPECT_THAT(cache->Read(), IsAudio(500000, 480));
    EXPECT_THAT(source->log.Take(), IsEmpty());
}

TEST(FilterCacheController, WithoutStreamsASeekDoesNothing) {
    EXPECT_NO_THROW(FilterCacheController::Create()->SeekCaches(SECOND));
    EXPECT_NO_THROW(MakeShared<FilterCacheController>()->SeekAll(SECOND, true));
    EXPECT_NO_THROW(MakeShared<FilterCacheController>()->CheckLogicalPositions());
    EXPECT_TRUE(MakeShared<FilterCacheController>()->AllSeeksRequested());
}

TEST(FilterCacheController, WhatAFailedSeekFoundDoesNotFinishTheNextOne) {
    Pair pair;
    pair.secondSource = ScriptedVideo::Create(MakeVideos(1000, PICTURE / 2));
    pair.secondSource->duration = 500 * PICTURE;
    pair.controller = FilterCacheController::Create();
    AfterThreadsEnd(2, [&pair] {
        pair.first = pair.controller->AddStream(iptr<IStreamVideo>(pair.firstSource));
        pair.second = pair.controller->AddStream(iptr<IStreamVideo>(pair.secondSource));
        pair.SeekBoth(5 * SECOND);
        return 0;
    });
    // Both windows reach from 4 s to 6 s.
    ASSERT_EQ(pair.first->Read()->GetTime(), 5 * SECOND);
    ASSERT_EQ(pair.second->Read()->GetTime(), 5 * SECOND);
    // The first cache has a picture there, in the second one it would have to begin exactly there.
    EXPECT_THROW(pair.SeekBoth(4500000), std::logic_error);
    ASSERT_TRUE(Pair::CacheOf(pair.first).IsSeekInBuffer());

    EXPECT_THROW(pair.first->RequestSeek(4210000, nullptr), std::logic_error);
    EXPECT_FALSE(Pair::CacheOf(pair.first).IsSeekInBuffer());
    pair.second->RequestSeek(4210000, nullptr);
    pair.second->DoSeek();
    pair.first->DoSeek();
    EXPECT_EQ(pair.first->Read()->GetTime(), 4200000);
    EXPECT_EQ(pair.second->Read()->GetTime(), 4200000);
}

// --- Failures of sources ---------------------------------------------------------------------------------------------

/// A source whose next seek fails.
class Stubborn final : public ScriptedVideo {
  public:
    Stubborn()
        : ScriptedStream({MakeVideo(0, PICTURE), MakeVideo(PICTURE, PICTURE), MakeVideo(2 * PICTURE, PICTURE)}) {}
    void RequestSeek(int64 position, iptr<IRefCountable> context) override {
        if (failAsked) TARSEL_THROW(FilterException, "asked");
        ScriptedVideo::RequestSeek(position, context);
    }
    void DoSeek() override {
        if (failGoing) TARSEL_THROW(EffectException, "going");
        ScriptedVideo::DoSeek();
    }
    bool failAsked = false;
    bool failGoing = false;
};

TEST(FilterCacheController, AFailureOfASourceComesOutOfTheSeekAndLeavesTheCachesEmptyAndAsked) {
    auto const source = MakeShared<Stubborn>();
    auto const controller = FilterCacheController::Create();
    auto const cache = AfterThreadsEnd(1, [&] {
        auto sought = controller->AddStream(iptr<IStreamVideo>(source));
        Seek(*sought, 0);
        return sought;
    });
    cache->Read();
    auto const& asCache = dynamic_cast<IFilterCache const&>(*cache);
    for (bool* const failing : {&source->failAsked, &source->failGoing}) {
        *failing = true;
        cache->RequestSeek(2 * PICTURE, nullptr);
        if (failing == &source->failAsked)
            EXPECT_EQ(MessageOf<FilterException>([&] { cache->DoSeek(); }), "asked");
        else
            EXPECT_EQ(MessageOf<EffectException>([&] { cache->DoSeek(); }), "going");
        EXPECT_TRUE(asCache.IsSeekRequested());
        EXPECT_EQ(asCache.GetLogicalPosition(), 2 * PICTURE);
        *failing = false;
        // Empty: what was inside the window isn't any more.
        source->log.Take();
        cache->RequestSeek(PICTURE + 1, nullptr);
        cache->DoSeek();
        EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek"));
        EXPECT_EQ(cache->Read()->GetTime(), PICTURE);
    }
}

TEST(FilterCacheController, ASeekControllerOverCachesFailsOnBehindASeekToAStartUntilTheCachesAreSought) {
    Pair const pair = MakeSoughtPair(0);
    auto const seeks = FilterSeekController::Create();
    auto const first = seeks->AddStream(pair.first);
    auto const second = seeks->AddStream(pair.second);
    first->Read();
    second->Read();
    EXPECT_EQ(MessageOf<std::logic_error>([&] { seeks->Seek(10 * PICTURE); }), "buffer overrun");
    // The first cache is asked anew, the second never.
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(MessageOf<std::logic_error>([&] { seeks->Seek(20 * PICTURE + 1); }),
                  "all registered caches must be positioned to the same position");
    pair.controller->SeekCaches(10 * PICTURE);
    seeks->Seek(20 * PICTURE + 1);
    EXPECT_EQ(first->Read()->GetTime(), 20 * PICTURE);
    EXPECT_EQ(second->Read()->GetTime(), 20 * PICTURE);
}

TEST(FilterCacheController, ASeekOfACacheOverAnotherOfItsControllerFailsAndDoesNotGoRoundForEver) {
    auto const controller = FilterCacheController::Create();
    auto const inner = controller->AddStream(iptr<IStreamVideo>(MakeClip(100)));
    auto const outer = controller->AddStream(inner);
    auto const expectFailure = [&](auto const& call, char const* text) {
        try {
            call();
            FAIL() << "nothing was thrown";
        } catch (std::logic_error const& failure) {
            EXPECT_STREQ(failure.what(), text);
        }
    };
    for (int i = 0; i < 2; ++i) {
        inner->RequestSeek(0, nullptr);
        outer->RequestSeek(0, nullptr);
        expectFailure([&] { outer->DoSeek(); }, "a cache is a source of another one of its controller");
    }
    expectFailure([&] { controller->SeekCaches(0); }, "a cache is a source of another one of its controller");
    // Anywhere else the two are asked for different positions.
    EXPECT_THROW(inner->RequestSeek(3 * SECOND, nullptr), std::logic_error);
    outer->RequestSeek(3 * SECOND, nullptr);
    expectFailure([&] { outer->DoSeek(); }, "all registered caches must be positioned to the same position");
}

TEST(FilterCacheController, SeekCachesToTheSamePositionHelpsAfterAFailure) {
    auto const source = MakeShared<Stubborn>();
    auto const controller = FilterCacheController::Create();
    auto const cache = controller->AddStream(iptr<IStreamVideo>(source));
    source->failGoing = true;
    EXPECT_THROW(Seek(*cache, PICTURE), EffectException);
    source->failGoing = false;
    controller->SeekCaches(PICTURE);
    EXPECT_FALSE(dynamic_cast<IFilterCache const&>(*cache).IsSeekRequested());
    EXPECT_EQ(cache->Read()->GetTime(), PICTURE);
}

// --- Settings and registration ---------------------------------------------------------------------------------------

TEST(FilterCacheController, HasNoSettings) {
    auto const controller = FilterCacheController::Create();
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->UpdateSettings(OtherSettings()); }), "Not implemented");
}

TEST(FilterCacheController, TakesAPropertyOfItsOwnNameOnly) {
    auto const controller = FilterCacheController::Create();
    EXPECT_NO_THROW(controller->Initialize(Core::Property(IFilterCacheController::CLASS_ID)));
    EXPECT_EQ(MessageOf<std::logic_error>([&] { controller->Initialize(Core::Property("Other")); }),
              "incorrect controller name");
}

TEST(FilterCacheController, ANegativeStepIsRefusedAndTheOldOneStays) {
    CachedClip const clip(3);
    clip.controller->SetCacheIncreaseSpan(300000);
    try {
        clip.controller->SetCacheIncreaseSpan(-1);
        FAIL() << "the step was taken";
    } catch (std::invalid_argument const& failure) {
        EXPECT_STREQ(failure.what(), "length is negative");
        EXPECT_STREQ(*boost::get_error_info<boost::throw_function>(failure), "SetCacheIncreaseSpan");
    }
    clip.AsCache().IncreaseCacheSpan();
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), 1300000);
}

TEST(FilterCacheController, AStreamIsTakenOnce) {
    CachedClip const clip(3);
    EXPECT_EQ(MessageOf<FilterException>([&] { clip.controller->AddStream(iptr<IStreamVideo>(clip.source)); }),
              "this stream is already registered");
    // The refusal left the first one as it was.
    Seek(*clip.cache, 0);
    EXPECT_EQ(clip.ReadTime(), 0);
}

TEST(FilterCacheController, CompressedStreamsAreNotCached) {
    auto const controller = FilterCacheController::Create();
    auto const source = ScriptedRaw::Create({});
    EXPECT_EQ(controller->AddStream(iptr<IStreamRaw>(source)), nullptr);
    EXPECT_EQ(controller->AddStream(iptr<IStreamRaw>(source)), nullptr);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(FilterCacheController, NoStreamIsRefused) {
    auto const controller = FilterCacheController::Create();
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->AddStream(iptr<IStreamVideo>()); }),
              "parentStream is NULL.");
}

TEST(FilterCacheController, LivesAsLongAsItsCaches) {
    CachedClip clip(10);
    clip.controller = nullptr;
    Seek(*clip.cache, PICTURE);
    EXPECT_EQ(clip.ReadTime(), PICTURE);
}

TEST(FilterCacheController, TheSourceOfADeadCacheStaysRegisteredButIsNotSought) {
    Pair pair = MakeSoughtPair(0);
    pair.first = nullptr;
    pair.TakeSeeks();
    EXPECT_EQ(MessageOf<FilterException>([&] { pair.controller->AddStream(iptr<IStreamVideo>(pair.firstSource)); }),
              "this stream is already registered");
    Seek(*pair.second, 3 * SECOND);
    EXPECT_EQ(pair.second->Read()->GetTime(), 3 * SECOND);
    EXPECT_THAT(pair.firstSource->log.Take(), IsEmpty());
    // Inside, too: only the living have to answer.
    Seek(*pair.second, 2500001);
    EXPECT_FALSE(Pair::CacheOf(pair.second).IsSeekRequested());
    EXPECT_EQ(pair.second->Read()->GetTime(), 2480000);
    pair.second = nullptr;
    EXPECT_NO_THROW(pair.controller->SeekCaches(0));
}

TEST(FilterCacheController, ADeadCacheThatWasAskedHoldsNobodyUp) {
    Pair pair;
    pair.first->RequestSeek(7 * SECOND, nullptr);
    pair.first = nullptr;
    EXPECT_NO_THROW(Seek(*pair.second, 3 * SECOND));
    EXPECT_EQ(pair.second->Read()->GetTime(), 3 * SECOND);
}

TEST(FilterCacheController, ASourceThatDiesWithItsCacheIsForgotten) {
    int const before = ScriptedVideo::GetLiveCount();
    auto const controller = FilterCacheController::Create();
    // New streams come to live where old ones died: none may be taken for one of those.
    for (int i = 0; i < 100; ++i) {
        auto const cache = controller->AddStream(iptr<IStreamVideo>(MakeClip(1)));
        EXPECT_TRUE(cache);
    }
    EXPECT_EQ(ScriptedVideo::GetLiveCount(), before);
}

TEST(FilterCacheController, TheEndOfACacheThatIsItselfCachedErasesTheEntryOfTheLatter) {
    auto const controller = FilterCacheController::Create();
    auto inner = controller->AddStream(iptr<IStreamVideo>(MakeClip(100)));
    auto outer = controller->AddStream(inner);
    EXPECT_THROW(controller->AddStream(inner), FilterException);
    outer = nullptr;
    // Its source lives on and stays registered, until it dies.
    EXPECT_THROW(controller->AddStream(inner), FilterException);
    inner = nullptr;
    EXPECT_TRUE(controller->AddStream(iptr<IStreamVideo>(MakeClip(1))));
}

// --- The host's lock -------------------------------------------------------------------------------------------------

/// Whether `call` came back only behind the end of another thread's hold of the lock.
template <class Call>
bool WaitsForHolder(IFilterCacheController& controller, Call call) {
    std::promise<void> held, release, calling;
    std::atomic<bool> released{false};
    std::thread holder([&] {
        controller.Lock();
        held.set_value();
        release.get_future().wait();
        released = true;
        controller.Unlock();
    });
    held.get_future().wait();
    EXPECT_FALSE(controller.TryLock());
    auto called = std::async(std::launch::async, [&] {
        calling.set_value();
        call();
        return released.load();
    });
    calling.get_future().wait();
    // The caller has every chance to come back too early.
    for (int i = 0; i < 20; ++i) std::this_thread::yield();
    release.set_value();
    holder.join();
    return called.get();
}

TEST(FilterCacheController, AddingAStreamWaitsForTheHolderOfTheLock) {
    auto const controller = FilterCacheController::Create();
    iptr<IStreamVideo> cache;
    auto const add = [&] { cache = controller->AddStream(iptr<IStreamVideo>(MakeClip(3))); };
    EXPECT_TRUE(WaitsForHolder(*controller, add));
    EXPECT_TRUE(cache);
}

TEST(FilterCacheController, ANewStepWaitsForTheHolderOfTheLock) {
    CachedClip const clip(3);
    EXPECT_TRUE(WaitsForHolder(*clip.controller, [&] { clip.controller->SetCacheIncreaseSpan(1); }));
    clip.AsCache().IncreaseCacheSpan();
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), SECOND + 1);
}

TEST(FilterCacheController, TheEndOfACacheWaitsForTheHolderOfTheLock) {
    CachedClip clip(3);
    EXPECT_TRUE(WaitsForHolder(*clip.controller, [&] { clip.cache = nullptr; }));
}

TEST(FilterCacheController, ReadingAndSeekingDoNotWaitForTheHolderOfTheLock) {
    CachedClip const clip(100);
    clip.controller->Lock();
    auto const time = std::async(std::launch::async, [&] {
        Seek(*clip.cache, SECOND);
        return clip.ReadTime();
    });
    time.wait();
    clip.controller->Unlock();
    EXPECT_EQ(clip.AsCache().GetLogicalPosition(), SECOND + PICTURE);
}

TEST(FilterCacheController, TheLockIsFreeBehindTheWait) {
    CachedClip const clip(3);
    clip.controller->SetCacheIncreaseSpan(1);
    auto taken = std::async(std::launch::async, [&] {
        bool const free = clip.controller->TryLock();
        if (free) clip.controller->Unlock();
        return free;
    });
    EXPECT_TRUE(taken.get());
}

TEST(FilterCacheController, TheHolderOfTheLockMayAddAndEndCaches) {
    auto const controller = FilterCacheController::Create();
    controller->Lock();
    auto cache = controller->AddStream(iptr<IStreamVideo>(MakeClip(3)));
    controller->SetCacheIncreaseSpan(5);
    EXPECT_TRUE(cache);
    cache = nullptr;
    controller->Unlock();
    EXPECT_THROW(controller->Unlock(), std::logic_error);
}

}  // namespace
}  // namespace Tarsel::Proc
