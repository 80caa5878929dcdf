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

}  // namespace

StampEffect::~StampEffect() = default;

void StampEffect::Initialize(Settings const& newSettings) {
    DrawablePicture read(ReadPicture(dynamic_cast<SettingsEffectStamp const&>(newSettings).GetFile()));
    PictureEffectBase::Initialize(newSettings);
    stamp = std::move(read);
}

void StampEffect::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    SettingsEffectStamp const& settings = GetOwnSettings();
    item = stamp.DrawnOn(Accepted(item), settings.GetX(), settings.GetY(), settings.GetAlpha());
    CountItem();
}

}  // namespace Tarsel::Host
