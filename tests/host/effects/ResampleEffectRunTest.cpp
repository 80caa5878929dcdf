// Runs that break off and begin anew: jumps of time, changes of format, new targets, resets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"
#include "tests/host/effects/ResampleSupport.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Host {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(ResampleEffect, JumpOfTheTimeGivesWhatIsHeldAndBeginsAnew) {
    Signal const first = Noise(4410, 1);
    Signal const second = Noise(8820, 2);
    auto const alone = [&](Signal const& signal) {
        return SignalOf(RunEffect(*MakeEffect(Rate(48000)), signal, Mono(44100)));
    };
    for (int64 const begin : {int64{200001}, int64{9000000}, int64{-1}, int64{-5000000}}) {
        auto const effect = MakeEffect(Rate(48000));
        Blocks blocks;
        for (auto const& block : {BlockOf(first, 0, 4410, Mono(44100)), BlockOf(second, 0, 4410, Mono(44100), begin),
                                  BlockOf(second, 4410, 4410, Mono(44100), begin)})
            if (auto out = Process(*effect, block)) blocks.push_back(out);
        for (auto& block : Drain(*effect)) blocks.push_back(block);
        Signal expected = alone(first);
        EXPECT_EQ(expected.size(), 4800U);
        for (float const sample : alone(second)) expected.push_back(sample);
        EXPECT_EQ(SignalOf(blocks), expected) << begin;
        auto const jump =
            std::find_if(blocks.begin(), blocks.end(), [&](auto const& block) { return block->GetTime() == begin; });
        ASSERT_NE(jump, blocks.end()) << begin;
        ExpectCountedTimes(Blocks(blocks.begin(), jump), 0, 48000);
        ExpectCountedTimes(Blocks(jump, blocks.end()), begin, 48000);
    }
}

TEST(ResampleEffect, TimesThatAreALittleOffChangeNothing) {
    Signal const signal = Noise(44100, 1);
    auto const straight = SignalOf(RunEffect(*MakeEffect(Rate(48000)), signal, Mono(44100)));
    auto const effect = MakeEffect(Rate(48000));
    Blocks blocks;
    std::mt19937 random(3);
    for (std::size_t first = 0; first < signal.size(); first += 441) {
        int64 const off = first == 0 ? 0 : static_cast<int64>(random() % 200001) - 100000;
        auto block = BlockOf(signal, first, 441, Mono(44100), first == 441 ? 100000 : first == 882 ? -100000 : off);
        if (random() % 5 == 0 && first > 882) block->SetTime(NO_VALUE);
        if (auto out = Process(*effect, block)) blocks.push_back(out);
    }
    for (auto& block : Drain(*effect)) blocks.push_back(block);
    EXPECT_EQ(SignalOf(blocks), straight);
    ExpectCountedTimes(blocks, 0, 48000);
}

TEST(ResampleEffect, WithoutTimesBlocksHaveNoneUntilOneIsKnown) {
    Signal const signal = Noise(44100, 1);
    auto const effect = MakeEffect(Rate(48000));
    Blocks blocks;
    for (std::size_t first = 0; first < signal.size(); first += 4410) {
        auto block = BlockOf(signal, first, 4410, Mono(44100), 1000);
        if (first < 3 * 4410) block->SetTime(NO_VALUE);
        if (auto out = Process(*effect, block)) blocks.push_back(out);
    }
    for (auto& block : Drain(*effect)) blocks.push_back(block);
    EXPECT_EQ(SignalOf(blocks), SignalOf(RunEffect(*MakeEffect(Rate(48000)), signal, Mono(44100))));
    ASSERT_GT(blocks.size(), 5U);
    int64 count = 0;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (i < 3) {
            EXPECT_EQ(blocks[i]->GetTime(), NO_VALUE);
            EXPECT_EQ(blocks[i]->GetDuration(), SampleCount2Duration(blocks[i]->GetSampleCount(), 48000));
        } else {
            EXPECT_NEAR(static_cast<double>(blocks[i]->GetTime()),
                        1000 + static_cast<double>(SampleCount2Duration(count, 48000)), 25)
                << "within a sample of where it stands";
        }
        count += blocks[i]->GetSampleCount();
    }
}

TEST(ResampleEffect, ChangeOfTheInputsFormatGivesWhatIsHeldAndBeginsAnew) {
    Signal const first = Sine(440, 44100, 4410);
    Signal const second = Sine(440, 32000, 3200);
    auto const effect = MakeEffect(Stereo(48000, Conf::SAMPLE_FORMAT_S16));
    Blocks blocks;
    for (auto const& block : {BlockOf(first, 0, 4410, Mono(44100)),
                              BlockOf(second, 0, 3200, Stereo(32000, Conf::SAMPLE_FORMAT_S32), 100000),
                              BlockOf(first, 0, 4410, Mono(44100), 200000)})
        if (auto out = Process(*effect, block)) blocks.push_back(out);
    auto const last = MakeAudio(300000, 10);
    if (auto out = Process(*effect, last)) blocks.push_back(out);
    for (auto& block : Drain(*effect)) blocks.push_back(block);
    EXPECT_EQ(CountOf(blocks), 3 * 4800 + 10);
    ExpectCountedTimes(blocks, 0, 48000);
    EXPECT_EQ(blocks.back(), last) << "the one that has the format already passes behind what was held";
    for (auto const& block : blocks) EXPECT_EQ(block->GetSampleInfo(), Stereo(48000, Conf::SAMPLE_FORMAT_S16));
}

TEST(ResampleEffect, NewTargetInMidRunLosesNothingAndNothingOfTheOldFormatComes) {
    for (Conf::SampleInfo const& target : {Stereo(96000, Conf::SAMPLE_FORMAT_S16), Mono(8000), UNSET, Mono(44100)}) {
        int const rate = target.GetSampleRate() > 0 ? target.GetSampleRate() : 44100;
        Signal const signal = Sine(440, 44100, 8820, 0.25);
        auto const effect = MakeEffect(Stereo(48000, Conf::SAMPLE_FORMAT_DBL));
        auto out = Process(*effect, BlockOf(signal, 0, 4410, Mono(44100)));
        int64 const before = out->GetSampleCount();
        EXPECT_LT(before, 4800);
        effect->SetSampleInfo(target);
        Blocks blocks;
        if ((out = Process(*effect, BlockOf(signal, 4410, 4410, Mono(44100))))) blocks.push_back(out);
        for (auto& block : Drain(*effect)) blocks.push_back(block);
        int64 const held = std::llround(static_cast<double>(4800 - before) / 48000 * rate);
        EXPECT_EQ(CountOf(blocks), held + rate / 5 - rate / 10) << rate;
        for (auto const& block : blocks) {
            EXPECT_EQ(block->GetSampleRate(), rate);
            EXPECT_EQ(block->GetSampleFormat(), target == Stereo(96000, Conf::SAMPLE_FORMAT_S16)
                                                    ? Conf::SAMPLE_FORMAT_S16
                                                    : Conf::SAMPLE_FORMAT_FLTP);
        }
        ASSERT_FALSE(blocks.empty());
        EXPECT_EQ(blocks[0]->GetTime(), SampleCount2Duration(before, 48000)) << "what was held comes first";
        EXPECT_EQ(blocks[1]->GetTime(), 100000);
    }
}

TEST(ResampleEffect, SameTargetAgainChangesNothing) {
    Signal const signal = Noise(8820, 1);
    auto const straight = RunEffect(*MakeEffect(Rate(48000)), signal, Mono(44100));
    auto const effect = MakeEffect(Rate(48000));
    Blocks blocks;
    for (std::size_t first = 0; first < signal.size(); first += 441) {
        if (auto out = Process(*effect, BlockOf(signal, first, 441, Mono(44100)))) blocks.push_back(out);
        effect->SetSampleInfo(Rate(48000));
    }
    for (auto& block : Drain(*effect)) blocks.push_back(block);
    EXPECT_EQ(SignalOf(blocks), SignalOf(straight));
}

TEST(ResampleEffect, ResetForgetsTheStreamAndANewOneBeginsLikeTheFirst) {
    Signal const signal = Noise(4410, 1);
    auto const effect = MakeEffect(Rate(48000));
    auto const fresh = SignalOf(RunEffect(*effect, signal, Mono(44100)));
    EXPECT_EQ(SignalOf(RunEffect(*effect, signal, Mono(44100))), fresh);
    Process(*effect, BlockOf(Noise(1000, 2), 0, 1000, Mono(44100)));
    effect->ResetEffectState();
    EXPECT_THAT(Drain(*effect), IsEmpty());
    EXPECT_EQ(SignalOf(RunEffect(*effect, signal, Mono(44100))), fresh);
    Process(*effect, BlockOf(Noise(1000, 2), 0, 1000, Mono(44100)));
    effect->Initialize(SettingsResample(Rate(48000)));
    EXPECT_THAT(Drain(*effect), IsEmpty()) << "settings begin anew";
    // What waits behind a jump is forgotten, too.
    Process(*effect, BlockOf(signal, 0, 4410, Mono(44100)));
    Process(*effect, BlockOf(signal, 0, 4410, Mono(44100), 9000000));
    effect->ResetEffectState();
    EXPECT_THAT(Drain(*effect), IsEmpty());
}

}  // namespace
}  // namespace Tarsel::Host
