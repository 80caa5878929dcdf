#pragma once

namespace Tarsel::Test {

/// Whether the address sanitizer looks on. Many alike runs take several times as long then, and what it finds in one of
/// them it finds in most: such tests do a share of them.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool ADDRESS_SANITIZER = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool ADDRESS_SANITIZER = true;
#else
inline constexpr bool ADDRESS_SANITIZER = false;
#endif
#else
inline constexpr bool ADDRESS_SANITIZER = false;
#endif

}  // namespace Tarsel::Test
