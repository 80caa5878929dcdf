#pragma once

#include <string>
#include <vector>

#include "host/media/CodecStream.h"
#include "host/media/PictureConverter.h"

namespace Tarsel::Host {

/// Brings pictures of any size and pixel format into one frame, that of the source's format: scaled with their aspect
/// kept, in the middle, black around them. Pictures that have both already come out as the same objects. Seek:
/// forwarded. End: null.
class TARSEL_HOST_EXPORT FittedVideo : public CodecStream<Proc::IStreamVideo, Proc::IStreamVideo> {
  public:
    /// Throws `std::invalid_argument` for a null source.
    static iptr<FittedVideo> Create(iptr<Proc::IStreamVideo> const& source);

    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override { return source->GetFormatCodec(); }
    /// What was fitted: "320x240 yuv420p into 640x360 yuv420p", each once, sixteen at most.
    std::vector<std::string> const& GetNotes() const { return notes; }

  protected:
    std::string GetClassName() const override { return "Tarsel::Host::FittedVideo"; }
    void Enter(Proc::IStreamVisitor& visitor) override;
    iptr<Proc::IDataVideo> ReadNext() override;
    void Restart(int64) override {}
    void AddStatistics(Core::Property& node) const override;

  private:
    explicit FittedVideo(iptr<Proc::IStreamVideo> const& pictures);
    iptr<Proc::IDataVideo> Fit(Proc::IDataVideo const& picture);
    void Note(Proc::IDataVideo const& picture);

    Conf::FrameInfo const frame;
    PixFmt const pixelFormat;  // none: any

    // State of the consumer's thread.
    PictureConverter converter;
    std::vector<std::string> notes;

    std::atomic<int64> fitted{0};
};

/// Where a picture stands inside of a frame; pixels.
struct FittedPlace {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;

    bool operator==(FittedPlace const&) const = default;
};

/// The largest place for the picture in the middle of the frame that keeps its aspect. All numbers are multiples of
/// `grid` (a power of two), as subsampled colour needs it; a picture that would be flatter than that gets `grid`.
TARSEL_HOST_EXPORT FittedPlace FindPlace(Conf::FrameInfo const& picture, Conf::FrameInfo const& frame, int grid);

}  // namespace Tarsel::Host
