#pragma once

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsResample.h"

namespace Tarsel::Proc {

/// An engine of the host that converts rate, format and layout of sound. Its settings are a `SettingsResample`, whose
/// property is named `CLASS_ID`.
class TARSEL_CONTRACTS_EXPORT IResample : public virtual IEffect {
  public:
    static constexpr char const* CLASS_ID = SettingsResample::CLASS_ID;

    ~IResample() override;
    /// The format that comes out; words that are unset (-1, 0) stay as they come in. Samples that are held back are
    /// converted to the new format, too.
    virtual void SetSampleInfo(Conf::SampleInfo const& info) = 0;
    /// Takes the block and leaves what came of it in its place: fewer or more samples than went in, and null while
    /// all of them are held back. A null block drains: what is still held back, a block at each call, then null.
    virtual void Process(iptr<IDataAudio>& block) = 0;
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override = 0;
    iptr<IData> ProcessData(std::vector<iptr<IData>> const& inputs) override;
};

}  // namespace Tarsel::Proc
