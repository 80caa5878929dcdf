#include "contracts/Proc/BlobFF.h"

#include <cstring>
#include <limits>

extern "C" {
#include <libavcodec/defs.h>
#include <libavutil/buffer.h>
}

namespace Tarsel::Proc {

iptr<IBlob> BlobFF::Create(u8 const* data, std::size_t size) {
    iptr<IBlob> blob = Create(size);
    if (blob && size != 0) std::memcpy(blob->GetWritableData(), data, size);
    return blob;
}

iptr<IBlob> BlobFF::Create(std::size_t size) {
    if (size > std::numeric_limits<std::size_t>::max() - AV_INPUT_BUFFER_PADDING_SIZE) return nullptr;
    AVBufferRef* const buffer = av_buffer_allocz(size + AV_INPUT_BUFFER_PADDING_SIZE);
    if (!buffer) return nullptr;
    return iptr<IBlob>(new BlobFF(buffer, buffer->data, size));
}

iptr<IBlob> BlobFF::CreateView(AVBufferRef* buffer, u8* data, std::size_t size) {
    AVBufferRef* const own = buffer ? av_buffer_ref(buffer) : nullptr;
    if (buffer && !own) return nullptr;
    return iptr<IBlob>(new BlobFF(own, data, size));
}

BlobFF::~BlobFF() {
    av_buffer_unref(&buffer);
}

}  // namespace Tarsel::Proc
