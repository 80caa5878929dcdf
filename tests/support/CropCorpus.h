// Clips with bars whose place is known, drawn by lavfi and encoded by the ffmpeg command.
#pragma once

#include <string>
#include <vector>

#include "contracts/Proc/CropInfo.h"

namespace Tarsel::Test {

struct CropClip {
    /// What is the matter with a detection on it.
    enum class Aim {
        Found,     // the region, within the table's resolution
        NotKnown,  // there is nothing to go by
        Beyond,    // what changes in a bar, or what doesn't in the picture, leads it astray: told, not promised
    };

    std::string name;
    /// For people: what is in it.
    std::string content;
    int width = 0;
    int height = 0;
    /// Where the picture is.
    Proc::CropInfo picture;
    Aim aim = Aim::Found;
    /// Whether it is small and quick enough to be made in each run of the tests.
    bool isSmall = false;
    /// Of the ffmpeg command, all but the output.
    std::vector<std::string> arguments;
    std::string extension = ".mp4";

    /// Makes the clip if it isn't there yet; its path.
    std::string Make() const;
    /// Three cells of the table that lines are compared in, in pixels: how far an edge that was found may lie from the
    /// true one. The corpus' own word, from the sizes alone.
    Proc::CropInfo Tolerance() const;
    bool IsNear(Proc::CropInfo const& found) const;
    /// Whether more of the picture than that lies outside.
    bool CutsOff(Proc::CropInfo const& found) const;
};

std::vector<CropClip> const& CropCorpus();
/// Throws `std::runtime_error` for a name that isn't among them.
CropClip const& FindCropClip(std::string const& name);

}  // namespace Tarsel::Test
