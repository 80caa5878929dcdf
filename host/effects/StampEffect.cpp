#include "host/effects/StampEffect.h"

#include <algorithm>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/ImplNames.h"
#include "host/media/CodecFactory.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

iptr<IDataVideo> ReadPicture(std::string const& path) {
    if (path.empty()) TARSEL_THROW(EffectException, "A stamp needs a picture file");
    try {
        auto const file = MediaFile::Open(path);
        auto const& streams = file->GetStreams();
        auto const video = std::find_if(streams.begin(), streams.end(),
                                        [](StreamInfo const& info) { return info.kind == StreamKind::Video; });
        if (video == streams.end()) TARSEL_THROW(EffectException, path + ": there is no picture in it");
        auto const decoder =
            CodecFactory::Create()->CreateVideoDecoder(file->OpenStream(video->index), ImplNames::DEFAULT);
        iptr<IDataVideo> picture = decoder->Read();
        if (!picture) TARSEL_THROW(EffectException, path + ": no picture can be decoded");
        return picture;
    } catch (EffectException const&) {
        throw;
    } catch (Exception const& failure) {
        std::string const text = failure.what();
        TARSEL_THROW(EffectException, text.find(path) == std::string::npos ? path + ": " + text : text);
    }
}

/// Below 0 a position counts from the far edge.
int Placed(int position, int size, int room) {
    if (position >= 0) return position;
    int64 const placed = int64{room} - size + position + 1;
    return static_cast<int>(std::max<int64>(placed, -int64{size}));
}

}  // namespace

StampEffect::~StampEffect() = default;

void StampEffect::Initialize(Settings const& newSettings) {
    DrawablePicture read(ReadPicture(dynamic_cast<SettingsEffectStamp const&>(newSettings).GetFile()));
    PictureEffectBase::Initialize(newSettings);
    stamp = std::move(read);
}

void StampEffect::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    item = Accepted(item);
    if (iptr<IDataVideo> const drawn = stamp.For(*item)) {
        SettingsEffectStamp const& settings = GetOwnSettings();
        SettingsEffectImageBlender const placing(Placed(settings.GetX(), drawn->GetWidth(), item->GetWidth()),
                                                 Placed(settings.GetY(), drawn->GetHeight(), item->GetHeight()),
                                                 settings.GetAlpha(), BlendAlphaMode::Straight);
        if (IsSeen(*item, *drawn, placing)) {
            item = item->MakeWritable();
            DrawPicture(*item, *drawn, placing);
        }
    }
    CountItem();
}

}  // namespace Tarsel::Host
