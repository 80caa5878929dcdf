#pragma once

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

/// An engine of the host that cuts a run of audio blocks into blocks of another length. One user at a time.
class TARSEL_CONTRACTS_EXPORT IAudioFormatter : public virtual IRefCountable {
  public:
    static constexpr char CLASS_ID[] = "AudioFormatter";

    ~IAudioFormatter() override;
    /// Takes its settings: a property named `CLASS_ID`. Another name throws `AlgorithmException` "Object was
    /// initialized with incorrect class (" and the name.
    virtual void Initialize(Core::Property const& property) = 0;
    /// Changes the format, which is the caller's own, to that of what comes out.
    virtual void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) = 0;
    /// Takes a block; its samples follow those of the block in front. A null block throws `std::invalid_argument`.
    virtual void Push(iptr<IDataAudio> const& block) = 0;
    /// A block of `duration` microseconds if so much is held; with `flush` also a short last one; else null. It has
    /// the time of the running clock, which goes on by `duration`, and where a block is short by the samples given. The
    /// count of samples is the difference of the clock's two ends, each rounded to the nearest sample, so that rounding
    /// doesn't add up. A duration of 0 or less gives everything that is held; a positive one that is shorter than a
    /// sample asks for one sample; the clock goes on by the samples then. Where the format of what was pushed changes,
    /// a block ends early.
    virtual iptr<IDataAudio> Pop(int64 duration, bool flush) = 0;
    /// Forgets what is held and goes on from `time`. With no value the next block that is pushed sets the clock.
    virtual void Reset(int64 time) = 0;
};

}  // namespace Tarsel::Proc
