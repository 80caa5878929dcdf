#pragma once

#include <cstddef>
#include <stdexcept>

#include "contracts/Core/Exception.h"

namespace Tarsel::Fuzz {

/// Longer inputs are cut: parsers work on headers and single packets, and time goes into short ones.
inline constexpr std::size_t INPUT_LIMIT = 64 * 1024;

/// Runs `call`. The failures that callers are told of are fine; anything else ends the process.
template <class Call>
void AllowFailures(Call call) {
    try {
        call();
    } catch (Exception const&) {
    } catch (std::logic_error const&) {
    }
}

}  // namespace Tarsel::Fuzz
