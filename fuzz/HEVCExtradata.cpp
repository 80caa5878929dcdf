// HEVC extradata in Annex B form, on its way to hvcC and in front of packets. The first byte tells where the packet's
// payload begins, its highest bit whether the packet is a key.

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "contracts/Proc/BlobFF.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzNalus.h"
#include "tests/support/Packets.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    if (inputSize == 0) return 0;
    bool const key = (input[0] & 0x80) != 0;
    u8 const* const data = input + 1;
    std::size_t const size = std::min(inputSize - 1, Fuzz::INPUT_LIMIT);
    std::size_t const split = std::min<std::size_t>(input[0] & 0x7F, size);
    Fuzz::AllowFailures([&] {
        auto const hvcc = HEVC_Extradata_AnnexBtohvcC(Proc::BlobFF::Create(data, size));
        NaluRangeList units;
        FindHvccHeaderNalus(hvcc->GetData(), hvcc->GetSize(), units);
        Fuzz::RequireInside(units, hvcc->GetData(), hvcc->GetSize());
        // A record that was written here is read and written again as it is.
        auto const again = HEVC_Extradata_AnnexBtohvcC(HEVC_Extradata_hvcCtoAnnexB(hvcc));
        if (TestSupport::GetBytes(again) != TestSupport::GetBytes(hvcc)) std::abort();
    });
    Fuzz::AllowFailures([&] {
        auto const packet = TestSupport::MakePacket(std::vector<u8>(data + split, data + size), key);
        auto const result = InsertHEVCExtradata(packet, Proc::BlobFF::Create(data, split));
        if (result != packet && TestSupport::GetBytes(result) != std::vector<u8>(data, data + size)) std::abort();
    });
    return 0;
}
