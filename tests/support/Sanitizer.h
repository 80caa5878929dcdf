#pragma once

namespace Tarsel::Test {

/// Whether the address sanitizer looks on.
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

/// By what the number of many alike runs is divided: 1, or under the address sanitizer `part`. They take several times
/// as long there, and what it finds in one of them it finds in most.
constexpr unsigned ThinnedBy(unsigned part) {
    return ADDRESS_SANITIZER ? part : 1;
}

}  // namespace Tarsel::Test
