#pragma once

#include <cstdint>
#include <memory>

#include "contracts/Core/Export.h"

namespace Tarsel::Host {

class GpuDevice;

/// What the texels of a texture are.
enum class GpuFormat {
    /// Four channels of 8 bits: the pictures.
    RGBA8,
    /// Four whole numbers of 16 bits: what stands between two passes.
    RGBA16,
    /// Four floats: tables that shaders look things up in.
    FLOATS,
};

/// A texture in GPU memory, and its device for as long as it lives. May be dropped on any thread, at any time: the
/// memory goes back to the device's pool behind all work that was given before.
class TARSEL_HOST_EXPORT GpuTexture {
  public:
    ~GpuTexture();
    GpuTexture(GpuTexture const&) = delete;
    GpuTexture& operator=(GpuTexture const&) = delete;

    GpuDevice& GetDevice() const { return *device; }
    GpuFormat GetFormat() const { return format; }
    int GetWidth() const { return width; }
    int GetHeight() const { return height; }

  private:
    friend class GpuDevice;
    GpuTexture(std::shared_ptr<GpuDevice> device, unsigned name, GpuFormat format, int width, int height);

    std::shared_ptr<GpuDevice> device;
    unsigned name;  // OpenGL's
    GpuFormat format;
    int width;
    int height;
};

using GpuTexturePtr = std::shared_ptr<GpuTexture const>;

}  // namespace Tarsel::Host
