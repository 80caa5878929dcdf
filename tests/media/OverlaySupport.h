// Clips that are drawn on one another, and what is to be seen of them.
#pragma once

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {

/// Luma of the flat grounds that tests draw on.
inline constexpr int GROUND = 235;

/// A flat, bright film without sound.
inline std::string Ground(std::string const& rate = "25", std::string const& seconds = "2",
                          std::string const& format = "yuv420p") {
    std::string name = "overlay-ground-" + rate + "-" + seconds + "-" + format + ".mkv";
    for (char& letter : name)
        if (letter == '/') letter = '_';
    return MakeClip(name, {"-f", "lavfi", "-i",
                           "color=s=128x96:r=" + rate + ":d=" + seconds + ",format=" + format +
                               ",geq=lum=235:cb=128:cr=128,format=" + format,
                           "-c:v", "ffv1"});
}

/// A film whose picture N is flat, of luma 20 + 4 N.
inline std::string Counter(std::string const& rate = "25", int pictures = 10, std::string const& more = "") {
    std::string name = "overlay-counter-" + rate + "-" + std::to_string(pictures) + ".mkv";
    for (char& letter : name)
        if (letter == '/') letter = '_';
    return MakeClip(name, {"-f", "lavfi", "-i",
                           "color=s=32x32:r=" + rate + ":d=100,format=yuv420p,geq=lum='20+4*N':cb=128:cr=128" + more,
                           "-frames:v", std::to_string(pictures), "-c:v", "ffv1"});
}

/// A colour of logos: red, green, blue, alpha.
struct LogoColor {
    int red;
    int green;
    int blue;
    int alpha;
};
inline constexpr LogoColor ROSE{200, 40, 90, 153};

/// A flat picture, as a file of that name; `more` tells how it is written.
inline std::string Flat(std::string const& name, LogoColor const& color, std::string const& size,
                        std::vector<std::string> const& more) {
    auto const is = [](char part, int value) { return std::string(1, part) + "=" + std::to_string(value); };
    std::vector<std::string> arguments{"-f", "lavfi", "-i",
                                       "color=s=" + size + ":r=25:d=2,format=gbrap,geq=" + is('r', color.red) + ":" +
                                           is('g', color.green) + ":" + is('b', color.blue) + ":" +
                                           is('a', color.alpha) + ",format=rgba"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return MakeClip("overlay-" + name, arguments);
}

inline std::vector<DecodedPicture> PicturesOf(std::string const& path) {
    Messages messages;
    auto pictures = DecodePictures(path, 0, messages);
    EXPECT_THAT(messages, ::testing::IsEmpty()) << path;
    return pictures;
}

inline int LumaAt(DecodedPicture const& picture, int x, int y) {
    return picture.pixels.at(static_cast<std::size_t>(y * picture.width + x));
}

/// Luma at a place of each picture.
inline std::vector<int> LumasAt(std::string const& path, int x, int y) {
    std::vector<int> lumas;
    for (DecodedPicture const& picture : PicturesOf(path)) lumas.push_back(LumaAt(picture, x, y));
    return lumas;
}

inline std::vector<int64> TimesOf(std::vector<DecodedPicture> const& pictures) {
    std::vector<int64> times;
    for (DecodedPicture const& picture : pictures) times.push_back(picture.time);
    return times;
}

class Overlay : public ::testing::Test {
  protected:
    /// Runs the command without loss and gives the path of what it made.
    std::string Make(std::string const& main, std::vector<std::string> const& with,
                     std::vector<std::string> const& more = {"--quality", "0"}, std::string const& name = "out.mkv") {
        std::string const path = folder / name;
        std::vector<std::string> arguments{"overlay", main, "-o", path, "--force"};
        for (std::string const& text : with) arguments.insert(arguments.end(), {"--with", text});
        arguments.insert(arguments.end(), more.begin(), more.end());
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(0, result.exitCode) << CommandText(arguments) << ": " << result.errors;
        errors = result.errors;
        output = result.output;
        return path;
    }

    ScratchFolder const folder;
    std::string errors;
    std::string output;
};

}  // namespace Tarsel::Test
