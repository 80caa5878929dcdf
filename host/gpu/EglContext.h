#pragma once

#include <string>

namespace Tarsel::Host {

/// Where the context may come from.
enum class GpuChoice {
    /// A GPU where there is one, software otherwise.
    AUTO,
    /// The software rasteriser alone.
    SOFTWARE,
    /// Nowhere: nothing of the system's OpenGL is touched.
    NONE,
};

/// What the environment variable `TARSEL_GPU` asks for: "auto", "software" or "none"; unset and empty are "auto".
/// Throws `EffectException` for another word.
GpuChoice GetGpuChoice();

/// An OpenGL ES 3 context without a window, through EGL. Looked for in this order: a device that isn't software, the
/// platform that needs no surface, a software device, the default display.
///
/// Belongs to the thread that made it: that thread alone may destroy it. The display stays initialised for the rest of
/// the process, since EGL knows one per device and another context may live on it.
class EglContext {
  public:
    /// Makes the context and makes it current. Throws `EffectException`, which tells every way that was tried and what
    /// failed there.
    explicit EglContext(GpuChoice choice);
    ~EglContext();
    EglContext(EglContext const&) = delete;
    EglContext& operator=(EglContext const&) = delete;

    /// Which way led to it.
    std::string const& GetPlatform() const { return platform; }

  private:
    /// Tries one display and says what failed; an empty text is success.
    std::string TryDisplay(void* candidate);
    std::string MakeContext(void* config);

    // EGL's handles, which are untyped pointers.
    void* display = nullptr;
    void* context = nullptr;
    void* surface = nullptr;
    std::string platform;
};

}  // namespace Tarsel::Host
