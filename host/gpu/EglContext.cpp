#include "host/gpu/EglContext.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <vector>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

using Proc::EffectException;

namespace {

constexpr char CHOICE_VARIABLE[] = "TARSEL_GPU";

/// One way to a display.
struct Way {
    std::string name;
    std::function<void*()> open;
};

std::string EglError(char const* call) {
    std::ostringstream text;
    text << call << " failed (0x" << std::hex << eglGetError() << ")";
    return text.str();
}

/// Whether a list of names, spaces in between, has one.
bool Names(char const* list, std::string const& name) {
    return list && (" " + std::string(list) + " ").find(" " + name + " ") != std::string::npos;
}

template <class Function>
Function Find(char const* name) {
    return reinterpret_cast<Function>(eglGetProcAddress(name));
}

void* OpenPlatform(EGLenum kind, void* native) {
    auto const open = Find<PFNEGLGETPLATFORMDISPLAYEXTPROC>("eglGetPlatformDisplayEXT");
    return open ? open(kind, native, nullptr) : EGL_NO_DISPLAY;
}

/// The devices that EGL lists, software ones or the others.
std::vector<Way> DeviceWays(char const* extensions, bool software) {
    std::vector<Way> ways;
    bool const listed = Names(extensions, "EGL_EXT_device_base") || Names(extensions, "EGL_EXT_device_enumeration");
    auto const query = Find<PFNEGLQUERYDEVICESEXTPROC>("eglQueryDevicesEXT");
    auto const describe = Find<PFNEGLQUERYDEVICESTRINGEXTPROC>("eglQueryDeviceStringEXT");
    if (!listed || !query || !describe || !Names(extensions, "EGL_EXT_platform_device")) return ways;
    std::array<EGLDeviceEXT, 16> devices{};
    EGLint count = 0;
    if (!query(static_cast<EGLint>(devices.size()), devices.data(), &count)) return ways;
    for (int i = 0; i < count; ++i) {
        EGLDeviceEXT const device = devices[static_cast<std::size_t>(i)];
        if (Names(describe(device, EGL_EXTENSIONS), "EGL_MESA_device_software") != software) continue;
        ways.push_back({(software ? "software device " : "device ") + std::to_string(i),
                        [device] { return OpenPlatform(EGL_PLATFORM_DEVICE_EXT, device); }});
    }
    return ways;
}

std::vector<Way> FindWays(GpuChoice choice) {
    char const* const extensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (choice == GpuChoice::SOFTWARE) return DeviceWays(extensions, true);
    std::vector<Way> ways = DeviceWays(extensions, false);
    if (Names(extensions, "EGL_MESA_platform_surfaceless"))
        ways.push_back(
            {"surfaceless", [] { return OpenPlatform(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY); }});
    for (Way const& way : DeviceWays(extensions, true)) ways.push_back(way);
    ways.push_back({"default display", [] { return eglGetDisplay(EGL_DEFAULT_DISPLAY); }});
    return ways;
}

}  // namespace

GpuChoice GetGpuChoice() {
    char const* const value = std::getenv(CHOICE_VARIABLE);
    std::string const word = value ? value : "";
    if (word.empty() || word == "auto") return GpuChoice::AUTO;
    if (word == "software") return GpuChoice::SOFTWARE;
    if (word == "none") return GpuChoice::NONE;
    TARSEL_THROW(EffectException,
                 std::string(CHOICE_VARIABLE) + " is \"" + word + "\"; it can be auto, software or none");
}

EglContext::EglContext(GpuChoice choice) {
    if (choice == GpuChoice::NONE)
        TARSEL_THROW(EffectException, std::string("The GPU is switched off (") + CHOICE_VARIABLE + " is none)");
    std::string failures;
    for (Way const& way : FindWays(choice)) {
        std::string const failure = TryDisplay(way.open());
        if (failure.empty()) {
            platform = way.name;
            return;
        }
        failures += (failures.empty() ? "" : "; ") + way.name + ": " + failure;
    }
    if (failures.empty()) failures = "EGL lists no device of this kind";
    TARSEL_THROW(EffectException, "There is no OpenGL ES 3 for frames in GPU memory: " + failures);
}

std::string EglContext::TryDisplay(void* candidate) {
    if (candidate == EGL_NO_DISPLAY) return "there is no such display";
    display = candidate;
    EGLint major = 0;
    EGLint minor = 0;
    if (!eglInitialize(display, &major, &minor)) return EglError("eglInitialize");
    if (!eglBindAPI(EGL_OPENGL_ES_API)) return EglError("eglBindAPI");
    std::array<EGLint, 13> const wanted{EGL_SURFACE_TYPE,
                                        EGL_PBUFFER_BIT,
                                        EGL_RENDERABLE_TYPE,
                                        EGL_OPENGL_ES3_BIT,
                                        EGL_RED_SIZE,
                                        8,
                                        EGL_GREEN_SIZE,
                                        8,
                                        EGL_BLUE_SIZE,
                                        8,
                                        EGL_ALPHA_SIZE,
                                        8,
                                        EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (!eglChooseConfig(display, wanted.data(), &config, 1, &count)) return EglError("eglChooseConfig");
    if (count < 1) return "no configuration has OpenGL ES 3";
    return MakeContext(config);
}

std::string EglContext::MakeContext(void* config) {
    std::array<EGLint, 3> const version{EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
    context = eglCreateContext(display, config, EGL_NO_CONTEXT, version.data());
    if (context == EGL_NO_CONTEXT) return EglError("eglCreateContext");
    surface = EGL_NO_SURFACE;
    if (!Names(eglQueryString(display, EGL_EXTENSIONS), "EGL_KHR_surfaceless_context")) {
        std::array<EGLint, 5> const size{EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
        surface = eglCreatePbufferSurface(display, config, size.data());
    }
    if (eglMakeCurrent(display, surface, surface, context)) return "";
    std::string const failure = EglError("eglMakeCurrent");
    if (surface != EGL_NO_SURFACE) eglDestroySurface(display, surface);
    eglDestroyContext(display, context);
    surface = EGL_NO_SURFACE;
    context = EGL_NO_CONTEXT;
    return failure;
}

EglContext::~EglContext() {
    eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (surface != EGL_NO_SURFACE) eglDestroySurface(display, surface);
    eglDestroyContext(display, context);
    eglReleaseThread();
}

}  // namespace Tarsel::Host
