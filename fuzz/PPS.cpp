// The payload of one H.264 PPS, given without start code and header byte.

#include <algorithm>
#include <vector>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "fuzz/FuzzInput.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    std::vector<u8> extradata = {0, 0, 1, 0x68};
    extradata.insert(extradata.end(), input, input + std::min(inputSize, Fuzz::INPUT_LIMIT));
    Fuzz::AllowFailures([&] {
        H264PPS const pps = DecodeH264PPS(extradata.data(), extradata.size());
        if (!pps.SameFormat(pps)) __builtin_trap();
    });
    return 0;
}
