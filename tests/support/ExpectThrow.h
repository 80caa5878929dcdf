#pragma once

#include <string>

namespace Tarsel::TestSupport {

/// The message of the failure of class `E` that `call` throws; a text that no failure has when it throws nothing.
/// Failures of other classes pass through and fail the test.
template <class E, class Call>
std::string MessageOf(Call call) {
    try {
        call();
    } catch (E const& failure) {
        return failure.what();
    }
    return "(nothing was thrown)";
}

}  // namespace Tarsel::TestSupport
