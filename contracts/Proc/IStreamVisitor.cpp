#include "contracts/Proc/IStreamVisitor.h"

#include <stdexcept>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

IStreamVisitor::~IStreamVisitor() = default;

int Visitors::InfoCollector::GetType() const {
    return TYPE_INFO;
}
int Visitors::FrameTypeCollector::GetType() const {
    return TYPE_FRAME_TYPE;
}
int Visitors::DecoderCollector::GetType() const {
    return TYPE_DECODER;
}

void Visitors::Visit(IStreamVisitor& visitor, std::string const& name, int frameType, IDecoder* decoder) {
    switch (visitor.GetType()) {
        case IStreamVisitor::TYPE_INFO:
            dynamic_cast<InfoCollector&>(visitor).names.push_back(name);
            break;
        case IStreamVisitor::TYPE_FRAME_TYPE:
            dynamic_cast<FrameTypeCollector&>(visitor).frameTypes.push_back(frameType);
            break;
        case IStreamVisitor::TYPE_DECODER:
            if (decoder) dynamic_cast<DecoderCollector&>(visitor).decoders.emplace_back(decoder);
            break;
        default:
            TARSEL_THROW(std::logic_error, "Unknown visitor type");
    }
}

}  // namespace Tarsel::Proc
