#include "Proc/Filters/Filters/ReverseMemory.h"

#include <atomic>
#include <utility>

#include "contracts/Proc/SettingsFilterReverse.h"

namespace Tarsel::Proc {

namespace {

std::atomic<int64> used{0};
std::atomic<int64> limit{SettingsFilterReverse::DEFAULT_MAX_BUFFER_SIZE};

}  // namespace

ReverseMemory::Share::Share(int64 bytes) : bytes(bytes) {
    used += bytes;
}

ReverseMemory::Share::Share(Share&& other) noexcept : bytes(std::exchange(other.bytes, 0)) {}

ReverseMemory::Share& ReverseMemory::Share::operator=(Share&& other) noexcept {
    if (this == &other) return *this;
    Release();
    bytes = std::exchange(other.bytes, 0);
    return *this;
}

void ReverseMemory::Share::Release() noexcept {
    used -= std::exchange(bytes, 0);
}

int64 ReverseMemory::GetUsed() {
    return used;
}

int64 ReverseMemory::GetLimit() {
    return limit;
}

void ReverseMemory::SetLimit(int64 bytes) {
    limit = bytes;
}

}  // namespace Tarsel::Proc
