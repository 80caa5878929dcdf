// Films with and without bars, and what the tests of `tarsel crop` do with them.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "contracts/Proc/CropInfo.h"
#include "tests/support/MediaInspector.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {

/// A small letterboxed film with sound, subtitles and a title, without loss.
inline std::string Film() {
    std::string const lines = MakeTextFile("crop-lines.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n");
    return MakeClip("crop-film.mkv", {"-f",
                                      "lavfi",
                                      "-i",
                                      "life=s=128x64:r=10:ratio=0.3:seed=5:mold=9:life_color=#C0E080:death_color=#"
                                      "803020:mold_color=#204060,format=yuv420p,pad=128:96:0:16",
                                      "-f",
                                      "lavfi",
                                      "-i",
                                      "sine=d=3",
                                      "-i",
                                      lines,
                                      "-map",
                                      "0",
                                      "-map",
                                      "1",
                                      "-map",
                                      "2",
                                      "-c:v",
                                      "ffv1",
                                      "-c:a",
                                      "flac",
                                      "-t",
                                      "3",
                                      "-c:s",
                                      "srt",
                                      "-metadata",
                                      "title=Bars"});
}

/// The same without bars.
inline std::string Barless() {
    return MakeClip("crop-barless.mkv", {"-f", "lavfi", "-i",
                                         "life=s=128x96:r=10:ratio=0.3:seed=5:mold=9:life_color=#C0E080:death_color=#"
                                         "803020:mold_color=#204060,format=yuv420p",
                                         "-f", "lavfi", "-i", "sine=d=3", "-c:v", "ffv1", "-c:a", "flac", "-t", "3"});
}

inline std::vector<DecodedPicture> PicturesOf(std::string const& path, int stream = 0) {
    Messages messages;
    auto pictures = DecodePictures(path, stream, messages);
    EXPECT_THAT(messages, ::testing::IsEmpty()) << path;
    return pictures;
}

inline nlohmann::json Crop(std::string const& path, std::vector<std::string> const& more = {}) {
    std::vector<std::string> arguments{"crop", path, "--json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    auto const result = RunTarsel(arguments);
    EXPECT_EQ(0, result.exitCode) << result.errors;
    return ParseOutput(result);
}

inline Proc::CropInfo RegionOf(nlohmann::json const& answer) {
    return {answer["left"], answer["right"], answer["top"], answer["bottom"]};
}

/// Visible bytes of the region of a picture in yuv420p.
inline Bytes Part(DecodedPicture const& picture, Proc::CropInfo const& region) {
    Bytes part;
    std::size_t begin = 0;
    for (int plane = 0; plane < 3; ++plane) {
        u32 const by = plane == 0 ? 1 : 2;
        std::size_t const stride = static_cast<std::size_t>(picture.width) / by;
        for (u32 y = region.top / by; y < region.bottom / by; ++y) {
            auto const row = picture.pixels.begin() + static_cast<std::ptrdiff_t>(begin + y * stride);
            part.insert(part.end(), row + region.left / by, row + region.right / by);
        }
        begin += stride * static_cast<std::size_t>(picture.height) / by;
    }
    return part;
}

inline std::vector<std::string> const SOON{"--interval", "0.2"};

/// Interlaced pictures whose bars end in the middle of a row of chroma of one field.
inline std::string Tape() {
    return MakeClip("crop-tape.mpg",
                    {"-f", "lavfi", "-i",
                     "life=s=128x64:r=50:ratio=0.3:seed=5:mold=9:life_color=#C0E080:death_color=#803020:"
                     "mold_color=#204060,format=yuv420p",
                     "-vf", "tinterlace=interleave_top,fieldorder=tff,pad=128:96:0:16,format=yuv420p", "-c:v",
                     "mpeg2video", "-q:v", "2", "-flags", "+ilme+ildct", "-top", "1", "-t", "3"});
}

/// Runs the command into a folder of its own.
class CropRun : public ::testing::Test {
  protected:
    ScratchFolder const folder;
    std::string const out = folder / "out.mkv";

    ProgramResult Apply(std::string const& input, std::vector<std::string> const& more = SOON) {
        std::vector<std::string> arguments{"crop", input, "--apply", "-o", out};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTarsel(arguments);
    }
    ProgramResult Refused(std::vector<std::string> const& arguments) {
        auto result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(folder.List(), ::testing::IsEmpty());
        return result;
    }
};

}  // namespace Tarsel::Test
