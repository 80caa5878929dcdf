#pragma once

#include <string>

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterResample.h"
#include "contracts/Proc/IResample.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Converts rate, format and layout of a stream of sound, through the host's converter.
///
/// Goes in: one stream of sound. Comes out: what the converter makes of it, in blocks of its sizes and with its times.
/// Seek: the converter forgets what it holds, and the source is sought. Behind it a conversion that keeps the rate
/// gives what reading straight through gives; with a changed rate times and counts are those of a stream that begins
/// there, and samples come near to those of reading on. End: the converter is drained, then null. A source of 100000
/// blocks in a row without samples is a `FilterException`. Threads: one consumer; the settings and `GetStatistic` from
/// any thread, but they wait for a read that is under way.
class FilterResample final : public StreamImpl<IStreamAudio, IStreamAudio>,
                             public virtual IFilterResample,
                             public virtual IStreamAudioEx {
  public:
    /// The factory of the dedicated form.
    static iptr<IFilterResample> Create(iptr<IStreamAudio> const& source,
                                        iptr<IEffectFactory const> const& effectFactory);

    /// Leaves the sound as it is until it is told otherwise. Throws `std::invalid_argument` "effectFactory is NULL"
    /// and, when the factory's effect isn't a converter of sound, `EffectException` "There is no any implementation
    /// for " and its class identifier; failures of the factory pass through.
    FilterResample(iptr<IStreamAudio> source, iptr<IEffectFactory const> effectFactory);
    ~FilterResample() override { StopReaderThread(); }

    /// Both make a new converter; what the old one held is lost. When that fails, the old one stays.
    void Initialize(Core::Property const& property) override;
    void Initialize(Settings const& newSettings) override;
    /// The property that sets a filter up like this one.
    Core::Property GetSettings() override;
    void SetSampleInfo(Conf::SampleInfo const& info) override;
    void SetFormatCodec(iptr<Conf::IFormatCodecAudio const> const& format) override;
    Core::Property GetStatistic() override;
    /// The source's, adapted by the converter. Throws `FilterException` "Source format codec must be present" when the
    /// source has none.
    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override;
    void ReleaseInternalData() override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataAudio> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { parentStream->DoSeek(); }

  private:
    iptr<IResample> MakeEngine(std::string const& implName) const;

    iptr<IEffectFactory const> const factory;

    /// Guards the members below. Held while the source and the converter are called, so that new settings don't come
    /// between a block and its result; the source never calls back. Order: `apiLock`, then this one, then the source's.
    mutable Core::RecursiveMutex lock;
    iptr<IResample> resampler TARSEL_GUARDED_BY(lock);
    std::string implementation TARSEL_GUARDED_BY(lock);
    unsigned blocksRead TARSEL_GUARDED_BY(lock) = 0;
};

}  // namespace Tarsel::Proc
