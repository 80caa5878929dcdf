#pragma once

namespace Tarsel::Conf {

/// Size of a picture in pixels and shape of its pixels. A pixel aspect of 0/x is stored as 1/1.
struct FrameInfo {
    int width = 0;
    int height = 0;
    int pixelAspectNum = 1;
    int pixelAspectDen = 1;

    bool operator==(FrameInfo const&) const = default;
};

}  // namespace Tarsel::Conf
