#include "host/text/AssObjects.h"

#include <ass/ass.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace Tarsel::Host {

namespace {

void Listen(int loudness, char const* format, va_list arguments, void* listener) {
    std::array<char, 512> line{};
    std::vsnprintf(line.data(), line.size(), format, arguments);
    (*static_cast<AssListener const*>(listener))(loudness, line.data());
}

}  // namespace

void FreeAss::operator()(ass_library* object) const {
    ass_library_done(object);
}
void FreeAss::operator()(ass_renderer* object) const {
    ass_renderer_done(object);
}
void FreeAss::operator()(ass_track* object) const {
    ass_free_track(object);
}

AssLibrary OpenAssLibrary(AssListener const& listener) {
    AssLibrary library(ass_library_init());
    if (library) ass_set_message_cb(library.get(), Listen, const_cast<AssListener*>(&listener));
    return library;
}

AssRenderer OpenAssRenderer(ass_library& library) {
    return AssRenderer(ass_renderer_init(&library));
}

void OpenAssFonts(ass_renderer& renderer, char const* family) {
    auto const lock = LockFontConfiguration();
    ass_set_fonts(&renderer, nullptr, family, ASS_FONTPROVIDER_FONTCONFIG, nullptr, 1);
}

std::unique_lock<std::mutex> LockFontConfiguration() {
    static std::mutex mutex;
    return std::unique_lock<std::mutex>(mutex);
}

}  // namespace Tarsel::Host
