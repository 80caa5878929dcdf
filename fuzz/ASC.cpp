// AudioSpecificConfigs: reading, writing, and the way through an ADTS header. The first two bytes give the position
// behind which a program config element is looked for.

#include <algorithm>
#include <cstdlib>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "contracts/Proc/BlobFF.h"
#include "fuzz/FuzzInput.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

static void RequireSame(AudioSpecificConfig const& first, AudioSpecificConfig const& second) {
    if (first.audioObjectType != second.audioObjectType || first.samplingIndex != second.samplingIndex ||
        first.sampleRate != second.sampleRate || first.channelConfiguration != second.channelConfiguration ||
        first.pce != second.pce)
        std::abort();
}

// Types and indices that need an escape, or are followed by more, aren't written.
static bool IsWritable(AudioSpecificConfig const& config) {
    u8 const type = config.audioObjectType;
    return type < 31 && type != 5 && type != 29 && config.samplingIndex < 15 && config.channelConfiguration != 0;
}

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    if (inputSize < 2) return 0;
    u64 const position = u64(input[0]) << (input[1] % 64);
    u8 const* const data = input + 2;
    std::size_t const size = std::min(inputSize - 2, Fuzz::INPUT_LIMIT);
    auto const extradata = Proc::BlobFF::Create(data, size);
    Fuzz::AllowFailures([&] {
        AudioSpecificConfig const config = DataToAudioSpecificConfig(data, size);
        if (config.channelConfiguration > 7 || config.samplingIndex > 15) std::abort();
        if (IsWritable(config)) {
            auto const written = AudioSpecificConfigToData(config);
            RequireSame(config, DataToAudioSpecificConfig(written->GetData(), written->GetSize()));
        }
        RequireSame(config, ADTStoASC(ASCtoADTS(config)));
    });
    Fuzz::AllowFailures([&] {
        auto const header = ASCExtradataToADTS(extradata);
        if (header->GetSize() < 7) std::abort();
        if (!ADTSExtradataToASC(SetADTSFrameLength(header, 7))) std::abort();
    });
    Fuzz::AllowFailures([&] { ADTSExtradataToASC(extradata); });
    Fuzz::AllowFailures([&] { ExtractPCEFromASCExtradata(data, size, position); });
    return 0;
}
