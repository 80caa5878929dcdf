#include "host/gpu/GpuScaler.h"

#include "host/gpu/ResizeTaps.h"

namespace Tarsel::Host {

namespace {

/// Between the passes stands luma and colour differences, since libswscale works on these and, where a line overshoots,
/// holds them to what its words of 15 bits can say. Numbers from -1 to 1.5 stand in 16 bits.
constexpr char LINES[] = R"(#version 300 es
precision highp float;
precision highp int;
precision highp sampler2D;
uniform sampler2D picture;
uniform sampler2D taps;
uniform int count;
uniform ivec4 area;
out uvec4 result;

const vec3 LUMA = vec3(0.299, 0.587, 0.114);
const float LUMA_TOP = (255.996 - 16.0) / 219.0;
const float CHROMA_TOP = (255.996 - 128.0) / 224.0;

vec4 pixel(int x, int y) {
    return texelFetch(picture, area.xy + ivec2(clamp(x, 0, area.z - 1), y), 0);
}

void main() {
    ivec2 at = ivec2(gl_FragCoord.xy);
    int first = int(texelFetch(taps, ivec2(at.x, 0), 0).r);
    vec4 sum = vec4(0.0);
    for (int i = 0; i < count; i += 4) {
        vec4 weights = texelFetch(taps, ivec2(at.x, 1 + i / 4), 0);
        sum += weights.x * pixel(first + i, at.y) + weights.y * pixel(first + i + 1, at.y) +
               weights.z * pixel(first + i + 2, at.y) + weights.w * pixel(first + i + 3, at.y);
    }
    float luma = dot(sum.rgb, LUMA);
    vec2 chroma = (sum.br - luma) / vec2(1.772, 1.402);
    vec4 value = vec4(min(luma, LUMA_TOP), min(chroma, CHROMA_TOP), min(sum.a, 1.0));
    result = uvec4(clamp(round((value + 1.0) * (65535.0 / 2.5)), 0.0, 65535.0));
}
)";

constexpr char COLUMNS[] = R"(#version 300 es
precision highp float;
precision highp int;
precision highp sampler2D;
precision highp usampler2D;
uniform usampler2D lines;
uniform sampler2D taps;
uniform int count;
uniform int step;
uniform int field;
uniform int rows;
uniform ivec2 origin;
out vec4 result;

vec4 line(int x, int y) {
    return vec4(texelFetch(lines, ivec2(x, clamp(y, 0, rows - 1) * step + field), 0));
}

void main() {
    ivec2 at = ivec2(gl_FragCoord.xy) - origin;
    if (at.y % step != field) discard;
    int row = at.y / step;
    int first = int(texelFetch(taps, ivec2(row, 0), 0).r);
    vec4 sum = vec4(0.0);
    for (int i = 0; i < count; i += 4) {
        vec4 weights = texelFetch(taps, ivec2(row, 1 + i / 4), 0);
        sum += weights.x * line(at.x, first + i) + weights.y * line(at.x, first + i + 1) +
               weights.z * line(at.x, first + i + 2) + weights.w * line(at.x, first + i + 3);
    }
    sum = sum * (2.5 / 65535.0) - 1.0;
    float red = sum.x + 1.402 * sum.z;
    float blue = sum.x + 1.772 * sum.y;
    float green = (sum.x - 0.299 * red - 0.114 * blue) / 0.587;
    result = clamp(vec4(red, green, blue, sum.w), 0.0, 1.0);
}
)";

}  // namespace

void GpuScaler::Scale(DataVideoOGL const& picture, GpuArea const& from, GpuTexture const& target, GpuArea const& to,
                      Algorithm algorithm) {
    GpuTexturePtr const lines = ScaleLines(picture, from, to.width, algorithm);
    bool const byFields = picture.GetInterlace() != 0 && from.height != to.height && from.height > 1 && to.height > 1;
    int const step = byFields ? 2 : 1;
    for (int field = 0; field < step; ++field) ScaleColumns(*lines, target, to, {step, field}, algorithm);
}

void GpuScaler::Prepare(Taps& taps, GpuDevice& device, int from, int to, Algorithm algorithm) {
    bool const stands = taps.table && &taps.table->GetDevice() == &device && taps.from == from && taps.to == to &&
                        taps.algorithm == algorithm;
    if (stands) return;
    ResizeTaps const made(from, to, algorithm);
    taps = {from, to, algorithm, made.GetCount(), device.MakeTable(to, made.GetTableRows(), made.GetTable())};
}

GpuTexturePtr GpuScaler::ScaleLines(DataVideoOGL const& picture, GpuArea const& from, int width, Algorithm algorithm) {
    GpuDevice& device = picture.GetDevice();
    Prepare(across, device, from.width, width, algorithm);
    GpuTexturePtr lines = device.MakeTexture(GpuFormat::RGBA16, width, from.height);
    device.Draw({.shader = LINES,
                 .inputs = {{"picture", &picture.GetTexture()}, {"taps", across.table.get()}},
                 .ints = {{"count", {across.count}}, {"area", {from.x, from.y, from.width, from.height}}},
                 .target = lines.get(),
                 .area = {0, 0, width, from.height}});
    return lines;
}

void GpuScaler::ScaleColumns(GpuTexture const& lines, GpuTexture const& target, GpuArea const& to, Rows const& rows,
                             Algorithm algorithm) {
    Taps& taps = rows.field == 0 ? down : downLower;
    int const from = rows.CountIn(lines.GetHeight());
    Prepare(taps, target.GetDevice(), from, rows.CountIn(to.height), algorithm);
    target.GetDevice().Draw({.shader = COLUMNS,
                             .inputs = {{"lines", &lines}, {"taps", taps.table.get()}},
                             .ints = {{"count", {taps.count}},
                                      {"step", {rows.step}},
                                      {"field", {rows.field}},
                                      {"rows", {from}},
                                      {"origin", {to.x, to.y}}},
                             .target = &target,
                             .area = to});
}

}  // namespace Tarsel::Host
