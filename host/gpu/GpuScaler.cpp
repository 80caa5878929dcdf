#include "host/gpu/GpuScaler.h"

#include "host/gpu/ResizeTaps.h"

namespace Tarsel::Host {

namespace {

/// Between the passes stands luma and colour differences, since libswscale works on these: where a line overshoots, it
/// holds them to what its words of 15 bits can say, and where a line is brought to half of its length or less, it takes
/// the colours from pairs of pixels. Numbers from -1 to 1.5 stand in 16 bits.
constexpr char LINES[] = R"(#version 300 es
precision highp float;
precision highp int;
precision highp sampler2D;
uniform sampler2D picture;
uniform sampler2D taps;
uniform sampler2D chromaTaps;
uniform int count;
uniform int chromaCount;
uniform int halves;
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
    for (int i = 0; i < count; ++i)
        sum += texelFetch(taps, ivec2(at.x, i + 1), 0).r * pixel(first + i, at.y);
    vec3 colour = sum.rgb;
    if (halves == 1) {
        colour = vec3(0.0);
        int last = (area.z + 1) / 2 - 1;
        first = int(texelFetch(chromaTaps, ivec2(at.x, 0), 0).r);
        for (int i = 0; i < chromaCount; ++i) {
            int pair = 2 * clamp(first + i, 0, last);
            vec3 both = pixel(pair, at.y).rgb + pixel(pair + 1, at.y).rgb;
            colour += texelFetch(chromaTaps, ivec2(at.x, i + 1), 0).r * 0.5 * both;
        }
    }
    float grey = dot(colour, LUMA);
    float luma = min(dot(sum.rgb, LUMA), LUMA_TOP);
    vec2 chroma = min((colour.br - grey) / vec2(1.772, 1.402), CHROMA_TOP);
    vec4 value = vec4(luma, chroma, min(sum.a, 1.0));
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
uniform sampler2D lowerTaps;
uniform int count;
uniform int lowerCount;
uniform int fields;
uniform ivec2 origin;
uniform int rows;
out vec4 result;

void main() {
    ivec2 at = ivec2(gl_FragCoord.xy) - origin;
    int field = fields == 2 ? at.y % 2 : 0;
    int row = at.y / fields;
    int fieldRows = (rows + fields - 1 - field) / fields;
    bool lower = field == 1;
    int first = int(lower ? texelFetch(lowerTaps, ivec2(row, 0), 0).r : texelFetch(taps, ivec2(row, 0), 0).r);
    int taken = lower ? lowerCount : count;
    vec4 sum = vec4(0.0);
    for (int i = 0; i < taken; ++i) {
        ivec2 place = ivec2(row, i + 1);
        float weight = lower ? texelFetch(lowerTaps, place, 0).r : texelFetch(taps, place, 0).r;
        int source = clamp(first + i, 0, fieldRows - 1) * fields + field;
        sum += weight * (vec4(texelFetch(lines, ivec2(at.x, source), 0)) * (2.5 / 65535.0) - 1.0);
    }
    float red = sum.x + 1.402 * sum.z;
    float blue = sum.x + 1.772 * sum.y;
    float green = (sum.x - 0.299 * red - 0.114 * blue) / 0.587;
    result = clamp(vec4(red, green, blue, sum.w), 0.0, 1.0);
}
)";

}  // namespace

void GpuScaler::Scale(DataVideoOGL const& picture, GpuArea const& from, GpuTexture const& target, GpuArea const& to,
                      Algorithm algorithm) {
    GpuDevice& device = picture.GetDevice();
    bool const byFields = picture.GetInterlace() != 0 && from.height != to.height && from.height > 1 && to.height > 1;
    if (byFields) {
        Prepare(down, device, (from.height + 1) / 2, (to.height + 1) / 2, algorithm);
        Prepare(downLower, device, from.height / 2, to.height / 2, algorithm);
    } else {
        Prepare(down, device, from.height, to.height, algorithm);
    }
    GpuTexturePtr const lines = ScaleLines(picture, from, to.width, algorithm);
    ScaleColumns(*lines, target, to, byFields);
}

void GpuScaler::Prepare(Taps& taps, GpuDevice& device, int from, int to, Algorithm algorithm) {
    bool const stands = taps.table && &taps.table->GetDevice() == &device && taps.from == from && taps.to == to &&
                        taps.algorithm == algorithm;
    if (stands) return;
    ResizeTaps const made(from, to, algorithm);
    taps = {from, to, algorithm, made.GetCount(),
            device.MakeTable(made.GetSize(), made.GetCount() + 1, made.GetTable())};
}

GpuTexturePtr GpuScaler::ScaleLines(DataVideoOGL const& picture, GpuArea const& from, int width, Algorithm algorithm) {
    GpuDevice& device = picture.GetDevice();
    bool const halves = width <= from.width / 2;
    Prepare(across, device, from.width, width, algorithm);
    if (halves) Prepare(acrossChroma, device, (from.width + 1) / 2, width, algorithm);
    Taps const& chroma = halves ? acrossChroma : across;
    GpuTexturePtr lines = device.MakeTexture(GpuFormat::RGBA16, width, from.height);
    device.Draw({.shader = LINES,
                 .inputs = {{"picture", &picture.GetTexture()},
                            {"taps", across.table.get()},
                            {"chromaTaps", chroma.table.get()}},
                 .ints = {{"count", {across.count}},
                          {"chromaCount", {chroma.count}},
                          {"halves", {halves ? 1 : 0}},
                          {"area", {from.x, from.y, from.width, from.height}}},
                 .floats = {},
                 .target = lines.get(),
                 .area = {0, 0, width, from.height}});
    return lines;
}

void GpuScaler::ScaleColumns(GpuTexture const& lines, GpuTexture const& target, GpuArea const& to, bool byFields) {
    Taps const& lower = byFields ? downLower : down;
    target.GetDevice().Draw(
        {.shader = COLUMNS,
         .inputs = {{"lines", &lines}, {"taps", down.table.get()}, {"lowerTaps", lower.table.get()}},
         .ints = {{"count", {down.count}},
                  {"lowerCount", {lower.count}},
                  {"fields", {byFields ? 2 : 1}},
                  {"origin", {to.x, to.y}},
                  {"rows", {lines.GetHeight()}}},
         .floats = {},
         .target = &target,
         .area = to});
}

}  // namespace Tarsel::Host
