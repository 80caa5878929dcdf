#include "host/effects/AudioSum.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <type_traits>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"
#include "host/effects/SampleTypes.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// The number of silence.
template <class Sample>
constexpr double SILENCE = std::is_unsigned_v<Sample> ? 128.0 : 0.0;

/// A sum that may be beyond what a sample holds.
template <class Sample>
Sample ToSample(double sum) {
    if constexpr (std::is_floating_point_v<Sample>) {
        Sample const value = static_cast<Sample>(sum);
        // In this order of the tests what is no number becomes 1, as in the mixer.
        Sample const top = value <= Sample{1} ? value : Sample{1};
        return top > Sample{-1} ? top : Sample{-1};
    } else {
        if (std::isnan(sum)) return static_cast<Sample>(SILENCE<Sample>);
        return static_cast<Sample>(std::clamp(std::nearbyint(sum + SILENCE<Sample>),
                                              static_cast<double>(std::numeric_limits<Sample>::min()),
                                              static_cast<double>(std::numeric_limits<Sample>::max())));
    }
}

/// Adds a block's samples of one channel to the sums.
template <class Sample>
void AddChannel(SummedBlock const& summed, std::size_t channel, std::vector<double>& sums) {
    IDataAudio& block = *summed.block;
    std::size_t const step = SampleStep(block);
    Sample const* const from = ChannelOf<Sample>(block.GetAVFrame(), channel, Conf::IsPlanar(block.GetSampleFormat()));
    auto const count = static_cast<std::size_t>(block.GetSampleCount());
    for (std::size_t i = 0; i < count; ++i) {
        double const gain = summed.gains.empty() ? 1.0 : summed.gains[i];
        // A sample that isn't heard can't make the sum something that is no number.
        if (gain != 0) sums[i] += (static_cast<double>(from[i * step]) - SILENCE<Sample>)*gain;
    }
}

void RequireOneFormat(std::vector<SummedBlock> const& blocks) {
    IDataAudio const& first = *blocks.front().block;
    for (SummedBlock const& summed : blocks) {
        IDataAudio const& block = *summed.block;
        if (block.GetSampleInfo() != first.GetSampleInfo() || block.GetChannelCount() != first.GetChannelCount())
            TARSEL_THROW(EffectException, "The effect can't put sound of different formats together");
    }
}

}  // namespace

double RisingGain(double progress, SettingsEffectAudioFade::Curves curve) {
    if (progress <= 0) return 0;
    if (progress >= 1) return 1;
    return curve == SettingsEffectAudioFade::CURVE_LINEAR ? progress : std::sin(progress * std::numbers::pi / 2);
}

std::vector<double> ProgressOfSamples(TimeToProgress const& map, IDataAudio const& block, int count) {
    int64 const time = block.GetTime();
    int const rate = block.GetSampleRate();
    double const step = rate > 0 ? static_cast<double>(SECOND) / rate : 0.0;
    std::vector<double> progress(static_cast<std::size_t>(std::max(count, 0)), 1.0);
    if (!HasValue(time)) return progress;
    for (std::size_t i = 0; i < progress.size(); ++i)
        progress[i] = map.GetProgressBetween(static_cast<double>(time) + step * static_cast<double>(i));
    return progress;
}

std::vector<iptr<IDataAudio>> BlocksOf(std::vector<iptr<IData>> const& inputs) {
    if (inputs.empty()) TARSEL_THROW(std::invalid_argument, "An effect needs at least one input");
    std::vector<iptr<IDataAudio>> blocks;
    for (iptr<IData> const& input : inputs) {
        if (!input) continue;
        iptr<IDataAudio> block(dynamic_cast<IDataAudio*>(input.get()));
        if (!block) TARSEL_THROW(EffectException, "The effect can't process an item of this kind");
        blocks.push_back(std::move(block));
    }
    return blocks;
}

iptr<IDataAudio> SumBlocks(std::vector<SummedBlock> const& blocks) {
    RequireOneFormat(blocks);
    SummedBlock const* longest = &blocks.front();
    for (SummedBlock const& summed : blocks)
        if (summed.block->GetSampleCount() >= longest->block->GetSampleCount()) longest = &summed;
    IDataAudio const& model = *longest->block;
    int const count = model.GetSampleCount();
    iptr<IDataAudio> sum = DataAudioFF::CreateBySampleCount(model.GetSampleInfo(), count);
    std::vector<double> sums(static_cast<std::size_t>(count));
    WithSampleType(model.GetSampleFormat(), [&]<class Sample>(Sample*) {
        std::size_t const step = SampleStep(*sum);
        for (std::size_t channel = 0; channel < static_cast<std::size_t>(sum->GetChannelCount()); ++channel) {
            std::fill(sums.begin(), sums.end(), 0.0);
            for (SummedBlock const& block : blocks) AddChannel<Sample>(block, channel, sums);
            Sample* const to = ChannelOf<Sample>(sum->GetAVFrame(), channel, Conf::IsPlanar(sum->GetSampleFormat()));
            for (std::size_t i = 0; i < sums.size(); ++i) to[i * step] = ToSample<Sample>(sums[i]);
        }
    });
    sum->SetTime(model.GetTime());
    sum->SetDuration(model.GetDuration());
    return sum;
}

}  // namespace Tarsel::Host
