#pragma once

#include <random>

#include "contracts/Core/Types.h"

namespace Tarsel::TestSupport {

/// Draws field values: small ones often, and the whole range of the type now and then.
class Draw {
  public:
    explicit Draw(u32 seed) : random(seed) {}
    u8 Flag() { return random() % 2; }
    u32 Below(u32 limit) { return static_cast<u32>(random() % limit); }
    u8 Bits(unsigned count) { return static_cast<u8>(random() & ((1U << count) - 1)); }
    u32 UE() { return random() % 8 == 0 ? static_cast<u32>(random()) : Below(300); }
    i32 SE() {
        if (random() % 8 == 0) return static_cast<i32>(random() >> 33) * (Flag() ? 1 : -1);
        return static_cast<i32>(Below(101)) - 50;
    }

  private:
    std::mt19937_64 random;
};

}  // namespace Tarsel::TestSupport
