#include <gtest/gtest.h>

#include <stdexcept>

#include "Proc/Algorithms/AudioAlg.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Proc {
namespace {

TEST(AudioBlockView, TellsWhatTheBlockHolds) {
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_S16P, 48000, Conf::DefaultChannelLayout(2));
    auto const block = DataAudioFF::CreateBySampleCount(info, 4410);
    AudioBlockView const view(block);
    EXPECT_EQ(view.samples, 4410);
    EXPECT_EQ(view.info, info);
    EXPECT_EQ(view.data, block->GetAVFrame()->extended_data[0]);
    EXPECT_EQ(view.planeBytes, 8820U);
}

TEST(AudioBlockView, RefusesAGapBetweenThePlanes) {
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_S16P, 48000, Conf::DefaultChannelLayout(2));
    auto const block = DataAudioFF::CreateBySampleCount(info, 100);
    block->GetAVFrame()->extended_data[1] -= 2;
    EXPECT_THROW(AudioBlockView{block}, ProcException);
}

TEST(AudioBlockView, RefusesALineThatIsLongerThanItsSamples) {
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_FLT, 48000, Conf::DefaultChannelLayout(2));
    auto const block = DataAudioFF::CreateBySampleCount(info, 100);
    block->GetAVFrame()->linesize[0] += 32;
    EXPECT_THROW(AudioBlockView{block}, ProcException);
}

TEST(AudioBlockView, RefusesNoBlock) {
    EXPECT_THROW(AudioBlockView{iptr<IDataAudio>()}, std::invalid_argument);
}

}  // namespace
}  // namespace Tarsel::Proc
