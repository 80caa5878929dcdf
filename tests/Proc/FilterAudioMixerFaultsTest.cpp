#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/Proc/MixerSupport.h"
#include "tests/support/FailureClasses.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::Each;
using ::testing::ElementsAre;

double One(int, int64) {
    return 1;
}
double Place(int, int64 index) {
    return static_cast<double>(index);
}

template <class E>
class FilterAudioMixerFailures : public ::testing::Test {};
TYPED_TEST_SUITE(FilterAudioMixerFailures, FailureClasses);

/// The script of a stream with a failure ahead of one of its blocks, or of its end.
std::vector<ScriptedAudio::Step> MakeFailing(std::vector<int> const& counts, std::size_t where,
                                             std::exception_ptr const& failure) {
    auto steps = MakeRun(MONO_S16, counts, Place);
    steps.insert(steps.begin() + static_cast<std::ptrdiff_t>(where), ScriptedAudio::Step(failure));
    return steps;
}

TYPED_TEST(FilterAudioMixerFailures, AFailureOfAStreamKeepsItsClassAndASeekGoesOn) {
    std::exception_ptr const failure = MakeFailure<TypeParam>();
    // Whichever stream fails and at whichever read, ahead of its end too.
    for (int place = 0; place < 3; ++place) {
        for (std::size_t where = 0; where <= 6; ++where) {
            SCOPED_TRACE(std::to_string(place) + ", " + std::to_string(where));
            TestMixer const mixer;
            for (int i = 0; i < 3; ++i)
                mixer->AddStream(i == place ? MakeStream(MONO_S16, MakeFailing({2, 3, 4, 3, 2, 4}, where, failure))
                                            : MakeRunStream(MONO_S16, {3, 3, 3, 3, 3, 3}, Place),
                                 100);
            mixer->RequestSeek(0, nullptr);
            std::string seen;
            std::vector<iptr<IDataAudio>> blocks;
            for (int reads = 0; reads < 20; ++reads) {
                std::string const failed = FailureOf([&] {
                    if (auto block = mixer->Read()) blocks.push_back(std::move(block));
                });
                if (failed != Describe(nullptr)) seen += failed;
            }
            // It comes once, and reading on loses nothing.
            EXPECT_EQ(seen, Describe(failure));
            std::vector<double> expected;
            for (int i = 0; i < 18; ++i) expected.push_back(3 * i);
            EXPECT_EQ(ChannelOf(blocks), expected);
        }
    }
}

TYPED_TEST(FilterAudioMixerFailures, AReadThatFailsAfterASeekCanBeFollowedByASeek) {
    std::exception_ptr const failure = MakeFailure<TypeParam>();
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {4, 4}, One), 100);
    mixer->AddStream(MakeStream(MONO_S16, MakeFailing({2, 2, 2, 2}, 1, failure)), 100);
    for (int pass = 0; pass < 3; ++pass) {
        Seek(*mixer, 0);
        EXPECT_EQ(FailureOf([&] { mixer->Read(); }), Describe(failure));
    }
    Seek(*mixer, SampleCount2Duration(5, 48000));
    EXPECT_THAT(ChannelOf(ReadAll(*mixer)), ElementsAre(5, 6, 7, 8));
}

TYPED_TEST(FilterAudioMixerFailures, AFactoryThatFailsLeavesAllAsItWas) {
    std::exception_ptr const failure = MakeFailure<TypeParam>();
    for (std::string const which : {"resampler 1", "formatter 1"}) {
        SCOPED_TRACE(which);
        TestMixer const mixer;
        mixer->AddStream(MakeRunStream(MONO_S16, {4}, One), 100);
        mixer.Calls();
        mixer.plan->onMake = [&](std::string const& name) {
            if (name == which) std::rethrow_exception(failure);
        };
        auto const refused = MakeStream(STEREO_FLTP);
        EXPECT_EQ(FailureOf([&] { mixer->AddStream(refused, 100); }), Describe(failure));
        EXPECT_EQ(mixer->FindStream(refused), -1);
        EXPECT_EQ(refused->GetRefCountImpl(), 1U);
        EXPECT_EQ(mixer->GetFormatCodec()->GetSampleInfo(), MONO_S16);
        // The one that was there is back in its own format.
        auto const calls = mixer.Calls();
        ASSERT_GE(calls.size(), 2U);
        EXPECT_EQ(calls.front(), "resampler 0 SetSampleInfo(8/48000/3)");
        EXPECT_EQ(calls.back(), "resampler 0 SetSampleInfo(1/48000/4)");
        EXPECT_EQ(mixer->Read()->GetSampleInfo(), MONO_S16);
    }
}

TYPED_TEST(FilterAudioMixerFailures, AResamplerThatRefusesAFormatKeepsTheStreamOut) {
    std::exception_ptr const failure = MakeFailure<TypeParam>();
    TestMixer const mixer;
    mixer->AddStream(MakeStream(MONO_S16), 100);
    mixer->AddStream(MakeStream(MONO_S16), 100);
    mixer.Calls();
    bool failed = false;
    mixer.plan->onFormat = [&](std::string const& name) {
        if (name == "resampler 1" && !std::exchange(failed, true)) std::rethrow_exception(failure);
    };
    auto const refused = MakeStream(STEREO_FLTP);
    EXPECT_EQ(FailureOf([&] { mixer->AddStream(refused, 100); }), Describe(failure));
    EXPECT_EQ(mixer->FindStream(refused), -1);
    EXPECT_THAT(mixer.Calls(),
                ElementsAre("resampler 0 SetSampleInfo(8/48000/3)", "resampler 1 SetSampleInfo(8/48000/3)",
                            "resampler 0 SetSampleInfo(1/48000/4)", "resampler 1 SetSampleInfo(1/48000/4)"));
}

TYPED_TEST(FilterAudioMixerFailures, AConverterThatFailsLosesNothing) {
    std::exception_ptr const failure = MakeFailure<TypeParam>();
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {2, 2}, One), 100);
    mixer.plan->passOn = true;
    mixer->AddStream(MakeStream(MONO_S16, {MakeLevelSound(STEREO_S16, 0, 4, 7)}), 100);
    mixer.plan->passOn = false;
    mixer.plan->onMake = [&](std::string const& name) {
        if (name == "resampler 2") std::rethrow_exception(failure);
    };
    EXPECT_EQ(FailureOf([&] { mixer->Read(); }), Describe(failure));
    EXPECT_THAT(ChannelOf(ReadAll(*mixer)), ElementsAre(8, 8, 8, 8));
}

TEST(FilterAudioMixerFaults, AFailureWhileStreamsAreBroughtTogetherIsMadeUpForByTheNextRead) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(
                         MONO_S16, {48}, [](int, int64) { return 0.0; }, 1000),
                     100);
    mixer->AddStream(MakeStream(MONO_S16, MakeFailing({24, 24, 48}, 1, Failure<Exception>("broken"))), 100);
    mixer->RequestSeek(1500, nullptr);
    EXPECT_EQ(MessageOf<Exception>([&] { mixer->Read(); }), "broken");
    EXPECT_EQ(mixer->GetPosition(), 1500);
    auto const mix = mixer->Read();
    EXPECT_THAT(mix, IsAudio(1000, 48));
    EXPECT_EQ(SampleAt(*mix, 0, 0), 48);
}

TEST(FilterAudioMixerFaults, AStreamWhoseSeekFailsCanBeSoughtAgain) {
    class Refusing final : public ScriptedAudio {
      public:
        Refusing() : ScriptedAudio({MakeLevelSound(MONO_S16, 0, 4, 20)}) { format->SetSampleInfo(MONO_S16); }
        void RequestSeek(int64 target, iptr<IRefCountable> context) override {
            if (refuses) TARSEL_THROW(FilterException, "no seek");
            ScriptedAudio::RequestSeek(target, std::move(context));
        }
        bool refuses = true;
    };
    auto const refusing = MakeShared<Refusing>();
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {4}, One), 100);
    mixer->AddStream(refusing, 100);
    EXPECT_EQ(MessageOf<FilterException>([&] { mixer->RequestSeek(0, nullptr); }), "no seek");
    refusing->refuses = false;
    Seek(*mixer, 0);
    EXPECT_THAT(ChannelOf(ReadAll(*mixer)), Each(21));
}

}  // namespace
}  // namespace Tarsel::Proc
