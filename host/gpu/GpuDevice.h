#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"
#include "host/gpu/GpuTexture.h"
#include "host/gpu/GpuThread.h"

namespace Tarsel::Host {

/// What a device has done since it was opened.
struct GpuCounters {
    /// Pictures that came from processor memory, and that went there.
    int64 uploads = 0;
    int64 downloads = 0;
    /// Whole pictures that were copied within GPU memory.
    int64 copies = 0;
    int64 draws = 0;
    /// Textures that were allocated, and that the pool had.
    int64 texturesMade = 0;
    int64 texturesReused = 0;
    /// Textures that somebody holds now. Asked for when nothing is under way, it is exact.
    int64 texturesHeld = 0;
};

/// A part of a picture in pixels.
struct GpuArea {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==(GpuArea const&) const = default;
};

/// One run of a fragment shader over an area of a texture.
struct GpuDraw {
    struct Input {
        char const* sampler;
        GpuTexture const* texture;
    };
    struct Ints {
        char const* uniform;
        std::vector<int> values;  // 1, 2 or 4
    };

    /// A text that lives as long as the program: devices know their compiled shaders by its address.
    char const* shader = nullptr;
    std::vector<Input> inputs;
    std::vector<Ints> ints = {};
    /// None of the inputs.
    GpuTexture const* target = nullptr;
    GpuArea area;
};

/// The GPU, or the software rasteriser: one context of OpenGL ES 3, made on first use and kept as long as textures or
/// other users hold it.
///
/// All of OpenGL is called on one thread of the device's own, which does the work of all others in their order. Frames
/// are made, used and dropped on any thread, and a context that moves from thread to thread must be flushed and bound
/// anew each time, leaves the driver's data behind in every thread that ever touched it, and can't be entered by the
/// destructor of a frame without a wait. Here a dropped frame is a note in a queue.
///
/// Any thread may call everything. All but the counters wait for the thread, and throw `EffectException` when OpenGL
/// fails or the device has been closed, which the end of the process does: what is dropped behind that is gone with the
/// context.
class TARSEL_HOST_EXPORT GpuDevice : public std::enable_shared_from_this<GpuDevice> {
  public:
    /// The device of the process; it is opened when there is none. Throws `EffectException` when it can't be.
    static std::shared_ptr<GpuDevice> Get();

    ~GpuDevice();
    GpuDevice(GpuDevice const&) = delete;
    GpuDevice& operator=(GpuDevice const&) = delete;

    /// What draws, in the driver's words, and how it was found.
    std::string const& GetRenderer() const { return renderer; }
    std::string const& GetPlatform() const { return platform; }
    /// The largest width and height of a texture.
    int GetLargestSize() const { return largestSize; }
    GpuCounters GetCounters() const;

    /// A texture whose texels are undefined.
    GpuTexturePtr MakeTexture(GpuFormat format, int width, int height);
    /// A texture of floats, four a cell, row by row.
    GpuTexturePtr MakeTable(int width, int height, std::vector<float> const& values);
    /// RGBA from processor memory, rows `stride` bytes apart.
    void Upload(GpuTexture const& to, u8 const* from, std::ptrdiff_t stride);
    void Download(GpuTexture const& from, u8* to, std::ptrdiff_t stride);
    /// Copies a whole picture to one of its size.
    void Copy(GpuTexture const& from, GpuTexture const& to);
    /// Copies a part of a picture to the upper left corner of another one.
    void CopyArea(GpuTexture const& from, GpuArea const& area, GpuTexture const& to);
    /// Paints a whole picture; 0 to 255 each.
    void Clear(GpuTexture const& to, u8 red, u8 green, u8 blue, u8 alpha);
    void Draw(GpuDraw const& draw);

    /// Frees everything and stops the thread; further calls throw.
    void Close();

  private:
    friend class GpuTexture;
    struct Gl;  // what the thread alone touches

    GpuDevice();
    void Release(GpuTexture const& texture) noexcept;
    void CountTexture(bool reused);

    std::string renderer;
    std::string platform;
    int largestSize = 0;
    std::atomic<int64> uploads{0};
    std::atomic<int64> downloads{0};
    std::atomic<int64> copies{0};
    std::atomic<int64> draws{0};
    std::atomic<int64> texturesMade{0};
    std::atomic<int64> texturesReused{0};
    std::atomic<int64> texturesHeld{0};
    std::unique_ptr<Gl> gl;
    GpuThread thread;
};

}  // namespace Tarsel::Host
