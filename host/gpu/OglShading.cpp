#include "host/gpu/OglShading.h"

#include <array>
#include <cmath>

#include "host/effects/SampleMixing.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

constexpr char FADE[] = R"(#version 300 es
precision highp float;
precision highp int;
precision highp sampler2D;
uniform sampler2D picture;
uniform ivec4 colour;
uniform int weight;
out vec4 result;

void main() {
    ivec4 from = ivec4(texelFetch(picture, ivec2(gl_FragCoord.xy), 0) * 255.0 + 0.5);
    ivec3 mixed = (colour.rgb * (32768 - weight) + from.rgb * weight + 16384) >> 15;
    result = vec4(mixed, from.a) / 255.0;
}
)";

constexpr char COLOUR[] = R"(#version 300 es
precision highp float;
precision highp int;
precision highp sampler2D;
uniform sampler2D picture;
uniform ivec4 red;
uniform ivec4 green;
uniform ivec4 blue;
out vec4 result;

int row(ivec4 factors, ivec3 from) {
    return (from.r * factors.r + from.g * factors.g + from.b * factors.b + factors.a) >> 14;
}

void main() {
    ivec4 from = ivec4(texelFetch(picture, ivec2(gl_FragCoord.xy), 0) * 255.0 + 0.5);
    ivec3 made = clamp(ivec3(row(red, from.rgb), row(green, from.rgb), row(blue, from.rgb)), 0, 255);
    result = vec4(made, from.a) / 255.0;
}
)";

/// A frame like the picture, which a shader draws from it.
iptr<IDataVideo> DrawLike(DataVideoOGL const& picture, char const* shader, std::vector<GpuDraw::Ints> ints) {
    iptr<DataVideoOGL> result = DataVideoOGL::CreateLike(DeviceOf(picture), picture, picture.GetFrameInfo());
    picture.GetDevice().Draw({.shader = shader,
                              .inputs = {{"picture", &picture.GetTexture()}},
                              .ints = std::move(ints),
                              .target = &result->GetTexture(),
                              .area = {0, 0, picture.GetWidth(), picture.GetHeight()}});
    return result;
}

/// A row of the matrix of 14 fractional bits, and its constant.
std::vector<int> MatrixRow(SettingsEffectColor const& settings, std::size_t row) {
    std::array<double, 3> const luma{0.299, 0.587, 0.114};
    std::vector<int> factors;
    for (std::size_t i = 0; i < luma.size(); ++i) {
        double const own = i == row ? settings.GetSaturation() : 0;
        double const factor = settings.GetContrast() * (own + (1 - settings.GetSaturation()) * luma[i]);
        factors.push_back(static_cast<int>(std::lround(std::ldexp(factor, 14))));
    }
    double const constant = (0.5 * (1 - settings.GetContrast()) + settings.GetBrightness()) * 255 + 0.5;
    factors.push_back(static_cast<int>(std::lround(std::ldexp(constant, 14))));
    return factors;
}

}  // namespace

OglFade::OglFade() : OglEffect("Tarsel::Host::OglFade::GetStatistic") {}
OglFade::~OglFade() = default;

void OglFade::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    DataVideoOGL const& picture = Require(*item);
    double const progress = GetProgress(picture);
    bool const isIn = GetOwnSettings().GetDirection() == SettingsEffectFade::DIRECTION_IN;
    u32 const weight = MixWeight(isIn ? progress : 1 - progress);
    int const colour = GetOwnSettings().GetColor();
    if (weight != MIX_WHOLE)
        item = DrawLike(picture, FADE,
                        {{"colour", {(colour >> 16) & 255, (colour >> 8) & 255, colour & 255, 255}},
                         {"weight", {static_cast<int>(weight)}}});
    CountItem();
}

OglColor::OglColor() : OglEffect("Tarsel::Host::OglColor::GetStatistic") {}
OglColor::~OglColor() = default;

void OglColor::Check(SettingsEffectColor const& settings) const {
    auto const check = [](char const* name, double value, double low, double high) {
        // Said this way round, so that what is no number fails, too.
        if (!(value >= low && value <= high))
            TARSEL_THROW(EffectException, std::string(name) + " is out of range: " + std::to_string(value));
    };
    check("Brightness", settings.GetBrightness(), -1, 1);
    check("Contrast", settings.GetContrast(), 0, 4);
    check("Saturation", settings.GetSaturation(), 0, 4);
}

void OglColor::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    DataVideoOGL const& picture = Require(*item);
    if (!(GetOwnSettings() == SettingsEffectColor()))
        item = DrawLike(picture, COLOUR,
                        {{"red", MatrixRow(GetOwnSettings(), 0)},
                         {"green", MatrixRow(GetOwnSettings(), 1)},
                         {"blue", MatrixRow(GetOwnSettings(), 2)}});
    CountItem();
}

}  // namespace Tarsel::Host
