#include "host/crop/CropDetectStream.h"

#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"

namespace Tarsel::Host {

iptr<CropDetectStream> CropDetectStream::Create(iptr<Proc::IStreamVideo> const& source,
                                                iptr<Proc::ICropDetector> const& detector) {
    if (!source) TARSEL_THROW(std::invalid_argument, "source is NULL");
    if (!detector) TARSEL_THROW(std::invalid_argument, "detector is NULL");
    return iptr<CropDetectStream>(new CropDetectStream(source, detector));
}

CropDetectStream::CropDetectStream(iptr<Proc::IStreamVideo> const& source, iptr<Proc::ICropDetector> const& detector)
    : ForwardingStream(source), detector(detector) {}

void CropDetectStream::RequestSeek(int64 position, iptr<IRefCountable> seekContext) {
    if (hasLooked) return stream->RequestSeek(position, std::move(seekContext));
    // The detector's own seek would put another one off.
    waits = true;
    target = position;
    context = std::move(seekContext);
}

void CropDetectStream::DoSeek() {
    if (waits) {
        iptr<Proc::IStreamVideo> source = stream;
        Proc::CropInfo const found = detector->Detect(source);
        {
            Core::MutexLock const guard(lock);
            isAnswered = true;
            region = found;
        }
        hasLooked = true;
        waits = false;
        stream->RequestSeek(target, std::exchange(context, nullptr));
    }
    stream->DoSeek();
}

iptr<Proc::IDataVideo> CropDetectStream::Read() {
    iptr<Proc::IDataVideo> picture = stream->Read();
    if (picture) ++itemsDelivered;
    return picture;
}

Core::Property CropDetectStream::GetStatistic() {
    Core::Property tree = stream->GetStatistic();
    Core::Property own = Core::MakeStatistics("Tarsel::Host::CropDetectStream::GetStatistic", 0, itemsDelivered);
    {
        Core::MutexLock const guard(lock);
        if (isAnswered)
            own.SetChild("Known", region == Proc::CropInfo() ? "false" : "true")
                .SetChild("Left", int64{region.left})
                .SetChild("Right", int64{region.right})
                .SetChild("Top", int64{region.top})
                .SetChild("Bottom", int64{region.bottom});
    }
    tree.Add(std::move(own));
    return tree;
}

}  // namespace Tarsel::Host
