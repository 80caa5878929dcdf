// Annex B and length-prefixed scanning, emulation prevention, and the packet conversions on them. The first byte
// chooses the length size and whether the packet is a key.

#include <algorithm>
#include <cstdlib>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Proc/BlobFF.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzNalus.h"
#include "tests/support/Packets.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    if (inputSize == 0) return 0;
    int const lengthSize = input[0] % 6;
    bool const key = (input[0] & 0x80) != 0;
    u8 const* const data = input + 1;
    std::size_t const size = std::min(inputSize - 1, Fuzz::INPUT_LIMIT);
    NaluRangeList units;
    FindAnnexBNalus(data, size, units);
    Fuzz::RequireInside(units, data, size);
    if (RemoveEmulationPrevention(data, size).size() > size) std::abort();
    Fuzz::AllowFailures([&] {
        NaluRangeList prefixed;
        FindMP4Nalus(data, size, prefixed, lengthSize);
        Fuzz::RequireInside(prefixed, data, size);
    });
    std::vector<u8> const payload(data, data + size);
    auto const codec = Conf::IFormatCodecVideo::CODEC_ID_H264;
    auto const extradata = Proc::BlobFF::Create(data, size);
    Fuzz::AllowFailures([&] { AnnexBtoMp4(TestSupport::MakePacket(payload, key), lengthSize); });
    Fuzz::AllowFailures([&] { Mp4toAnnexB(TestSupport::MakePacket(payload, key), lengthSize, extradata, codec); });
    Fuzz::AllowFailures([&] { ReplaceLengthsWithStartCodes(TestSupport::MakePacket(payload, key), lengthSize); });
    Fuzz::AllowFailures([&] { InsertH264Extradata(TestSupport::MakePacket(payload, key), extradata); });
    Fuzz::AllowFailures([&] { ReplaceH264ParameterSets(TestSupport::MakePacket(payload, key), data, size); });
    return 0;
}
