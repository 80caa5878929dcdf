#pragma once

#include <cstddef>

#include "contracts/Core/Export.h"
#include "contracts/Core/IBlob.h"

struct AVBufferRef;

namespace Tarsel::Proc {

/// Bytes in an FFmpeg buffer, with the zeroed tail that FFmpeg's readers ask for.
class TARSEL_CONTRACTS_EXPORT BlobFF : public IBlob, public RefCounted {
  public:
    /// A copy of `size` bytes. Null when there is no memory for it.
    static iptr<IBlob> Create(u8 const* data, std::size_t size);
    /// `size` zero bytes. Null when there is no memory for it.
    static iptr<IBlob> Create(std::size_t size);
    /// A view of `size` bytes at `data`, which lie in `buffer`. The buffer is held as long as the blob lives.
    static iptr<IBlob> CreateView(AVBufferRef* buffer, u8* data, std::size_t size);

    ~BlobFF() override;
    u8 const* GetData() const override { return data; }
    u8* GetWritableData() override { return data; }
    std::size_t GetSize() const override { return size; }

  private:
    BlobFF(AVBufferRef* buffer, u8* data, std::size_t size) : buffer(buffer), data(data), size(size) {}

    AVBufferRef* buffer;  // owned
    u8* data;
    std::size_t size;
};

}  // namespace Tarsel::Proc
