#include "Proc/Filters/Filters/FilterMD5StreamVideo.h"

#include <utility>

#include "contracts/Proc/DataMD5.h"

namespace Tarsel::Proc {

FilterMD5StreamVideo::FilterMD5StreamVideo(iptr<IStreamVideo> source, iptr<IGraphDataCRCCollector> collector)
    : FilterMD5StreamBase(std::move(source), std::move(collector), &CalculateVideoDataMD5, "FilterMD5StreamVideo",
                          "Tarsel::Proc::FilterMD5StreamVideo::GetStatistic") {}

}  // namespace Tarsel::Proc
