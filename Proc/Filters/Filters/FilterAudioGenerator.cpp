#include "Proc/Filters/Filters/FilterAudioGenerator.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "Proc/Algorithms/AudioAlg.h"
#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/DataAudioFF.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Proc {

namespace {

using Generator = SettingsAudioGenerator::Generator;

/// A value that every format can hold.
double Bound(double value) {
    return std::isnan(value) ? 0.0 : std::clamp(value, -1.0, 1.0);
}

/// Fills the values of the first plane, each sample for all of the plane's channels.
template <class Sample, class Convert>
void FillPlane(AudioBlockView const& view, int channels, Generator const& generator, Convert convert) {
    u8* out = view.data;
    for (int i = 0; i < view.samples; ++i) {
        Sample const sample = convert(Bound(generator(static_cast<uint32>(i))));
        for (int channel = 0; channel < channels; ++channel, out += sizeof sample)
            std::memcpy(out, &sample, sizeof sample);
    }
}

/// Writes the generator's values to all channels of a silent block.
void Fill(iptr<IDataAudio> const& block, Generator const& generator) {
    AudioBlockView const view(block);
    Conf::SampleFormats const code = view.info.GetSampleFormat();
    int const planes = view.info.GetPlanesCount();
    int const channels = Conf::IsPlanar(code) ? 1 : view.info.GetChannelCount();
    auto const toInt16 = [](double value) { return static_cast<std::int16_t>(value * 32767.0); };
    switch (Conf::PlanarFormat(code)) {
        case Conf::SAMPLE_FORMAT_U8P:
            FillPlane<u8>(view, channels, generator,
                          [](double value) { return static_cast<u8>(value * 127.0 + 128.0); });
            break;
        case Conf::SAMPLE_FORMAT_S16P:
            FillPlane<std::int16_t>(view, channels, generator, toInt16);
            break;
        case Conf::SAMPLE_FORMAT_S32P:
            // Meant: 16-bit values, which take the front half of the block; the rest stays silent.
            FillPlane<std::int16_t>(view, channels, generator, toInt16);
            break;
        case Conf::SAMPLE_FORMAT_FLTP:
            FillPlane<float>(view, channels, generator, [](double value) { return static_cast<float>(value); });
            break;
        case Conf::SAMPLE_FORMAT_DBLP:
            FillPlane<double>(view, channels, generator, [](double value) { return value; });
            break;
        default:
            TARSEL_THROW(std::logic_error, "unsupported sample format");
    }
    for (int plane = 1; plane < planes; ++plane)
        std::memcpy(view.data + static_cast<std::size_t>(view.planeBytes) * static_cast<std::size_t>(plane), view.data,
                    view.planeBytes);
}

}  // namespace

iptr<IStreamAudioEx> FilterAudioGenerator::Create(Settings const& newSettings) {
    auto const filter = MakeShared<FilterAudioGenerator>();
    filter->UpdateSettings(newSettings);
    return filter;
}

FilterAudioGenerator::FilterAudioGenerator() {
    UpdateSettings(SettingsAudioGenerator());
}

void FilterAudioGenerator::UpdateSettings(Settings const& newSettings) {
    auto const& own = dynamic_cast<SettingsAudioGenerator const&>(newSettings);
    if (!std::isfinite(own.GetFrequency()) || !std::isfinite(own.GetAmplitude()))
        TARSEL_THROW(FilterException, "Wrong settings!");
    iptr<Conf::IFormatCodecAudio> const newFormat = Conf::IFormatCodecAudio::Create();
    newFormat->SetSampleInfo(own.GetSampleInfo());
    Core::MutexLock const lock(mutex);
    settings = own;
    generator = own.MakeGenerator();
    format = newFormat;
}

void FilterAudioGenerator::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

Core::Property FilterAudioGenerator::GetSettings() {
    TARSEL_THROW(FilterException, "Method not implemented");
}

int64 FilterAudioGenerator::GetDuration() const {
    Core::MutexLock const lock(mutex);
    return settings.GetDuration();
}

int64 FilterAudioGenerator::GetPosition() {
    Core::MutexLock const lock(mutex);
    return position;
}

iptr<IDataAudio> FilterAudioGenerator::Read() {
    Core::MutexLock const lock(mutex);
    if (IsEndOfStream() || position >= settings.GetDuration()) return nullptr;
    Conf::SampleInfo const& info = settings.GetSampleInfo();
    int const rate = info.GetSampleRate();
    int64 time = SubTime(settings.GetDuration(), position);
    int64 count = 0;
    // Without a rate there is nothing to count; the attempt at a block says so.
    if (rate > 0) {
        time = std::min(AvRescale(settings.GetBlockSamples(), SECOND, rate), time);
        count = AvRescale(time, rate, SECOND);
        if (count <= 0) return nullptr;
        count = std::min<int64>(count, std::numeric_limits<int>::max());
    }
    iptr<IDataAudio> block = DataAudioFF::CreateBySampleCount(info, static_cast<int>(count));
    block->SetTime(position);
    block->SetDuration(time);
    block->Silence();
    position = AddTime(position, time);
    if (generator) Fill(block, generator);
    ++blocksRead;
    return block;
}

void FilterAudioGenerator::RequestSeek(int64 target, iptr<IRefCountable>) {
    endOfStream = false;
    Core::MutexLock const lock(mutex);
    position = HasValue(target) ? target : 0;
}

iptr<Conf::IFormatCodecAudio const> FilterAudioGenerator::GetFormatCodec() const {
    Core::MutexLock const lock(mutex);
    return format;
}

Core::Property FilterAudioGenerator::GetStatistic() {
    Core::Property result = Core::GetRootItem();
    Core::MutexLock const lock(mutex);
    return result.Add(
        Core::MakeStatistics("Tarsel::Proc::FilterAudioGenerator::GetStatistic", processingTime, blocksRead));
}

void FilterAudioGenerator::Accept(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterAudioGenerator", Visitors::FRAME_TYPE_FILTER, nullptr);
}

}  // namespace Tarsel::Proc
