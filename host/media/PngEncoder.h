#pragma once

#include <string_view>

#include "contracts/Core/Export.h"
#include "contracts/Proc/IData.h"
#include "host/media/FFmpeg.h"
#include "host/media/PictureConverter.h"

namespace Tarsel::Host {

/// Makes the bytes of PNG files. Pictures keep their size; those with an alpha channel become RGBA, all others RGB, of
/// 8 bits. One thread at a time.
class TARSEL_HOST_EXPORT PngEncoder {
  public:
    PngEncoder();
    ~PngEncoder();
    PngEncoder(PngEncoder const&) = delete;
    PngEncoder& operator=(PngEncoder const&) = delete;

    /// The whole file, valid until the next call. Throws `EncoderException` for what can't be encoded, and what the
    /// conversion throws. The picture lives in processor memory.
    std::string_view Encode(Proc::IDataVideo const& picture);

  private:
    /// Opens the codec anew when size or format change.
    void Open(AVFrame const& frame, Conf::FrameInfo const& info);

    PictureConverter converter;
    CodecContextPtr context;
    PacketPtr packet;
};

}  // namespace Tarsel::Host
