// The player over scripted streams, bare and under caches. What bare streams show is the measure.
#include "host/scrub/ScrubPlayer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/Time.h"
#include "host/graph/Factories.h"
#include "host/scrub/SourceTap.h"
#include "tests/support/Builders.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/LogLines.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {

void PrintTo(ScrubMove const& move, std::ostream* stream) {
    *stream << move.requested << " -> ";
    if (HasValue(move.real))
        *stream << move.real;
    else
        *stream << "end";
}

namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

constexpr int64 FRAME = 40000;
constexpr int BLOCK = 1024;
constexpr int RATE = 48000;
constexpr int64 NONE = NO_VALUE;

/// What a file holds: times at which pictures begin (the last entry: where the last one ends), and samples of sound.
struct Film {
    std::vector<int64> times;
    int64 samples = 0;
    int block = BLOCK;
    /// Samples that the decoder gives behind the last one.
    int excess = 0;
    /// Pictures at the front that can't be decoded.
    std::size_t missing = 0;

    int64 SoundEnd() const { return samples * SECOND / RATE; }
    int64 Duration() const { return std::max(times.empty() ? 0 : times.back(), SoundEnd()); }
};

Film Regular(int pictures, int64 samples) {
    Film film;
    for (int i = 0; i <= pictures; ++i) film.times.push_back(i * FRAME);
    film.samples = samples;
    return film;
}

std::vector<ScriptedVideo::Step> Pictures(Film const& film) {
    std::vector<ScriptedVideo::Step> steps;
    for (std::size_t i = film.missing; i + 1 < film.times.size(); ++i)
        steps.push_back(MakeVideo(film.times[i], film.times[i + 1] - film.times[i]));
    return steps;
}

std::vector<ScriptedAudio::Step> Sound(Film const& film) {
    std::vector<ScriptedAudio::Step> steps;
    for (int64 sample = 0; sample < film.samples; sample += film.block) {
        auto const count = static_cast<int>(std::min<int64>(film.block, film.samples - sample + film.excess));
        int64 const time = SampleCount2Duration(sample, RATE);
        auto const block = MakeAudio(time, count, RATE);
        block->SetDuration(SampleCount2Duration(sample + count, RATE) - time);
        steps.push_back(block);
    }
    return steps;
}

/// A player over a film, and what it has shown.
class Screening {
  public:
    Screening(Film const& film, bool cached)
        : pictures(ScriptedVideo::Create(Pictures(film))), sound(ScriptedAudio::Create(Sound(film))) {
        ScrubStreams streams;
        pictures->duration = film.Duration();
        sound->duration = film.Duration();
        streams.duration = film.Duration();
        if (film.times.size() > 1) {
            streams.video = iptr<IStreamVideo>(MakeShared<SourceTap<IStreamVideo>>(pictures, "film", "video", seeks));
            std::vector<int64> const begins(film.times.begin() + static_cast<long>(film.missing), film.times.end() - 1);
            streams.grid = TimeGrid(begins, 0, film.times.back());
            streams.entries = begins;
        }
        if (film.samples > 0) {
            streams.audio = iptr<IStreamAudio>(MakeShared<SourceTap<IStreamAudio>>(sound, "film", "audio", seeks));
            streams.soundEnd = film.SoundEnd();
            if (!streams.video) streams.grid = TimeGrid(BlockTimes(film), 0, film.SoundEnd());
        }
        if (cached) {
            auto const controller = MakeFilterFactory()->Dedicated(FilterSlots::CACHE_CONTROLLER, ImplNames::DEFAULT)();
            if (streams.video) streams.video = controller->AddStream(streams.video);
            if (streams.audio) streams.audio = controller->AddStream(streams.audio);
            streams.caches = {controller};
        }
        ScrubListener listener;
        listener.picture = [this](iptr<IDataVideo> const& picture) { shown.push_back(picture->GetTime()); };
        listener.sound = [this](iptr<IDataAudio> const& block) { heard.push_back(block->GetTime()); };
        listener.beforeRead = [this] {
            if (beforeRead) beforeRead();
        };
        player = std::make_unique<ScrubPlayer>(streams, listener);
        seeks = 0;
    }

    static std::vector<int64> BlockTimes(Film const& film) {
        std::vector<int64> times;
        for (auto const& step : Sound(film)) times.push_back(step.item->GetTime());
        return times;
    }

    iptr<ScriptedVideo> pictures;
    iptr<ScriptedAudio> sound;
    std::atomic<uint64> seeks{0};
    std::vector<int64> shown;  // since the last time that it was emptied
    std::vector<int64> heard;
    std::function<void()> beforeRead;
    std::unique_ptr<ScrubPlayer> player;
};

class EitherWay : public ::testing::TestWithParam<bool> {
  protected:
    std::unique_ptr<Screening> Play(Film const& film) { return std::make_unique<Screening>(film, GetParam()); }
};
INSTANTIATE_TEST_SUITE_P(ScrubPlayer, EitherWay, ::testing::Bool(),
                         [](auto const& way) { return way.param ? "Cached" : "Bare"; });

TEST_P(EitherWay, ASeekShowsThePictureThatContainsThePosition) {
    auto const screening = Play(Regular(100, 0));
    EXPECT_EQ((ScrubMove{1000000, 1000000}), screening->player->Seek(1000000));
    EXPECT_EQ((ScrubMove{1030000, 1000000}), screening->player->Seek(1030000));
    EXPECT_EQ((ScrubMove{3999999, 3960000}), screening->player->Seek(3999999));
    EXPECT_EQ((ScrubMove{0, 0}), screening->player->Seek(0));
    EXPECT_THAT(screening->shown, ElementsAre(1000000, 1000000, 3960000, 0));
}

TEST_P(EitherWay, ASeekBehindTheLastPictureShowsNothing) {
    auto const screening = Play(Regular(100, 0));
    EXPECT_EQ((ScrubMove{4000000, NONE}), screening->player->Seek(4000000));
    EXPECT_EQ((ScrubMove{9000000, NONE}), screening->player->Seek(9000000));
    EXPECT_THAT(screening->shown, IsEmpty());
    EXPECT_EQ((ScrubMove{4000000, NONE}), screening->player->Step(1));
    EXPECT_EQ((ScrubMove{3960000, 3960000}), screening->player->Step(-1));
}

TEST_P(EitherWay, AStepShowsEachPictureOnItsWay) {
    auto const screening = Play(Regular(100, 0));
    EXPECT_EQ((ScrubMove{0, 0}), screening->player->Step(1));
    EXPECT_EQ((ScrubMove{3 * FRAME, 3 * FRAME}), screening->player->Step(3));
    EXPECT_THAT(screening->shown, ElementsAre(0, FRAME, 2 * FRAME, 3 * FRAME));
}

TEST_P(EitherWay, AStepBackShowsOnePictureAndTheNextStepGoesOnFromThere) {
    auto const screening = Play(Regular(100, 0));
    screening->player->Seek(20 * FRAME);
    screening->shown.clear();
    EXPECT_EQ((ScrubMove{17 * FRAME, 17 * FRAME}), screening->player->Step(-3));
    EXPECT_EQ((ScrubMove{18 * FRAME, 18 * FRAME}), screening->player->Step(1));
    EXPECT_EQ((ScrubMove{17 * FRAME, 17 * FRAME}), screening->player->Step(-1));
    EXPECT_EQ((ScrubMove{0, 0}), screening->player->Step(-1000000000));
    EXPECT_EQ((ScrubMove{0, 0}), screening->player->Step(-1));
    EXPECT_THAT(screening->shown, ElementsAre(17 * FRAME, 18 * FRAME, 17 * FRAME, 0, 0));
}

TEST_P(EitherWay, AStepOverTheEndShowsTheLastPictureOnce) {
    auto const screening = Play(Regular(100, 0));
    screening->player->Seek(97 * FRAME);
    screening->shown.clear();
    EXPECT_EQ((ScrubMove{100 * FRAME, 99 * FRAME}), screening->player->Step(1000000000));
    EXPECT_THAT(screening->shown, ElementsAre(98 * FRAME, 99 * FRAME));
    EXPECT_EQ((ScrubMove{100 * FRAME, NONE}), screening->player->Step(1));
    EXPECT_EQ((ScrubMove{98 * FRAME, 98 * FRAME}), screening->player->Step(-1));
}

TEST_P(EitherWay, StepsGoByThePicturesHoweverLongTheyAre) {
    Film film;
    film.times = {0, 1, 3, 700000, 8000000, 8000001, 12000000};
    auto const screening = Play(film);
    for (std::size_t i = 0; i + 1 < film.times.size(); ++i)
        EXPECT_EQ((ScrubMove{film.times[i], film.times[i]}), screening->player->Step(1));
    for (std::size_t i = film.times.size() - 2; i-- > 0;)
        EXPECT_EQ((ScrubMove{film.times[i], film.times[i]}), screening->player->Step(-1));
}

TEST_P(EitherWay, SoundComesUpToTheEndOfThePicture) {
    auto const screening = Play(Regular(100, 4 * RATE));
    screening->player->Seek(1010000);
    // The block that contains the position, up to the one that contains the picture's end.
    EXPECT_THAT(screening->heard, ElementsAre(1002667, 1024000));
    screening->heard.clear();
    screening->player->Step(1);
    EXPECT_THAT(screening->heard, ElementsAre(1045333, 1066667));
}

TEST_P(EitherWay, SoundIsHeardToItsEndWhereItEndsEarlyOrLate) {
    for (int64 const samples : {RATE, 4 * RATE, 5 * RATE}) {
        Film const film = Regular(100, samples);
        auto const screening = Play(film);
        screening->player->Step(100);
        EXPECT_EQ(100U, screening->shown.size());
        std::vector<int64> expected;
        for (int64 const time : Screening::BlockTimes(film))
            if (time < 100 * FRAME) expected.push_back(time);
        EXPECT_THAT(screening->heard, ElementsAreArray(expected)) << samples;
    }
}

TEST_P(EitherWay, PicturesMissingAtTheStartArePassedOver) {
    Film film = Regular(100, 0);
    film.missing = 5;
    auto const screening = Play(film);
    EXPECT_EQ((ScrubMove{0, 5 * FRAME}), screening->player->Seek(0));
    EXPECT_EQ((ScrubMove{6 * FRAME, 6 * FRAME}), screening->player->Step(1));
    EXPECT_EQ((ScrubMove{5 * FRAME, 5 * FRAME}), screening->player->Step(-3));
}

TEST_P(EitherWay, AFileOfOnePictureHasOne) {
    auto const screening = Play(Regular(1, 0));
    EXPECT_EQ((ScrubMove{0, 0}), screening->player->Step(1));
    EXPECT_EQ((ScrubMove{FRAME, NONE}), screening->player->Step(1));
    EXPECT_EQ((ScrubMove{0, 0}), screening->player->Step(-1));
    EXPECT_EQ((ScrubMove{20000, 0}), screening->player->Seek(20000));
    EXPECT_EQ((ScrubMove{FRAME, NONE}), screening->player->Seek(FRAME));
}

TEST_P(EitherWay, WithoutPicturesThePacketsOfSoundAreStepped) {
    Film film;
    film.samples = 2 * RATE;
    auto const screening = Play(film);
    EXPECT_EQ((ScrubMove{0, 0}), screening->player->Step(1));
    EXPECT_EQ((ScrubMove{42667, 42667}), screening->player->Step(2));
    EXPECT_EQ((ScrubMove{21333, 21333}), screening->player->Step(-1));
    // The very sample, not the block.
    EXPECT_EQ((ScrubMove{1000010, 1000000}), screening->player->Seek(1000010));
    EXPECT_EQ((ScrubMove{1002667, 1002667}), screening->player->Step(1));
    EXPECT_EQ((ScrubMove{2000000, NONE}), screening->player->Seek(2000000));
    EXPECT_EQ((ScrubMove{1984000, 1984000}), screening->player->Step(-1));
    EXPECT_EQ((ScrubMove{2000000, NONE}), screening->player->Step(1));
}

TEST_P(EitherWay, SoundBehindItsEndIsNotShown) {
    Film film;
    film.samples = 100 * BLOCK - 200;
    film.excess = 200;
    auto const screening = Play(film);
    EXPECT_EQ((ScrubMove{film.SoundEnd(), NONE}), screening->player->Seek(film.SoundEnd()));
    EXPECT_EQ((ScrubMove{2112000, 2112000}), screening->player->Step(-1));
    EXPECT_EQ((ScrubMove{film.SoundEnd(), NONE}), screening->player->Step(1));
}

TEST_P(EitherWay, AFileThatShowsNothingGoesNowhere) {
    auto const screening = Play(Film());
    EXPECT_EQ((ScrubMove{5, NONE}), screening->player->Seek(5));
    EXPECT_EQ((ScrubMove{0, NONE}), screening->player->Step(1));
    EXPECT_EQ((ScrubMove{0, NONE}), screening->player->Step(-1));
}

TEST_P(EitherWay, AStepOfNothingIsRefusedAndOneOfAnyLengthIsNot) {
    auto const screening = Play(Regular(10, 0));
    EXPECT_EQ("a step of 0 pictures goes nowhere",
              MessageOf<std::invalid_argument>([&] { screening->player->Step(0); }));
    EXPECT_EQ(9 * FRAME, screening->player->Step(std::numeric_limits<int64>::max()).real);
    EXPECT_EQ(0, screening->player->Step(std::numeric_limits<int64>::min()).real);
}

TEST_P(EitherWay, WhatIsThrownAheadOfAReadEndsTheOperation) {
    auto const screening = Play(Regular(100, 0));
    screening->beforeRead = [] { TARSEL_THROW(Core::IOException, "interrupted"); };
    EXPECT_EQ("interrupted", MessageOf<Core::IOException>([&] { screening->player->Step(1); }));
}

TEST(SourceTap, PutsFileAndStreamInFrontOfAFailureOnce) {
    std::atomic<uint64> seeks{0};
    auto const failing = [&](std::string const& text) {
        std::exception_ptr failure;
        try {
            TARSEL_THROW(FilterException, text);
        } catch (...) {
            failure = std::current_exception();
        }
        auto const source = ScriptedVideo::Create({ScriptedVideo::Step(failure)});
        return iptr<IStreamVideo>(MakeShared<SourceTap<IStreamVideo>>(source, "film.mp4", "stream #0", seeks));
    };
    EXPECT_EQ("film.mp4: stream #0: broken", MessageOf<ProcException>([&] { failing("broken")->Read(); }));
    EXPECT_EQ("film.mp4: broken", MessageOf<FilterException>([&] { failing("film.mp4: broken")->Read(); }));
    EXPECT_EQ(0U, seeks);
}

TEST(SourceTap, CountsSeeksAndPassesItemsAsTheyAre) {
    std::atomic<uint64> seeks{0};
    auto const source = ScriptedVideo::Create(Pictures(Regular(3, 0)));
    iptr<IStreamVideo> const tap = MakeShared<SourceTap<IStreamVideo>>(source, "film.mp4", "stream #0", seeks);
    tap->RequestSeek(FRAME, nullptr);
    EXPECT_EQ(0U, seeks);
    tap->DoSeek();
    EXPECT_EQ(1U, seeks);
    auto const item = tap->Read();
    EXPECT_EQ(FRAME, item->GetTime());
    EXPECT_THAT(source->delivered, ElementsAre(item.get()));
}

// What caches save.

TEST(ScrubPlayer, SeeksAndStepsInsideTheWindowTouchNoSource) {
    Screening screening(Regular(200, 8 * RATE), true);
    screening.player->Seek(4 * SECOND);
    screening.seeks = 0;
    for (int i = 0; i < 20; ++i) screening.player->Step(-1);
    for (int i = 0; i < 40; ++i) screening.player->Step(1);
    screening.player->Seek(4 * SECOND + 10000);
    // The very start of a picture is inside of it too.
    screening.player->Seek(4 * SECOND + 5 * FRAME);
    EXPECT_EQ(0U, screening.seeks);
}

TEST(ScrubPlayer, ASeekOutOfTheWindowMovesBothSourcesOnce) {
    Screening screening(Regular(200, 8 * RATE), true);
    screening.player->Seek(1 * SECOND);
    screening.seeks = 0;
    screening.player->Seek(6 * SECOND);
    EXPECT_EQ(2U, screening.seeks);
}

TEST(ScrubPlayer, TheEndIsLookedForOnceOnly) {
    // The file tells of more sound than can be decoded.
    Screening screening(Regular(100, 4 * RATE - 100), true);
    screening.player->Seek(90 * FRAME);
    screening.player->Step(100);
    screening.seeks = 0;
    EXPECT_EQ(NONE, screening.player->Step(1).real);
    EXPECT_EQ(0U, screening.seeks);
}

TEST(ScrubPlayer, PicturesLongerThanTheWindowAreSoughtBeforeACacheComplains) {
    Film film;
    film.times = {0, 5000000, 5040000, 12000000, 12040000, 12080000, 20000000};
    LogLines const lines(0);  // outlives the caches' threads
    Screening screening(film, true);
    for (std::size_t i = 0; i + 1 < film.times.size(); ++i) EXPECT_EQ(film.times[i], screening.player->Step(1).real);
    EXPECT_THAT(lines.Get(google::ERROR), IsEmpty());
}

// Random films and scripts: what caches show equals what bare streams show.

Film RandomFilm(std::mt19937& random) {
    auto const below = [&](unsigned limit) { return static_cast<int64>(random() % limit); };
    Film film;
    int64 time = 0;
    bool const uneven = below(2) == 0;
    auto const count = static_cast<std::size_t>(below(4) == 0 ? below(4) : below(300));
    for (std::size_t i = 0; i < count; ++i) {
        film.times.push_back(time);
        time += !uneven          ? FRAME
                : below(20) == 0 ? 1 + below(4 * SECOND)
                : below(20) == 0 ? 1 + below(3)
                                 : 1 + below(90000);
    }
    if (count > 0) film.times.push_back(time);
    film.missing = count > 20 && below(4) == 0 ? static_cast<std::size_t>(below(10)) : 0;
    // Blocks longer than a cache looks ahead.
    if (below(8) == 0) film.block = 70000;
    if (count == 0 || below(3) != 0) film.samples = below(3) == 0 ? below(RATE) : below(10 * RATE);
    return film;
}

TEST(ScrubPlayer, CachedEqualsBareOverRandomFilmsAndScripts) {
    for (unsigned seed = 1; seed <= 150; ++seed) {
        std::mt19937 random(seed);
        Film const film = RandomFilm(random);
        Screening bare(film, false);
        Screening cached(film, true);
        std::vector<int64> const begins = film.times.empty()
                                              ? Screening::BlockTimes(film)
                                              : std::vector<int64>(film.times.begin(), film.times.end() - 1);
        auto const script = MakeRandomScrub(150, seed, TimeGrid(begins, 0, film.Duration()), film.Duration());
        for (ScrubOperation const& operation : script) {
            for (Screening* screening : {&bare, &cached}) {
                screening->shown.clear();
                screening->heard.clear();
            }
            ASSERT_EQ(bare.player->Do(operation), cached.player->Do(operation))
                << "seed " << seed << ", " << operation.ToText();
            ASSERT_EQ(bare.shown, cached.shown) << "seed " << seed << ", " << operation.ToText();
            ASSERT_EQ(bare.heard, cached.heard) << "seed " << seed << ", " << operation.ToText();
        }
    }
}

}  // namespace
}  // namespace Tarsel::Host
