#include "Proc/CodecParsers/ExpGolomb.h"

#include <string>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::CodecParsers {

u32 ReadUE(Core::DataBitInput& in) {
    unsigned zeros = 0;
    while (zeros < 32 && in.ReadBits(1) == 0) ++zeros;
    u32 const bits = static_cast<u32>(in.ReadBits(zeros));
    // Meant: the shift wraps at 32, so that 32 zeros add nothing to the bits.
    return bits + (u32{1} << (zeros % 32)) - 1;
}

i32 ReadSE(Core::DataBitInput& in) {
    int64 const code = ReadUE(in);
    int64 const half = (code + 1) / 2;
    // 2^31 becomes the smallest value: the conversion is modulo 2^32.
    return static_cast<i32>(code % 2 != 0 ? half : -half);
}

u8 ReadU8(Core::DataBitInput& in, unsigned count) {
    return static_cast<u8>(in.ReadBits(count));
}

void RequireEntries(Core::DataBitInput const& in, u64 count, unsigned bitsPerEntry, char const* name) {
    u64 const bits = in.BitsLeft();
    if (count > bits / bitsPerEntry)
        TARSEL_THROW(Exception, std::string(name) + " asks for " + std::to_string(count) + " entries at bit " +
                                    std::to_string(in.GetBitPosition()) + ", but only " + std::to_string(bits) +
                                    " bits are left");
}

}  // namespace Tarsel::Proc::CodecParsers
