#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

struct ass_library;
struct ass_renderer;
struct ass_track;

namespace Tarsel::Host {

struct FreeAss {
    void operator()(ass_library* object) const;
    void operator()(ass_renderer* object) const;
    void operator()(ass_track* object) const;
};
using AssLibrary = std::unique_ptr<ass_library, FreeAss>;
using AssRenderer = std::unique_ptr<ass_renderer, FreeAss>;
using AssTrack = std::unique_ptr<ass_track, FreeAss>;

/// How loud the text library is: what goes on with something else in the place of what was asked for, and what it
/// tells of each font that it chose.
constexpr int ASS_LOUDNESS_WARNING = 2;
constexpr int ASS_LOUDNESS_INFORMATION = 4;

/// Is told each message of the text library with its loudness, on the thread that works with it.
using AssListener = std::function<void(int, std::string const&)>;

/// Null where the library can't be opened. The listener outlives what is returned.
AssLibrary OpenAssLibrary(AssListener const& listener);
/// Null where there is no memory for it.
AssRenderer OpenAssRenderer(ass_library& library);
/// Gives the renderer the installed fonts, and those that its library has been given. What isn't found is drawn in
/// `family`. Waits for the lock below.
void OpenAssFonts(ass_renderer& renderer, char const* family);

/// Held while the configuration of the fonts is read, which is one for the process. No other lock is taken under it;
/// whoever waits for it waits for another's reading.
std::unique_lock<std::mutex> LockFontConfiguration();

}  // namespace Tarsel::Host
