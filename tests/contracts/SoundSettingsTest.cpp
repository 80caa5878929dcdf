#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterAudioVolume.h"
#include "contracts/Proc/IFilterResample.h"
#include "contracts/Proc/IResample.h"
#include "contracts/Proc/SettingsAudioGenerator.h"
#include "contracts/Proc/SettingsAudioHistogram.h"
#include "contracts/Proc/SettingsFilterAudioFormatter.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using Test::MessageOf;

TEST(SettingsAudioGenerator, KeepATonesPhaseFromBlockToBlock) {
    SettingsAudioGenerator settings;
    settings.SetTone(997.3, 0.5);
    auto const generator = settings.MakeGenerator();
    uint64 sample = 0;
    for (uint32 const length : {100U, 1U, 4801U, 37U})
        for (uint32 i = 0; i < length; ++i, ++sample)
            ASSERT_NEAR(generator(i),
                        0.5 * std::sin(2 * std::numbers::pi * 997.3 * static_cast<double>(sample) / 48000), 1e-9)
                << sample;
}

}  // namespace
}  // namespace Tarsel::Proc
