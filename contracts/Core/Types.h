#pragma once

#include <cstdint>

namespace Tarsel {

using int64 = std::int64_t;
using uint64 = std::uint64_t;
using uint32 = std::uint32_t;
using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;
using i32 = std::int32_t;

}  // namespace Tarsel
