#include "tests/support/AllocationCounter.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

namespace Tarsel::TestSupport {
namespace {

std::atomic<std::size_t> count{0};
std::atomic<std::size_t> bytes{0};

void Add(std::size_t size) {
    ++count;
    bytes += size;
}

}  // namespace

Allocations GetAllocations() {
    return {count, bytes};
}

}  // namespace Tarsel::TestSupport

void* operator new(std::size_t size) {
    Tarsel::TestSupport::Add(size);
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

#if !defined(TARSEL_ALLOCATIONS_ARE_THE_SANITIZERS)
// libavutil's memory comes from here.
extern "C" void* __libc_memalign(std::size_t alignment, std::size_t size);

extern "C" __attribute__((visibility("default"))) int posix_memalign(void** out, std::size_t alignment,
                                                                     std::size_t size) noexcept {
    Tarsel::TestSupport::Add(size);
    *out = __libc_memalign(alignment, size);
    return *out ? 0 : ENOMEM;
}
#endif
