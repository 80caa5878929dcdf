#pragma once

#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// A filter that takes further streams of kind `T` into the one that it was made over. Those streams belong to the
/// filter from then on: its seeks move them, too.
template <class T>
class TARSEL_CONTRACTS_EXPORT IStreamCombiner : public virtual IRefCountable {
  public:
    ~IStreamCombiner() override;
    /// Takes a stream in before reading has begun. Which options there are, and which of them must stand in the
    /// property, tells the filter's own interface.
    virtual void CombineStream(iptr<T> const& stream, Core::Property const& options) = 0;
    void CombineStream(iptr<T> const& stream) { CombineStream(stream, Core::Property()); }
};

extern template class IStreamCombiner<IStreamVideo>;
extern template class IStreamCombiner<IStreamSubtitle>;

}  // namespace Tarsel::Proc
