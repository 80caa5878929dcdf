#include "contracts/Core/Exception.h"

#include <execinfo.h>

#include <array>
#include <cstdlib>
#include <memory>

namespace Tarsel {

std::string GetCallStack() {
    constexpr int MAX_FRAMES = 32;
    std::array<void*, MAX_FRAMES> frames{};
    int const count = backtrace(frames.data(), MAX_FRAMES);
    std::unique_ptr<char*, void (*)(void*)> const lines(backtrace_symbols(frames.data(), count),
                                                        [](void* memory) { std::free(memory); });
    std::string text;
    // Frame 0 is this function: the caller's stack begins behind it.
    for (int i = 1; lines && i < count; ++i) {
        text += lines.get()[i];
        text += '\n';
    }
    return text;
}

Exception::Exception() = default;
Exception::Exception(Exception const&) = default;
Exception& Exception::operator=(Exception const&) = default;
Exception::~Exception() noexcept = default;

char const* Exception::what() const noexcept {
    std::string const* const description = boost::get_error_info<TagDescription>(*this);
    return description ? description->c_str() : "Tarsel::Exception";
}

namespace Core {
CoreException::~CoreException() noexcept = default;
IOException::~IOException() noexcept = default;
ComputingResourceException::~ComputingResourceException() noexcept = default;
NotEnoughResource::~NotEnoughResource() noexcept = default;
}  // namespace Core

namespace Proc {
ProcException::~ProcException() noexcept = default;
FilterException::~FilterException() noexcept = default;
AlgorithmException::~AlgorithmException() noexcept = default;
EffectException::~EffectException() noexcept = default;
EncoderException::~EncoderException() noexcept = default;
CodecFactoryException::~CodecFactoryException() noexcept = default;
}  // namespace Proc

}  // namespace Tarsel
