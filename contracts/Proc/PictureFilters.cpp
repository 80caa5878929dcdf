#include "contracts/Core/Exception.h"
#include "contracts/Proc/ICropDetector.h"
#include "contracts/Proc/IFilterSubtitleDrawer.h"
#include "contracts/Proc/IFilterVideoMixer.h"
#include "contracts/Proc/IOverlayProvider.h"
#include "contracts/Proc/IOverlayStream.h"
#include "contracts/Proc/ITextEngine.h"
#include "contracts/Proc/RenamedProperty.h"

namespace Tarsel::Proc {

template <class T>
IStreamCombiner<T>::~IStreamCombiner() = default;
template class IStreamCombiner<IStreamVideo>;
template class IStreamCombiner<IStreamSubtitle>;

IFilterVideoMixer::~IFilterVideoMixer() = default;
IFilterSubtitleDrawer::~IFilterSubtitleDrawer() = default;
IOverlayProvider::~IOverlayProvider() = default;
IOverlayStream::~IOverlayStream() = default;
ITextEngine::~ITextEngine() = default;
IOverlayFactory::~IOverlayFactory() = default;
ICropDetector::~ICropDetector() = default;

Core::Property ITextEngine::GetStatistic() {
    return {};
}

Core::Property IFilterVideoMixer::Settings2Property(SettingsFilterVideoMixer const& settings) {
    return Renamed(Proc::Settings2Property(settings), CLASS_ID);
}

SettingsFilterVideoMixer IFilterVideoMixer::Property2Settings(Core::Property const& property) {
    if (property.Name() != CLASS_ID)
        TARSEL_THROW(FilterException, "Filter was initialized with incorrect class (" + property.Name() + ")!");
    return Property2SettingsFilterVideoMixer(Renamed(property, SettingsFilterVideoMixer::CLASS_ID));
}

Core::Property IFilterSubtitleDrawer::MakeSettings(SettingsSubtitleDrawer const& settings) {
    return Core::Property(CLASS_ID).SetChild(SettingsSubtitleDrawer::CLASS_ID, Settings2Property(settings));
}

}  // namespace Tarsel::Proc
