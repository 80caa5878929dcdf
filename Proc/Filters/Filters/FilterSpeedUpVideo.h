#pragma once

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterSpeedUp.h"

namespace Tarsel::Proc {

/// Plays pictures faster or slower by a constant factor.
///
/// Goes in: one stream of pictures. Comes out: every picture, its end mapped, its start the end of the one before it,
/// so that times run on without a gap whatever the source does; none is shorter than a microsecond. A picture without
/// a time follows the one before it for its own mapped duration. Seek: to the mapped source time, at most the source's
/// last microsecond; the first picture behind it has its own start. End: the source's.
/// Threads: one consumer; `Initialize`, `GetFormatCodec` and `GetStatistic` from any thread.
class FilterSpeedUpVideo final : public StreamImpl<IStreamVideo, IStreamVideo>, public virtual IStreamVideoEx {
  public:
    /// Plays at the source's speed until it is initialized.
    explicit FilterSpeedUpVideo(iptr<IStreamVideo> source);
    ~FilterSpeedUpVideo() override { StopReaderThread(); }

    [[noreturn]] void Initialize(Core::Property const& property) override;
    /// A factor that isn't finite and above 0 throws `FilterException` "Wrong settings!"; the old one stays.
    void Initialize(Settings const& newSettings) override;
    [[noreturn]] Core::Property GetSettings() override;
    Core::Property GetStatistic() override;
    /// The source's with the frame rate multiplied by the factor. Throws `FilterException` "Source format codec must be
    /// present" when the source has none.
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override;
    int64 GetDuration() const override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataVideo> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { parentStream->DoSeek(); }

  private:
    /// Guards the members below; never held while the source is called.
    mutable Core::RecursiveMutex lock;
    SettingsFilterSpeedUp settings TARSEL_GUARDED_BY(lock);
    /// Where the next picture starts; no value after a seek.
    int64 lastEnd TARSEL_GUARDED_BY(lock) = NO_VALUE;
    int64 processingTime TARSEL_GUARDED_BY(lock) = 0;
    unsigned framesRead TARSEL_GUARDED_BY(lock) = 0;
};

}  // namespace Tarsel::Proc
