#include "Proc/Filters/Filters/FrameAllocReconciler.h"

#include <glog/logging.h>

#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/MultiEffect.h"
#include "contracts/Proc/SettingsFrameDownloader.h"
#include "contracts/Proc/SettingsFrameUploader.h"

namespace Tarsel::Proc {

FrameAllocReconciler::FrameAllocReconciler(iptr<IEffectFactory const> factory, char const* downloadWarning,
                                           char const* uploadWarning)
    : factory(std::move(factory)), downloadWarning(downloadWarning), uploadWarning(uploadWarning) {}

void FrameAllocReconciler::ReconcileFrameAlloc(iptr<IDataVideo>& frame, int wanted) {
    if (!frame) return;
    int const have = frame->GetFrameAlloc();
    if (have == wanted) return;
    bool const onCpu = have == IDataVideo::FRAME_ALLOC_CPU;
    bool const onGpu = have == IDataVideo::FRAME_ALLOC_GPU;
    if (onGpu && wanted == IDataVideo::FRAME_ALLOC_CPU)
        return Convert(frame, downloader, SettingsFrameDownloader::CLASS_ID, downloadWarning);
    if (onCpu && wanted == IDataVideo::FRAME_ALLOC_GPU)
        return Convert(frame, uploader, SettingsFrameUploader::CLASS_ID, uploadWarning);
    if ((onCpu || onGpu) && wanted == IDataVideo::FRAME_ALLOC_ANY) return;
    TARSEL_THROW(FilterException, "Unsupported frame allocators set");
}

void FrameAllocReconciler::Convert(iptr<IDataVideo>& frame, iptr<IOneInputEffectVideo>& converter, char const* classId,
                                   char const* warning) {
    if (warning && VLOG_IS_ON(21)) LOG(WARNING) << warning;
    if (!converter) converter = MakeEffect<IOneInputEffectVideo>(*factory, classId, ImplNames::OGL);
    converter->Process(frame);
}

void FrameAllocReconciler::Reset() {
    if (downloader) downloader->ResetEffectState();
    if (uploader) uploader->ResetEffectState();
}

}  // namespace Tarsel::Proc
