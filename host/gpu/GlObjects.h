#pragma once

#include <deque>
#include <map>

#include "host/gpu/GpuDevice.h"

namespace Tarsel::Host {

/// The objects of one OpenGL context. Everything here belongs to the thread of the context. Failures are
/// `EffectException`s.
///
/// Textures that nobody holds any more wait in a pool for the next one of their size, up to `POOL_BYTES`; the ones that
/// have waited longest go first.
class GlObjects {
  public:
    static constexpr int64 POOL_BYTES = int64{192} << 20;

    GlObjects();
    ~GlObjects();
    GlObjects(GlObjects const&) = delete;
    GlObjects& operator=(GlObjects const&) = delete;

    /// A texture of the pool or a new one; `reused` says which.
    unsigned TakeTexture(GpuFormat format, int width, int height, bool& reused);
    void GiveTexture(unsigned name, GpuFormat format, int width, int height);
    /// `stride` in bytes.
    static void Write(unsigned name, GpuFormat format, GpuArea const& area, void const* from, std::ptrdiff_t stride);
    void Read(unsigned name, GpuArea const& area, u8* to, std::ptrdiff_t stride);
    void Copy(unsigned from, GpuArea const& area, unsigned to);
    void Clear(unsigned name, float red, float green, float blue, float alpha);
    /// `names` are those of the inputs' textures, in their order.
    void Draw(GpuDraw const& draw, std::vector<unsigned> const& names, unsigned target);

    /// Throws when one of the calls since the last check failed; `what` is the beginning of the text.
    static void Check(std::string const& what);

  private:
    struct Pooled {
        unsigned name;
        GpuFormat format;
        int width;
        int height;
    };

    unsigned GetProgram(char const* shader);
    void ShrinkPool(int64 bytes);
    void BindTarget(unsigned name);

    std::deque<Pooled> pool;  // the one that has waited longest in front
    int64 pooledBytes = 0;
    std::map<char const*, unsigned> programs;
    unsigned targetBuffer = 0;
    unsigned sourceBuffer = 0;
    unsigned vertices = 0;
};

}  // namespace Tarsel::Host
