#include "Proc/Filters/Filters/MixingImageData.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "Proc/Filters/Filters/FrameAllocReconciler.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

/// Wraps that one call makes at most. Frames that lie within the stream's length need three: what is left of a pass, a
/// whole one that shows how far the frames reach, and two around the main frame. More are needed by a stream alone
/// whose frames reach beyond the length that it tells.
constexpr int MOST_WRAPS = 4;
constexpr i32 MOST_LOOPS = std::numeric_limits<i32>::max();

i32 HeldLoops(int64 loops) {
    return static_cast<i32>(std::clamp<int64>(loops, std::numeric_limits<i32>::min(), MOST_LOOPS));
}

/// Saturates.
int64 Times(int64 duration, i32 count) {
    int64 product = 0;
    if (!__builtin_mul_overflow(duration, int64{count}, &product) && HasValue(product)) return product;
    return count < 0 ? NO_VALUE + 1 : std::numeric_limits<int64>::max();
}

iptr<IStreamVideo> const& Required(iptr<IStreamVideo> const& stream) {
    if (!stream) TARSEL_THROW(std::invalid_argument, "source is NULL");
    return stream;
}

}  // namespace

// --- Pictures --------------------------------------------------------------------------------------------------------

MixingImageData::MixingImageData(iptr<IDataVideo> const& image, int x, int y, IFilterVideoMixer::AlphaFunction alpha,
                                 iptr<IEffectFactory const> const& effectFactory)
    : x(x & ~1), y(y & ~1), alpha(std::move(alpha)), blendHelper(effectFactory), effectFactory(effectFactory) {
    if (!image) TARSEL_THROW(std::invalid_argument, "image cann't be nullptr");
    SetImage(image);
}

void MixingImageData::SetImage(iptr<IDataVideo> const& newImage) {
    image = newImage;
    isOGL = IsOGLFrame(image);
}

iptr<IDataVideo> const& MixingImageData::Downloaded() {
    if (downloadedFrom != image) {
        iptr<IDataVideo> picture = image;
        FrameAllocReconciler(effectFactory).ReconcileFrameAlloc(picture, IDataVideo::FRAME_ALLOC_CPU);
        downloaded = std::move(picture);
        downloadedFrom = image;
    }
    return downloaded;
}

iptr<IDataVideo> MixingImageData::PictureFor(IDataVideo const& dest) {
    if (!isOGL) return blendHelper.Prepare(dest, image);
    if (dest.GetFrameAlloc() == IDataVideo::FRAME_ALLOC_CPU) return blendHelper.Prepare(dest, Downloaded());
    return image;
}

void MixingImageData::BlendTo(iptr<IDataVideo>& dest, IEffectImageBlender& blender) {
    iptr<IDataVideo> const picture = PictureFor(*dest);
    Conf::FrameInfo const& drawn = picture->GetFrameInfo();
    Conf::FrameInfo const& below = dest->GetFrameInfo();
    // Meant: the numbers are compared as they stand, so that 4/2 doesn't match 2/1.
    if (drawn.pixelAspectNum != below.pixelAspectNum || drawn.pixelAspectDen != below.pixelAspectDen)
        TARSEL_THROW(std::invalid_argument,
                     "Aspect ratio of destination stream and blended picture does not match. Watermark must be "
                     "prepared!");
    int const strength = alpha(dest->GetTime());
    blender.Initialize(SettingsEffectImageBlender(x, y, strength, BlendAlphaMode::Straight));
    blender.Process(dest, picture);
}

// --- Streams ---------------------------------------------------------------------------------------------------------

MixingStreamData::MixingStreamData(iptr<IStreamVideo> const& stream, int x, int y, int64 startTime,
                                   IFilterVideoMixer::AlphaFunction alpha, bool loop,
                                   iptr<IEffectFactory const> const& effectFactory)
    : loop(loop),
      startTime(startTime),
      stream(Required(stream)),
      current(stream->Read()),
      data(current, x, y, std::move(alpha), effectFactory) {}

int64 MixingStreamData::LoopDuration() const {
    if (!loop) return NO_VALUE;
    int64 const duration = stream->GetDuration();
    return duration > 0 ? duration : NO_VALUE;
}

int64 MixingStreamData::Base(int64 loopDuration) const {
    return HasValue(loopDuration) ? AddTime(startTime, Times(loopDuration, loopCount)) : startTime;
}

MixingStreamData::Decision MixingStreamData::Decide(int64 begin, int64 end, int64 frameBegin, int64 frameEnd,
                                                    int64 minOverlap) {
    if (!HasValue(frameEnd) || frameEnd <= begin) return Decision::Next;
    bool const overlaps = SubTime(std::min(frameEnd, end), std::max(frameBegin, begin)) >= minOverlap;
    if (frameBegin <= begin) {
        if (frameEnd > end || overlaps) return Decision::Use;
        return Decision::Next;
    }
    if (frameEnd <= end || overlaps) return Decision::Use;
    return Decision::Keep;
}

MixingImageData* MixingStreamData::SetNewData(int64 begin, int64 end, int64 minOverlap, EndCheck const& hasEnded) {
    if (!HasValue(begin) || !HasValue(end) || !HasValue(startTime)) return nullptr;
    Passes passes{.duration = LoopDuration()};
    while (current) {
        int64 const frameBegin = AddTime(Base(passes.duration), current->GetTime());
        int64 const frameEnd = AddTime(frameBegin, current->GetDuration());
        passes.lastEnd = std::max(passes.lastEnd, frameEnd);
        Decision const decision = Decide(begin, end, frameBegin, frameEnd, minOverlap);
        if (decision == Decision::Keep) return nullptr;
        if (decision == Decision::Use) {
            data.SetImage(current);
            return &data;
        }
        if (!ReadNext(passes, begin, hasEnded)) return nullptr;
    }
    return nullptr;
}

bool MixingStreamData::ReadNext(Passes& passes, int64 begin, EndCheck const& hasEnded) {
    current = stream->Read();
    return current || Wrap(passes, begin, hasEnded);
}

bool MixingStreamData::StartOver(EndCheck const& hasEnded) {
    if (hasEnded()) return false;
    stream->RequestSeek(0, nullptr);
    stream->DoSeek();
    if (!hasEnded()) return true;
    // It may have come ahead of the seek, which took it back. One that is still to come finds the stream sought.
    stream->SetEndOfStream();
    return false;
}

bool MixingStreamData::Wrap(Passes& passes, int64 begin, EndCheck const& hasEnded) {
    if (!HasValue(passes.duration) || loopCount == MOST_LOOPS || !StartOver(hasEnded)) return false;
    current = stream->Read();
    if (!current) return false;
    int64 loops = 1;
    bool const wasWhole = passes.count > 0;
    // As long as even the latest frame of a pass is past, so are all of them: these passes needn't be read.
    int64 const behind = wasWhole ? SubTime(begin, passes.lastEnd) : NO_VALUE;
    if (behind >= 0) loops += behind / passes.duration;
    loopCount = HeldLoops(AddTime(loopCount, loops));
    // Frames without times don't come nearer, however often they are read.
    bool const comesNearer = !wasWhole || HasValue(passes.lastEnd);
    return comesNearer && ++passes.count < MOST_WRAPS;
}

void MixingStreamData::RequestSeek(int64 target, iptr<IRefCountable> const& seekContext) {
    int64 const duration = LoopDuration();
    bool const loops = HasValue(duration) && HasValue(target);
    stream->RequestSeek(loops ? target % duration : target, seekContext);
    loopCount = loops ? HeldLoops(target / duration) : 0;
}

void MixingStreamData::DoSeek() {
    stream->DoSeek();
    current = stream->Read();
}

}  // namespace Tarsel::Proc
