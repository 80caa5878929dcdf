#include "Proc/Filters/Filters/FilterAudioHistogram.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Proc/Algorithms/MonoSignal.h"
#include "Proc/Algorithms/SpectrumBars.h"
#include "Proc/Filters/Filters/EmptyBlocks.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/RenamedProperty.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Proc {

namespace {

constexpr uint32 LARGEST_SIDE = 16384;

int RateOf(IStreamAudio const& source) {
    iptr<Conf::IFormatCodecAudio const> const format = source.GetFormatCodec();
    if (!format) TARSEL_THROW(FilterException, "Source format codec must be present");
    return std::max(format->GetSampleInfo().GetSampleRate(), 0);
}

bool IsSide(uint32 side) {
    return side > 0 && side <= LARGEST_SIDE;
}

void RequireDrawable(SettingsAudioHistogram const& settings) {
    int const rate = settings.GetPicturesPerSecond();
    int const scale = settings.GetScale();
    bool const drawable =
        IsSide(settings.GetWidth()) && IsSide(settings.GetHeight()) && rate > 0 && rate <= SECOND &&
        (scale == SettingsAudioHistogram::SCALE_LINEAR || scale == SettingsAudioHistogram::SCALE_LOGARITHMIC);
    if (!drawable) TARSEL_THROW(FilterException, "Wrong settings!");
}

}  // namespace

iptr<IFilterAudioHistogram> FilterAudioHistogram::Create(iptr<IStreamAudio> const& source) {
    return iptr<IFilterAudioHistogram>(new FilterAudioHistogram(source));
}

FilterAudioHistogram::FilterAudioHistogram(iptr<IStreamAudio> source)
    : StreamImpl(std::move(source), false), sampleRate(RateOf(*parentStream)) {}

void FilterAudioHistogram::Initialize(Core::Property const& property) {
    if (property.Name() != IFilterAudioHistogram::CLASS_ID)
        TARSEL_THROW(FilterException, "Filter was initialized with incorrect class (" + property.Name() + ")!");
    Assign(Property2SettingsAudioHistogram(Renamed(property, SettingsAudioHistogram::CLASS_ID)));
}

void FilterAudioHistogram::Initialize(Settings const& newSettings) {
    Assign(dynamic_cast<SettingsAudioHistogram const&>(newSettings));
}

void FilterAudioHistogram::Assign(SettingsAudioHistogram const& newSettings) {
    RequireDrawable(newSettings);
    Core::RecursiveMutexLock const guard(lock);
    settings = newSettings;
}

Core::Property FilterAudioHistogram::GetSettings() {
    Core::RecursiveMutexLock const guard(lock);
    return Renamed(Settings2Property(settings), IFilterAudioHistogram::CLASS_ID);
}

Core::Property FilterAudioHistogram::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::RecursiveMutexLock const guard(lock);
    return result.Add(
        Core::MakeStatistics("Tarsel::Proc::FilterAudioHistogram::GetStatistic", processingTime, picturesRead));
}

iptr<Conf::IFormatCodecVideo const> FilterAudioHistogram::GetFormatCodec() const {
    iptr<Conf::IFormatCodecVideo> const format = Conf::IFormatCodecVideo::Create();
    format->SetPixelFormat(PIX_FMT_RGB24);
    Core::RecursiveMutexLock const guard(lock);
    format->InitByPixelAspect(settings.GetWidth(), settings.GetHeight(), 1, 1);
    format->SetFrameRate(Ratio(settings.GetPicturesPerSecond(), 1));
    return format;
}

void FilterAudioHistogram::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterAudioHistogram", Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<IDataVideo> FilterAudioHistogram::ReadInternal() {
    Core::RecursiveMutexLock const guard(lock);
    iptr<IDataAudio> block = parentStream->Read();
    if (!block) return nullptr;
    int64 const time = block->GetTime();
    int const rate = sampleRate > 0 ? sampleRate : block->GetSampleRate();
    int64 const duration = Collect(std::move(block));
    if (signal.empty()) return nullptr;
    iptr<IDataVideo> picture = Draw(rate);
    picture->SetTime(time);
    picture->SetDuration(duration);
    ++picturesRead;
    return picture;
}

int64 FilterAudioHistogram::Collect(iptr<IDataAudio> block) {
    signal.clear();
    // No spectrum looks at more.
    std::size_t const limit = SpectrumSize(std::numeric_limits<std::size_t>::max(), settings.GetPicturesPerSecond());
    int64 total = 0;
    Details::EmptyBlocks emptyBlocks;
    while (block) {
        AppendMono(block, limit, signal);
        int64 const length = LengthOf(*block);
        total = AddTime(total, length);
        if (total >= GetPeriod() || IsEndOfStream()) break;
        emptyBlocks.Count(length <= 0);
        block = parentStream->Read();
    }
    return total;
}

int64 FilterAudioHistogram::LengthOf(IDataAudio const& block) const {
    int64 const duration = block.GetDuration();
    if (HasValue(duration) && duration > 0) return duration;
    int const samples = block.GetSampleCount();
    if (samples <= 0) return 0;
    int const rate = block.GetSampleRate() > 0 ? block.GetSampleRate() : sampleRate;
    // Nobody knows how long such a block is: it makes a picture of its own.
    if (rate <= 0) return GetPeriod();
    return std::max<int64>(SampleCount2Duration(samples, rate), 1);
}

iptr<IDataVideo> FilterAudioHistogram::Draw(int rate) {
    std::size_t const size = SpectrumSize(signal.size(), settings.GetPicturesPerSecond());
    uint32 const width = settings.GetWidth();
    uint32 const height = settings.GetHeight();
    BarSettings measure;
    measure.sampleRate = rate;
    // More bars than columns can't be seen, so there need be none.
    measure.barCount = settings.GetBarCount() <= width ? settings.GetBarCount() : 0;
    measure.scale = settings.GetScale();
    measure.limit = (height * 7) >> 3;
    iptr<IDataVideo> const picture =
        DataVideoFF::Create(PIX_FMT_RGB24, {static_cast<int>(width), static_cast<int>(height), 1, 1}, nullptr);
    DrawBars(*picture, MeasureBars(fourier.Transform(signal, size), measure), settings.GetBackgroundColour());
    return picture;
}

void FilterAudioHistogram::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const guard(lock);
    parentStream->RequestSeek(target, seekContext);
}

}  // namespace Tarsel::Proc
