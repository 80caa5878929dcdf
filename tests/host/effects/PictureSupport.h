// Pictures for the tests of effects, written and read sample by sample through libavutil, which shares no code with
// what the effects do.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataVideoFF.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Test {

inline AVPixelFormat Native(PixFmt format) {
    return static_cast<AVPixelFormat>(static_cast<int>(format));
}

inline PixFmt FormatOf(char const* name) {
    AVPixelFormat const format = av_get_pix_fmt(name);
    EXPECT_NE(format, AV_PIX_FMT_NONE) << name;
    return static_cast<PixFmt>(static_cast<int>(format));
}

/// The samples of one component, row by row.
struct Part {
    int width = 0;
    int height = 0;
    std::vector<int> samples;

    int& At(int x, int y) { return samples[static_cast<std::size_t>(y * width + x)]; }
    int At(int x, int y) const { return samples[static_cast<std::size_t>(y * width + x)]; }
    bool operator==(Part const&) const = default;
};

inline AVPixFmtDescriptor const& Describe(Proc::IDataVideo const& picture) {
    return *av_pix_fmt_desc_get(Native(picture.GetPixelFormat()));
}

inline Part EmptyPart(Proc::IDataVideo const& picture, int component) {
    AVPixFmtDescriptor const& format = Describe(picture);
    bool const isChroma =
        (component == 1 || component == 2) && !(format.flags & AV_PIX_FMT_FLAG_RGB) && format.nb_components > 2;
    Part part;
    part.width = isChroma ? -((-picture.GetWidth()) >> format.log2_chroma_w) : picture.GetWidth();
    part.height = isChroma ? -((-picture.GetHeight()) >> format.log2_chroma_h) : picture.GetHeight();
    part.samples.resize(static_cast<std::size_t>(part.width * part.height));
    return part;
}

inline Part ReadPart(Proc::IDataVideo const& picture, int component) {
    Part part = EmptyPart(picture, component);
    std::array<uint8_t const*, 4> data{};
    std::array<int, 4> strides{};
    for (int i = 0; i < Proc::GetPlanesCount(picture); ++i) {
        auto const plane = picture.GetPlaneConst(static_cast<unsigned>(i));
        data[static_cast<std::size_t>(i)] = plane.GetData();
        strides[static_cast<std::size_t>(i)] = static_cast<int>(plane.GetStride());
    }
    std::vector<uint16_t> line(static_cast<std::size_t>(part.width));
    for (int y = 0; y < part.height; ++y) {
        av_read_image_line(line.data(), data.data(), strides.data(), &Describe(picture), 0, y, component, part.width,
                           0);
        for (int x = 0; x < part.width; ++x) part.At(x, y) = line[static_cast<std::size_t>(x)];
    }
    return part;
}

/// All components, one behind the other.
inline std::vector<Part> ReadParts(Proc::IDataVideo const& picture) {
    std::vector<Part> parts;
    for (int i = 0; i < Describe(picture).nb_components; ++i) parts.push_back(ReadPart(picture, i));
    return parts;
}

using Shade = std::function<int(int component, int x, int y)>;

/// A picture whose samples are what `shade` says. At time 40 ms, for 20 ms.
inline iptr<Proc::IDataVideo> Draw(PixFmt format, int width, int height, Shade const& shade) {
    auto const picture = MakeVideo(40000, 20000, 0, format, width, height);
    std::array<uint8_t*, 4> data{};
    std::array<int, 4> strides{};
    for (int i = 0; i < Proc::GetPlanesCount(*picture); ++i) {
        auto const plane = picture->GetPlane(static_cast<unsigned>(i));
        data[static_cast<std::size_t>(i)] = plane.GetData();
        strides[static_cast<std::size_t>(i)] = static_cast<int>(plane.GetStride());
    }
    for (int i = 0; i < Describe(*picture).nb_components; ++i) {
        Part const part = EmptyPart(*picture, i);
        std::vector<uint16_t> line(static_cast<std::size_t>(part.width));
        for (int y = 0; y < part.height; ++y) {
            for (int x = 0; x < part.width; ++x)
                line[static_cast<std::size_t>(x)] = static_cast<uint16_t>(shade(i, x, y));
            av_write_image_line(line.data(), data.data(), strides.data(), &Describe(*picture), 0, y, i, part.width);
        }
    }
    return picture;
}

inline iptr<Proc::IDataVideo> DrawPlain(PixFmt format, int width, int height, std::array<int, 4> const& samples) {
    return Draw(format, width, height, [&](int i, int, int) { return samples[static_cast<std::size_t>(i)]; });
}

/// Noise: any sample may be anything, with 0 and the largest value more often than others.
inline iptr<Proc::IDataVideo> DrawNoise(PixFmt format, int width, int height, unsigned seed) {
    std::mt19937 random(seed);
    int const depth = av_pix_fmt_desc_get(Native(format))->comp[0].depth;
    int const max = (1 << depth) - 1;
    return Draw(format, width, height, [&](int, int, int) {
        unsigned const draw = random();
        if (draw % 8 == 0) return 0;
        if (draw % 8 == 1) return max;
        return static_cast<int>((draw >> 8) & static_cast<unsigned>(max));
    });
}

/// The picture with changed properties of its frame.
inline iptr<Proc::IDataVideo> Marked(Proc::IDataVideo const& picture, std::function<void(AVFrame&)> const& change) {
    AVFrame* const frame = av_frame_clone(dynamic_cast<Proc::DataVideoFF const&>(picture).GetAVFrame());
    change(*frame);
    return Proc::DataVideoFF::Wrap(frame, picture.GetTime(), picture.GetDuration());
}

inline AVFrame const& FrameIn(Proc::IDataVideo const& picture) {
    return *dynamic_cast<Proc::DataVideoFF const&>(picture).GetAVFrame();
}

/// A frame that lives in GPU memory: nothing of it can be read.
class FrameFarAway final : public Proc::IDataVideo, public RefCounted {
  public:
    int64 GetDuration() const override { return 20000; }
    void SetDuration(int64) override {}
    int64 GetTime() const override { return 40000; }
    void SetTime(int64) override {}
    void CutBegin(int64) override {}
    void Cut(int64, int64) override {}
    void CutEnd(int64) override {}
    int GetFrameAlloc() const override { return FRAME_ALLOC_GPU; }
    Conf::FrameInfo const& GetFrameInfo() const override { return info; }
    int GetWidth() const override { return info.width; }
    int GetHeight() const override { return info.height; }
    PixFmt GetPixelFormat() const override { return PIX_FMT_RGBA; }
    int GetInterlace() const override { return 1; }
    Proc::Details::PlaneTemplate<0> GetPlane(unsigned) override { Refuse(); }
    Proc::Details::PlaneTemplate<1> GetPlaneConst(unsigned) const override { Refuse(); }
    iptr<Proc::IDataVideo> MakeWritable() override { Refuse(); }
    iptr<Proc::IDataVideo> Clone(bool) const override { Refuse(); }
    Proc::CropInfo GetCrop() const override { return Proc::CropInfo::WholeOf(info.width, info.height); }

  private:
    [[noreturn]] static void Refuse() { TARSEL_THROW(Proc::ProcException, "a frame far away was touched"); }

    Conf::FrameInfo info{16, 16, 1, 1};
};

}  // namespace Tarsel::Test
