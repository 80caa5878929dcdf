// HEVC extradata that may be hvcC: its form, its repair, its units, and the way to Annex B and back.

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "contracts/Proc/BlobFF.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzNalus.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    // A copy without room behind it: a read past the end is seen.
    std::vector<u8> const data(input, input + std::min(inputSize, Fuzz::INPUT_LIMIT));
    std::size_t const size = data.size();
    Fuzz::AllowFailures([&] {
        bool const isHvcC = IsHvcCHeader(data.data(), size);
        if (isHvcC && IsAnnexB(data.data(), size)) std::abort();
        if (isHvcC != (data[0] == 1 || IsZeroPrefixedVersion(data.data(), size))) std::abort();
    });
    Fuzz::AllowFailures([&] {
        std::vector<u8> repaired = data;
        bool const canRepair = RepairHvcCHeader(repaired.data(), size);
        if (canRepair == repaired.empty()) std::abort();
        if (!canRepair) return;
        if (!std::equal(repaired.begin() + 2, repaired.end(), data.begin() + 2)) std::abort();
    });
    Fuzz::AllowFailures([&] {
        int const lengthSize = GetHvccNALULengthSize(data.data(), size);
        if (lengthSize < 0 || lengthSize > 4) std::abort();
    });
    Fuzz::AllowFailures([&] {
        NaluRangeList units;
        FindHvccHeaderNalus(data.data(), size, units);
        Fuzz::RequireInside(units, data.data(), size);
    });
    Fuzz::AllowFailures([&] {
        auto const annexB = HEVC_Extradata_hvcCtoAnnexB(Proc::BlobFF::Create(data.data(), size));
        auto const hvcc = HEVC_Extradata_AnnexBtohvcC(annexB);
        if (GetHvccNALULengthSize(hvcc->GetData(), hvcc->GetSize()) != 4) std::abort();
    });
    return 0;
}
