// The payload of one H.264 SPS, given without start code and header byte.

#include <algorithm>
#include <vector>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "contracts/Conf/CodecIds.h"
#include "fuzz/FuzzInput.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    std::vector<u8> extradata = {0, 0, 1, 0x67};
    extradata.insert(extradata.end(), input, input + std::min(inputSize, Fuzz::INPUT_LIMIT));
    Fuzz::AllowFailures([&] {
        H264SPS const sps = DecodeH264SPS(extradata.data(), extradata.size());
        sps.GetPictureSize();
        sps.GetMaxReorderFrames();
        sps.GetMaxBitrate(Conf::TAG_X264_PROFILE_HIGH444);
        if (!sps.SameFormat(sps)) __builtin_trap();
    });
    return 0;
}
