#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "Proc/Filters/Filters/TransparentBorder.h"
#include "benchmarks/effects/Parts.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/ImplNames.h"

namespace Tarsel::Bench {
namespace {

using namespace Tarsel::Proc;

constexpr int WIDTH = 1920;
constexpr int HEIGHT = 1080;
constexpr int ALPHA = 3;
/// Of the speed with the smallest matrix.
constexpr double STEADY_GOAL = 0.8;

using Alpha = std::function<u8(int x, int y)>;

iptr<IDataVideo> MakeShape(Alpha const& alpha) {
    iptr<IDataVideo> const picture = MakePicture(PIX_FMT_RGBA, WIDTH, HEIGHT);
    auto const plane = picture->GetPlane(0);
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x) plane.GetOffsetPtr(0, static_cast<unsigned>(y))[x * 4 + ALPHA] = alpha(x, y);
    return picture;
}

/// A disc and a line of bars as letters are, in the middle of nothing.
u8 LogoAlpha(int x, int y) {
    int const dx = x - 600, dy = y - 500;
    bool const disc = dx * dx + dy * dy < 250 * 250;
    bool const letters = y > 350 && y < 650 && x > 900 && x < 1700 && x % 60 < 25;
    return disc || letters ? 255 : 0;
}

/// By the letter: for each transparent pixel a walk over its square.
void BlurPlainly(IDataVideo& picture, int matrix) {
    auto const plane = picture.GetPlane(0);
    int const half = matrix / 2;
    auto const at = [&](int x, int y) { return plane.GetOffsetPtr(0, static_cast<unsigned>(y)) + x * 4; };
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x) {
            if (at(x, y)[ALPHA] != 0) continue;
            u32 sums[3] = {0, 0, 0};
            u32 count = 0;
            for (int row = std::max(0, y - half); row < std::min(HEIGHT, y + half); ++row)
                for (int column = std::max(0, x - half); column < std::min(WIDTH, x + half); ++column) {
                    u8 const* const pixel = at(column, row);
                    if (pixel[ALPHA] == 0) continue;
                    for (int c = 0; c < 3; ++c) sums[c] += pixel[c];
                    ++count;
                }
            if (count == 0) continue;
            for (int c = 0; c < 3; ++c) at(x, y)[c] = static_cast<u8>(sums[c] / count);
        }
}

void RequireEqual(IDataVideo const& one, IDataVideo const& other) {
    for (unsigned y = 0; y < HEIGHT; ++y)
        if (std::memcmp(one.GetPlaneConst(0).GetOffsetPtr(0, y), other.GetPlaneConst(0).GetOffsetPtr(0, y),
                        WIDTH * 4) != 0)
            TARSEL_THROW(ProcException, "Row " + std::to_string(y) + " isn't what the plain formula gives");
}

/// As the filter does it.
void Blur(IDataVideo& picture, int matrix) {
    if (HasTransparentBorder(picture.GetPlaneConst(0), ALPHA))
        BlurTransparentBorder(picture.GetPlane(0), ALPHA, matrix);
}

void MeasureShape(Rows& rows, std::string const& name, Alpha const& alpha) {
    iptr<IDataVideo> const source = MakeShape(alpha);
    iptr<IDataVideo> const copy = source->Clone(true);
    std::vector<int> const matrices{2, 8, 32};
    std::vector<double> plain;
    std::vector<iptr<IDataVideo>> pictures;
    Turns turns(ThreadTime);
    auto const bytes = static_cast<std::size_t>(WIDTH) * HEIGHT * 4;
    std::size_t const copying =
        turns.Add([&] { std::memcpy(copy->GetPlane(0).GetData(), source->GetPlaneConst(0).GetData(), bytes); });
    for (int const matrix : matrices) {
        iptr<IDataVideo> const expected = source->Clone(true);
        double const start = ThreadTime();
        BlurPlainly(*expected, matrix);
        plain.push_back(ThreadTime() - start);
        pictures.push_back(source->Clone(true));
        Blur(*pictures.back(), matrix);
        RequireEqual(*pictures.back(), *expected);
        // Blurring what has been blurred is the same work: the opaque pixels are as they were.
        turns.Add([picture = pictures.back(), matrix] { Blur(*picture, matrix); });
    }
    turns.Run(9);
    rows.push_back({"1080p RGBA, memcpy", turns.Get(copying) * 1e3, "ms", {}});
    for (std::size_t i = 0; i < matrices.size(); ++i) {
        double const time = turns.Get(i + 1);
        Row row{"border blur, " + name + ", matrix " + std::to_string(matrices[i]), time * 1e3, "ms", {}};
        row.ratios.push_back({"the plain formula's speed", plain[i] / time, 1});
        row.ratios.push_back({"memcpy's speed", turns.Get(copying) / time, 0});
        if (i > 0) row.ratios.push_back({"the speed with 2", turns.Get(1) / time, STEADY_GOAL});
        rows.push_back(row);
    }
}

}  // namespace

void MeasureBorderBlur(Rows& rows) {
    MeasureShape(rows, "logo", LogoAlpha);
    MeasureShape(rows, "all transparent", [](int, int) { return u8{0}; });
    MeasureShape(rows, "checker", [](int x, int y) { return (x + y) % 2 == 0 ? u8{255} : u8{0}; });
}

}  // namespace Tarsel::Bench
