#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Types.h"
#include "tests/support/PgsBuilder.h"

namespace Tarsel::Test {

/// A picture of a title: indices into a palette of R, G, B, A words (0xRRGGBBAA).
struct TitlePicture {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    std::vector<u8> pixels;
    std::vector<u32> palette;
};

/// One event; without pictures it clears the screen. Times in milliseconds, duration 0: none is written.
struct TitleEvent {
    int64 time = 0;
    int64 duration = 0;
    std::vector<TitlePicture> pictures;
};

/// Writes a file of one subtitle stream, coded by libavcodec's encoder of that name ("dvbsub", "dvdsub"), into the
/// container that the name's extension chooses.
void WriteCodedTitles(std::string const& path, std::string const& encoder, int width, int height,
                      std::vector<TitleEvent> const& events);
/// The same of packets as they are, of the codec that libavcodec knows by this name.
void WritePackets(std::string const& path, std::string const& codec, std::vector<PgsBuilder::Set> const& packets);
/// The same of display sets of PGS.
void WriteDisplaySets(std::string const& path, std::vector<PgsBuilder::Set> const& sets);
/// Puts the first subtitle stream of `titles` beside `seconds` of black video into a container; times stay.
void AddVideo(std::string const& titles, int seconds, std::string const& path);

void WriteBytes(std::string const& path, std::vector<u8> const& bytes);
void WriteText(std::string const& path, std::string const& text);

}  // namespace Tarsel::Test
