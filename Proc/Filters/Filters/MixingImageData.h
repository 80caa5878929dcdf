#pragma once

#include <functional>

#include "contracts/Core/Time.h"
#include "contracts/Proc/BlendHelper.h"
#include "contracts/Proc/IEffectImageBlender.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterVideoMixer.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// One picture that is drawn on others. Guarded by the lock of the filter that owns it.
class MixingImageData {
  public:
    /// An odd `x` or `y` becomes the even number below it. Throws `std::invalid_argument` "image cann't be nullptr".
    MixingImageData(iptr<IDataVideo> const& image, int x, int y, IFilterVideoMixer::AlphaFunction alpha,
                    iptr<IEffectFactory const> const& effectFactory);

    int GetX() const { return x; }
    int GetY() const { return y; }
    iptr<IDataVideo> const& GetImage() const { return image; }
    /// Never null.
    void SetImage(iptr<IDataVideo> const& newImage);

    /// Draws the picture on `dest`, with the alpha of its time. `blender` works where `dest` lives. Throws
    /// `std::invalid_argument` "Aspect ratio of destination stream and blended picture does not match. Watermark must
    /// be prepared!", `std::bad_function_call` for an empty alpha function, and as the blender.
    void BlendTo(iptr<IDataVideo>& dest, IEffectImageBlender& blender);

  private:
    /// The picture in the form in which it is drawn on `dest`.
    iptr<IDataVideo> PictureFor(IDataVideo const& dest);
    iptr<IDataVideo> const& Downloaded();

    int x;
    int y;
    bool isOGL;
    IFilterVideoMixer::AlphaFunction alpha;
    iptr<IDataVideo> image;  // never null
    BlendHelper blendHelper;
    iptr<IEffectFactory const> effectFactory;

    // A picture of the GPU in processor memory, for frames that live there, and what it was made of.
    iptr<IDataVideo> downloaded;
    iptr<IDataVideo> downloadedFrom;
};

/// A picture that is drawn from a time on, to the end.
struct WatermarkData {
    int64 startTime;
    MixingImageData picture;
};

/// A stream that is drawn. Guarded by the lock of the filter that owns it.
///
/// A drawn frame and a frame of the main stream meet as follows; `o` is how long they share the screen:
///
///     main            [begin        end)
///     past        [--)                         the next one
///     covers        [------------------)       drawn
///     ends inside   [------)                   drawn where o >= minOverlap, else the next one
///     inside               [---)               drawn
///     begins inside          [-----------)     drawn where o >= minOverlap, else kept for a later main frame
class MixingStreamData {
  public:
    using EndCheck = std::function<bool()>;

    /// Reads the stream's first frame; one that has none throws `std::invalid_argument` "image cann't be nullptr". A
    /// null stream throws `std::invalid_argument` "source is NULL".
    MixingStreamData(iptr<IStreamVideo> const& stream, int x, int y, int64 startTime,
                     IFilterVideoMixer::AlphaFunction alpha, bool loop,
                     iptr<IEffectFactory const> const& effectFactory);

    /// The picture that belongs to the main frame of `[begin, end)`, or null. Reads on in the stream as far as needed.
    ///
    /// Times without a value give null, and drawn frames without a time or a duration are passed over. A stream that
    /// loops starts over at its end; passes that lie wholly ahead of the main frame are jumped over, so that one call
    /// reads a bounded number of passes, whatever the gap. What the stream throws passes through, and all is as after
    /// the last step that was completed.
    ///
    /// `hasEnded` tells whether the filter itself has been told to end, which may come from another thread at any time.
    /// A stream that gives null then may have been broken off: it doesn't start over, since a seek takes an end back.
    MixingImageData* SetNewData(int64 begin, int64 end, int64 minOverlap, EndCheck const& hasEnded);
    /// The phases of a seek to a time of the main stream. `startTime` isn't taken off: meant, as hosts count on it.
    void RequestSeek(int64 target, iptr<IRefCountable> const& seekContext);
    void DoSeek();

    iptr<IStreamVideo> const& GetStream() const { return stream; }

  private:
    enum class Decision { Use, Keep, Next };

    /// What one call knows of the passes over a stream that loops.
    struct Passes {
        int64 duration;            // no value where the stream doesn't loop
        int count = 0;             // wraps so far
        int64 lastEnd = NO_VALUE;  // the latest end of the frames seen
    };

    /// That of one pass; no value where the stream doesn't loop, which is so, too, where its length isn't known or 0.
    int64 LoopDuration() const;
    /// When the present pass begins, in time of the main stream.
    int64 Base(int64 loopDuration) const;
    static Decision Decide(int64 begin, int64 end, int64 frameBegin, int64 frameEnd, int64 minOverlap);
    /// Reads the next frame, at the beginning where the stream loops; false when there is none that could serve.
    bool ReadNext(Passes& passes, int64 begin, EndCheck const& hasEnded);
    bool Wrap(Passes& passes, int64 begin, EndCheck const& hasEnded);
    /// Seeks to the stream's beginning; false where the end came meanwhile, which then stands.
    bool StartOver(EndCheck const& hasEnded);

    bool loop;
    int64 startTime;
    i32 loopCount = 0;  // saturates; then the stream has ended
    iptr<IStreamVideo> stream;
    iptr<IDataVideo> current;  // the frame in hand, null at the end
    MixingImageData data;
};

}  // namespace Tarsel::Proc
