#include "host/effects/CompositeEffect.h"

#include "contracts/Conf/PixFmtDescription.h"
#include "host/effects/PictureDrawing.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

bool IsOpaque(IDataVideo const& picture) {
    auto const* const description = Conf::PixFmtDescription::Find(picture.GetPixelFormat());
    return description &&
           !(description->GetFlags() & (Conf::PixFmtDescription::FLAG_ALPHA | Conf::PixFmtDescription::FLAG_PALETTE));
}

bool IsOfSize(IDataVideo const& picture, IDataVideo const& other) {
    return picture.GetWidth() == other.GetWidth() && picture.GetHeight() == other.GetHeight();
}

}  // namespace

CompositeEffect::~CompositeEffect() = default;

iptr<IData> CompositeEffect::ProcessData(std::vector<iptr<IData>> const& inputs) {
    std::vector<iptr<IDataVideo>> pictures = PicturesOf(inputs);
    if (pictures.empty()) return nullptr;
    for (auto const& picture : pictures) RequireProcessorMemory(*picture, SettingsEffectComposite::CLASS_ID);
    CountItem();
    iptr<IDataVideo> const lowest = Accepted(pictures.front());
    std::size_t begin = pictures.size() - 1;
    while (begin > 0 && !(IsOpaque(*pictures[begin]) && IsOfSize(*pictures[begin], *lowest))) --begin;
    iptr<IDataVideo> result = begin == 0 ? lowest : Conformed(pictures[begin], TargetLike(*lowest));
    if (begin + 1 == pictures.size()) return result;
    pictures[begin] = nullptr;
    result = result->MakeWritable();
    for (std::size_t i = begin + 1; i < pictures.size(); ++i) {
        iptr<IDataVideo> const drawn = DrawablePicture(pictures[i]).For(*result);
        SettingsEffectImageBlender const placing((result->GetWidth() - drawn->GetWidth()) / 2,
                                                 (result->GetHeight() - drawn->GetHeight()) / 2, 255,
                                                 BlendAlphaMode::Straight);
        DrawPicture(*result, *drawn, placing);
    }
    return result;
}

}  // namespace Tarsel::Host
