#pragma once

#include <atomic>
#include <cstdarg>
#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/Types.h"

struct AVCodecContext;

namespace Tarsel::Host {

/// Sends the lines of the FFmpeg libraries to this system's log: errors and warnings as such, everything else by
/// verbosity (information 2, verbose 11, debug 4000). The first call installs it; further ones do nothing. From any
/// thread.
TARSEL_HOST_EXPORT void RouteLibavLog();

/// Counts what one codec context says while it works, its worker threads included. It takes the context's `opaque`
/// field and must outlive the context. All reads are safe from any thread.
class TARSEL_HOST_EXPORT LibavLogWatch {
  public:
    LibavLogWatch();
    ~LibavLogWatch();
    LibavLogWatch(LibavLogWatch const&) = delete;
    LibavLogWatch& operator=(LibavLogWatch const&) = delete;

    /// Call it before the context is opened: worker threads inherit the field.
    void Attach(AVCodecContext& context);
    /// While set, lines are neither counted nor shown above verbosity 21: a decoder that starts in mid-stream complains
    /// of what it never got.
    void SetQuiet(bool value) { quiet = value; }

    uint64 GetErrorCount() const { return errors; }
    uint64 GetWarningCount() const { return warnings; }
    /// The first error since construction, empty when there was none.
    std::string GetFirstError() const;
    /// The last error or warning, empty when there was none.
    std::string GetLastText() const;

  private:
    friend void HandleLibavLine(void* object, int level, char const* format, va_list arguments);
    /// Returns whether the line is to be hidden.
    bool Note(int level, std::string const& text);

    std::atomic<uint64> errors{0};
    std::atomic<uint64> warnings{0};
    std::atomic<bool> quiet{false};
    mutable Core::Mutex textLock;
    std::string firstError TARSEL_GUARDED_BY(textLock);
    std::string lastText TARSEL_GUARDED_BY(textLock);
};

}  // namespace Tarsel::Host
