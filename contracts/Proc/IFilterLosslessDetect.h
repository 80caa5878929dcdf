#pragma once

#include <string>
#include <vector>

#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsLosslessDetect.h"

namespace Tarsel::Proc {

/// Passes the packets of a compressed stream through and judges meanwhile whether a lossless cut of the stream is
/// possible. The verdict counts for the packets that have been read; what has been found stays found.
class TARSEL_CONTRACTS_EXPORT IFilterLosslessDetect : public virtual IStreamRaw {
  public:
    using IStream::Initialize;
    virtual void Initialize(SettingsLosslessDetect const& settings) = 0;
    /// False once the times of a packet have spoken against it. CRA pictures don't.
    virtual bool IsLosslessPossible() const = 0;
    /// Whether an HEVC stream has shown a CRA picture: cuts at it lose the pictures that lead it.
    virtual bool HasCraPackets() const = 0;
    /// What has been found, each finding once, in the order of its first appearance; the texts of the log.
    virtual std::vector<std::string> GetFindings() const = 0;
};

}  // namespace Tarsel::Proc
