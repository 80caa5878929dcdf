#include "host/sound/VolumeDetectStream.h"

#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"

namespace Tarsel::Host {

iptr<VolumeDetectStream> VolumeDetectStream::Create(iptr<Proc::IStreamAudio> const& source,
                                                    iptr<Proc::IFilterVolumeDetect> const& detector) {
    if (!source) TARSEL_THROW(std::invalid_argument, "source is NULL");
    if (!detector) TARSEL_THROW(std::invalid_argument, "detector is NULL");
    return iptr<VolumeDetectStream>(new VolumeDetectStream(source, detector));
}

VolumeDetectStream::VolumeDetectStream(iptr<Proc::IStreamAudio> const& source,
                                       iptr<Proc::IFilterVolumeDetect> const& detector)
    : ForwardingStream(source), detector(detector) {}

void VolumeDetectStream::RequestSeek(int64 position, iptr<IRefCountable> seekContext) {
    if (known) return stream->RequestSeek(position, std::move(seekContext));
    // The detector's own seek would put another one off.
    waits = true;
    target = position;
    context = std::move(seekContext);
}

void VolumeDetectStream::DoSeek() {
    if (waits) {
        detector->Detect(stream);
        level = detector->GetLevel();
        quiet = detector->IsQuiet();
        known = true;
        waits = false;
        stream->RequestSeek(target, std::exchange(context, nullptr));
    }
    stream->DoSeek();
}

iptr<Proc::IDataAudio> VolumeDetectStream::Read() {
    iptr<Proc::IDataAudio> block = stream->Read();
    if (block) ++itemsDelivered;
    return block;
}

Core::Property VolumeDetectStream::GetStatistic() {
    Core::Property tree = stream->GetStatistic();
    Core::Property own = Core::MakeStatistics("Tarsel::Host::VolumeDetectStream::GetStatistic", 0, itemsDelivered);
    if (known) own.SetChild("Level", double{level}).SetChild("Quiet", bool{quiet} ? "true" : "false");
    tree.Add(std::move(own));
    return tree;
}

}  // namespace Tarsel::Host
