#include "Proc/Algorithms/AudioRun.h"

#include <string>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::AudioArithmetic {

std::size_t CountValues(AudioBlockView const& view) {
    Conf::SampleFormats const format = view.info.GetSampleFormat();
    int const planes = Conf::IsPlanar(format) ? view.info.GetChannelCount() : 1;
    int const size = Conf::BytesPerSample(format);
    return size <= 0 ? 0
                     : std::size_t{view.planeBytes} * static_cast<std::size_t>(planes) / static_cast<unsigned>(size);
}

void CheckRun(AudioBlockView const& view, Conf::SampleFormats format, std::size_t wanted, char const* function,
              int number) {
    Conf::SampleFormats const own = WorkFormat(view);
    std::size_t const held = CountValues(view);
    if (own == format && held >= wanted && (view.data || wanted == 0)) return;
    std::string const who =
        std::string(function) + ": " + (number == RESULT ? "the result" : "source " + std::to_string(number));
    if (own != format)
        TARSEL_THROW(ProcException, who + " has the planar format " + std::to_string(own) + ", not " +
                                        std::to_string(format) + " as the first source");
    if (held < wanted)
        TARSEL_THROW(ProcException, who + " holds " + std::to_string(held) + " values, fewer than the " +
                                        std::to_string(wanted) + " of the result");
    TARSEL_THROW(ProcException, who + " has no storage");
}

}  // namespace Tarsel::Proc::AudioArithmetic
