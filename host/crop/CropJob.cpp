#include "host/crop/CropJob.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "host/effects/CropRegion.h"
#include "host/graph/Factories.h"
#include "host/media/DecoderErrors.h"
#include "host/media/ForwardingStream.h"
#include "host/media/NativeParameters.h"
#include "host/media/VideoDecoder.h"

namespace Tarsel::Host {

namespace {

using Proc::CropInfo;
using Proc::ICropDetector;

/// Below it the detector looks at ten pictures more before it is content.
constexpr int64 BRIGHT_ENOUGH = 30;
constexpr int64 DARK_RETRIES = 10;

/// Watches what the detector reads.
class PictureTap final : public ForwardingStream<Proc::IStreamVideo> {
  public:
    PictureTap(iptr<Proc::IStreamVideo> const& source, int64 longest, ProgressCallback const& progress)
        : ForwardingStream(source), longest(longest), progress(progress) {}

    iptr<Proc::IDataVideo> Read() override {
        iptr<Proc::IDataVideo> picture = stream->Read();
        if (!picture) return picture;
        ++count;
        size = picture->GetFrameInfo();
        format = picture->GetPixelFormat();
        interlaced = interlaced || picture->GetInterlace() != 0;
        time = picture->GetTime();
        end = AddTime(time, picture->GetDuration());
        if (progress && HasValue(time)) progress(time, std::min(stream->GetDuration(), longest));
        return picture;
    }

    // Of the pictures read so far, the last one's where there can be one alone.
    int64 count = 0;
    Conf::FrameInfo size{0, 0, 1, 1};
    PixFmt format = PIX_FMT_NONE;
    bool interlaced = false;
    int64 time = NO_VALUE;
    int64 end = NO_VALUE;

  private:
    int64 const longest;
    ProgressCallback const& progress;
};

int64 BrightnessOf(Proc::IDataVideo const& picture) {
    auto const luma = picture.GetPlaneConst(0);
    int64 sum = 0;
    for (int y = 0; y < luma.GetRows(); ++y) {
        u8 const* const row = luma.GetOffsetPtr(0, static_cast<unsigned>(y));
        for (int x = 0; x < luma.GetRowBytes(); ++x) sum += row[x];
    }
    return sum / std::max(int64{1}, int64{luma.GetRows()} * luma.GetRowBytes());
}

/// "0.25" for an option; what rounding takes off makes a shorter interval.
std::string SecondsText(int64 time) {
    std::string text =
        std::to_string(time / 1000000) + "." + std::to_string(1000000 + time % 1000000 / 1000 * 1000).substr(1, 3);
    while (text.back() == '0') text.pop_back();
    if (text.back() == '.') text.pop_back();
    return text;
}

std::string CountText(int64 count) {
    return std::to_string(count) + (count == 1 ? " picture" : " pictures");
}

/// Why there is no answer, and what can be done.
std::vector<std::string> HintsOf(CropRequest const& request, PictureTap const& tap, CropReport const& report) {
    if (tap.count == 0) return {"no picture can be decoded"};
    int64 needed = int64{request.count} + 2;
    std::string why = "as many as --count must agree behind the first two";
    if (report.brightest && BrightnessOf(*report.brightest) < BRIGHT_ENOUGH) {
        needed += DARK_RETRIES;
        why = "ten more than usual, as all of them are dark";
    }
    int64 const length = HasValue(tap.end) ? tap.end : 0;
    if (tap.count < needed) {
        bool const isCountTooHigh = needed - tap.count < request.count;
        return {"there are " + CountText(tap.count) + " and " + std::to_string(needed) + " are needed, " + why +
                (isCountTooHigh ? ": try a smaller --count" : ": no --count is small enough for that")};
    }
    int64 const interval = length / (needed + 1) / 1000 * 1000;
    if (length / std::max(request.interval, int64{1}) < needed && interval > 0)
        return {"it lasts " + SecondsText(length) + " s, and " + std::to_string(needed) + " pictures " +
                SecondsText(request.interval) + " s apart are needed, " + why + ": try --interval " +
                SecondsText(interval)};
    return {
        "the edges of what moves did not come to rest: try a larger --precision, a larger --limit "
        "where there is noise in the bars, or a longer part of the film"};
}

void Judge(CropReport& report, CropRequest const& request, PictureTap const& tap, bool canBeInterlaced) {
    CropInfo const frame = CropInfo::WholeOf(tap.size.width, tap.size.height);
    report.frameWidth = tap.size.width;
    report.frameHeight = tap.size.height;
    report.known = !(report.region == CropInfo());
    if (!report.known) {
        report.hints = HintsOf(request, tap, report);
        return;
    }
    report.settled = !(HasValue(tap.time) && tap.time > request.longest);
    // The detector leaves an odd last row or column out.
    report.whole = report.region.left == 0 && report.region.top == 0 && report.region.right + 1 >= frame.right &&
                   report.region.bottom + 1 >= frame.bottom;
    if (report.whole) report.region = frame;
    report.kept = CropRegionIn(report.region, tap.format, tap.size.width, tap.size.height);
    if (tap.interlaced || canBeInterlaced) report.MoveToFields(RowStepOfFields(tap.format));
    if (!report.settled)
        report.hints = {
            "no region held for " + CountText(request.count) + " up to " + ShortTime(request.longest) +
            ": the whole frame is what is told then; try a larger --precision or --max, or a larger --limit where "
            "there is noise in the bars"};
}

}  // namespace

std::string CropEffectText(CropInfo const& region) {
    return "crop:left=" + std::to_string(region.left) + ",right=" + std::to_string(region.right) +
           ",top=" + std::to_string(region.top) + ",bottom=" + std::to_string(region.bottom);
}

void CropReport::MoveToFields(u32 rowStep) {
    CropInfo const before = kept;
    kept.top -= kept.top % rowStep;
    // Encoders of fields want whole rows of chroma in both of them.
    kept.bottom = std::min(static_cast<u32>(frameHeight), (kept.bottom + rowStep - 1) / rowStep * rowStep);
    keptForFields = keptForFields || !(kept == before);
}

std::string CropReport::ToJson() const {
    nlohmann::ordered_json document{{"known", known},
                                    {"whole", whole},
                                    {"left", region.left},
                                    {"right", region.right},
                                    {"top", region.top},
                                    {"bottom", region.bottom},
                                    {"width", region.GetWidth()},
                                    {"height", region.GetHeight()},
                                    {"frameWidth", frameWidth},
                                    {"frameHeight", frameHeight},
                                    {"settled", settled},
                                    {"hints", hints}};
    return document.dump(2);
}

std::string CropReport::ToText() const {
    auto const size = [](auto width, auto height) { return std::to_string(width) + "x" + std::to_string(height); };
    std::string text = input + ": ";
    if (!known)
        text += "not known where the picture is\n";
    else if (whole)
        text += "no bars, the picture is the whole frame of " + size(frameWidth, frameHeight) + "\n";
    else
        text += "a picture of " + size(region.GetWidth(), region.GetHeight()) + " in a frame of " +
                size(frameWidth, frameHeight) + "\n" + CropEffectText(kept) + "\n";
    for (std::string const& hint : hints) text += "hint: " + hint + "\n";
    return text;
}

StreamInfo const& FindCropStream(MediaFile const& file, int number) {
    int place = 0;
    for (StreamInfo const& info : file.GetStreams())
        if (info.kind == StreamKind::Video && place++ == number) return info;
    std::string const what = place == 0   ? "there is no video in it"
                             : place == 1 ? "it has 1 video stream"
                                          : "it has " + std::to_string(place) + " video streams";
    TARSEL_THROW(Core::IOException,
                 file.GetPath() + ": " + what + (place == 0 ? "" : ", there is no number " + std::to_string(number)));
}

CropReport DetectCrop(CropRequest const& request, ProgressCallback const& progress) {
    iptr<MediaFile> const file = MediaFile::Open(request.input);
    StreamInfo const& info = FindCropStream(*file, request.stream);
    DecoderOptions options;
    options.threading = DecoderOptions::Threading::Frames;
    CropReport report;
    report.input = request.input;
    report.warnings = file->GetWarnings();
    try {
        auto const tap = MakeShared<PictureTap>(VideoDecoder::Create(file->OpenStream(info.index), "", options),
                                                request.longest, progress);
        auto const detector = MakeFilterFactory()->CreateCropDetector(Proc::ImplNames::DEFAULT);
        detector->Initialize(Core::Property(ICropDetector::CLASS_ID)
                                 .SetChild(ICropDetector::MAX_INTERVAL, request.longest)
                                 .SetChild(ICropDetector::SKIP_INTERVAL, request.interval)
                                 .SetChild(ICropDetector::SUCCESS_FRAME_COUNT, int64{request.count})
                                 .SetChild(ICropDetector::CALC_LIMIT, int64{request.limit})
                                 .SetChild(ICropDetector::CROP_PRECISION, int64{request.precision}));
        iptr<Proc::IStreamVideo> stream = tap;
        report.region = detector->Detect(stream);
        report.brightest = detector->GetBrightestFrame();
        AVFieldOrder const order = info.native->parameters->field_order;
        Judge(report, request, *tap, order != AV_FIELD_UNKNOWN && order != AV_FIELD_PROGRESSIVE);
        if (std::string const errors = DescribeDecoderErrors(tap->GetStatistic()); !errors.empty())
            report.warnings.push_back(file->GetPath() + ": " + StreamName(info) + ": " + errors);
    } catch (Exception const& failure) {
        TARSEL_THROW(Proc::ProcException, file->GetPath() + ": " + StreamName(info) + ": " + failure.what());
    }
    if (IsRotated(*info.native))
        report.warnings.push_back(file->GetPath() + ": " + StreamName(info) +
                                  " asks players to turn it: left, right, top and bottom are those of the pictures as "
                                  "they are coded");
    return report;
}

}  // namespace Tarsel::Host
