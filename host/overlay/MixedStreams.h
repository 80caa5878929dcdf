#pragma once

#include <utility>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// What others are drawn on: pictures in a pixel format on which some with alpha can be drawn, all with the pixel
/// aspect of the stream's format, which a file tells while its frames may say another or none. Those in GPU memory stay
/// there, in the format and the texture that they have. Seek, end and threads: the stream's own.
class TARSEL_HOST_EXPORT CanvasVideo final : public ForwardingStream<Proc::IStreamVideo> {
  public:
    /// For pictures of processor memory; those of several sizes are brought to that of the format first. Throws
    /// `EffectException` for a pixel format on which nothing can be drawn.
    static iptr<Proc::IStreamVideo> Create(iptr<Proc::IStreamVideo> const& source);
    /// For pictures of GPU memory, which keep their sizes; the stream's format stays as it is.
    static iptr<Proc::IStreamVideo> CreateOnGpu(iptr<Proc::IStreamVideo> const& source);

    iptr<Proc::IDataVideo> Read() override;
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override;

  private:
    CanvasVideo(iptr<Proc::IStreamVideo> source, bool isOnGpu)
        : ForwardingStream(std::move(source)), isOnGpu(isOnGpu) {}

    /// What pictures of a pixel format come out as.
    PixFmt OutFormat(PixFmt format) const;

    bool const isOnGpu;
};

/// What is drawn on others: pictures with the pixel aspect of those, to the word. One with another shape of pixels is
/// made wider or narrower by the ratio of the two, so that it looks as it did; its height stays. Its length is that of
/// its pictures, so that a loop has no gap where the file's sound goes on. Seek, end and threads: the stream's own.
class TARSEL_HOST_EXPORT DrawnVideo final : public ForwardingStream<Proc::IStreamVideo> {
  public:
    /// `canvas`: what it is drawn on, of which the pixel aspect counts. `end`: of the last picture, where it is known.
    /// Pictures come from processor memory.
    static iptr<Proc::IStreamVideo> Create(iptr<Proc::IStreamVideo> source, Conf::FrameInfo const& canvas,
                                           int64 end = NO_VALUE);

    int64 GetDuration() const override;
    iptr<Proc::IDataVideo> Read() override;
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override;

  private:
    DrawnVideo(iptr<Proc::IStreamVideo> source, Conf::FrameInfo const& canvas, int64 end)
        : ForwardingStream(std::move(source)),
          own(stream->GetFormatCodec()->GetFrameInfo()),
          canvas(canvas),
          end(end) {}

    /// The shape that a picture gets.
    Conf::FrameInfo ShapeFor(Conf::FrameInfo picture) const;

    Conf::FrameInfo const own;
    Conf::FrameInfo const canvas;
    int64 const end;
};

/// The width in pixels of one aspect that looks as `info` does, at the same height; at least 1.
TARSEL_HOST_EXPORT int WidthInPixelsOf(Conf::FrameInfo const& aspect, Conf::FrameInfo const& info);

}  // namespace Tarsel::Host
