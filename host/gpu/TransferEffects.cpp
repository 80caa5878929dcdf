#include "host/gpu/TransferEffects.h"

#include <vector>

#include "host/effects/PictureParts.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

constexpr int PIXEL_BYTES = 4;

}  // namespace

UploadEffect::UploadEffect() : OglEffect("Tarsel::Host::UploadEffect::GetStatistic") {}
UploadEffect::~UploadEffect() = default;

Core::Property UploadEffect::GetStatistic() {
    Core::Property node = OglEffect::GetStatistic();
    if (!device) return node;
    GpuCounters const counters = device->GetCounters();
    node.SetChild("Renderer", device->GetRenderer());
    node.SetChild("Uploads", counters.uploads);
    node.SetChild("Downloads", counters.downloads);
    node.SetChild("Copies", counters.copies);
    return node;
}

void UploadEffect::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    if (item->GetFrameAlloc() != IDataVideo::FRAME_ALLOC_GPU) item = Upload(item);
    CountItem();
}

iptr<IDataVideo> UploadEffect::Upload(iptr<IDataVideo> const& picture) {
    if (!device) device = GpuDevice::Get();
    iptr<DataVideoOGL> frame = DataVideoOGL::CreateLike(device, *picture, picture->GetFrameInfo());
    if (picture->GetPixelFormat() != PIX_FMT_RGBA) {
        iptr<IDataVideo> const converted = Conformed(
            picture, {.width = picture->GetWidth(), .height = picture->GetHeight(), .format = AV_PIX_FMT_RGBA});
        auto const plane = converted->GetPlaneConst(0);
        device->Upload(frame->GetTexture(), plane.GetData(), plane.GetStride());
        return frame;
    }
    auto const plane = picture->GetPlaneConst(0);
    if (plane.GetStride() > 0 && plane.GetStride() % PIXEL_BYTES == 0) {
        device->Upload(frame->GetTexture(), plane.GetData(), plane.GetStride());
        return frame;
    }
    // OpenGL steps from row to row in whole pixels, and downwards.
    std::vector<u8> rows;
    for (int row = 0; row < plane.GetRows(); ++row) {
        u8 const* const first = plane.GetOffsetPtr(0, static_cast<unsigned>(row));
        rows.insert(rows.end(), first, first + plane.GetRowBytes());
    }
    device->Upload(frame->GetTexture(), rows.data(), plane.GetRowBytes());
    return frame;
}

DownloadEffect::DownloadEffect() : OglEffect("Tarsel::Host::DownloadEffect::GetStatistic") {}
DownloadEffect::~DownloadEffect() = default;

void DownloadEffect::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    if (item->GetFrameAlloc() == IDataVideo::FRAME_ALLOC_GPU) item = Require(*item).Download();
    CountItem();
}

}  // namespace Tarsel::Host
