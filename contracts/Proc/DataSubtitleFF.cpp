#include "contracts/Proc/DataSubtitleFF.h"

#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace Tarsel::Proc {

iptr<IDataSubtitle> DataSubtitleFF::Create(AVSubtitle* subtitle, int64 time, int64 duration) {
    if (!subtitle) TARSEL_THROW(std::invalid_argument, "subtitle is NULL");
    std::shared_ptr<AVSubtitle> owned(new AVSubtitle(std::exchange(*subtitle, AVSubtitle{})), [](AVSubtitle* own) {
        avsubtitle_free(own);
        delete own;
    });
    iptr<IDataSubtitle> result(new DataSubtitleFF(std::move(owned)));
    result->SetTime(time);
    result->SetDuration(duration);
    return result;
}

DataSubtitleFF::DataSubtitleFF(std::shared_ptr<AVSubtitle> subtitle) : subtitle(std::move(subtitle)) {}

iptr<IDataSubtitle> DataSubtitleFF::Clone(bool) const {
    iptr<IDataSubtitle> clone(new DataSubtitleFF(subtitle));
    clone->SetTime(window.time);
    clone->SetDuration(window.duration);
    return clone;
}

}  // namespace Tarsel::Proc
