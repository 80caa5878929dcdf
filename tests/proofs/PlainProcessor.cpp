// Digests are those of plain code: whatever the processor offers, the libraries of FFmpeg use none of it.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/proofs/ProofRuns.h"

extern "C" {
#include <libavutil/cpu.h>
}

namespace Tarsel::Test {
namespace {

class PlainProcessor : public ::testing::Environment {
  public:
    void SetUp() override {
        if (!AreAllInstructionsUsed()) av_force_cpu_flags(0);
    }
};

[[maybe_unused]] ::testing::Environment* const PLAIN = ::testing::AddGlobalTestEnvironment(new PlainProcessor);

}  // namespace

bool AreAllInstructionsUsed() {
    return std::getenv("TARSEL_PROOFS_ALL_INSTRUCTIONS") != nullptr;
}

}  // namespace Tarsel::Test
