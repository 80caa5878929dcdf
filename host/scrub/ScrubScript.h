#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "host/scrub/TimeGrid.h"

namespace Tarsel::Host {

/// One thing that a person at a player does.
struct ScrubOperation {
    enum class Kind { Seek, Step };
    Kind kind = Kind::Seek;
    /// Of a seek microseconds, 0 or more; of a step a number of pictures, below 0 backwards, never 0.
    int64 value = 0;

    /// As a line of a script: "seek 12.500000", "step -3".
    TARSEL_HOST_EXPORT std::string ToText() const;
    bool operator==(ScrubOperation const&) const = default;
};

using ScrubScript = std::vector<ScrubOperation>;

inline constexpr std::size_t MAX_SCRUB_BYTES = std::size_t{8} << 20;
inline constexpr std::size_t MAX_SCRUB_OPERATIONS = 1000000;
/// Pictures of one step, either way.
inline constexpr int64 MAX_SCRUB_STEP = 1000000000;

/// Reads a script: UTF-8, a line "seek TIME" (a time as `ParseTime` takes it) or "step N" each; "#" begins a comment,
/// empty lines are passed over. What is wrong throws `Core::IOException` "NAME: line 3: ..."; `name` is the file's.
TARSEL_HOST_EXPORT ScrubScript ParseScrubScript(std::string const& text, std::string const& name);
/// The script of a file; "-" is the standard input. Throws like `ParseScrubScript`, and "NAME: ..." for a file that
/// can't be read or is too large.
TARSEL_HOST_EXPORT ScrubScript ReadScrubScript(std::string const& path);
/// The text that `ParseScrubScript` reads as this script.
TARSEL_HOST_EXPORT std::string WriteScrubScript(ScrubScript const& script);

/// A script like a person's: runs of steps of one to a few pictures either way, jumps near and far, some to the very
/// times of pictures, to the start and to the end. The same for the same arguments on every machine.
TARSEL_HOST_EXPORT ScrubScript MakeRandomScrub(std::size_t count, uint64 seed, TimeGrid const& grid, int64 duration);

}  // namespace Tarsel::Host
