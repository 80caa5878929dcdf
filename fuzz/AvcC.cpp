// Extradata of H.264 in both forms: conversions, merges and identifiers. The first byte tells where the second side
// begins.

#include <algorithm>
#include <cstdlib>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "contracts/Proc/BlobFF.h"
#include "fuzz/FuzzInput.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    if (inputSize == 0) return 0;
    std::size_t const size = std::min(inputSize - 1, Fuzz::INPUT_LIMIT);
    std::size_t const split = std::min<std::size_t>(input[0], size);
    auto const whole = Proc::BlobFF::Create(input + 1, size);
    auto const first = Proc::BlobFF::Create(input + 1, split);
    auto const second = Proc::BlobFF::Create(input + 1 + split, size - split);
    Fuzz::AllowFailures([&] { GetAvccNALULengthSize(whole->GetData(), whole->GetSize()); });
    Fuzz::AllowFailures([&] { GetFirstNaluOfType(whole->GetData(), whole->GetSize(), H264_NALU_PPS); });
    Fuzz::AllowFailures([&] { H264_Extradata_Mp4toAnnexB(whole); });
    Fuzz::AllowFailures([&] { H264_Extradata_AnnexBtoMp4(whole); });
    Fuzz::AllowFailures([&] {
        if (GetFirstFreeParameterSetId(whole) != 1) std::abort();
    });
    Fuzz::AllowFailures([&] { HasOnlyOneSpsAndPpsOtherThanId1(whole); });
    Fuzz::AllowFailures([&] { FindFreeParameterSetId(whole); });
    Fuzz::AllowFailures([&] { MergeH264Extradata(first, second); });
    Fuzz::AllowFailures([&] {
        // What was merged can be read again.
        auto const merged = MergeAllH264ParameterSets(first, second);
        NaluRangeList units;
        FindExtradataNalus(merged->GetData(), merged->GetSize(), units);
        if (units.empty()) std::abort();
    });
    return 0;
}
