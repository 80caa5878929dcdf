#pragma once

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Core/Property.h"

namespace Tarsel::Proc {

/// Enters the three words of a format of samples as children: "SampleFormat" (the number of `Conf::SampleFormats`),
/// "SampleRate" (hertz), "ChannelLayout" (the mask). Words that are unset are entered as -1, -1, 0.
TARSEL_CONTRACTS_EXPORT void SetSampleInfo(Core::Property& property, Conf::SampleInfo const& info);
/// The way back; a word without a child is that of `defaults`.
TARSEL_CONTRACTS_EXPORT Conf::SampleInfo GetSampleInfo(Core::Property const& property,
                                                       Conf::SampleInfo const& defaults);

}  // namespace Tarsel::Proc
