#include "Proc/Filters/Filters/CropDetector.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/TimerSimple.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/MultiEffect.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Proc {

namespace {

/// A stream that never gets this bright is looked at longer: it may be a dark opening.
constexpr int64 BRIGHT_ENOUGH = 30;
constexpr int DARK_RETRIES = 10;

/// Weighs frames in a row that bring a run no nearer to its end: a stream that gives too many of them is taken for one
/// that never gives any other.
class Patience {
  public:
    explicit Patience(int64 maxInterval) : maxInterval(maxInterval) {}

    void Count(int64 time, bool isDue) {
        bool const isLater = HasValue(time) && time > latest;
        if (isLater) latest = time;
        if (isLater && time <= maxInterval)
            weighed = 0;
        else
            weighed += isLater ? BEHIND : isDue ? STILL_AND_DUE : STILL;
        if (weighed >= LIMIT)
            TARSEL_THROW(FilterException, "Video stream goes on giving frames that don't bring crop detection further");
    }

  private:
    static constexpr int BEHIND = 10;  // the max interval
    static constexpr int STILL = 100;  // no later than those before
    static constexpr int STILL_AND_DUE = 1000;
    static constexpr int LIMIT = 10000000;

    int64 const maxInterval;
    int64 latest = NO_VALUE;
    int weighed = 0;
};

/// Without the lowest bit, but at least one pixel.
int EvenSize(int size) {
    return size > 1 ? size & ~1 : size;
}

/// The upper left part of a picture, over the same memory where it is one of the codec library's.
iptr<IDataVideo> UpperLeft(IDataVideo const& picture, int width, int height) {
    if (auto const* const own = dynamic_cast<DataVideoFF const*>(&picture)) {
        AVFrame* const part = av_frame_clone(own->GetAVFrame());
        if (!part) TARSEL_THROW(ProcException, "Can't take a part of a frame");
        part->width = width;
        part->height = height;
        return DataVideoFF::Wrap(part, picture.GetTime(), picture.GetDuration());
    }
    Conf::FrameInfo info = picture.GetFrameInfo();
    info.width = width;
    info.height = height;
    iptr<IDataVideo> part = DataVideoFF::Create(picture.GetPixelFormat(), info, nullptr);
    for (unsigned i = 0; i < static_cast<unsigned>(GetPlanesCount(*part)); ++i) {
        auto const from = picture.GetPlaneConst(i);
        auto const to = part->GetPlane(i);
        for (unsigned y = 0; y < static_cast<unsigned>(to.GetRows()); ++y)
            std::memcpy(to.GetOffsetPtr(0, y), from.GetOffsetPtr(0, y), static_cast<std::size_t>(to.GetRowBytes()));
    }
    part->SetTime(picture.GetTime());
    part->SetDuration(picture.GetDuration());
    return part;
}

bool AreAlike(IDataVideo const& one, IDataVideo const& other) {
    return one.GetWidth() == other.GetWidth() && one.GetHeight() == other.GetHeight() &&
           one.GetPixelFormat() == other.GetPixelFormat();
}

int64 GetTimeOption(Core::Property const& property, char const* key, int64 before) {
    return property.ChildExists(key) ? property[key].GetInt64() : before;
}

u32 GetCountOption(Core::Property const& property, char const* key, u32 before) {
    if (!property.ChildExists(key)) return before;
    int64 const value = property[key].GetInt64();
    if (value < 0 || value > std::numeric_limits<u32>::max())
        TARSEL_THROW(AlgorithmException,
                     std::string(key) + " of " + property.Name() + " is out of range: " + std::to_string(value));
    return static_cast<u32>(value);
}

}  // namespace

iptr<ICropDetector> CropDetector::Create(iptr<IEffectFactory const> const& effectFactory) {
    return MakeShared<CropDetector>(effectFactory);
}

CropDetector::CropDetector(iptr<IEffectFactory const> const& effectFactory) : frames(effectFactory) {
    if (!effectFactory) TARSEL_THROW(std::invalid_argument, "effectFactory is NULL");
    converter =
        MakeEffect<IOneInputEffectVideo>(*effectFactory, SettingsColorspaceConverter::CLASS_ID, ImplNames::DEFAULT);
    converter->Initialize(SettingsColorspaceConverter({PIX_FMT_NV12, PIX_FMT_YUV420P, PIX_FMT_YUVA420P}, true));
}

void CropDetector::Initialize(Core::Property const& property) {
    if (property.Name() != CLASS_ID)
        TARSEL_THROW(AlgorithmException, "CropDetector was initialized with incorrect class!");
    int64 const newMaxInterval = GetTimeOption(property, MAX_INTERVAL, maxInterval);
    int64 const newSkipInterval = GetTimeOption(property, SKIP_INTERVAL, skipInterval);
    u32 const newSuccessFrameCount = GetCountOption(property, SUCCESS_FRAME_COUNT, successFrameCount);
    u32 const newCalcLimit = GetCountOption(property, CALC_LIMIT, calcLimit);
    cropPrecision = GetCountOption(property, CROP_PRECISION, cropPrecision);
    maxInterval = newMaxInterval;
    skipInterval = newSkipInterval;
    successFrameCount = newSuccessFrameCount;
    calcLimit = newCalcLimit;
}

Core::Property CropDetector::GetStatistic() const {
    return Core::MakeStatistics("Tarsel::Proc::CropDetector::GetStatistic", totalTime, calcCount);
}

void CropDetector::Reset() {
    frameCounter = 0;
    stableCount = 0;
    bestBrightness = -1;
    brightestFrame.reset();
    previousFrame.reset();
    implementation.reset();
}

CropInfo CropDetector::Detect(iptr<IStreamVideo>& stream) {
    if (!stream) TARSEL_THROW(std::invalid_argument, "stream is NULL");
    Reset();
    int64 nextTime = 0;
    int retries = DARK_RETRIES;
    Patience patience(maxInterval);
    stream->RequestSeek(0, nullptr);
    stream->DoSeek();
    stream->FinishSeek();
    while (iptr<IDataVideo> frame = stream->Read()) {
        int64 const time = frame->GetTime();
        // A frame without a time never is.
        bool const isDue = HasValue(time) && time >= nextTime;
        patience.Count(time, isDue);
        if (!isDue) continue;
        nextTime = AddTime(nextTime, skipInterval);
        ++frameCounter;
        if (time > maxInterval) return CropInfo::WholeOf(frame->GetWidth(), frame->GetHeight());
        auto const settled = Analyse(std::move(frame));
        if (!settled) continue;
        if (bestBrightness >= BRIGHT_ENOUGH || retries < 1) return *settled;
        --retries;
    }
    return {};
}

std::optional<CropInfo> CropDetector::Analyse(iptr<IDataVideo> frame) {
    Core::TimerSimple const timer;
    ++calcCount;
    frame = Prepare(std::move(frame));
    if (previousFrame && !AreAlike(*previousFrame, *frame)) {
        Reset();
        frameCounter = 1;  // this frame is the first of what follows
    }
    if (!implementation) implementation = CropDetectorImpl::Create(frame->GetPixelFormat(), frame, calcLimit);
    bool const brighter = IsBrighter(frame);
    std::optional<CropInfo> settled;
    if (previousFrame) {
        auto const crop = implementation->Calculate(*frame, *previousFrame, frameCounter - 1);
        settled = Settle(crop, CropInfo::WholeOf(previousFrame->GetWidth(), previousFrame->GetHeight()));
    }
    // Once the crop is settled the previous frame and the last crop stay, also where the run goes on.
    if (!settled) previousFrame = std::move(frame);
    totalTime = AddTime(totalTime, timer.GetElapsed());
    return brighter ? std::nullopt : settled;
}

std::optional<CropInfo> CropDetector::Settle(CropInfo const& crop, CropInfo const& whole) {
    bool const isWhole = crop.Diff(whole) <= cropPrecision;
    bool const holds = isWhole || crop.Diff(lastCrop) <= cropPrecision;
    stableCount = holds ? stableCount + 1 : 0;
    if (holds && stableCount >= successFrameCount) return isWhole ? whole : crop;
    lastCrop = crop;
    return std::nullopt;
}

iptr<IDataVideo> CropDetector::Prepare(iptr<IDataVideo> frame) {
    frames.ReconcileFrameAlloc(frame, IDataVideo::FRAME_ALLOC_CPU);
    if (!frame) TARSEL_THROW(FilterException, "Frame to find the crop of got lost on its way to processor memory");
    int const width = EvenSize(frame->GetWidth());
    int const height = EvenSize(frame->GetHeight());
    if (width != frame->GetWidth() || height != frame->GetHeight()) frame = UpperLeft(*frame, width, height);
    converter->Process(frame);
    if (!frame) TARSEL_THROW(FilterException, "Frame to find the crop of got lost in the colour-space converter");
    return frame;
}

bool CropDetector::IsBrighter(iptr<IDataVideo> const& frame) {
    int64 const brightness = Details::GetBrightness(*frame);
    if (brightness <= bestBrightness) return false;
    bestBrightness = brightness;
    brightestFrame = frame;
    return true;
}

}  // namespace Tarsel::Proc
