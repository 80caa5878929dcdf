#include <string>
#include <vector>

#include "Proc/Filters/Filters/CropDetectorImpl.h"
#include "benchmarks/pictures/Parts.h"
#include "benchmarks/timeline/BenchSource.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/ICropDetector.h"
#include "contracts/Proc/ImplNames.h"
#include "tests/Proc/CropSupport.h"

namespace Tarsel::Bench {

using namespace Tarsel::Proc;

namespace {

constexpr int FRAMES = 600;
constexpr double MILLISECONDS_GOAL = 0.5;
// What the table bounds is work, not the memory that it is fetched from: what is more than this isn't noise.
constexpr double SAME_GOAL = 0.77;

/// Frames with bars that take turns, each with memory of its own.
std::vector<iptr<IDataVideo>> MakeFrames(PixFmt format, int width, int height, std::size_t count) {
    TestSupport::Draw draw(5);
    CropInfo const region(0, static_cast<u32>(width), static_cast<u32>(height) / 8 & ~1U,
                          static_cast<u32>(height) * 7 / 8 & ~1U);
    std::vector<iptr<IDataVideo>> frames;
    for (std::size_t i = 0; i < count; ++i)
        frames.push_back(i < 3 ? Test::DrawInside(draw, region, width, height, 0, format) : frames[i % 3]->Clone(true));
    return frames;
}

/// Without an end: the detector stops at its max interval.
class TurningFrames final : public BenchSource<IStreamVideo> {
  public:
    explicit TurningFrames(std::vector<iptr<IDataVideo>> frames)
        : BenchSource(frames.front(), Conf::IFormatCodecVideo::Create(), 1, 1), frames(std::move(frames)) {}
    iptr<IDataVideo> Read() override {
        iptr<IDataVideo> fresh = frames[static_cast<std::size_t>(next) % frames.size()]->Clone(false);
        fresh->SetTime(next++);
        return fresh;
    }
    void DoSeek() override { next = 0; }

  private:
    std::vector<iptr<IDataVideo>> const frames;
    int64 next = 0;
};

void RequireEqual(PixFmt format, std::vector<iptr<IDataVideo>> const& frames) {
    int const width = frames[0]->GetWidth(), height = frames[0]->GetHeight();
    auto const detector = CropDetectorImpl::Create(format, frames[0], 4);
    Test::PlainCrop plain(width, height, 4);
    for (u32 n = 1; n < 3; ++n) {
        bool const isSame =
            detector->Calculate(*frames[n], *frames[n - 1], n) == plain.Calculate(*frames[n], *frames[n - 1], n);
        if (!isSame || detector->GetTable() != plain.table)
            TARSEL_THROW(ProcException, "The table isn't what the plain formulas give");
    }
}

struct Shape {
    char const* name;
    PixFmt format;
    int width, height;
    std::size_t frames;  // that take turns
};

}  // namespace

void MeasureCropDetection(Rows& rows) {
    // A few frames fit the caches, many come from memory, as decoded ones of half a second ago do.
    Shape const shapes[] = {{"1080p, from the cache", PIX_FMT_YUV420P, 1920, 1080, 2},
                            {"2160p, from the cache", PIX_FMT_YUV420P, 3840, 2160, 2},
                            {"1080p", PIX_FMT_YUV420P, 1920, 1080, 64},
                            {"2160p", PIX_FMT_YUV420P, 3840, 2160, 24},
                            {"1080p NV12", PIX_FMT_NV12, 1920, 1080, 64},
                            {"2160p NV12", PIX_FMT_NV12, 3840, 2160, 24},
                            {"4320p", PIX_FMT_YUV420P, 7680, 4320, 8}};
    auto const detector = Factory()->CreateCropDetector(ImplNames::DEFAULT);
    // No answer but that of the max interval, which makes the last frame whole.
    detector->Initialize(Core::Property(ICropDetector::CLASS_ID)
                             .SetChild(ICropDetector::MAX_INTERVAL, int64{FRAMES - 1})
                             .SetChild(ICropDetector::SKIP_INTERVAL, 0)
                             .SetChild(ICropDetector::SUCCESS_FRAME_COUNT, int64{4294967295}));
    Turns turns(ThreadTime);
    for (Shape const& shape : shapes) {
        auto frames = MakeFrames(shape.format, shape.width, shape.height, shape.frames);
        RequireEqual(shape.format, frames.size() > 2 ? frames : MakeFrames(shape.format, shape.width, shape.height, 3));
        iptr<IStreamVideo> stream = MakeShared<TurningFrames>(std::move(frames));
        turns.Add(
            [detector, stream]() mutable {
                int64 const before = detector->GetStatistic()["Count"].GetInt64();
                detector->Detect(stream);
                if (detector->GetStatistic()["Count"].GetInt64() - before != FRAMES)
                    TARSEL_THROW(ProcException, "Not all frames were looked at");
            },
            FRAMES);
    }
    turns.Run(9);
    for (std::size_t i = 0; i < std::size(shapes); ++i) {
        double const milliseconds = turns.Get(i) * 1e3;
        Row row{std::string("a frame looked at, ") + shapes[i].name, milliseconds, "ms", {}};
        row.ratios.push_back({"0.5 ms", MILLISECONDS_GOAL / milliseconds, 1});
        if (i % 2 == 1) row.ratios.push_back({"the speed of 1080p", turns.Get(i - 1) / turns.Get(i), SAME_GOAL});
        rows.push_back(row);
    }
}

}  // namespace Tarsel::Bench
