// The clips that whole-file tests work on, as arguments of the ffmpeg command. Pictures and sound come from its
// generators, so nothing is checked in. Pictures are small (160x120 and the like) and never stand still: a test that
// counts pictures needs each to differ from its neighbour.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Tarsel::Test {

struct ClipRecipe {
    /// File name with the extension that chooses the container.
    std::string name;
    /// Arguments between `ffmpeg -y` and the output file. "{file:NAME}" stands for the path of one of `files`,
    /// "{clip:NAME}" for the path of another clip of the family.
    std::vector<std::string> arguments;
    /// Name and content of the text files that the arguments refer to.
    std::vector<std::pair<std::string, std::string>> files;
};

/// Path of a clip of the family, which is made when it is first asked for. Throws `std::runtime_error` for an unknown
/// name and when ffmpeg fails.
std::string FamilyClip(std::string const& name);

/// All clips. Their names are unique.
std::vector<ClipRecipe> const& MediaFamily();

}  // namespace Tarsel::Test
