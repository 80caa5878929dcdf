#pragma once

#include <string>

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterSubtitleDrawer.h"
#include "contracts/Proc/IOverlayStream.h"
#include "contracts/Proc/ITextEngine.h"

namespace Tarsel::Proc {

/// Draws a stream of subtitles on a stream of pictures.
///
/// Goes in: one stream of pictures, as the host's overlay stream, and by `CombineStream` one of subtitles. Comes out:
/// the overlay stream's pictures, one for one. In front of each it reads subtitles up to the picture's time and one
/// beyond, so at least one, also where the last one was the end; they wait in a provider of titles, which the overlay
/// stream asks for each picture. The first subtitle with a rectangle decides whether that is one of bitmaps or of
/// texts. Seek: both streams are sought, the subtitles 5 seconds ahead; a title that has been there for longer is found
/// again only where its stream gives what lies across that place. End: that of the pictures. Threads: one consumer; the
/// settings, the delay and `GetStatistic` from any thread, but they wait for a read that is under way.
class FilterSubtitleDrawer final : public StreamImpl<IOverlayStream, IStreamVideo>,
                                   public virtual IFilterSubtitleDrawer,
                                   public virtual IStreamVideoEx,
                                   public virtual IStreamCombiner<IStreamSubtitle> {
  public:
    using IStreamCombiner<IStreamSubtitle>::CombineStream;

    /// How far ahead of a seek's target the subtitles begin.
    static constexpr int64 SEEK_AHEAD = 5 * SECOND;

    /// The factory of the dedicated form: makes the host's overlay stream over `source`. Throws `std::invalid_argument`
    /// "factory is NULL" or "source is NULL", and as the constructor.
    static iptr<IFilterSubtitleDrawer> Create(iptr<IFilterFactory const> const& filterFactory,
                                              iptr<IStreamVideo> const& source,
                                              iptr<IEffectFactory const> const& effectFactory,
                                              iptr<IOverlayFactory const> const& overlayFactory);

    /// Throws `std::invalid_argument` "effectFactory is NULL" or "overlayFactory is NULL".
    FilterSubtitleDrawer(iptr<IOverlayStream> overlay, iptr<IEffectFactory const> effectFactory,
                         iptr<IOverlayFactory const> overlayFactory);
    ~FilterSubtitleDrawer() override { StopReaderThread(); }

    /// Takes what `IFilterSubtitleDrawer::MakeSettings` gives; a property without settings inside changes nothing.
    /// Another name throws `FilterException` "Filter was initialized with incorrect class (" and the name.
    void Initialize(Core::Property const& property) override;
    /// Takes a `SettingsSubtitleDrawer`. It acts from the next picture on, also on titles that have been fetched. Where
    /// a part refuses it, the old settings stay.
    void Initialize(Settings const& newSettings) override;
    /// Has no settings inside.
    Core::Property GetSettings() override;
    Core::Property GetStatistic() override;
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override { return parentStream->GetFormatCodec(); }
    void SetEndOfStream() override;
    void ReleaseInternalData() override;
    void Accept(IStreamVisitor& visitor) override;

    /// Throws `FilterException` "Subtitle stream is NULL!", "Subtitle stream is already set!", and "Input codec format
    /// is null" for one without a format. There are no options.
    void CombineStream(iptr<IStreamSubtitle> const& stream, Core::Property const& options) override;
    int64 GetSubtitleDelay() const override;
    /// No value counts as 0.
    void SetSubtitleDelay(int64 delay) override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    /// Throws `FilterException` "Subtitle stream is not set!".
    iptr<IDataVideo> ReadInternal() override;
    /// Throws as `ReadInternal`.
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override;

  private:
    void TakeSettings(SettingsSubtitleDrawer const& newSettings);
    /// Null until it is set.
    iptr<IStreamSubtitle> FindSubtitles() const;
    /// Throws `FilterException` "Subtitle stream is not set!".
    iptr<IStreamSubtitle> RequireSubtitles() const;
    /// Reads as many subtitles as the next picture needs.
    void FetchSubtitles(IStreamSubtitle& stream) TARSEL_REQUIRES(lock);
    /// Throws `FilterException` "Unsupported subtitles type" for a first rectangle that is neither bitmap nor text.
    void ChooseProvider(iptr<IDataSubtitle> const& subtitle) TARSEL_REQUIRES(lock);

    iptr<IEffectFactory const> const resizeFactory;
    iptr<IOverlayFactory const> const overlayFactory;

    /// Guards the members up to the next lock. Held while the streams and the provider are called; they never call
    /// back. Order: `apiLock`, then this one, then `wiringLock`, then those of the streams.
    mutable Core::RecursiveMutex lock;
    iptr<IOverlayProvider> provider TARSEL_GUARDED_BY(lock);
    std::string subtitleHeader TARSEL_GUARDED_BY(lock);
    SettingsSubtitleDrawer settings TARSEL_GUARDED_BY(lock);
    int64 lookAhead TARSEL_GUARDED_BY(lock) = NO_VALUE;
    int64 subtitleDelay TARSEL_GUARDED_BY(lock) = 0;
    u32 subtitlesRead TARSEL_GUARDED_BY(lock) = 0;
    u32 framesRead TARSEL_GUARDED_BY(lock) = 0;

    /// Guards the stream's place alone, so that its end can be set during a read. Nothing is called under it.
    mutable Core::Mutex wiringLock;
    iptr<IStreamSubtitle> subtitleStream TARSEL_GUARDED_BY(wiringLock);
};

}  // namespace Tarsel::Proc
