// The numbers that the sample clip's pictures show, read back from a file.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "contracts/Proc/DataVideoFF.h"
#include "host/media/SampleClip.h"
#include "tests/support/MediaInspector.h"

namespace Tarsel::Test {

/// The number of a decoded picture in 8-bit 4:2:0.
inline int PictureNumber(DecodedPicture const& decoded) {
    auto const picture = Proc::DataVideoFF::Create(PIX_FMT_YUV420P, {decoded.width, decoded.height, 1, 1}, nullptr);
    // The number stands in the first plane alone.
    auto const luma = picture->GetPlane(0);
    for (int row = 0; row < decoded.height; ++row)
        std::memcpy(luma.GetOffsetPtr(0, static_cast<unsigned>(row)),
                    decoded.pixels.data() + std::ptrdiff_t{row} * decoded.width,
                    static_cast<std::size_t>(decoded.width));
    return Host::GeneratedVideo::ReadNumber(*picture);
}

/// The numbers of all pictures of a file's first stream, in the order in which they are shown.
inline std::vector<int> PictureNumbers(std::string const& path, int stream = 0) {
    Messages messages;
    std::vector<int> numbers;
    for (DecodedPicture const& picture : DecodePictures(path, stream, messages))
        numbers.push_back(PictureNumber(picture));
    return numbers;
}

}  // namespace Tarsel::Test
