#pragma once

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFilterAudioVolume.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterAudioVolume.h"

namespace Tarsel::Proc {

/// Makes sound louder or quieter by a fixed factor and, where the settings ask for it, by a gain that follows the peaks
/// and brings quiet sound up.
///
/// Goes in: one stream of sound. Comes out: a new block for each that is changed, with its time and duration; a block
/// that the factor leaves as it is passes as the same object. Seek: the source's; the automatic gain starts anew, so
/// that behind a seek it isn't that of reading straight through, and the fixed factor is. End: the source's. Threads:
/// one consumer; `Initialize`, `UpdateSettings`, `GetSettings` and `GetStatistic` from any thread, and they don't wait
/// for a read of the source.
class FilterAudioVolume final : public StreamImpl<IStreamAudio, IStreamAudio>,
                                public virtual IFilterAudioVolume,
                                public virtual IStreamAudioEx {
  public:
    /// Leaves the sound as it is until it gets settings.
    explicit FilterAudioVolume(iptr<IStreamAudio> source);
    ~FilterAudioVolume() override { StopReaderThread(); }

    /// Takes what `IFilterAudioVolume::Settings2Property` makes. A property of another name throws `FilterException`
    /// "Filter was initialized with incorrect class (" and the name, a volume that isn't finite "Wrong settings!".
    void Initialize(Core::Property const& property) override;
    /// The same from a `SettingsFilterAudioVolume`; settings of another class raise `std::bad_cast`.
    void Initialize(Settings const& newSettings) override;
    void UpdateSettings(Core::Property const& property) override;
    Core::Property GetSettings() override;
    Core::Property GetStatistic() override;
    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override { return parentStream->GetFormatCodec(); }

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataAudio> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { parentStream->DoSeek(); }

  private:
    void Apply(SettingsFilterAudioVolume const& newSettings);
    /// What the block is multiplied by. The automatic gain follows it.
    double NextFactor(iptr<IDataAudio> const& block);
    /// One step of the automatic gain.
    void FollowPeak(double peak, int64 duration) TARSEL_REQUIRES(settingsMutex);

    /// Guards the members below; never held while the source is called.
    mutable Core::Mutex settingsMutex;
    SettingsFilterAudioVolume settings TARSEL_GUARDED_BY(settingsMutex);
    double autoGain TARSEL_GUARDED_BY(settingsMutex) = 1.0;
    int64 processingTime TARSEL_GUARDED_BY(settingsMutex) = 0;
    u32 blocksRead TARSEL_GUARDED_BY(settingsMutex) = 0;
};

}  // namespace Tarsel::Proc
