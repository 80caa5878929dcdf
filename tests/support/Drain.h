#pragma once

#include <memory>

#include "contracts/Core/ThreadPool.h"
#include "tests/support/Gate.h"

namespace Tarsel::Test {

/// Waits until a pool of one thread has run, and destroyed, all tasks added so far.
inline void Drain(Core::ThreadPool& pool) {
    auto const gate = std::make_shared<Gate>();
    pool.AddTask([gate] { gate->Pass(); });
    gate->AwaitArrivals(1);
}

}  // namespace Tarsel::Test
