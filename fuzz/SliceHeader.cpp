// The first slice of a packet. The first byte chooses the framing.

#include <algorithm>
#include <vector>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/Packets.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    if (inputSize == 0) return 0;
    std::vector<u8> const payload(input + 1, input + 1 + std::min(inputSize - 1, Fuzz::INPUT_LIMIT));
    int const lengthSize = input[0] % 6;
    Fuzz::AllowFailures([&] {
        H264SliceInfo const info =
            GetH264SliceInfo(TestSupport::MakePacket(payload, true), lengthSize != 0, lengthSize);
        if (info.GetText().empty()) __builtin_trap();
    });
    return 0;
}
