#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "benchmarks/pictures/Parts.h"
#include "benchmarks/timeline/BenchSource.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/Color.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/IFilterSubtitleDrawer.h"
#include "contracts/Proc/IFilterVideoMixer.h"
#include "contracts/Proc/ImplNames.h"
#include "host/subtitles/SubtitleSource.h"
#include "host/text/OverlayFactory.h"
#include "tests/support/Titles.h"

namespace Tarsel::Bench {

using namespace Tarsel::Proc;

namespace {

constexpr int LOGO_WIDTH = 200, LOGO_HEIGHT = 100;
constexpr int LOGO_X = 1660, LOGO_Y = 60;
constexpr int64 FRAME = 40000;
/// Luma of a drawn pixel. Soft edges of texts are blended colour by colour there, and as one picture here.
constexpr double MEAN_DIFFERENCE = 6;

using Video = iptr<IStreamVideo>;
using Subtitles = iptr<IStreamSubtitle>;

Video MakeSource(int width, int height, int64 count) {
    auto const format = Conf::IFormatCodecVideo::Create();
    format->InitByPixelAspect(static_cast<unsigned>(width), static_cast<unsigned>(height), 1, 1);
    format->SetPixelFormat(PIX_FMT_YUV420P);
    format->SetFrameRate(25, 1);
    iptr<IDataVideo> const picture = DataVideoFF::Create(PIX_FMT_YUV420P, {width, height, 1, 1}, nullptr);
    picture->Fill(Color(0x33, 0x66, 0x99, 255));
    return MakeShared<BenchSource<IStreamVideo>>(picture, format, count, FRAME);
}

std::vector<char> ReadBytes(std::string const& path, std::size_t size) {
    std::ifstream file(path, std::ios::binary);
    std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    if (bytes.size() != size)
        TARSEL_THROW(ProcException,
                     path + " has " + std::to_string(bytes.size()) + " bytes, not " + std::to_string(size));
    return bytes;
}

/// Of a file of bytes alone.
iptr<IDataVideo> ReadLogo(std::string const& path) {
    auto const bytes = ReadBytes(path, std::size_t{4} * LOGO_WIDTH * LOGO_HEIGHT);
    auto const logo = DataVideoFF::Create(PIX_FMT_RGBA, {LOGO_WIDTH, LOGO_HEIGHT, 1, 1}, nullptr);
    std::copy(bytes.begin(), bytes.end(), logo->GetPlane(0).GetData());
    return logo;
}

Video WithLogo(Video const& source, std::string const& file) {
    SettingsFilterVideoMixer const settings;
    Video mixer(Factory()->CreateVideo(settings.GetClassId(), ImplNames::DEFAULT, source, settings));
    dynamic_cast<IFilterVideoMixer&>(*mixer).AddWatermark(ReadLogo(file), LOGO_X, LOGO_Y, 0, [](int64) { return 255; });
    return mixer;
}

Video WithTitles(Video const& source, Subtitles const& subtitles) {
    Video drawer = Factory()->Dedicated(FilterSlots::SUBTITLE_DRAWER, ImplNames::DEFAULT)(Factory(), source, Effects(),
                                                                                          Host::MakeOverlayFactory());
    dynamic_cast<IStreamCombiner<IStreamSubtitle>&>(*drawer).CombineStream(subtitles, {});
    return drawer;
}

Video MakeChain(DrawingJob const& job, int64 count) {
    bool const isLarge = job.what == "none-large" || job.what == "overlay";
    Video const source = isLarge ? MakeSource(1920, 1080, count) : MakeSource(1280, 720, count);
    if (job.what == "overlay") return WithLogo(source, job.file);
    if (job.what == "subtitles") return WithTitles(source, Host::OpenSubtitles({.file = job.file}));
    return job.what == "none" || job.what == "none-large" ? source : Video();
}

void Seek(IStreamVideo& stream, int64 position) {
    stream.RequestSeek(position, nullptr);
    stream.DoSeek();
    stream.FinishSeek();
}

void ReadAll(IStreamVideo& stream, int64 count) {
    Seek(stream, 0);
    int64 given = 0;
    while (stream.Read()) ++given;
    if (given != count) TARSEL_THROW(ProcException, "Only " + std::to_string(given) + " pictures came");
}

/// Where luma is another one than in the corner.
struct Drawn {
    int left = 100000, right = 0, top = 100000, bottom = 0;
    int64 pixels = 0;

    Drawn(u8 const* luma, std::ptrdiff_t stride, int width, int height) {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                if (std::abs(luma[stride * y + x] - luma[0]) > 8) {
                    left = std::min(left, x);
                    right = std::max(right, x + 1);
                    top = std::min(top, y);
                    bottom = std::max(bottom, y + 1);
                    ++pixels;
                }
    }
};

}  // namespace

bool RunDrawing(DrawingJob const& job, int64 count) {
    Video const chain = MakeChain(job, count);
    if (!chain) return false;
    ReadAll(*chain, count);
    return true;
}

bool CheckDrawing(DrawingJob const& job, int64 number, std::string const& peerFile) {
    Video const chain = MakeChain(job, number + 1);
    if (!chain) TARSEL_THROW(ProcException, job.what + " isn't known");
    Seek(*chain, 0);
    iptr<IDataVideo> picture;
    for (int64 i = 0; i <= number; ++i) picture = chain->Read();
    int const width = picture->GetWidth(), height = picture->GetHeight();
    auto const size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    auto const bytes = ReadBytes(peerFile, size * 3 / 2);
    auto const* const peer = reinterpret_cast<u8 const*>(bytes.data());
    auto const luma = picture->GetPlaneConst(0);
    int64 difference = 0;
    int largest = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            int const one = std::abs(luma.GetData()[luma.GetStride() * y + x] - peer[std::ptrdiff_t{y} * width + x]);
            difference += one;
            largest = std::max(largest, one);
        }
    Drawn const ours(luma.GetData(), luma.GetStride(), width, height), theirs(peer, width, width, height);
    int const edges = std::max({std::abs(ours.left - theirs.left), std::abs(ours.right - theirs.right),
                                std::abs(ours.top - theirs.top), std::abs(ours.bottom - theirs.bottom)});
    double const mean = static_cast<double>(difference) / static_cast<double>(std::max<int64>(theirs.pixels, 1));
    double const area = static_cast<double>(ours.pixels) / static_cast<double>(std::max<int64>(theirs.pixels, 1));
    bool const isSame =
        theirs.pixels == 0 ? ours.pixels == 0 : edges <= 3 && std::abs(area - 1) < 0.05 && mean < MEAN_DIFFERENCE;
    std::printf(
        "%s: %lld pixels drawn, the peer %lld; edges differ by up to %d, luma by %d, by %.2f on a drawn pixel: %s\n",
        job.what.c_str(), static_cast<long long>(ours.pixels), static_cast<long long>(theirs.pixels), edges, largest,
        mean, isSame ? "the same" : "NOT THE SAME");
    return isSame;
}

// --- Held titles -----------------------------------------------------------------------------------------------------

namespace {

constexpr int64 TITLED_FRAMES = 250;
char const* const COMPOSITIONS = "Tarsel::Proc::TitleProviderFromBitmap::GetStatistic";

/// Titles of 640 x 80 at the foot of the picture, each for so many frames.
Subtitles MakeBitmaps(int64 frames) {
    std::vector<iptr<IDataSubtitle>> titles;
    for (int64 i = 0; i < TITLED_FRAMES; i += frames)
        titles.push_back(Test::MakeTitle(i * FRAME, frames * FRAME,
                                         {Test::Block(320, 600, 640, 80, {static_cast<u8>(i), 200, 100, 255})}));
    return Test::ScriptedSubtitle::Create(titles);
}

/// The count of the node with that name, or -1.
int64 CountOf(Core::Property const& tree, std::string const& name) {
    if (tree.Name() == name) return tree["Count"].GetInt64();
    for (Core::Property const& child : tree.Children())
        if (int64 const count = CountOf(child, name); count >= 0) return count;
    return -1;
}

}  // namespace

void MeasureHeldTitles(Rows& rows) {
    struct Case {
        char const* name;
        int64 frames;  // that a title lasts
    };
    Case const cases[] = {{"bitmap title held", TITLED_FRAMES}, {"bitmap title changing each frame", 1}};
    Turns turns(ThreadTime);
    Video const plain = MakeSource(1280, 720, TITLED_FRAMES);
    std::size_t const passing = turns.Add(
        [&] {
            // Drawing copies the picture, which others hold.
            Seek(*plain, 0);
            while (auto const picture = plain->Read()) picture->MakeWritable();
        },
        TITLED_FRAMES);
    for (Case const& title : cases) {
        Video const drawer = WithTitles(MakeSource(1280, 720, TITLED_FRAMES), MakeBitmaps(title.frames));
        ReadAll(*drawer, TITLED_FRAMES);
        int64 const made = CountOf(drawer->GetStatistic(), COMPOSITIONS);
        int64 const expected = TITLED_FRAMES / title.frames;
        if (made != expected)
            TARSEL_THROW(ProcException, std::string(title.name) + ": " + std::to_string(made) + " compositions, not " +
                                            std::to_string(expected));
        turns.Add([drawer] { ReadAll(*drawer, TITLED_FRAMES); }, TITLED_FRAMES);
    }
    turns.Run(9);
    rows.push_back({"720p picture copied", turns.Get(passing) * 1e3, "ms", {}});
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        std::size_t const entry = passing + 1 + i;
        Row row{std::string(cases[i].name) + ", " + std::to_string(TITLED_FRAMES / cases[i].frames) + " compositions",
                turns.Get(entry) * 1e3,
                "ms",
                {}};
        row.ratios.push_back({"a copy's speed", turns.Get(passing) / turns.Get(entry), 0});
        if (i > 0)
            row.ratios.push_back({"the speed of one that is held", turns.Get(passing + 1) / turns.Get(entry), 0});
        rows.push_back(row);
    }
}

}  // namespace Tarsel::Bench
