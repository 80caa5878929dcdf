#include "host/effects/ColorEffect.h"

#include <cmath>

#include "contracts/Core/Exception.h"
#include "host/effects/SampleMixing.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

u32 Held(double value, PictureComponent const& part) {
    return static_cast<u32>(std::lround(std::clamp(value, 0.0, static_cast<double>(part.GetMax()))));
}

void ChangeYuv(IDataVideo& picture, PictureLayout const& layout, SettingsEffectColor const& settings) {
    bool const isFull = ColoursOf(picture).isFull;
    for (int i = 0; i < layout.GetColourCount(); ++i) {
        PictureComponent const& part = layout.components[static_cast<std::size_t>(i)];
        double const unit = std::ldexp(1.0, part.depth - 8);
        if (part.isChroma) {
            double const middle = std::ldexp(1.0, part.depth - 1);
            double const factor = settings.GetContrast() * settings.GetSaturation();
            MapSamples(picture, part, [&](u32 value) { return Held((value - middle) * factor + middle, part); },
                       {factor, middle - middle * factor + 0.5});
            continue;
        }
        double const black = isFull ? 0 : 16 * unit;
        double const span = isFull ? part.GetMax() : 219 * unit;
        double const middle = black + span / 2;
        double const lift = settings.GetBrightness() * span;
        MapSamples(picture, part,
                   [&](u32 value) { return Held((value - middle) * settings.GetContrast() + middle + lift, part); },
                   {settings.GetContrast(), middle - middle * settings.GetContrast() + lift + 0.5});
    }
}

constexpr int FRACTION_BITS = 14;

struct RgbMatrix {
    std::array<std::array<int, 3>, 3> factors;
    int64 constant;
    int64 max;
};

RgbMatrix MatrixOf(SettingsEffectColor const& settings, int max) {
    std::array<double, 3> const luma{0.299, 0.587, 0.114};
    RgbMatrix matrix{};
    matrix.max = max;
    for (std::size_t to = 0; to < 3; ++to)
        for (std::size_t from = 0; from < 3; ++from) {
            double const own = to == from ? settings.GetSaturation() : 0;
            double const factor = settings.GetContrast() * (own + (1 - settings.GetSaturation()) * luma[from]);
            matrix.factors[to][from] = static_cast<int>(std::lround(std::ldexp(factor, FRACTION_BITS)));
        }
    double const constant = (0.5 * (1 - settings.GetContrast()) + settings.GetBrightness()) * max + 0.5;
    matrix.constant = std::llround(std::ldexp(constant, FRACTION_BITS));
    return matrix;
}

/// `Sum` holds what three samples of the format come to.
template <class Sample, class Sum>
void ChangeRgb(IDataVideo& picture, PictureLayout const& layout, RgbMatrix const& matrix) {
    for (int y = 0; y < picture.GetHeight(); ++y) {
        std::array<Sample*, 3> rows{};
        for (std::size_t i = 0; i < 3; ++i) rows[i] = RowOf<Sample>(picture, layout.components[i], y);
        std::ptrdiff_t const step = layout.components[0].step / static_cast<int>(sizeof(Sample));
        int const shift = layout.components[0].shift;
        for (int x = 0; x < picture.GetWidth(); ++x) {
            std::ptrdiff_t const at = x * step;
            Sum const red = rows[0][at] >> shift, green = rows[1][at] >> shift, blue = rows[2][at] >> shift;
            for (std::size_t i = 0; i < 3; ++i) {
                auto const& factors = matrix.factors[i];
                Sum const value =
                    (red * factors[0] + green * factors[1] + blue * factors[2] + static_cast<Sum>(matrix.constant)) >>
                    FRACTION_BITS;
                rows[i][at] = static_cast<Sample>(std::clamp<Sum>(value, 0, static_cast<Sum>(matrix.max)) << shift);
            }
        }
    }
}

}  // namespace

ColorEffect::~ColorEffect() = default;

void ColorEffect::Check(SettingsEffectColor const& settings) const {
    auto const check = [](char const* name, double value, double low, double high) {
        // Said this way round, so that what is no number fails, too.
        if (!(value >= low && value <= high))
            TARSEL_THROW(EffectException, std::string(name) + " is out of range: " + std::to_string(value));
    };
    check("Brightness", settings.GetBrightness(), -1, 1);
    check("Contrast", settings.GetContrast(), 0, 4);
    check("Saturation", settings.GetSaturation(), 0, 4);
}

void ColorEffect::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    item = Accepted(item);
    if (!(GetOwnSettings() == SettingsEffectColor())) {
        item = item->MakeWritable();
        PictureLayout const layout = LayoutOf(item->GetPixelFormat(), item->GetWidth(), item->GetHeight());
        RgbMatrix const matrix = MatrixOf(GetOwnSettings(), layout.components[0].GetMax());
        if (!layout.isRgb)
            ChangeYuv(*item, layout, GetOwnSettings());
        else if (layout.components[0].GetSampleBytes() == 1)
            ChangeRgb<u8, int>(*item, layout, matrix);
        else
            ChangeRgb<u16, int64>(*item, layout, matrix);
    }
    CountItem();
}

}  // namespace Tarsel::Host
