#include "host/sound/LevelMeter.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "contracts/Core/Exception.h"
#include "host/media/FFmpeg.h"

namespace Tarsel::Host {

namespace {

double Rms(double sum, uint64 count) {
    return count == 0 ? 0.0 : std::sqrt(sum / static_cast<double>(count));
}

}  // namespace

iptr<LevelMeter> LevelMeter::Create(iptr<Proc::IStreamAudio> const& source) {
    if (!source) TARSEL_THROW(std::invalid_argument, "source is NULL");
    return iptr<LevelMeter>(new LevelMeter(source));
}

LevelMeter::LevelMeter(iptr<Proc::IStreamAudio> const& source) : ForwardingStream(source) {}

void LevelMeter::DoSeek() {
    channels.clear();
    stream->DoSeek();
}

iptr<Proc::IDataAudio> LevelMeter::Read() {
    iptr<Proc::IDataAudio> block = stream->Read();
    if (block) Measure(*block);
    return block;
}

template <class Sample, class Value>
void LevelMeter::Add(Proc::IDataAudio& block, Value value) {
    AVFrame const& frame = *block.GetAVFrame();
    bool const planar = Conf::IsPlanar(block.GetSampleFormat());
    auto const count = static_cast<std::size_t>(std::max(block.GetSampleCount(), 0));
    std::size_t const width = static_cast<std::size_t>(std::max(block.GetChannelCount(), 0));
    if (channels.size() < width) channels.resize(width);
    for (std::size_t number = 0; number < width; ++number) {
        auto const* const samples =
            reinterpret_cast<Sample const*>(frame.extended_data[planar ? number : 0]) + (planar ? 0 : number);
        std::size_t const step = planar ? 1 : width;
        Channel& channel = channels[number];
        for (std::size_t i = 0; i < count; ++i) {
            double const v = value(samples[i * step]);
            if (v > channel.peak) channel.peak = v;
            channel.sum += v * v;
        }
        channel.count += count;
    }
}

void LevelMeter::Measure(Proc::IDataAudio& block) {
    switch (Conf::PlanarFormat(block.GetSampleFormat())) {
        case Conf::SAMPLE_FORMAT_U8P:
            return Add<u8>(block, [](u8 s) { return (s - 128) * 0.0078125; });
        case Conf::SAMPLE_FORMAT_S16P:
            return Add<std::int16_t>(block, [](std::int16_t s) { return s / 32767.0; });
        case Conf::SAMPLE_FORMAT_S32P:
            return Add<i32>(block, [](i32 s) { return s / 2147483647.0; });
        case Conf::SAMPLE_FORMAT_FLTP:
            return Add<float>(block, [](float s) { return double{s}; });
        case Conf::SAMPLE_FORMAT_DBLP:
            return Add<double>(block, [](double s) { return s; });
        default:
            TARSEL_THROW(Proc::ProcException, "The level of samples of format " +
                                                  std::to_string(int(block.GetSampleFormat())) + " can't be told");
    }
}

std::vector<LevelMeter::Level> LevelMeter::GetChannels() const {
    std::vector<Level> levels;
    for (Channel const& channel : channels) levels.push_back({channel.peak, Rms(channel.sum, channel.count)});
    return levels;
}

LevelMeter::Level LevelMeter::GetLevel() const {
    Channel all;
    for (Channel const& channel : channels) {
        all.peak = std::max(all.peak, channel.peak);
        all.sum += channel.sum;
        all.count += channel.count;
    }
    return {all.peak, Rms(all.sum, all.count)};
}

}  // namespace Tarsel::Host
