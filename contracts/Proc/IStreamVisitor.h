#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Through it a host asks a built chain about itself. `GetType` says which collector stands behind it.
class TARSEL_CONTRACTS_EXPORT IStreamVisitor {
  public:
    enum Type : int { TYPE_INFO = 0, TYPE_FRAME_TYPE = 1, TYPE_DECODER = 2 };

    virtual ~IStreamVisitor();
    virtual int GetType() const = 0;
};

namespace Visitors {

/// The frame-type code of a plain filter.
inline constexpr int FRAME_TYPE_FILTER = 5;

/// Collects the filters' names, from the last filter to the source.
class TARSEL_CONTRACTS_EXPORT InfoCollector : public IStreamVisitor {
  public:
    int GetType() const override;
    std::vector<std::string> names;
};

/// Collects one frame-type code per filter.
class TARSEL_CONTRACTS_EXPORT FrameTypeCollector : public IStreamVisitor {
  public:
    int GetType() const override;
    std::vector<int> frameTypes;
};

/// Collects the decoders.
class TARSEL_CONTRACTS_EXPORT DecoderCollector : public IStreamVisitor {
  public:
    int GetType() const override;
    std::vector<iptr<IDecoder>> decoders;
};

/// Enters one filter into whatever collector the visitor is. A visitor of an unknown type throws `std::logic_error`
/// "Unknown visitor type".
TARSEL_CONTRACTS_EXPORT void Visit(IStreamVisitor& visitor, std::string const& name, int frameType, IDecoder* decoder);

}  // namespace Visitors
}  // namespace Tarsel::Proc
