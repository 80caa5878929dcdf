// Scripts drawn by this engine and by ffmpeg's filter "ass" (its "subtitles" spaces letters more simply), on the same
// grey picture: the boxes that they fill and what is in them. Both draw with the same library; placing, sizes, colours
// and mixing are each one's own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "contracts/Proc/IOverlayStream.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/Factories.h"
#include "tests/host/text/TextSupport.h"
#include "tests/support/Builders.h"
#include "tests/support/ContactSheet.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

constexpr int GREY = 0x60;

/// Asks an engine, as a drawer's provider does.
class FromEngine final : public IOverlayProvider, public RefCounted {
  public:
    explicit FromEngine(iptr<ITextEngine> engine) : engine(std::move(engine)) {}
    void Reset() override {}
    Core::Property GetStatistic() override { return {}; }
    iptr<IDataVideo> GetOverlay(int64 time, Conf::FrameInfo const& info, CropInfo& crop) override {
        return engine->RenderImage(time, info, crop);
    }
    void AddData(iptr<IDataSubtitle> const&) override {}
    void Clear() override {}

  private:
    iptr<ITextEngine> const engine;
};

struct Case {
    std::string name;
    std::string header;
    std::vector<std::string> lines;
    Conf::FrameInfo frame{640, 480, 1, 1};
    int64 milliseconds = 2000;
    /// How the filter is told of pixels that aren't square: by the size in square ones.
    std::string original{};
};

iptr<IDataVideo> ByEngine(Case const& given) {
    auto picture = DataVideoFF::Create(PIX_FMT_RGB24, given.frame, nullptr);
    auto const plane = picture->GetPlane(0);
    for (int y = 0; y < given.frame.height; ++y)
        std::memset(plane.GetOffsetPtr(0, static_cast<unsigned>(y)), GREY,
                    static_cast<std::size_t>(given.frame.width) * 3);
    picture->SetTime(given.milliseconds * 1000);
    picture->SetDuration(40000);
    auto const stream = MakeFilterFactory()->CreateOverlayStream(ScriptedVideo::Create({picture}), ImplNames::DEFAULT);
    stream->SetOverlayProvider(MakeShared<FromEngine>(MakeEngine(given.header, given.lines)));
    return stream->Read();
}

iptr<IDataVideo> ByFilter(Case const& given) {
    ScratchFolder const folder;
    std::ofstream script(folder / "script.ass", std::ios::binary);
    script << given.header;
    for (std::string const& line : given.lines) script << line << "\n";
    script.close();
    std::string const size = std::to_string(given.frame.width) + "x" + std::to_string(given.frame.height);
    RunFFmpeg({"-f", "lavfi", "-i", "color=c=0x606060:s=" + size + ":r=25:d=12,format=gbrp", "-vf",
               "ass=" + (folder / "script.ass") + (given.original.empty() ? "" : ":original_size=" + given.original) +
                   ",format=rgb24",
               "-ss", std::to_string(given.milliseconds) + "ms", "-frames:v", "1", "-f", "rawvideo",
               folder / "picture.raw"});
    std::ifstream file(folder / "picture.raw", std::ios::binary);
    auto picture = DataVideoFF::Create(PIX_FMT_RGB24, given.frame, nullptr);
    auto const plane = picture->GetPlane(0);
    for (int y = 0; y < given.frame.height; ++y)
        file.read(reinterpret_cast<char*>(plane.GetOffsetPtr(0, static_cast<unsigned>(y))), given.frame.width * 3L);
    EXPECT_TRUE(file.good()) << given.name;
    return picture;
}

/// Where a picture isn't grey.
CropInfo DrawnBox(IDataVideo const& picture) {
    CropInfo box;
    for (int y = 0; y < picture.GetHeight(); ++y)
        for (int x = 0; x < picture.GetWidth(); ++x) {
            u8 const* const pixel =
                picture.GetPlaneConst(0).GetOffsetPtr(static_cast<unsigned>(x), static_cast<unsigned>(y));
            if (std::abs(pixel[0] - GREY) + std::abs(pixel[1] - GREY) + std::abs(pixel[2] - GREY) < 24) continue;
            u32 const column = static_cast<u32>(x), row = static_cast<u32>(y);
            box = box.IsEmpty() ? CropInfo(column, column + 1, row, row + 1)
                                : CropInfo(std::min(box.left, column), std::max(box.right, column + 1),
                                           std::min(box.top, row), std::max(box.bottom, row + 1));
        }
    return box;
}

/// The mean difference of samples in a box.
double MeanDifference(IDataVideo const& a, IDataVideo const& b, CropInfo const& box) {
    double sum = 0;
    for (u32 y = box.top; y < box.bottom; ++y)
        for (u32 x = box.left * 3; x < box.right * 3; ++x)
            sum += std::abs(a.GetPlaneConst(0).GetOffsetPtr(0, y)[x] - b.GetPlaneConst(0).GetOffsetPtr(0, y)[x]);
    return sum / (3.0 * box.GetWidth() * box.GetHeight());
}

std::string Styled(std::string const& fields) {
    return "Default,DejaVu Sans," + fields;
}

std::vector<Case> Cases() {
    std::string const bordered =
        Styled("36,&H0000FFFF,&H00FFFFFF,&H00800000,&H80000000,-1,0,0,0,100,100,0,0,1,2.5,2,2,20,20,25,1");
    std::string const top =
        "Top,DejaVu Serif,28,&H40FF8020,&H00FFFFFF,&H0000A000,&H00000000,0,-1,1,0,120,90,2,0,1,1,0,9,15,15,15,1";
    std::string const boxed =
        "Boxed,DejaVu Sans Mono,22,&H00FFFFFF,&H00FFFFFF,&H60000080,&H00000000,0,0,0,0,100,100,0,0,3,4,0,4,30,30,10,1";
    std::string const header = ScriptHeader(640, 480, {bordered, top, boxed});
    auto const line = [](std::string const& text, std::string const& style = "Default") {
        return Line("0:00:01.00", "0:00:03.00", text, style);
    };
    return {
        {"three styles",
         header,
         {line("Two lines\\Nof a text"), line("upper right", "Top"), line("in a box", "Boxed")}},
        {"places and colours",
         header,
         {line("{\\pos(100,90)\\1c&H00FF00&}green"), line("{\\an9\\pos(600,300)\\3c&HFFFFFF&\\fs60}large"),
          line("{\\an1}left {\\c&HFF00FF&\\i1}slanted")}},
        {"turned and blurred",
         header,
         {line("{\\frz30\\blur2\\an5\\pos(320,240)}turned"), line("{\\fscx200\\fsp5}wide")}},
        {"a shape", header, {line("{\\an7\\pos(50,60)\\p1\\1a&H80&}m 0 0 b 100 0 200 100 0 200 l 50 100")}},
        {"stage smaller than the frame",
         ScriptHeader(384, 288, {bordered, top}),
         {line("stretched"), line("up", "Top")}},
        {"stage of another shape", ScriptHeader(1920, 1080, {bordered}), {line("another shape")}},
        {"no stage", ScriptHeader(0, 0, {bordered}), {line("no stage")}},
        {"lines unscaled", ScriptHeader(320, 240, {bordered}, "ScaledBorderAndShadow: no\n"), {line("thin lines")}},
        {"fading", header, {line("{\\fad(1500,0)}fading")}, {640, 480, 1, 1}, 1800},
        {"stacked",
         header,
         {Line("0:00:00.00", "0:00:04.00", "first"), Line("0:00:02.00", "0:00:08.00", "second"),
          Line("0:00:06.00", "0:00:10.00", "third")},
         {640, 480, 1, 1},
         7000},
        {"right to left", header, {line("abc \u05E9\u05DC\u05D5\u05DD \u0633\u0644\u0627\u0645 def")}},
        {"large", header, {line("on a large frame")}, {1920, 1080, 1, 1}},
        {"wide pixels", header, {line("OOO on wide pixels")}, {720, 576, 16, 15}, 2000, "768x576"},
        {"narrow pixels", header, {line("OOO on narrow pixels")}, {720, 480, 8, 9}, 2000, "640x480"},
    };
}

TEST(AssOracle, ScriptsLookAsTheFilterDrawsThem) {
    ContactSheet sheet("text-oracle", 2);
    for (Case const& given : Cases()) {
        auto const ours = ByEngine(given), theirs = ByFilter(given);
        sheet.Add(ours, given.name + ", by the engine");
        sheet.Add(theirs, given.name + ", by ffmpeg");
        CropInfo const box = DrawnBox(*theirs);
        ASSERT_FALSE(box.IsEmpty()) << given.name;
        EXPECT_LE(DrawnBox(*ours).Diff(box), 1U) << given.name << ": " << DrawnBox(*ours) << " instead of " << box;
        double const difference = MeanDifference(*ours, *theirs, box);
        EXPECT_LE(difference, 0.5) << given.name;
        std::printf("%s: boxes differ by %u, samples by %.3f\n", given.name.c_str(), DrawnBox(*ours).Diff(box),
                    difference);
    }
}

}  // namespace
}  // namespace Tarsel::Host
