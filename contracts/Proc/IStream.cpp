#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

iptr<IData> IStreamVideo::ReadBase() {
    return Read();
}
iptr<IData> IStreamAudio::ReadBase() {
    return Read();
}
iptr<IData> IStreamSubtitle::ReadBase() {
    return Read();
}
iptr<IData> IStreamRaw::ReadBase() {
    return Read();
}

iptr<Conf::IFormatCodec const> IStreamVideo::GetFormatCodecBase() const {
    return GetFormatCodec();
}
iptr<Conf::IFormatCodec const> IStreamAudio::GetFormatCodecBase() const {
    return GetFormatCodec();
}
iptr<Conf::IFormatCodec const> IStreamSubtitle::GetFormatCodecBase() const {
    return GetFormatCodec();
}
iptr<Conf::IFormatCodec const> IStreamRaw::GetFormatCodecBase() const {
    return GetFormatCodec();
}

IDownloadable::~IDownloadable() = default;

iptr<IData> IDataVideo::CloneBase(bool copyPayload) const {
    return Clone(copyPayload);
}
iptr<IData> IDataAudio::CloneBase(bool copyPayload) const {
    return Clone(copyPayload);
}
iptr<IData> IDataPacket::CloneBase(bool copyPayload) const {
    return Clone(copyPayload);
}
iptr<IData> IDataSubtitle::CloneBase(bool copyPayload) const {
    return Clone(copyPayload);
}

}  // namespace Tarsel::Proc
