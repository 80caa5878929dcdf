#pragma once

#include <vector>

#include "Proc/Algorithms/FourierTransform.h"
#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFilterAudioHistogram.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsAudioHistogram.h"

namespace Tarsel::Proc {

/// Turns sound into pictures of its spectrum, as bars.
///
/// Goes in: one stream of sound. Comes out: a picture for each stretch of whole blocks that is at least as long as
/// a picture lasts by the settings, with the time of the first block and the length of all of them. So the pictures'
/// rate is not exact, and no picture stands for part of a block. Seek: forwarded; nothing is kept between two pictures,
/// so that what follows a seek is what reading from the block there gives. End: with the source's; a last stretch that
/// is too short is drawn. Threads: one consumer; `Initialize`, `GetSettings`, `GetFormatCodec` and `GetStatistic` from
/// any thread, but they wait for a read that is under way.
class FilterAudioHistogram final : public StreamImpl<IStreamAudio, IStreamVideo>,
                                   public virtual IFilterAudioHistogram,
                                   public virtual IStreamVideoEx {
  public:
    /// The factory of the dedicated form.
    static iptr<IFilterAudioHistogram> Create(iptr<IStreamAudio> const& source);

    /// With the default settings. Throws `FilterException` "Source format codec must be present" when the source has no
    /// format. Its rate is what the bars are laid out by, also for blocks of another one; where it states none, that of
    /// each picture's first block.
    explicit FilterAudioHistogram(iptr<IStreamAudio> source);
    ~FilterAudioHistogram() override { StopReaderThread(); }

    /// A property named `IFilterAudioHistogram::CLASS_ID` with the children of the settings; what is missing has its
    /// default.
    void Initialize(Core::Property const& property) override;
    /// Throws `FilterException` "Wrong settings!" for sides that aren't from 1 to 16384, a rate that isn't from 1 to
    /// 1000000, and an unknown scale; the filter keeps its old ones.
    void Initialize(Settings const& newSettings) override;
    Core::Property GetSettings() override;
    Core::Property GetStatistic() override;
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataVideo> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { parentStream->DoSeek(); }

  private:
    void Assign(SettingsAudioHistogram const& newSettings);
    /// Fills `signal` from the block and, unless it is long enough, from those behind it. The length of all of them.
    int64 Collect(iptr<IDataAudio> block) TARSEL_REQUIRES(lock);
    /// How far a block brings the collection: what it lasts, by its samples where it doesn't say. 0 for one that
    /// neither lasts nor has samples.
    int64 LengthOf(IDataAudio const& block) const TARSEL_REQUIRES(lock);
    int64 GetPeriod() const TARSEL_REQUIRES(lock) { return SECOND / settings.GetPicturesPerSecond(); }
    iptr<IDataVideo> Draw(int rate) TARSEL_REQUIRES(lock);

    /// Of the source's format; 0 when it states none.
    int const sampleRate;

    /// Guards the members below. Held while the source is read, so that new settings don't come between a picture's
    /// blocks; the source never calls back. Order: `apiLock`, then this one, then the source's.
    mutable Core::RecursiveMutex lock;
    SettingsAudioHistogram settings TARSEL_GUARDED_BY(lock);
    FourierTransform fourier TARSEL_GUARDED_BY(lock);
    /// Of the picture in work.
    std::vector<double> signal TARSEL_GUARDED_BY(lock);
    int64 processingTime TARSEL_GUARDED_BY(lock) = 0;
    unsigned picturesRead TARSEL_GUARDED_BY(lock) = 0;
};

}  // namespace Tarsel::Proc
