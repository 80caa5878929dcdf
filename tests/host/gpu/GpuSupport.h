#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "contracts/Proc/DataVideoFF.h"
#include "host/gpu/TransferEffects.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Test {

/// The pixels of a picture in packed bytes, row by row without padding.
inline std::vector<u8> BytesOf(Proc::IDataVideo const& picture) {
    std::vector<u8> bytes;
    for (int i = 0; i < Proc::GetPlanesCount(picture); ++i) {
        auto const plane = picture.GetPlaneConst(static_cast<unsigned>(i));
        for (int row = 0; row < plane.GetRows(); ++row) {
            u8 const* const first = plane.GetOffsetPtr(0, static_cast<unsigned>(row));
            bytes.insert(bytes.end(), first, first + plane.GetRowBytes());
        }
    }
    return bytes;
}

/// A picture in processor memory whose pixels `shade(x, y)` gives as four bytes.
template <class Shade>
iptr<Proc::IDataVideo> Paint(int width, int height, Shade shade) {
    auto picture = Proc::DataVideoFF::Create(PIX_FMT_RGBA, {width, height, 1, 1}, nullptr);
    auto const plane = picture->GetPlane(0);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            auto const pixel = shade(x, y);
            for (std::size_t i = 0; i < 4; ++i)
                plane.GetOffsetPtr(static_cast<unsigned>(x), static_cast<unsigned>(y))[i] = static_cast<u8>(pixel[i]);
        }
    picture->SetTime(0);
    picture->SetDuration(40000);
    return picture;
}

using Pixel = std::array<int, 4>;

inline iptr<Proc::IDataVideo> Noise(int width, int height, unsigned seed, bool opaque = false) {
    std::mt19937 random(seed);
    return Paint(width, height, [&](int, int) {
        auto const draw = [&] { return static_cast<int>(random() % 256); };
        Pixel pixel{draw(), draw(), draw(), draw()};
        if (opaque) pixel[3] = 255;
        return pixel;
    });
}

inline iptr<Proc::IDataVideo> Gradient(int width, int height) {
    return Paint(width, height, [&](int x, int y) {
        return Pixel{255 * x / std::max(1, width - 1), 255 * y / std::max(1, height - 1),
                     255 * (x + y) / std::max(1, width + height - 2), 255 - 255 * x / std::max(1, width - 1)};
    });
}

/// Black and white, with colours, in steps and thin lines.
inline iptr<Proc::IDataVideo> Edges(int width, int height) {
    return Paint(width, height, [](int x, int y) {
        int const white = (x / 7 + y / 5) % 2 != 0 ? 255 : 0;
        if (x % 13 == 0) return Pixel{255, 0, 0, 255};
        if (y % 11 == 0) return Pixel{0, 255, 255, 128};
        return Pixel{white, white, white, x % 9 == 0 ? 0 : 255};
    });
}

/// Smooth shapes with fine texture, as a camera sees them.
inline iptr<Proc::IDataVideo> Natural(int width, int height) {
    std::mt19937 random(7);
    return Paint(width, height, [&](int x, int y) {
        auto const wave = [&](double across, double down, double shift) {
            double const grain = static_cast<double>(random() % 9) - 4;
            double const value = 128 + 90 * std::sin(x * across + y * down + shift) +
                                 25 * std::cos(x * down * 3 - y * across * 5) + grain;
            return std::clamp(static_cast<int>(value), 0, 255);
        };
        return Pixel{wave(0.05, 0.03, 0), wave(0.04, -0.06, 1), wave(0.02, 0.07, 2), 255};
    });
}

inline iptr<Proc::IDataVideo> Upload(iptr<Proc::IDataVideo> picture) {
    MakeShared<Host::UploadEffect>()->Process(picture);
    return picture;
}

inline iptr<Proc::IDataVideo> Download(iptr<Proc::IDataVideo> picture) {
    MakeShared<Host::DownloadEffect>()->Process(picture);
    return picture;
}

/// The codec library's frame inside a picture of processor memory, for what no setter reaches.
inline AVFrame& InnerFrame(Proc::IDataVideo& picture) {
    return const_cast<AVFrame&>(*static_cast<Proc::DataVideoFF&>(picture).GetAVFrame());
}

/// The largest difference between two pictures of equal size, byte by byte.
inline int LargestDifference(Proc::IDataVideo const& first, Proc::IDataVideo const& second) {
    std::vector<u8> const left = BytesOf(first);
    std::vector<u8> const right = BytesOf(second);
    EXPECT_EQ(left.size(), right.size());
    int largest = 0;
    for (std::size_t i = 0; i < std::min(left.size(), right.size()); ++i)
        largest = std::max(largest, std::abs(int{left[i]} - int{right[i]}));
    return largest;
}

/// The device that tests keep open from one to the next, so that not each one opens it anew.
inline std::shared_ptr<Host::GpuDevice>& KeptDevice() {
    static std::shared_ptr<Host::GpuDevice> kept;
    return kept;
}

/// A test that needs a device. A machine that can't make a context fails it with the reason.
class GpuTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!KeptDevice()) KeptDevice() = Host::GpuDevice::Get();
        device = KeptDevice();
    }

    std::shared_ptr<Host::GpuDevice> device;
};

}  // namespace Tarsel::Test
