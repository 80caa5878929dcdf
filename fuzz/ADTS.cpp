// ADTS headers and program config elements. The first two bytes are the frame length to be set.

#include <algorithm>
#include <cstdlib>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "contracts/Proc/BlobFF.h"
#include "fuzz/FuzzInput.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

static void CheckElement(u8 const* data, std::size_t size) {
    Core::DataBitInput in(Core::DataInputMemory::Create(data, size));
    auto const element = ReadPCE(in);
    // Packing anew adds the padding ahead of the comment, nothing else.
    if (u64(element->GetSize()) * 8 >= in.GetBitPosition() + 8) std::abort();
}

static void CheckWrittenAgain(ADTSHeader const& header) {
    auto const written = SetADTSFrameLength(ADTSHeaderToData(header), 7);
    ADTSHeader const back = DataToADTSHeader(written->GetData(), written->GetSize());
    if (back.audioObjectType != header.audioObjectType || back.samplingIndex != header.samplingIndex ||
        back.sampleRate != header.sampleRate || back.protectionAbsent != header.protectionAbsent ||
        back.channelConfiguration != header.channelConfiguration || !back.pce != !header.pce)
        std::abort();
}

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    if (inputSize < 2) return 0;
    u16 const length = static_cast<u16>(input[0] << 8 | input[1]);
    u8 const* const data = input + 2;
    std::size_t const size = std::min(inputSize - 2, Fuzz::INPUT_LIMIT);
    auto const whole = Proc::BlobFF::Create(data, size);
    Fuzz::AllowFailures([&] {
        u32 const headerSize = GetADTSHeaderSize(data, size);
        if (headerSize > std::max<std::size_t>(size, 9)) std::abort();
        if ((headerSize == 0) == IsADTSHeader(data, size)) std::abort();
    });
    Fuzz::AllowFailures([&] { CheckWrittenAgain(DataToADTSHeader(data, size)); });
    Fuzz::AllowFailures([&] {
        auto const result = SetADTSFrameLength(whole, length);
        u8 const* const bytes = result->GetData();
        if (((bytes[3] & 3U) << 11 | u32(bytes[4]) << 3 | bytes[5] >> 5) != length) std::abort();
    });
    Fuzz::AllowFailures([&] { CheckElement(data, size); });
    return 0;
}
