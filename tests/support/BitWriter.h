#pragma once

#include <bit>
#include <string>
#include <vector>

#include "contracts/Core/BitIO.h"
#include "contracts/Core/Types.h"

namespace Tarsel::TestSupport {

/// Builds headers bit by bit, most significant bit first.
class BitWriter {
  public:
    BitWriter() : out(Core::DataOutputString::Create(&text)) {}

    BitWriter& Bits(u64 value, unsigned count) {
        out.WriteBits(value, count);
        bitCount += count;
        return *this;
    }
    BitWriter& Flag(bool value) { return Bits(value, 1); }
    /// An unsigned Exp-Golomb code. 0xFFFFFFFF takes the form with 32 zeros.
    BitWriter& UE(u32 value) {
        if (value == 0xFFFFFFFF) return Bits(0, 32).Bits(value, 32);
        unsigned const zeros = static_cast<unsigned>(std::bit_width(u64(value) + 1)) - 1;
        return Bits(0, zeros).Bits(u64(value) + 1, zeros + 1);
    }
    /// A signed Exp-Golomb code.
    BitWriter& SE(i32 value) {
        int64 const wide = value;
        return UE(static_cast<u32>(wide > 0 ? 2 * wide - 1 : -2 * wide));
    }
    /// The stop bit of an RBSP and zeros up to the next byte.
    BitWriter& TrailingBits() { return Flag(true).Align(); }
    /// Zeros up to the next byte.
    BitWriter& Align() {
        bitCount = (bitCount + 7) / 8 * 8;
        out.Flush();
        return *this;
    }
    u64 GetBitCount() const { return bitCount; }
    /// What was written, the last byte padded with zeros.
    std::vector<u8> GetBytes() {
        Align();
        return std::vector<u8>(text.begin(), text.end());
    }

  private:
    std::string text;
    u64 bitCount = 0;
    Core::DataBitOutput out;
};

/// A NAL unit's bytes from its raw ones: 03 is put between 00 00 and any byte of 0 to 3.
inline std::vector<u8> AddEmulationPrevention(std::vector<u8> const& raw) {
    std::vector<u8> result;
    unsigned zeros = 0;
    for (u8 const byte : raw) {
        if (zeros >= 2 && byte <= 3) {
            result.push_back(3);
            zeros = 0;
        }
        result.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return result;
}

}  // namespace Tarsel::TestSupport
