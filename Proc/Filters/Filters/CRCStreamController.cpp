#include "Proc/Filters/Filters/CRCStreamController.h"

#include "Proc/Filters/Filters/FilterMD5StreamAudio.h"
#include "Proc/Filters/Filters/FilterMD5StreamRaw.h"
#include "Proc/Filters/Filters/FilterMD5StreamSubtitle.h"
#include "Proc/Filters/Filters/FilterMD5StreamVideo.h"
#include "Proc/Filters/Filters/GraphDataCRCCollector.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

CRCStreamController::CRCStreamController() : collector(MakeShared<GraphDataCRCCollector>()) {}

iptr<ICRCStreamController> CRCStreamController::Create() {
    auto controller = MakeShared<CRCStreamController>();
    controller->Initialize(Core::Property());
    return controller;
}

void CRCStreamController::UpdateSettings(Settings const&) {
    TARSEL_THROW(FilterException, "Not implemented");
}

void CRCStreamController::Initialize(Core::Property const& property) {
    if (!property.Name().empty()) TARSEL_THROW(FilterException, "Not implemented");
}

iptr<IStreamSubtitle> CRCStreamController::AddStream(iptr<IStreamSubtitle> const& stream) {
    return MakeShared<FilterMD5StreamSubtitle>(stream, collector);
}

iptr<IStreamVideo> CRCStreamController::AddStream(iptr<IStreamVideo> const& stream) {
    return MakeShared<FilterMD5StreamVideo>(stream, collector);
}

iptr<IStreamAudio> CRCStreamController::AddStream(iptr<IStreamAudio> const& stream) {
    return MakeShared<FilterMD5StreamAudio>(stream, collector);
}

iptr<IStreamRaw> CRCStreamController::AddStream(iptr<IStreamRaw> const& stream) {
    return MakeShared<FilterMD5StreamRaw>(stream, collector);
}

}  // namespace Tarsel::Proc
