#pragma once

#include <string>
#include <vector>

#include "host/media/CodecStream.h"
#include "host/media/PictureConverter.h"

namespace Tarsel::Host {

/// Where a picture stands inside of a frame; pixels.
struct FittedPlace {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;

    bool operator==(FittedPlace const&) const = default;
};

/// Brings pictures of any size and pixel format into one frame, that of the source's format: scaled with their aspect
/// kept, in the middle, black around them. Pictures that have both already come out as the same objects. On wish the
/// frame is larger by what the subsampling of its colour lacks to whole samples: then pictures of the source's own size
/// stay as they are, with a black line or column behind their last. Seek: forwarded. End: null.
class TARSEL_HOST_EXPORT FittedVideo : public CodecStream<Proc::IStreamVideo, Proc::IStreamVideo> {
  public:
    /// Throws `std::invalid_argument` for a null source. `wholeColour`: no frame may end inside of a sample of colour.
    static iptr<FittedVideo> Create(iptr<Proc::IStreamVideo> const& source, bool wholeColour = false);
    /// Into a frame and a pixel format that are told; what stands around a picture with alpha is seen through.
    static iptr<FittedVideo> Create(iptr<Proc::IStreamVideo> const& source, Conf::FrameInfo const& target,
                                    PixFmt targetFormat);

    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override;
    /// What was fitted: "320x240 yuv420p into 640x360 yuv420p", each once, sixteen at most.
    std::vector<std::string> const& GetNotes() const { return notes; }

  protected:
    std::string GetClassName() const override { return "Tarsel::Host::FittedVideo"; }
    void Enter(Proc::IStreamVisitor& visitor) override;
    iptr<Proc::IDataVideo> ReadNext() override;
    void Restart(int64) override {}
    void AddStatistics(Core::Property& node) const override;

  private:
    FittedVideo(iptr<Proc::IStreamVideo> const& pictures, bool wholeColour);
    FittedVideo(iptr<Proc::IStreamVideo> const& pictures, Conf::FrameInfo const& target, PixFmt targetFormat);
    FittedPlace PlaceOf(Proc::IDataVideo const& picture, int grid) const;
    iptr<Proc::IDataVideo> Fit(Proc::IDataVideo const& picture);
    void Note(Proc::IDataVideo const& picture);

    PixFmt const pixelFormat;     // none: any
    Conf::FrameInfo const own;    // of the source
    Conf::FrameInfo const frame;  // of what comes out
    bool const isTold;            // whether frame and pixel format are others than the source's

    // State of the consumer's thread.
    PictureConverter converter;
    std::vector<std::string> notes;

    std::atomic<int64> fitted{0};
};

/// The largest place for the picture in the middle of the frame that keeps its aspect. All numbers are multiples of
/// `grid` (a power of two), as subsampled colour needs it; a picture that would be flatter than that gets `grid`.
TARSEL_HOST_EXPORT FittedPlace FindPlace(Conf::FrameInfo const& picture, Conf::FrameInfo const& frame, int grid);

}  // namespace Tarsel::Host
