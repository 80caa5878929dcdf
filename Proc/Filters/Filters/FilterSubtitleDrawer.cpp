#include "Proc/Filters/Filters/FilterSubtitleDrawer.h"

#include <stdexcept>
#include <utility>

#include "Proc/Filters/Filters/SubtitleRects.h"
#include "Proc/Filters/Filters/TitleProviderFromAss.h"
#include "Proc/Filters/Filters/TitleProviderFromBitmap.h"
#include "contracts/Conf/IPreset.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"

namespace Tarsel::Proc {

iptr<IFilterSubtitleDrawer> FilterSubtitleDrawer::Create(iptr<IFilterFactory const> const& filterFactory,
                                                         iptr<IStreamVideo> const& source,
                                                         iptr<IEffectFactory const> const& effectFactory,
                                                         iptr<IOverlayFactory const> const& overlayFactory) {
    if (!filterFactory) TARSEL_THROW(std::invalid_argument, "factory is NULL");
    if (!source) TARSEL_THROW(std::invalid_argument, "source is NULL");
    iptr<IOverlayStream> const overlay = filterFactory->CreateOverlayStream(source, ImplNames::DEFAULT);
    return MakeShared<FilterSubtitleDrawer>(overlay, effectFactory, overlayFactory);
}

FilterSubtitleDrawer::FilterSubtitleDrawer(iptr<IOverlayStream> overlay, iptr<IEffectFactory const> effectFactory,
                                           iptr<IOverlayFactory const> overlayFactory)
    : StreamImpl(std::move(overlay), false),
      resizeFactory(std::move(effectFactory)),
      overlayFactory(std::move(overlayFactory)) {
    if (!resizeFactory) TARSEL_THROW(std::invalid_argument, "effectFactory is NULL");
    if (!this->overlayFactory) TARSEL_THROW(std::invalid_argument, "overlayFactory is NULL");
}

// --- Settings --------------------------------------------------------------------------------------------------------

void FilterSubtitleDrawer::Initialize(Core::Property const& property) {
    if (property.Name() != CLASS_ID)
        TARSEL_THROW(FilterException, "Filter was initialized with incorrect class (" + property.Name() + ")!");
    if (property.ChildExists(SettingsSubtitleDrawer::CLASS_ID))
        TakeSettings(Property2SettingsSubtitleDrawer(property[SettingsSubtitleDrawer::CLASS_ID]));
}

void FilterSubtitleDrawer::Initialize(Settings const& newSettings) {
    TakeSettings(dynamic_cast<SettingsSubtitleDrawer const&>(newSettings));
}

void FilterSubtitleDrawer::TakeSettings(SettingsSubtitleDrawer const& newSettings) {
    Core::RecursiveMutexLock const guard(lock);
    auto* const texts = dynamic_cast<TitleProviderFromAss*>(provider.get());
    if (texts && !(newSettings == settings)) texts->UpdateSettings(newSettings);
    settings = newSettings;
    parentStream->SetOverlaySettings(settings);
}

Core::Property FilterSubtitleDrawer::GetSettings() {
    return Core::Property(CLASS_ID).SetChild(Conf::IPreset::KEY_TYPE_ID, "");
}

int64 FilterSubtitleDrawer::GetSubtitleDelay() const {
    Core::RecursiveMutexLock const guard(lock);
    return subtitleDelay;
}

void FilterSubtitleDrawer::SetSubtitleDelay(int64 delay) {
    Core::RecursiveMutexLock const guard(lock);
    subtitleDelay = HasValue(delay) ? delay : 0;
}

// --- The stream of subtitles -----------------------------------------------------------------------------------------

void FilterSubtitleDrawer::CombineStream(iptr<IStreamSubtitle> const& stream, Core::Property const&) {
    if (!stream) TARSEL_THROW(FilterException, "Subtitle stream is NULL!");
    Core::RecursiveMutexLock const guard(lock);
    if (FindSubtitles()) TARSEL_THROW(FilterException, "Subtitle stream is already set!");
    iptr<Conf::IFormatCodecSubtitle const> const format = stream->GetFormatCodec();
    if (!format) TARSEL_THROW(FilterException, "Input codec format is null");
    subtitleHeader = format->GetSubtitleHeader();
    Core::MutexLock const wiring(wiringLock);
    subtitleStream = stream;
}

iptr<IStreamSubtitle> FilterSubtitleDrawer::FindSubtitles() const {
    Core::MutexLock const wiring(wiringLock);
    return subtitleStream;
}

iptr<IStreamSubtitle> FilterSubtitleDrawer::RequireSubtitles() const {
    iptr<IStreamSubtitle> stream = FindSubtitles();
    if (!stream) TARSEL_THROW(FilterException, "Subtitle stream is not set!");
    return stream;
}

void FilterSubtitleDrawer::FetchSubtitles(IStreamSubtitle& stream) {
    for (bool again = true; again;) {
        iptr<IDataSubtitle> const subtitle = stream.Read();
        if (!subtitle) return;
        ++subtitlesRead;
        if (!HasValue(lookAhead)) lookAhead = parentStream->GetSeekPosition();
        // The no-value time is below all others: a subtitle without a time isn't ahead of the picture.
        again = SubTime(subtitle->GetTime(), subtitleDelay) <= lookAhead;
        if (!provider) ChooseProvider(subtitle);
        if (provider) provider->AddData(subtitle);
    }
}

void FilterSubtitleDrawer::ChooseProvider(iptr<IDataSubtitle> const& subtitle) {
    auto const rectangles = Details::RectsOf(subtitle);
    if (rectangles.empty()) return;
    iptr<IOverlayProvider> made;
    switch (rectangles.front() ? rectangles.front()->type : SUBTITLE_NONE) {
        case SUBTITLE_BITMAP:
            made = MakeShared<TitleProviderFromBitmap>(*resizeFactory);
            break;
        case SUBTITLE_TEXT:
        case SUBTITLE_ASS:
            made = MakeShared<TitleProviderFromAss>(overlayFactory, subtitleHeader, settings);
            break;
        default:
            TARSEL_THROW(FilterException, "Unsupported subtitles type");
    }
    parentStream->SetOverlayProvider(made);
    provider = std::move(made);
}

// --- Reading and seeking ---------------------------------------------------------------------------------------------

iptr<IDataVideo> FilterSubtitleDrawer::ReadInternal() {
    Core::RecursiveMutexLock const guard(lock);
    FetchSubtitles(*RequireSubtitles());
    iptr<IDataVideo> frame = parentStream->Read();
    lookAhead = parentStream->GetSeekPosition();
    if (frame) ++framesRead;
    return frame;
}

void FilterSubtitleDrawer::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const guard(lock);
    iptr<IStreamSubtitle> const subtitles = RequireSubtitles();
    parentStream->RequestSeek(target, seekContext);
    int64 const begin = SubTime(SubTime(target, subtitleDelay), SEEK_AHEAD);
    subtitles->RequestSeek(begin > 0 ? begin : 0, seekContext);
    if (provider) provider->Clear();
    lookAhead = target;
}

void FilterSubtitleDrawer::DoSeekInternal() {
    parentStream->DoSeek();
    if (iptr<IStreamSubtitle> const subtitles = FindSubtitles()) subtitles->DoSeek();
}

void FilterSubtitleDrawer::SetEndOfStream() {
    StreamImpl::SetEndOfStream();
    if (iptr<IStreamSubtitle> const subtitles = FindSubtitles()) subtitles->SetEndOfStream();
}

void FilterSubtitleDrawer::ReleaseInternalData() {
    Core::RecursiveMutexLock const api(apiLock);
    StreamImpl::ReleaseInternalData();
    if (iptr<IStreamSubtitle> const subtitles = FindSubtitles()) subtitles->ReleaseInternalData();
    Core::RecursiveMutexLock const guard(lock);
    if (provider) provider->Clear();
}

// --- Reports ---------------------------------------------------------------------------------------------------------

Core::Property FilterSubtitleDrawer::GetStatistic() {
    Core::RecursiveMutexLock const guard(lock);
    Core::Property result = Core::MakeStatistics("Tarsel::Proc::FilterSubtitleDrawer::GetStatistic", 0, framesRead);
    result.Add(Core::MakeStatistics("Subtitles", 0, subtitlesRead));
    result.Add(parentStream->GetStatistic());
    if (iptr<IStreamSubtitle> const subtitles = FindSubtitles()) result.Add(subtitles->GetStatistic());
    if (provider) result.Add(provider->GetStatistic());
    return result;
}

void FilterSubtitleDrawer::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterSubtitleDrawer", Visitors::FRAME_TYPE_FILTER, nullptr);
}

void FilterSubtitleDrawer::Accept(IStreamVisitor& visitor) {
    StreamImpl::Accept(visitor);
    if (iptr<IStreamSubtitle> const subtitles = FindSubtitles()) subtitles->Accept(visitor);
}

}  // namespace Tarsel::Proc
