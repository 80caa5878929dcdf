#include "contracts/Proc/ICRCStreamController.h"
#include "contracts/Proc/IFilterCacheController.h"
#include "contracts/Proc/IFilterFrameRate.h"
#include "contracts/Proc/IFilterRepeatController.h"
#include "contracts/Proc/IFilterSeekController.h"
#include "contracts/Proc/IGraphDataCRCCollector.h"
#include "contracts/Proc/TIFilterJoin.h"
#include "contracts/Proc/TIFilterRepeat.h"

namespace Tarsel::Proc {

ICRCStreamController::~ICRCStreamController() = default;
IFilterCacheController::~IFilterCacheController() = default;
IFilterFrameRate::~IFilterFrameRate() = default;
IFilterRepeatController::~IFilterRepeatController() = default;
IFilterSeekController::~IFilterSeekController() = default;
IGraphDataCRCCollector::~IGraphDataCRCCollector() = default;

template <class T>
TIFilterJoin<T>::~TIFilterJoin() = default;
template <class U, class T>
TIFilterRepeat<U, T>::~TIFilterRepeat() = default;

template class TIFilterJoin<IStreamVideo>;
template class TIFilterJoin<IStreamAudio>;
template class TIFilterJoin<IStreamRaw>;
template class TIFilterRepeat<IStreamVideoEx, IStreamVideo>;
template class TIFilterRepeat<IStreamAudioEx, IStreamAudio>;

Core::Property IFilterFrameRate::MakeSettings(Ratio const& rate) {
    return Core::Property(CLASS_ID).SetValue(rate);
}

}  // namespace Tarsel::Proc
