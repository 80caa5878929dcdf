#pragma once

#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Cuts a stream of sound into blocks of one duration. It can be set up by a property named `CLASS_ID` with the
/// children `PACKET_DURATION` and `IAudioFormatter::CLASS_ID`, the settings of the engine.
class TARSEL_CONTRACTS_EXPORT IFilterAudioFormatter : public virtual IStreamAudio {
  public:
    static constexpr char CLASS_ID[] = "FilterAudioFormatter";
    /// Child: the duration of a block, in microseconds.
    static constexpr char PACKET_DURATION[] = "PacketDuration";
    /// A tenth of a second.
    static constexpr int64 DEFAULT_PACKET_DURATION = 100000;

    ~IFilterAudioFormatter() override;
    /// Microseconds, for the blocks that are still to come. 0 or less: whatever is at hand makes a block.
    virtual void SetPacketDuration(int64 duration) = 0;
};

}  // namespace Tarsel::Proc
