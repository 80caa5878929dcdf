// ADTS headers taken off packets and put on them. The first byte tells where the header to put on ends and whether it
// is used whole.

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "contracts/Proc/BlobFF.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/Packets.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

// Aborts unless the packet ends with the bytes.
static void RequireEnd(iptr<Proc::IDataPacket> const& packet, u8 const* data, std::size_t size) {
    auto const bytes = TestSupport::GetBytes(packet);
    if (bytes.size() < size || !std::equal(data, data + size, bytes.end() - static_cast<std::ptrdiff_t>(size)))
        std::abort();
}

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    if (inputSize == 0) return 0;
    bool const whole = (input[0] & 0x80) != 0;
    std::size_t const size = std::min(inputSize - 1, Fuzz::INPUT_LIMIT);
    std::size_t const split = std::min<std::size_t>(input[0] & 0x7F, size);
    u8 const* const data = input + 1;
    u8 const* const frame = data + split;
    std::size_t const frameSize = size - split;
    Fuzz::AllowFailures([&] {
        auto const result = RemoveADTSHeader(TestSupport::MakePacket({data, data + size}, true));
        std::size_t const left = size - GetADTSHeaderSize(data, size);
        if (result->GetSize() != left) std::abort();
        RequireEnd(result, data + (size - left), left);
    });
    Fuzz::AllowFailures([&] {
        auto const packet = TestSupport::MakePacket({frame, frame + frameSize}, true);
        auto const result = InsertADTSHeader(packet, Proc::BlobFF::Create(data, split), whole);
        if (result->GetSize() != frameSize + (whole ? split : 7)) std::abort();
        RequireEnd(result, frame, frameSize);
        if (GetADTSHeaderSize(data, split) == 7 && !IsPCE(frame, frameSize) && !whole && frameSize != 0)
            if (RemoveADTSHeader(result)->GetSize() != frameSize) std::abort();
    });
    Fuzz::AllowFailures([&] {
        auto const packet = TestSupport::MakePacket({data, data + size}, true);
        auto const header = ExtractADTSHeader(*packet->GetAVPacket());
        if (header && header->GetSize() > size) std::abort();
    });
    return 0;
}
