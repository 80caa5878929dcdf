// HEVC extradata in Annex B form: its first SPS and VPS.

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "fuzz/FuzzInput.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    // A copy without room behind it: a read past the end is seen.
    std::vector<u8> const data(input, input + std::min(inputSize, Fuzz::INPUT_LIMIT));
    Fuzz::AllowFailures([&] {
        HEVCSPS const sps = DecodeHEVCSPS(data.data(), data.size());
        sps.GetPictureSize();
        if (sps.sps_max_sub_layers_minus1 > 7 || sps.sps_video_parameter_set_id > 15) std::abort();
        if (!(DecodeHEVCSPS(data.data(), data.size()) == sps)) std::abort();
    });
    Fuzz::AllowFailures([&] {
        HEVCVPS const vps = DecodeHEVCVPS(data.data(), data.size());
        if (vps.vps_max_sub_layers_minus1 > 7 || vps.vps_video_parameter_set_id > 15) std::abort();
    });
    return 0;
}
