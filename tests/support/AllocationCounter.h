#pragma once

#include <cstddef>

// Counts what a program allocates by operator new, and what libavutil does. Linking AllocationCounter.cpp replaces both
// for the whole program.

namespace Tarsel::TestSupport {

struct Allocations {
    std::size_t count = 0;
    std::size_t bytes = 0;
};

/// All since the program began, of all threads; what was freed counts too.
Allocations GetAllocations();

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TARSEL_ALLOCATIONS_ARE_THE_SANITIZERS 1
#endif
#endif

/// A sanitizer stands where libavutil's calls would be counted.
#if defined(TARSEL_ALLOCATIONS_ARE_THE_SANITIZERS)
inline constexpr bool COUNTS_LIBAVUTIL = false;
#else
inline constexpr bool COUNTS_LIBAVUTIL = true;
#endif

}  // namespace Tarsel::TestSupport
