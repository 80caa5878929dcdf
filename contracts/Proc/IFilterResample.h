#pragma once

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterResample.h"

namespace Tarsel::Proc {

/// Converts rate, format and layout of a stream of sound. It is set up by a property named `CLASS_ID` whose child
/// `IResample::CLASS_ID` holds the settings of the engine, and in that child `Conf::IPreset::KEY_TYPE_ID` the name of
/// its implementation.
class TARSEL_CONTRACTS_EXPORT IFilterResample : public virtual IStreamAudio {
  public:
    static constexpr char CLASS_ID[] = "FilterResample";

    ~IFilterResample() override;
    /// The format that comes out; words that are unset (-1, 0) stay as they come in.
    virtual void SetSampleInfo(Conf::SampleInfo const& info) = 0;
    /// The same, taken from a format description. Null throws `std::invalid_argument`.
    virtual void SetFormatCodec(iptr<Conf::IFormatCodecAudio const> const& format) = 0;

    /// The property that sets a filter up like the settings object.
    static Core::Property Settings2Property(SettingsFilterResample const& settings);
};

}  // namespace Tarsel::Proc
