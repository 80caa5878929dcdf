#pragma once

#include "contracts/Proc/ICodecFactory.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterCutController.h"

namespace Tarsel::Proc {

/// Removes time ranges from several parallel streams of one source at once. `AddStream` gives the stream that applies
/// the list.
class TARSEL_CONTRACTS_EXPORT IFilterCutController : public virtual IStreamController {
  public:
    /// The maker of decoders and encoders that a compressed stream needs. It serves the streams that are added from now
    /// on.
    virtual void SetCodecFacory(iptr<ICodecFactory const> const& factory) = 0;
    /// The list as it stands now. After the first seek it holds what group boundaries have moved.
    virtual SettingsFilterCutController GetCutSettings() const = 0;
};

}  // namespace Tarsel::Proc
