#include "host/gpu/OglMixing.h"

#include "host/effects/PictureParts.h"
#include "host/effects/SampleMixing.h"
#include "host/gpu/OglBlender.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

constexpr char DISSOLVE[] = R"(#version 300 es
precision highp float;
precision highp int;
precision highp sampler2D;
uniform sampler2D first;
uniform sampler2D last;
uniform int weight;
out vec4 result;

void main() {
    ivec2 at = ivec2(gl_FragCoord.xy);
    ivec4 one = ivec4(texelFetch(first, at, 0) * 255.0 + 0.5);
    ivec4 other = ivec4(texelFetch(last, at, 0) * 255.0 + 0.5);
    result = vec4((one * (32768 - weight) + other * weight + 16384) >> 15) / 255.0;
}
)";

}  // namespace

OglDissolve::OglDissolve() : OglEffect("Tarsel::Host::OglDissolve::GetStatistic") {}
OglDissolve::~OglDissolve() = default;

iptr<IData> OglDissolve::ProcessData(std::vector<iptr<IData>> const& inputs) {
    std::vector<iptr<IDataVideo>> const pictures = PicturesOf(inputs);
    if (pictures.empty()) return nullptr;
    iptr<IDataVideo> last = pictures.back();
    Require(*last);
    CountItem();
    if (pictures.size() == 1) return last;
    DataVideoOGL const& first = Require(*pictures[pictures.size() - 2]);
    u32 const weight = MixWeight(GetProgress(*last));
    if (weight == 0) return pictures[pictures.size() - 2];
    std::shared_ptr<GpuDevice> const device = DeviceOf(first);
    GpuArea const whole{0, 0, first.GetWidth(), first.GetHeight()};
    if (last->GetWidth() != whole.width || last->GetHeight() != whole.height) {
        iptr<DataVideoOGL> const fitting = DataVideoOGL::CreateLike(device, *last, first.GetFrameInfo());
        scaler.Scale(Require(*last), {0, 0, last->GetWidth(), last->GetHeight()}, fitting->GetTexture(), whole,
                     SettingsResizer::ALGORITHM_BICUBIC);
        last = fitting;
    }
    if (weight == MIX_WHOLE) return last;
    iptr<DataVideoOGL> const result = DataVideoOGL::CreateLike(device, first, first.GetFrameInfo());
    result->SetTime(last->GetTime());
    result->SetDuration(last->GetDuration());
    device->Draw({.shader = DISSOLVE,
                  .inputs = {{"first", &first.GetTexture()}, {"last", &Require(*last).GetTexture()}},
                  .ints = {{"weight", {static_cast<int>(weight)}}},
                  .target = &result->GetTexture(),
                  .area = whole});
    return result;
}

OglComposite::OglComposite() : OglEffect("Tarsel::Host::OglComposite::GetStatistic") {}
OglComposite::~OglComposite() = default;

iptr<IData> OglComposite::ProcessData(std::vector<iptr<IData>> const& inputs) {
    std::vector<iptr<IDataVideo>> pictures = PicturesOf(inputs);
    if (pictures.empty()) return nullptr;
    for (auto const& picture : pictures) Require(*picture);
    CountItem();
    iptr<IDataVideo> result = std::move(pictures.front());
    if (pictures.size() == 1) return result;
    result = result->MakeWritable();
    for (std::size_t i = 1; i < pictures.size(); ++i) {
        DataVideoOGL const& drawn = Require(*pictures[i]);
        DrawOnGpu(
            Require(*result), drawn,
            SettingsEffectImageBlender((result->GetWidth() - drawn.GetWidth()) / 2,
                                       (result->GetHeight() - drawn.GetHeight()) / 2, 255, BlendAlphaMode::Straight));
    }
    return result;
}

}  // namespace Tarsel::Host
