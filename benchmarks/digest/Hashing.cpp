#include <array>
#include <memory>
#include <string>
#include <vector>

#include "Proc/Filters/Filters/FilterMD5StreamVideo.h"
#include "Proc/Filters/Filters/GraphDataCRCCollector.h"
#include "benchmarks/digest/Parts.h"
#include "benchmarks/timeline/BenchSource.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataMD5.h"
#include "contracts/Proc/DataVideoFF.h"

extern "C" {
#include <libavutil/md5.h>
#include <libavutil/mem.h>
#include <libavutil/pixfmt.h>
}

namespace Tarsel::Bench {

using namespace Tarsel::Proc;

namespace {

constexpr int64 FRAMES = 40;
/// Of raw MD5's speed.
constexpr double SPEED_GOAL = 0.9;

using Frames = std::vector<iptr<IDataVideo>>;

/// Frames that take turns, each with memory of its own, as they come out of a decoder.
class TurningFrames final : public BenchSource<IStreamVideo> {
  public:
    explicit TurningFrames(Frames const& frames)
        : BenchSource(frames.front(), Conf::IFormatCodecVideo::Create(), FRAMES, 40000), frames(frames) {}
    iptr<IDataVideo> Read() override {
        if (place == FRAMES) return nullptr;
        iptr<IDataVideo> const fresh = frames[static_cast<std::size_t>(place) % frames.size()]->Clone(false);
        fresh->SetTime(40000 * place++);
        return fresh;
    }

  private:
    Frames const& frames;
    int64 place = 0;
};

/// The visible bytes of a frame one behind the other, as raw MD5 takes them.
std::vector<u8> BytesOf(IDataVideo& frame) {
    std::vector<u8> bytes;
    for (int i = 0; i < GetPlanesCount(frame); ++i) {
        auto const plane = frame.GetPlane(static_cast<unsigned>(i));
        for (int y = 0; y < plane.GetRows(); ++y) {
            u8 const* const row = plane.GetOffsetPtr(0, static_cast<unsigned>(y));
            bytes.insert(bytes.end(), row, row + plane.GetRowBytes());
        }
    }
    return bytes;
}

std::string RawDigest(std::vector<u8> const& bytes) {
    std::array<u8, 16> sum{};
    std::unique_ptr<AVMD5, void (*)(void*)> const context(av_md5_alloc(), av_free);
    av_md5_init(context.get());
    av_md5_update(context.get(), bytes.data(), bytes.size());
    av_md5_final(context.get(), sum.data());
    std::string text;
    for (u8 const byte : sum) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

struct Shape {
    char const* name;
    PixFmt format;
    int width, height;
};

/// 8 frames are 25 MB and more: they come from memory on both sides.
struct Held {
    explicit Held(Shape const& shape) {
        for (int i = 0; i < 8; ++i) {
            frames.push_back(MakePicture(shape.format, shape.width, shape.height));
            bytes.push_back(BytesOf(*frames.back()));
        }
        if (CalculateVideoDataMD5(frames[0]) != RawDigest(bytes[0]))
            TARSEL_THROW(ProcException, "The digest isn't that of the same bytes");
    }

    Frames frames;
    std::vector<std::vector<u8>> bytes;
};

void Record(Frames const& frames) {
    auto const collector = MakeShared<GraphDataCRCCollector>();
    iptr<IStreamVideo> const source = MakeShared<TurningFrames>(frames);
    iptr<IStreamVideo> const stream = MakeShared<FilterMD5StreamVideo>(source, collector);
    while (stream->Read()) continue;
    if (collector->GetGraphCRCData().GetPacketCount() != FRAMES)
        TARSEL_THROW(ProcException, "Not all frames were recorded");
}

void HashRaw(Held const& held) {
    std::size_t letters = 0;
    for (int64 i = 0; i < FRAMES; ++i)
        letters += RawDigest(held.bytes[static_cast<std::size_t>(i) % held.bytes.size()]).size();
    if (letters != 32 * FRAMES) TARSEL_THROW(ProcException, "A digest is missing");
}

}  // namespace

void MeasureHashing(Rows& rows) {
    // Of the odd width each row has padding.
    Shape const shapes[] = {{"1080p", PIX_FMT_YUV420P, 1920, 1080},
                            {"1080p, 10 bits", static_cast<PixFmt>(AV_PIX_FMT_YUV420P10LE), 1920, 1080},
                            {"1078x1078, rows with padding", PIX_FMT_YUV420P, 1078, 1078}};
    std::vector<std::unique_ptr<Held>> held;
    Turns turns(ThreadTime);
    for (Shape const& shape : shapes) {
        held.push_back(std::make_unique<Held>(shape));
        turns.Add([&own = *held.back()] { HashRaw(own); }, FRAMES);
        turns.Add([&own = *held.back()] { Record(own.frames); }, FRAMES);
    }
    turns.Run(9);
    for (std::size_t i = 0; i < held.size(); ++i) {
        std::string const name = shapes[i].name;
        double const megabytes = static_cast<double>(held[i]->bytes[0].size()) * 1e-6;
        double const raw = megabytes / turns.Get(2 * i);
        double const own = megabytes / turns.Get(2 * i + 1);
        rows.push_back({"libavutil's MD5, " + name, raw, "MB/s", {}});
        rows.push_back({"frames recorded, " + name, own, "MB/s", {{"libavutil's MD5", own / raw, SPEED_GOAL}}});
    }
}

}  // namespace Tarsel::Bench
