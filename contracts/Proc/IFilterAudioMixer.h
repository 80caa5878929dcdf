#pragma once

#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Sums streams of sound into one, each with a volume of its own. Volumes are percents: 100 leaves a stream as it is;
/// there is no limit in either direction.
class TARSEL_CONTRACTS_EXPORT IFilterAudioMixer : public virtual IStreamAudio {
  public:
    static constexpr char CLASS_ID[] = "FilterAudioMixer";

    ~IFilterAudioMixer() override;
    /// Takes a stream in, behind those that are there. One of a better format (higher rate, more channels, larger
    /// numbers) lifts all of them to it. A stream without a format throws `FilterException` "Stream format is NULL.".
    /// One that is added in mid-run has not been sought: seek the mixer before reading on.
    virtual void AddStream(iptr<IStreamAudio> const& stream, int volume) = 0;
    /// A stream that isn't there is nothing to do.
    virtual void RemoveStream(iptr<IStreamAudio> const& stream) = 0;
    /// An index that isn't there is nothing to do.
    virtual void RemoveStreamAt(int index) = 0;
    /// The place of a stream, from 0, or -1.
    virtual int FindStream(iptr<IStreamAudio> const& stream) = 0;
    /// An index that isn't there is nothing to do.
    virtual void SetVolumeAt(uint32 index, int volume) = 0;
    /// A stream that isn't there is nothing to do.
    virtual void SetVolume(iptr<IStreamAudio> const& stream, int volume) = 0;
    /// Brings all streams to the format that the present ones have in common: to be called when the format of one of
    /// them has changed.
    virtual void UpdateFormat() = 0;
};

}  // namespace Tarsel::Proc
