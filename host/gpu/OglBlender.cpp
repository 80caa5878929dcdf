#include "host/gpu/OglBlender.h"

#include <algorithm>

namespace Tarsel::Host {

using namespace Proc;

namespace {

constexpr char BLEND[] = R"(#version 300 es
precision highp float;
precision highp int;
precision highp sampler2D;
uniform sampler2D below;
uniform sampler2D picture;
uniform ivec2 corner;
uniform ivec2 origin;
uniform int strength;
uniform int premultiplied;
out vec4 result;

void main() {
    ivec2 at = ivec2(gl_FragCoord.xy);
    ivec4 d = ivec4(texelFetch(below, at - origin, 0) * 255.0 + 0.5);
    ivec4 p = ivec4(texelFetch(picture, at - corner, 0) * 255.0 + 0.5);
    int share = (p.a * strength + 127) / 255;
    int drawn = share * 255;
    int kept = d.a * (255 - share);
    int sum = drawn + kept;
    ivec4 mixed = d;
    if (sum > 0) {
        ivec3 added = premultiplied == 1 ? p.rgb * (strength * 255) : p.rgb * drawn;
        mixed.rgb = min((added + d.rgb * kept + sum / 2) / sum, 255);
    }
    mixed.a = (sum + 127) / 255;
    result = vec4(mixed) / 255.0;
}
)";

/// Where on `dest` the picture lies; empty where it lies beside it.
GpuArea AreaOf(DataVideoOGL const& dest, DataVideoOGL const& picture, SettingsEffectImageBlender const& placing) {
    auto const held = [](int64 value, int limit) { return static_cast<int>(std::clamp<int64>(value, 0, limit)); };
    int const left = held(placing.GetX(), dest.GetWidth());
    int const top = held(placing.GetY(), dest.GetHeight());
    return {left, top, held(int64{placing.GetX()} + picture.GetWidth(), dest.GetWidth()) - left,
            held(int64{placing.GetY()} + picture.GetHeight(), dest.GetHeight()) - top};
}

}  // namespace

OglBlender::OglBlender() : OglEffect("Tarsel::Host::OglBlender::GetStatistic") {}
OglBlender::~OglBlender() = default;

void OglBlender::Process(iptr<IDataVideo>& dest, iptr<IDataVideo> const& picture) {
    if (!dest) return;
    DataVideoOGL const& below = Require(*dest);
    // Of its own: `picture` may be `dest` itself, which changes.
    iptr<IDataVideo> const held = picture;
    if (held) {
        DataVideoOGL const& drawn = Require(*held);
        GpuArea const area = AreaOf(below, drawn, GetOwnSettings());
        if (GetOwnSettings().GetAlpha() > 0 && area.width > 0 && area.height > 0) {
            dest = dest->MakeWritable();
            DrawOnGpu(Require(*dest), drawn, GetOwnSettings());
        }
    }
    CountItem();
}

iptr<IDataVideo> OglBlender::Prepare(IDataVideo const&, iptr<IDataVideo> const& picture) {
    iptr<IDataVideo> uploaded = picture;
    uploader.Process(uploaded);
    return uploaded;
}

void DrawOnGpu(DataVideoOGL& dest, DataVideoOGL const& picture, SettingsEffectImageBlender const& placing) {
    GpuArea const area = AreaOf(dest, picture, placing);
    if (area.width < 1 || area.height < 1) return;
    // OpenGL doesn't read what it draws to: what is drawn over stands aside.
    GpuDevice& device = dest.GetDevice();
    GpuTexturePtr const below = device.MakeTexture(GpuFormat::RGBA8, area.width, area.height);
    device.CopyArea(dest.GetTexture(), area, *below);
    bool const isPremultiplied = placing.GetMode() == BlendAlphaMode::Premultiplied;
    device.Draw({.shader = BLEND,
                 .inputs = {{"below", below.get()}, {"picture", &picture.GetTexture()}},
                 .ints = {{"corner", {placing.GetX(), placing.GetY()}},
                          {"origin", {area.x, area.y}},
                          {"strength", {std::clamp(placing.GetAlpha(), 0, 255)}},
                          {"premultiplied", {isPremultiplied ? 1 : 0}}},
                 .target = &dest.GetTexture(),
                 .area = area});
}

}  // namespace Tarsel::Host
