#include "Proc/Filters/Filters/FilterMD5StreamSubtitle.h"

#include <utility>

#include "contracts/Proc/DataMD5.h"

namespace Tarsel::Proc {

FilterMD5StreamSubtitle::FilterMD5StreamSubtitle(iptr<IStreamSubtitle> source, iptr<IGraphDataCRCCollector> collector)
    : FilterMD5StreamBase(std::move(source), std::move(collector), &CalculateSubtitleDataMD5, "FilterMD5StreamSubtitle",
                          "Tarsel::Proc::FilterMD5StreamSubtitle::GetStatistic") {}

}  // namespace Tarsel::Proc
