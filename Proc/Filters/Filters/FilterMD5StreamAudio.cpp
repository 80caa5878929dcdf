#include "Proc/Filters/Filters/FilterMD5StreamAudio.h"

#include <utility>

#include "contracts/Proc/DataMD5.h"

namespace Tarsel::Proc {

FilterMD5StreamAudio::FilterMD5StreamAudio(iptr<IStreamAudio> source, iptr<IGraphDataCRCCollector> collector)
    : FilterMD5StreamBase(std::move(source), std::move(collector), &CalculateAudioDataMD5, "FilterMD5StreamAudio",
                          "Tarsel::Proc::FilterMD5StreamAudio::GetStatistic") {}

}  // namespace Tarsel::Proc
