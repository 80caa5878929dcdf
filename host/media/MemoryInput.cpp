#include "host/media/MemoryInput.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

namespace {

constexpr int BUFFER_SIZE = 4096;

struct Source {
    SharedBytes bytes;
    std::size_t position = 0;
};

int ReadSome(void* opaque, uint8_t* buffer, int size) {
    Source& source = *static_cast<Source*>(opaque);
    std::size_t const count =
        std::min(static_cast<std::size_t>(std::max(size, 0)), source.bytes->size() - source.position);
    if (count == 0) return AVERROR_EOF;
    std::memcpy(buffer, source.bytes->data() + source.position, count);
    source.position += count;
    return static_cast<int>(count);
}

int64_t SeekTo(void* opaque, int64_t offset, int whence) {
    Source& source = *static_cast<Source*>(opaque);
    auto const size = static_cast<int64_t>(source.bytes->size());
    whence &= ~AVSEEK_FORCE;
    if (whence == AVSEEK_SIZE) return size;
    int64_t const from = whence == SEEK_CUR ? static_cast<int64_t>(source.position) : whence == SEEK_END ? size : 0;
    if (offset < -from || offset > size - from) return AVERROR(EINVAL);
    source.position = static_cast<std::size_t>(from + offset);
    return from + offset;
}

}  // namespace

void ReadFromMemory(AVFormatContext& context, SharedBytes bytes) {
    auto source = std::make_unique<Source>(Source{std::move(bytes)});
    auto* const buffer = static_cast<unsigned char*>(av_malloc(BUFFER_SIZE));
    AVIOContext* const input =
        buffer ? avio_alloc_context(buffer, BUFFER_SIZE, 0, source.get(), ReadSome, nullptr, SeekTo) : nullptr;
    if (!input) {
        av_free(buffer);
        TARSEL_THROW(Core::IOException, "out of memory");
    }
    (void)source.release();
    context.pb = input;
    context.flags |= AVFMT_FLAG_CUSTOM_IO;
}

void FreeMemoryInput(AVIOContext* input) {
    if (!input) return;
    delete static_cast<Source*>(input->opaque);
    av_freep(&input->buffer);
    avio_context_free(&input);
}

}  // namespace Tarsel::Host
