#include "Proc/Algorithms/MonoSignal.h"

#include "Proc/Algorithms/AudioAlg.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

/// How samples of a type are read: less `zero`, over `fullScale`.
struct Normal {
    double zero = 0;
    double fullScale = 1;
};

template <class Sample>
void Append(AudioBlockView const& view, Normal const& normal, std::size_t limit, std::vector<double>& values) {
    auto const* const samples = reinterpret_cast<Sample const*>(view.data);
    auto const count = static_cast<std::size_t>(view.samples);
    auto const channels = static_cast<std::size_t>(view.info.GetChannelCount());
    bool const planar = Conf::IsPlanar(view.info.GetSampleFormat());
    std::size_t const frameStep = planar ? 1 : channels;
    std::size_t const channelStep = planar ? count : 1;
    double const divisor = static_cast<double>(channels) * normal.fullScale;
    // It is meant that the frames between are passed over.
    for (std::size_t frame = 0; frame < count && values.size() < limit; frame += channels) {
        double sum = 0;
        for (std::size_t channel = 0; channel < channels; ++channel)
            sum += static_cast<double>(samples[frame * frameStep + channel * channelStep]) - normal.zero;
        values.push_back(sum / divisor);
    }
}

}  // namespace

void AppendMono(iptr<IDataAudio> const& block, std::size_t limit, std::vector<double>& values) {
    using Reader = void (*)(AudioBlockView const&, Normal const&, std::size_t, std::vector<double>&);
    Reader reader = nullptr;
    Normal normal;
    switch (block->GetSampleFormat()) {
        case Conf::SAMPLE_FORMAT_U8:
        case Conf::SAMPLE_FORMAT_U8P:
            // Meant so, though silence lies at 128.
            normal = {127.0, 127.0};
            reader = Append<u8>;
            break;
        case Conf::SAMPLE_FORMAT_S16:
        case Conf::SAMPLE_FORMAT_S16P:
            normal.fullScale = 32767.0;
            reader = Append<std::int16_t>;
            break;
        case Conf::SAMPLE_FORMAT_S32:
        case Conf::SAMPLE_FORMAT_S32P:
            normal.fullScale = 2147483647.0;
            reader = Append<i32>;
            break;
        case Conf::SAMPLE_FORMAT_FLT:
        case Conf::SAMPLE_FORMAT_FLTP:
            reader = Append<float>;
            break;
        case Conf::SAMPLE_FORMAT_DBL:
        case Conf::SAMPLE_FORMAT_DBLP:
            reader = Append<double>;
            break;
        default:
            TARSEL_THROW(FilterException, "Sample format of audio source is not supported!");
    }
    if (block->GetSampleInfo().GetChannelCount() <= 0)
        TARSEL_THROW(FilterException, "Audio source gives a block without channels");
    reader(AudioBlockView(block), normal, limit, values);
}

}  // namespace Tarsel::Proc
