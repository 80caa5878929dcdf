#pragma once

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

// Timelines that are streams. Sources and effects are placed on the timeline of a map and held there by handles: a
// record lives as long as its handle, and a handle keeps its map alive. Whatever touches a map or a handle, reads of
// values included, needs the map's lock (`ILockable`): without it `std::logic_error` "You must lock stream before
// settings changing" is thrown. The last reference to a handle goes inside of the lock, too. Each change must be
// followed by a seek. Times are microseconds of the map's timeline; intervals are [begin, end).

/// Something that stands on a timeline.
class TARSEL_CONTRACTS_EXPORT ITimeMapped : public virtual IRefCountable {
  public:
    ~ITimeMapped() override;
    virtual int64 GetBegin() = 0;
    virtual void SetBegin(int64 begin) = 0;
    virtual int64 GetDuration() = 0;
};

/// A source on a timeline.
class TARSEL_CONTRACTS_EXPORT IMappedStream : public virtual ITimeMapped {
  public:
    ~IMappedStream() override;
    /// Higher orders lie above lower ones. Needs no seek.
    virtual void SetOrder(int order) = 0;
    virtual int GetOrder() = 0;
};

/// Moving one asks its source for its duration again.
class TARSEL_CONTRACTS_EXPORT IMappedStreamVideo : public virtual IMappedStream {
  public:
    ~IMappedStreamVideo() override;
    /// Kept for hosts that know it: checks the lock and does nothing else.
    virtual void SetReserved(int value) = 0;
};

class TARSEL_CONTRACTS_EXPORT IMappedStreamAudio : public virtual IMappedStream {
  public:
    ~IMappedStreamAudio() override;
};

/// An effect on a timeline. Begin and end aren't tested against each other here; where the end isn't behind the begin
/// the effect never acts.
class TARSEL_CONTRACTS_EXPORT IMappedEffect : public virtual ITimeMapped {
  public:
    ~IMappedEffect() override;
    virtual int64 GetEnd() = 0;
    virtual void SetEnd(int64 end) = 0;
    /// Passes the format through the effect's `AdaptFormatCodec`.
    virtual void GetEffect(iptr<Conf::IFormatCodec>& format) = 0;
    virtual iptr<IEffect> GetEffect() = 0;
};

/// Pictures of several sources on one timeline. See `docs/timelines.md` for what is delivered when.
class TARSEL_CONTRACTS_EXPORT ISmartMapVideo : public virtual IStreamVideoLockable {
  public:
    static constexpr char CLASS_ID[] = "SmartMapVideo";

    ~ISmartMapVideo() override;
    /// Places a source at time 0 with order 0, for as long as its `GetDuration` says. Throws `FilterException`
    /// "Incorrect duration in source stream" for one whose duration isn't known, `std::invalid_argument` for null.
    virtual iptr<IMappedStreamVideo> MapStream(iptr<IStreamVideo> const& source) = 0;
    /// Lets an effect act over [begin, end). Throws `FilterException` "Bad effect mapping, begin >= end" and "Trying to
    /// map effects with not equal processing frame types", `std::invalid_argument` for null.
    virtual iptr<IMappedEffect> MapEffect(iptr<IEffect> const& effect, int64 begin, int64 end) = 0;
};

/// Sound of several sources on one timeline.
class TARSEL_CONTRACTS_EXPORT ISmartMapAudio : public virtual IStreamAudioLockable {
  public:
    static constexpr char CLASS_ID[] = "SmartMapAudio";

    ~ISmartMapAudio() override;
    /// The format of what is delivered, to which all sources are converted.
    virtual void SetSampleInfo(Conf::SampleInfo const& info) = 0;
    virtual iptr<IMappedStreamAudio> MapStream(iptr<IStreamAudio> const& source) = 0;
    virtual iptr<IMappedEffect> MapEffect(iptr<IEffect> const& effect, int64 begin, int64 end) = 0;
};

}  // namespace Tarsel::Proc
