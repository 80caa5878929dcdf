#include "host/gpu/GpuDevice.h"

#include <GLES3/gl3.h>
#include <glog/logging.h>

#include <cstdlib>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/gpu/EglContext.h"
#include "host/gpu/GlObjects.h"

namespace Tarsel::Host {

using Proc::EffectException;

/// The context, and what lives in it: made and destroyed on the device's thread.
struct GpuDevice::Gl {
    explicit Gl(GpuChoice choice) : context(choice) {}

    EglContext context;
    GlObjects objects;
};

namespace {

/// The one device of the process. Never destroyed: frames in static variables may outlive everything.
struct Current {
    Core::Mutex mutex;  // in front of the lock of the device's queue
    std::weak_ptr<GpuDevice> device TARSEL_GUARDED_BY(mutex);
    bool closesAtExit TARSEL_GUARDED_BY(mutex) = false;
};

Current& GetCurrent() {
    static auto* const current = new Current();
    return *current;
}

/// OpenGL's libraries clean up behind themselves at the end of the process, while the device's thread still runs.
/// Handlers run in the order opposite to the one in which they were entered, and OpenGL entered its own before.
void CloseCurrent() {
    std::shared_ptr<GpuDevice> device;
    {
        Core::MutexLock const lock(GetCurrent().mutex);
        device = GetCurrent().device.lock();
    }
    if (device) device->Close();
}

float Share(u8 value) {
    return static_cast<float>(value) / 255.0F;
}

}  // namespace

GpuTexture::GpuTexture(std::shared_ptr<GpuDevice> device, unsigned name, GpuFormat format, int width, int height)
    : device(std::move(device)), name(name), format(format), width(width), height(height) {}

GpuTexture::~GpuTexture() {
    device->Release(*this);
}

std::shared_ptr<GpuDevice> GpuDevice::Get() {
    Current& current = GetCurrent();
    Core::MutexLock const lock(current.mutex);
    std::shared_ptr<GpuDevice> device = current.device.lock();
    if (device) return device;
    device.reset(new GpuDevice());
    current.device = device;
    if (!current.closesAtExit) std::atexit(CloseCurrent);
    current.closesAtExit = true;
    VLOG(2) << "Frames in GPU memory are on " << device->renderer << " (" << device->platform << ")";
    return device;
}

GpuDevice::GpuDevice() {
    GpuChoice const choice = GetGpuChoice();
    thread.Run([&] {
        gl = std::make_unique<Gl>(choice);
        platform = gl->context.GetPlatform();
        renderer = reinterpret_cast<char const*>(glGetString(GL_RENDERER));
        glGetIntegerv(GL_MAX_TEXTURE_SIZE, &largestSize);
    });
}

GpuDevice::~GpuDevice() {
    Close();
}

void GpuDevice::Close() {
    thread.Stop([this] { gl.reset(); });
}

GpuCounters GpuDevice::GetCounters() const {
    return {uploads, downloads, copies, draws, texturesMade, texturesReused, texturesHeld};
}

GpuTexturePtr GpuDevice::MakeTexture(GpuFormat format, int width, int height) {
    if (width < 1 || height < 1 || width > largestSize || height > largestSize)
        TARSEL_THROW(EffectException, "A picture of " + std::to_string(width) + "x" + std::to_string(height) +
                                          " can't be in GPU memory, which takes 1x1 to " + std::to_string(largestSize) +
                                          "x" + std::to_string(largestSize));
    unsigned name = 0;
    bool reused = false;
    thread.Run([&] { name = gl->objects.TakeTexture(format, width, height, reused); });
    ++(reused ? texturesReused : texturesMade);
    ++texturesHeld;
    return GpuTexturePtr(new GpuTexture(shared_from_this(), name, format, width, height));
}

GpuTexturePtr GpuDevice::MakeTable(int width, int height, std::vector<float> const& values) {
    GpuTexturePtr table = MakeTexture(GpuFormat::FLOATS, width, height);
    thread.Run([&] {
        GlObjects::Write(table->name, GpuFormat::FLOATS, {0, 0, width, height}, values.data(),
                         static_cast<std::ptrdiff_t>(4 * sizeof(float)) * width);
    });
    return table;
}

void GpuDevice::Release(GpuTexture const& texture) noexcept {
    --texturesHeld;
    thread.Post([this, name = texture.name, format = texture.format, width = texture.width, height = texture.height] {
        gl->objects.GiveTexture(name, format, width, height);
    });
}

void GpuDevice::Upload(GpuTexture const& to, u8 const* from, std::ptrdiff_t stride) {
    thread.Run([&] { GlObjects::Write(to.name, GpuFormat::RGBA8, {0, 0, to.width, to.height}, from, stride); });
    ++uploads;
}

void GpuDevice::Download(GpuTexture const& from, u8* to, std::ptrdiff_t stride) {
    thread.Run([&] { gl->objects.Read(from.name, {0, 0, from.width, from.height}, to, stride); });
    ++downloads;
}

void GpuDevice::Copy(GpuTexture const& from, GpuTexture const& to) {
    thread.Run([&] { gl->objects.Copy(from.name, {0, 0, from.width, from.height}, to.name); });
    ++copies;
}

void GpuDevice::CopyArea(GpuTexture const& from, GpuArea const& area, GpuTexture const& to) {
    thread.Run([&] { gl->objects.Copy(from.name, area, to.name); });
}

void GpuDevice::Clear(GpuTexture const& to, u8 red, u8 green, u8 blue, u8 alpha) {
    thread.Run([&] { gl->objects.Clear(to.name, Share(red), Share(green), Share(blue), Share(alpha)); });
}

void GpuDevice::Draw(GpuDraw const& draw) {
    std::vector<unsigned> names;
    for (GpuDraw::Input const& input : draw.inputs) names.push_back(input.texture->name);
    thread.Run([&] { gl->objects.Draw(draw, names, draw.target->name); });
    ++draws;
}

}  // namespace Tarsel::Host
