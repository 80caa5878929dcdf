#pragma once

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterSpeedUp.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Proc {

/// Plays sound faster or slower by a constant factor, through the host's tempo effect.
///
/// Goes in: one stream of sound. Comes out: what the effect makes of it, in blocks of the effect's sizes, timed by
/// their counted samples from the mapped time of the first block on. Seek: to the mapped source time, at most the
/// source's last microsecond; the effect begins anew, so that times and counts behind a seek are those of a stream that
/// begins there, and the samples are not equal to those of reading on. End: the effect is drained, then null. Threads:
/// one consumer; `Initialize` and `GetStatistic` from any thread, but they wait for a read that is under way.
class FilterSpeedUpAudio final : public StreamImpl<IStreamAudio, IStreamAudio>, public virtual IStreamAudioEx {
  public:
    /// Plays at the source's speed until it is initialized. Throws `std::invalid_argument` "effectFactory is NULL" and,
    /// when the factory's tempo effect isn't one for sound, `EffectException` "There is no any implementation for " and
    /// its class identifier; failures of the factory pass through.
    FilterSpeedUpAudio(iptr<IStreamAudio> source, iptr<IEffectFactory const> const& effectFactory);
    ~FilterSpeedUpAudio() override { StopReaderThread(); }

    [[noreturn]] void Initialize(Core::Property const& property) override;
    /// A factor that isn't finite and above 0 throws `FilterException` "Wrong settings!". The effect begins anew, and
    /// what it had kept is lost; one that refuses the factor throws, and the filter keeps its old one. Throws
    /// `FilterException` "Source format codec must be present" when the source has no format.
    void Initialize(Settings const& newSettings) override;
    [[noreturn]] Core::Property GetSettings() override;
    Core::Property GetStatistic() override;
    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override { return parentStream->GetFormatCodec(); }
    int64 GetDuration() const override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataAudio> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { parentStream->DoSeek(); }

  private:
    /// Takes the settings and lets effect and time begin anew.
    void Apply(SettingsFilterSpeedUp const& newSettings) TARSEL_REQUIRES(lock);
    /// Times the block by its samples.
    iptr<IDataAudio> Stamp(iptr<IDataAudio> block) TARSEL_REQUIRES(lock);

    /// Guards the members below. Held while the source and the effect are called, so that new settings don't come
    /// between a block and its result; the source never calls back. Order: `apiLock`, then this one, then the source's.
    mutable Core::RecursiveMutex lock;
    SettingsFilterSpeedUp settings TARSEL_GUARDED_BY(lock);
    AudioTime audioTime TARSEL_GUARDED_BY(lock);
    Conf::SampleInfo sampleInfo TARSEL_GUARDED_BY(lock);
    iptr<IOneInputEffectAudio> effect TARSEL_GUARDED_BY(lock);
    int64 processingTime TARSEL_GUARDED_BY(lock) = 0;
    unsigned blocksGiven TARSEL_GUARDED_BY(lock) = 0;
};

}  // namespace Tarsel::Proc
