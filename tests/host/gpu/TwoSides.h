#pragma once

#include "contracts/Proc/IEffectImageBlender.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/Factories.h"
#include "tests/host/gpu/GpuSupport.h"

namespace Tarsel::Test {

/// The effect of these settings, in processor memory or on the GPU.
inline iptr<Proc::IEffect> MakeSide(Proc::Settings const& settings, char const* side) {
    auto const effect = Host::MakeEffectFactory()->CreateEffect(settings.GetClassId(), side);
    if (!effect) {
        ADD_FAILURE() << "there is no " << settings.GetClassId() << " of " << side;
        return nullptr;
    }
    effect->Initialize(settings);
    return effect;
}

inline iptr<Proc::IDataVideo> AsPicture(iptr<Proc::IData> const& item) {
    return iptr<Proc::IDataVideo>(dynamic_cast<Proc::IDataVideo*>(item.get()));
}

/// What the effect makes of pictures in processor memory.
inline iptr<Proc::IDataVideo> OnProcessor(Proc::IEffect& effect, std::vector<iptr<Proc::IDataVideo>> const& pictures) {
    // Effects may write into what nobody else holds.
    std::vector<iptr<Proc::IData>> inputs;
    for (auto const& picture : pictures) inputs.push_back(picture ? picture->Clone(true) : nullptr);
    return AsPicture(effect.ProcessData(inputs));
}

/// The same on the GPU, brought back.
inline iptr<Proc::IDataVideo> OnGpu(Proc::IEffect& effect, std::vector<iptr<Proc::IDataVideo>> const& pictures) {
    std::vector<iptr<Proc::IData>> inputs;
    for (auto const& picture : pictures) inputs.push_back(picture ? Upload(picture) : nullptr);
    iptr<Proc::IDataVideo> const result = AsPicture(effect.ProcessData(inputs));
    EXPECT_TRUE(!result || Proc::IsOGLFrame(result));
    return Download(result);
}

/// The largest difference between the two sides of an effect, over everything else than pixels as well.
inline int CompareSides(Proc::Settings const& settings, std::vector<iptr<Proc::IDataVideo>> const& pictures,
                        Proc::TimeToProgress const& map = {}) {
    auto const processor = MakeSide(settings, Proc::ImplNames::TARSEL);
    auto const gpu = MakeSide(settings, Proc::ImplNames::OGL);
    if (!processor || !gpu) return 255;
    processor->SetTimeToProgress(map);
    gpu->SetTimeToProgress(map);
    auto const wanted = OnProcessor(*processor, pictures);
    auto const found = OnGpu(*gpu, pictures);
    EXPECT_EQ(found->GetFrameInfo(), wanted->GetFrameInfo());
    EXPECT_EQ(found->GetTime(), wanted->GetTime());
    EXPECT_EQ(found->GetDuration(), wanted->GetDuration());
    EXPECT_EQ(found->GetInterlace(), wanted->GetInterlace());
    EXPECT_EQ(found->GetCrop(), wanted->GetCrop());
    return LargestDifference(*found, *wanted);
}

/// Pictures of every kind in one size.
inline std::vector<iptr<Proc::IDataVideo>> AllKinds(int width, int height) {
    return {Noise(width, height, 3), Noise(width, height, 4, true), Gradient(width, height), Edges(width, height),
            Natural(width, height)};
}

}  // namespace Tarsel::Test
