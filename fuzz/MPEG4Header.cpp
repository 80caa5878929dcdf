// The MPEG-4 header, and its search in packets.

#include <algorithm>
#include <vector>

#include "Proc/CodecParsers/MPEG4CodecParser.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/Packets.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    std::size_t const size = std::min(inputSize, Fuzz::INPUT_LIMIT);
    Fuzz::AllowFailures([&] {
        MPEG4Config config;
        DecodeMPEG4Config(input, size, config);
    });
    Fuzz::AllowFailures([&] {
        Core::DataBitInput in(Core::DataInputMemory::Create(input, size));
        MPEG4VOL vol;
        DecodeMPEG4_VOL(in, vol);
    });
    std::vector<u8> const payload(input, input + size);
    auto const packet = InsertMPEG4Extradata(TestSupport::MakePacket(payload, true), TestSupport::MakeBlob({1, 2, 3}));
    if (packet->GetSize() != size && packet->GetSize() != size + 3) __builtin_trap();
    return 0;
}
