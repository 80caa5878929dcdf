#include "contracts/Core/Exception.h"

#include <execinfo.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <unordered_map>

#include "contracts/Core/Mutex.h"

namespace Tarsel {

namespace {

// The line of each address that has been told before. To find the name of an address all symbols of its library are
// searched, which would make a damaged stream, where one packet after the other fails, slow to read.
class CallStackLines {
  public:
    void Append(void* address, std::string& text) {
        Core::MutexLock const lock(mutex);
        auto found = lines.find(address);
        if (found == lines.end()) {
            if (lines.size() >= LIMIT) lines.clear();
            found = lines.emplace(address, Describe(address)).first;
        }
        text += found->second;
    }

  private:
    // A program throws from a few thousand places at most.
    static constexpr std::size_t LIMIT = 8192;

    static std::string Describe(void* address) {
        std::unique_ptr<char*, void (*)(void*)> const line(backtrace_symbols(&address, 1),
                                                           [](void* memory) { std::free(memory); });
        return line ? std::string(*line.get()) + '\n' : std::string();
    }

    Core::Mutex mutex;
    std::unordered_map<void*, std::string> lines TARSEL_GUARDED_BY(mutex);
};

}  // namespace

std::string GetCallStack() {
    constexpr int MAX_FRAMES = 32;
    std::array<void*, MAX_FRAMES> frames{};
    int const count = backtrace(frames.data(), MAX_FRAMES);
    // Never destroyed: destructors of static objects may fail too.
    static CallStackLines& lines = *new CallStackLines;
    std::string text;
    // Frame 0 is this function: the caller's stack begins behind it.
    for (int i = 1; i < count; ++i) lines.Append(frames[static_cast<std::size_t>(i)], text);
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
FilterEffectException::~FilterEffectException() noexcept = default;
EncoderException::~EncoderException() noexcept = default;
CodecFactoryException::~CodecFactoryException() noexcept = default;
}  // namespace Proc

}  // namespace Tarsel
