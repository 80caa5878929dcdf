#include "contracts/Proc/IVideoPreviewSubscriber.h"

namespace Tarsel {

template class Core::EventPublisher<Proc::IVideoPreviewSubscriber>;

Proc::IVideoPreviewSubscriber::~IVideoPreviewSubscriber() = default;

}  // namespace Tarsel
