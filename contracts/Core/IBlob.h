#pragma once

#include <cstddef>

#include "contracts/Core/RefCount.h"
#include "contracts/Core/Types.h"

namespace Tarsel {

/// A run of bytes under shared ownership.
class TARSEL_CONTRACTS_EXPORT IBlob : public virtual IRefCountable {
  public:
    /// The bytes; null only when the size is 0.
    virtual u8 const* GetData() const = 0;
    /// The bytes for writing. The caller makes sure that nobody else reads them.
    virtual u8* GetWritableData() = 0;
    /// Number of bytes.
    virtual std::size_t GetSize() const = 0;
};

}  // namespace Tarsel
