#pragma once

#include <map>

#include "Proc/Filters/Filters/IntroLoopOutroSection.h"
#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterIntroLoopOutro.h"

namespace Tarsel::Proc {

/// Fits a clip to a length: its start plays once, its middle is repeated, its end plays once.
///
/// Goes in: one stream of known duration. Comes out: its pictures in the time of the result, without gaps; all passes
/// of the middle are scaled alike, so that the result has exactly the wanted length. Where there is no room for a
/// middle, start and end play beside each other, the start shortened at its end, then the end at its beginning; where
/// the clip has none, and room is left, start and end are scaled together. Seek: to the picture that covers the
/// position, given whole: reading behind any seek equals reading straight through (but for a source with a hole where a
/// section begins). Each section moves the one source when it is entered. End: the wanted length, or sooner where the
/// source has no pictures for it. Threads: one consumer; `Initialize`, `GetDuration` and `GetStatistic` from any
/// thread. New settings make a new plan; reading goes on at the time where it stood.
class FilterIntroLoopOutroVideo final : public StreamImpl<IStreamVideo, IStreamVideoEx> {
  public:
    /// Throws `std::invalid_argument` for a null source. The sections read the source itself, so nothing is asked of
    /// the factory, which may be null.
    FilterIntroLoopOutroVideo(iptr<IStreamVideo> source, iptr<IFilterFactory const> const& filterFactory);
    ~FilterIntroLoopOutroVideo() override;

    [[noreturn]] void Initialize(Core::Property const& property) override;
    /// Makes the plan. Throws `FilterException` "Wrong settings!" for a length or a duration below 0, and "Incorrect
    /// duration in source stream" when the source doesn't know its own.
    void Initialize(Settings const& newSettings) override;
    [[noreturn]] Core::Property GetSettings() override;
    /// The settings' duration.
    int64 GetDuration() const override;
    Core::Property GetStatistic() override;
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override { return parentStream->GetFormatCodec(); }
    void ReleaseInternalData() override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataVideo> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override;

  private:
    using Sections = std::map<int64, iptr<Details::IntroLoopOutroSection>>;

    void MakePlan(int64 total) TARSEL_REQUIRES(mutex);
    void AddSection(Details::TimeRange source, Details::TimeRange result, int64 loopCount) TARSEL_REQUIRES(mutex);
    /// The section that holds a time of the result; none at its end and behind it.
    Sections::iterator FindSection(int64 position) TARSEL_REQUIRES(mutex);

    /// Held in reading and seeking, so over calls of the source, that a new plan takes effect between two pictures.
    /// Behind the base's `apiLock`, ahead of the source's locks.
    mutable Core::RecursiveMutex mutex;
    SettingsFilterIntroLoopOutro settings TARSEL_GUARDED_BY(mutex);
    Sections sections TARSEL_GUARDED_BY(mutex);  // by their beginnings in the result
    Sections::iterator current TARSEL_GUARDED_BY(mutex);
    bool isPlaced TARSEL_GUARDED_BY(mutex) = false;  // `current` stands where `position` is
    int64 position TARSEL_GUARDED_BY(mutex) = 0;     // time of the next picture
    int64 processingTime TARSEL_GUARDED_BY(mutex) = 0;
    unsigned itemsRead TARSEL_GUARDED_BY(mutex) = 0;
};

}  // namespace Tarsel::Proc
