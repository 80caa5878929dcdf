// What the pictures look like that `tarsel overlay` makes.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "contracts/Core/Time.h"
#include "contracts/Proc/DataVideoFF.h"
#include "tests/media/OverlaySupport.h"
#include "tests/support/ContactSheet.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Test {
namespace {

using ::testing::ElementsAreArray;

/// How often each value stands in a row: {{235, 3}, {20, 1}}.
using Runs = std::vector<std::pair<int, int>>;
std::vector<int> Spread(Runs const& runs) {
    std::vector<int> values;
    for (auto const& [value, count] : runs) values.insert(values.end(), static_cast<std::size_t>(count), value);
    return values;
}

/// A logo that hides all below it.
constexpr LogoColor OPAQUE_ROSE{200, 40, 90, 255};

std::string Logo(LogoColor const& color = OPAQUE_ROSE, std::string const& size = "32x16") {
    return Flat("logo-" + std::to_string(color.alpha) + "-" + size + ".png", color, size, {"-frames:v", "1"});
}

struct Plane {
    std::size_t offset = 0;
    int width = 0;
    int height = 0;
};

int DepthOf(DecodedPicture const& picture) {
    return av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.pixelFormat))->comp[0].depth;
}

Plane PlaneOf(DecodedPicture const& picture, int number) {
    auto const* const format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.pixelFormat));
    std::size_t const bytes = DepthOf(picture) > 8 ? 2 : 1;
    Plane plane;
    for (int i = 0; i <= number; ++i) {
        plane.offset += static_cast<std::size_t>(plane.width * plane.height) * bytes;
        bool const isChroma = i > 0;
        plane.width = isChroma ? AV_CEIL_RSHIFT(picture.width, format->log2_chroma_w) : picture.width;
        plane.height = isChroma ? AV_CEIL_RSHIFT(picture.height, format->log2_chroma_h) : picture.height;
    }
    return plane;
}

/// The sample of a plane that stands for a pixel.
int SampleAt(DecodedPicture const& picture, int number, int x, int y) {
    auto const* const format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.pixelFormat));
    Plane const plane = PlaneOf(picture, number);
    if (number > 0) {
        x >>= format->log2_chroma_w;
        y >>= format->log2_chroma_h;
    }
    auto const at = static_cast<std::size_t>(y * plane.width + x);
    if (DepthOf(picture) == 8) return picture.pixels.at(plane.offset + at);
    return picture.pixels.at(plane.offset + 2 * at) | picture.pixels.at(plane.offset + 2 * at + 1) << 8;
}

/// How the samples of a film mean colours.
struct Meaning {
    double red = 0.299;  // weights of luma
    double blue = 0.114;
    bool isFull = false;
};

/// What a colour is in YUV of 8 bits.
std::array<double, 3> InYuv(LogoColor const& color, Meaning const& meaning) {
    double const r = color.red / 255.0, g = color.green / 255.0, b = color.blue / 255.0;
    double const y = meaning.red * r + (1 - meaning.red - meaning.blue) * g + meaning.blue * b;
    double const u = (b - y) / (1 - meaning.blue) / 2;
    double const v = (r - y) / (1 - meaning.red) / 2;
    if (meaning.isFull) return {y * 255, 128 + u * 255, 128 + v * 255};
    return {16 + y * 219, 128 + u * 224, 128 + v * 224};
}

/// Expects a flat logo over what lay below, and nothing changed but for it.
void ExpectLogo(DecodedPicture const& made, DecodedPicture const& below, LogoColor const& color, Meaning const& meaning,
                double tolerance = 2) {
    ASSERT_EQ(DepthOf(made), DepthOf(below));
    ASSERT_EQ(made.pixels.size(), below.pixels.size());
    int const scale = 1 << (DepthOf(made) - 8);
    auto const drawn = InYuv(color, meaning);
    for (int y = 0; y < made.height; ++y)
        for (int x = 0; x < made.width; ++x)
            for (int plane = 0; plane < 3; ++plane) {
                bool const inside = x >= 20 && x < 52 && y >= 20 && y < 36;
                int const under = SampleAt(below, plane, x, y);
                double const share = inside ? color.alpha / 255.0 : 0;
                double const wanted = drawn[static_cast<std::size_t>(plane)] * scale * share + under * (1 - share);
                ASSERT_NEAR(SampleAt(made, plane, x, y), wanted,
                            inside              ? tolerance * scale
                            : DepthOf(made) > 8 ? 2
                                                : 0)
                    << x << "," << y << " plane " << plane;
            }
}

iptr<Proc::IDataVideo> AsPicture(DecodedPicture const& decoded) {
    auto picture = Proc::DataVideoFF::Create(static_cast<PixFmt>(decoded.pixelFormat),
                                             {decoded.width, decoded.height, 1, 1}, nullptr);
    auto from = decoded.pixels.begin();
    for (int i = 0; i < Proc::GetPlanesCount(*picture); ++i) {
        auto const plane = picture->GetPlane(static_cast<unsigned>(i));
        for (int row = 0; row < plane.GetRows(); ++row, from += plane.GetRowBytes())
            std::copy_n(from, plane.GetRowBytes(), plane.GetData() + row * plane.GetStride());
    }
    return picture;
}

// Times.

TEST_F(Overlay, BlinkingLogoIsOnAndOffOnTheseFramesExactly) {
    // Luma of the logo: 16 + 219 (0.299 r + 0.587 g + 0.114 b) / 255.
    int const on = LumasAt(Make(Ground(), {Logo() + "@20,20"}), 24, 24).at(0);
    EXPECT_NEAR(InYuv(OPAQUE_ROSE, {}).at(0), on, 1);
    // A frame every 40 ms. Shown through 400 ms, the first frame past it is the one at 440; hidden through 640.
    EXPECT_THAT(LumasAt(Make(Ground(), {Logo() + "@20,20,blink=0.4/0.2"}), 24, 24),
                ElementsAreArray(Spread({{on, 11}, {GROUND, 6}, {on, 11}, {GROUND, 6}, {on, 11}, {GROUND, 5}})));
    EXPECT_THAT(LumasAt(Make(Ground(), {Logo() + "@20,20,blink=0.4"}), 24, 24),
                ElementsAreArray(Spread({{on, 11}, {GROUND, 11}, {on, 11}, {GROUND, 11}, {on, 6}})));
}

TEST_F(Overlay, BlinkingLogoThatStartsLaterThanItsShownTimeBeginsHidden) {
    int const on = LumasAt(Make(Ground(), {Logo() + "@20,20"}), 24, 24).at(0);
    EXPECT_THAT(LumasAt(Make(Ground(), {Logo() + "@20,20,blink=0.4/0.2,start=1"}), 24, 24),
                ElementsAreArray(Spread({{GROUND, 25}, {GROUND, 6}, {on, 11}, {GROUND, 6}, {on, 2}})));
}

TEST_F(Overlay, LogoBeginsAtItsStartExactlyAndStays) {
    int const on = LumasAt(Make(Ground(), {Logo() + "@20,20"}), 24, 24).at(0);
    EXPECT_THAT(LumasAt(Make(Ground(), {Logo() + "@20,20,start=1"}), 24, 24),
                ElementsAreArray(Spread({{GROUND, 25}, {on, 25}})));
    EXPECT_THAT(LumasAt(Make(Ground(), {Logo() + "@20,20,start=1001ms"}), 24, 24),
                ElementsAreArray(Spread({{GROUND, 26}, {on, 24}})));
}

TEST_F(Overlay, FilmEndsAndLoopingOneStartsOver) {
    std::vector<int> counted;
    for (int i = 0; i < 10; ++i) counted.push_back(20 + 4 * i);
    std::vector<int> once = counted;
    once.resize(50, GROUND);
    EXPECT_THAT(LumasAt(Make(Ground(), {Counter() + "@20,20"}), 24, 24), ElementsAreArray(once));
    std::vector<int> looped;
    for (int i = 0; i < 50; ++i) looped.push_back(counted[static_cast<std::size_t>(i % 10)]);
    EXPECT_THAT(LumasAt(Make(Ground(), {Counter() + "@20,20,loop"}), 24, 24), ElementsAreArray(looped));
    std::vector<int> later(25, GROUND);
    later.insert(later.end(), looped.begin(), looped.begin() + 25);
    EXPECT_THAT(LumasAt(Make(Ground(), {Counter() + "@20,20,loop,start=1"}), 24, 24), ElementsAreArray(later));
    std::vector<int> still(50, 20);
    EXPECT_THAT(LumasAt(Make(Ground(), {Counter() + "@20,20,still"}), 24, 24), ElementsAreArray(still));
}

TEST_F(Overlay, LoopOfAFilmWhoseSoundIsLongerHasNoGap) {
    std::string const film =
        MakeClip("overlay-long-sound.mkv", {"-f", "lavfi", "-i", "color=c=black:s=32x32:r=25:d=1", "-f", "lavfi", "-i",
                                            "sine=d=1.06", "-c:v", "ffv1", "-c:a", "pcm_s16le"});
    ASSERT_GE(InspectFile(film).duration, 1060000);
    for (char const* const more : {"", ",size=16x16"}) {
        auto const seen = LumasAt(Make(Ground("25", "4"), {film + "@20,20,loop" + more}), 24, 24);
        EXPECT_EQ(100U, seen.size());
        EXPECT_EQ(100, std::count(seen.begin(), seen.end(), 16)) << more;
    }
}

/// The rule by which a frame of a drawn film belongs to one of the main film, from its words: the first frame that
/// isn't past, if it is seen for long enough, or lies wholly inside. GROUND where there is none. `loop`: the length of
/// the film's pictures, 0 for one that ends.
std::vector<int> ByTheRule(std::vector<DecodedPicture> const& main, int64 mainEnd,
                           std::vector<DecodedPicture> const& drawn, int64 drawnEnd, int64 start, int64 loop) {
    constexpr int64 LEAST = 10000;
    std::vector<int> shown;
    std::size_t at = 0;
    int64 shift = start;
    for (std::size_t i = 0; i < main.size(); ++i) {
        int64 const begin = main[i].time, end = i + 1 < main.size() ? main[i + 1].time : mainEnd;
        int found = GROUND;
        while (true) {
            if (at == drawn.size() && loop > 0) {
                at = 0;
                shift += loop;
            }
            if (at == drawn.size()) break;
            int64 const frameBegin = shift + drawn[at].time;
            int64 const frameEnd = shift + (at + 1 < drawn.size() ? drawn[at + 1].time : drawnEnd);
            int64 const common = std::min(frameEnd, end) - std::max(frameBegin, begin);
            bool const covers = frameBegin <= begin && frameEnd > end, inside = frameBegin > begin && frameEnd <= end;
            if (frameEnd > begin && (covers || inside || common >= LEAST)) {
                found = 20 + 4 * static_cast<int>(at);
                break;
            }
            if (frameBegin > begin) break;
            ++at;
        }
        shown.push_back(found);
    }
    return shown;
}

/// Where the last picture of a film ends, which may be a little ahead of the film's end.
int64 EndOf(std::string const& path) {
    auto const file = InspectFile(path);
    auto const& last = file.streams.at(0).packets.back();
    return last.time + last.duration;
}

TEST_F(Overlay, FilmsOfOtherRatesShowTheFramesThatTheRuleNames) {
    struct Case {
        char const* main;
        char const* drawn;
        int pictures;
        char const* option;
        int64 start;
        bool loops;
    };
    for (Case const& c : {Case{"30000/1001", "25", 40, "", 0, false},
                          {"24", "60", 50, "", 0, false},
                          {"25", "30000/1001", 20, ",loop", 0, true},
                          {"24", "60", 7, ",loop,start=0.3", 300000, true},
                          {"50", "12", 9, ",loop,start=15ms", 15000, true}}) {
        std::string const main = Ground(c.main);
        std::string const drawn = Counter(c.drawn, c.pictures);
        auto const mainPictures = PicturesOf(main);
        auto const shown =
            ByTheRule(mainPictures, EndOf(main), PicturesOf(drawn), EndOf(drawn), c.start, c.loops ? EndOf(drawn) : 0);
        EXPECT_GT(std::count_if(shown.begin(), shown.end(), [](int luma) { return luma != GROUND; }), 15) << c.drawn;
        std::string const path = Make(main, {drawn + "@20,20" + c.option});
        EXPECT_EQ(TimesOf(mainPictures), TimesOf(PicturesOf(path)));
        EXPECT_THAT(LumasAt(path, 24, 24), ElementsAreArray(shown)) << c.drawn << " on " << c.main;
    }
}

TEST_F(Overlay, MainFilmOfUnevenRateKeepsItsTimes) {
    std::string const main = MakeClip(
        "overlay-uneven.mkv",
        {"-i", Ground("25", "3"), "-vf", "select='not(mod(n,3))+not(mod(n,7))'", "-vsync", "vfr", "-c:v", "ffv1"});
    auto const pictures = PicturesOf(main);
    ASSERT_GT(pictures.size(), 25U);
    std::string const drawn = Counter("25", 40);
    std::string const path = Make(main, {drawn + "@20,20"});
    EXPECT_EQ(TimesOf(pictures), TimesOf(PicturesOf(path)));
    auto const shown = ByTheRule(pictures, EndOf(main), PicturesOf(drawn), EndOf(drawn), 0, 0);
    EXPECT_THAT(LumasAt(path, 24, 24), ElementsAreArray(shown));
}

TEST_F(Overlay, FilmsOfManyPicturesASecondAreDrawnOnAllOfThem) {
    // Half a picture apart, and each shorter than the time that the mixer asks for by itself.
    std::string const main = Ground("125", "0.4");
    auto const lumas = LumasAt(Make(main, {Counter("125", 60) + "@20,20,start=4ms"}), 24, 24);
    ASSERT_EQ(50U, lumas.size());
    for (std::size_t i = 0; i < lumas.size(); ++i) EXPECT_NE(GROUND, lumas[i]) << i;
}

// Colours.

TEST_F(Overlay, LogosOfEveryKindGetTheirColour) {
    struct Case {
        char const* name;
        LogoColor color;
        std::vector<std::string> writing;
        double tolerance;
    };
    LogoColor const grey{90, 90, 90, 100};
    std::vector<std::string> const one{"-frames:v", "1"};
    auto const as = [](std::vector<std::string> more) {
        more.insert(more.end(), {"-frames:v", "1"});
        return more;
    };
    std::string const palette = "split[a][b];[a]palettegen[p];[b][p]paletteuse";
    auto const below = PicturesOf(Ground()).at(0);
    for (Case const& c : {Case{"rgba.png", ROSE, one, 2},
                          {"rgb.png", OPAQUE_ROSE, as({"-pix_fmt", "rgb24"}), 2},
                          {"rgba64.png", ROSE, as({"-pix_fmt", "rgba64be"}), 2},
                          {"rgb48.png", OPAQUE_ROSE, as({"-pix_fmt", "rgb48be"}), 2},
                          {"palette.png", OPAQUE_ROSE, as({"-vf", palette}), 2},
                          {"grey-alpha.png", grey, as({"-pix_fmt", "ya8"}), 2},
                          {"grey-alpha-16.png", grey, as({"-pix_fmt", "ya16be"}), 2},
                          {"opaque.jpg", OPAQUE_ROSE, as({"-pix_fmt", "yuvj444p", "-q:v", "1"}), 3},
                          {"alpha.webp", ROSE, as({"-c:v", "libwebp", "-lossless", "1"}), 2},
                          {"one.gif", OPAQUE_ROSE, as({"-vf", palette}), 2}}) {
        std::string const logo = Flat(c.name, c.color, "32x16", c.writing);
        auto const pictures = PicturesOf(Make(Ground(), {logo + "@20,20"}));
        ASSERT_EQ(50U, pictures.size()) << c.name;
        SCOPED_TRACE(c.name);
        ExpectLogo(pictures.front(), below, c.color, {}, c.tolerance);
        ExpectLogo(pictures.back(), below, c.color, {}, c.tolerance);
    }
}

TEST_F(Overlay, FilmsWithAlphaAreSeenThroughAndEnd) {
    struct Case {
        char const* name;
        LogoColor color;
        std::vector<std::string> writing;
        double tolerance;
    };
    auto const below = PicturesOf(Ground()).at(0);
    std::string const palette = "split[a][b];[a]palettegen[p];[b][p]paletteuse";
    for (Case const& c :
         {Case{"alpha.webm", ROSE, {"-c:v", "libvpx-vp9", "-lossless", "1", "-pix_fmt", "yuva420p", "-t", "1"}, 3},
          {"alpha-vp8.webm",
           ROSE,
           {"-c:v", "libvpx", "-b:v", "4M", "-crf", "4", "-pix_fmt", "yuva420p", "-t", "1", "-auto-alt-ref", "0"},
           5},
          {"alpha.mov", ROSE, {"-c:v", "prores_ks", "-profile:v", "4444", "-pix_fmt", "yuva444p10le", "-t", "1"}, 3},
          {"alpha-qtrle.mov", ROSE, {"-c:v", "qtrle", "-t", "1"}, 2},
          {"alpha.apng", ROSE, {"-vf", "drawbox=x=t*25:w=1:h=1:c=red:replace=1,format=rgba", "-t", "1"}, 2},
          {"animated.gif", OPAQUE_ROSE, {"-vf", "drawbox=x=t*25:w=1:h=1:c=red," + palette, "-t", "1"}, 3}}) {
        std::string const film = Flat(c.name, c.color, "32x16", c.writing);
        auto const pictures = PicturesOf(Make(Ground(), {film + "@20,20"}));
        SCOPED_TRACE(c.name);
        ASSERT_EQ(50U, pictures.size());
        auto const drawn = InYuv(c.color, {});
        double const share = c.color.alpha / 255.0;
        for (std::size_t const number : {0U, 12U, 24U})
            for (int plane = 0; plane < 3; ++plane)
                EXPECT_NEAR(
                    SampleAt(pictures[number], plane, 36, 30),
                    drawn[static_cast<std::size_t>(plane)] * share + SampleAt(below, plane, 36, 30) * (1 - share),
                    c.tolerance)
                    << number << " plane " << plane;
        for (std::size_t number = 25; number < 50; ++number) EXPECT_EQ(below.pixels, pictures[number].pixels) << number;
    }
}

TEST_F(Overlay, AlphaBesideThePicturesCountsWhateverTheCaseOfItsTag) {
    std::string const film = Flat("alpha-vp9.webm", ROSE, "32x16",
                                  {"-c:v", "libvpx-vp9", "-lossless", "1", "-pix_fmt", "yuva420p", "-t", "1"});
    std::string const vp8 =
        Flat("alpha-plain-vp8.webm", ROSE, "32x16",
             {"-c:v", "libvpx", "-b:v", "4M", "-crf", "4", "-pix_fmt", "yuva420p", "-t", "1", "-auto-alt-ref", "0"});
    for (auto const& [name, from] : {std::pair{"overlay-copy.webm", film},
                                     {"overlay-copy.mkv", film},
                                     {"overlay-copy-vp8.webm", vp8},
                                     {"overlay-copy-vp8.mkv", vp8}}) {
        std::string const copy = MakeClip(name, {"-i", from, "-c", "copy"});
        ASSERT_EQ("1", InspectFile(copy).streams.at(0).metadata.at("ALPHA_MODE"));
        EXPECT_EQ(PicturesOf(Make(Ground(), {from + "@20,20"})).at(12).pixels,
                  PicturesOf(Make(Ground(), {copy + "@20,20"})).at(12).pixels)
            << name;
    }
}

TEST_F(Overlay, MainFilmsOfEveryKindKeepTheirOwnColoursAndGetThoseOfTheLogo) {
    struct Case {
        char const* name;
        std::vector<std::string> writing;
        Meaning meaning;
    };
    Meaning const hd{0.2126, 0.0722, false};
    std::vector<std::string> const lossless{"-c:v", "ffv1"};
    for (Case const& c :
         {Case{"420", {"-pix_fmt", "yuv420p"}, {}},
          {"422", {"-pix_fmt", "yuv422p"}, {}},
          {"444", {"-pix_fmt", "yuv444p"}, {}},
          {"420-10", {"-pix_fmt", "yuv420p10le"}, {}},
          {"709", {"-pix_fmt", "yuv420p", "-vf", "setparams=colorspace=bt709", "-colorspace", "bt709"}, hd},
          {"full", {"-pix_fmt", "yuvj420p", "-color_range", "pc"}, {0.299, 0.114, true}}}) {
        std::vector<std::string> arguments{"-f", "lavfi", "-i", "testsrc2=s=128x96:r=25:d=0.4,format=yuv420p"};
        for (auto const* const part : {&c.writing, &lossless})
            arguments.insert(arguments.end(), part->begin(), part->end());
        std::string const main = MakeClip(std::string("overlay-main-") + c.name + ".mkv", arguments);
        auto const below = PicturesOf(main);
        auto const made = PicturesOf(Make(main, {Logo(ROSE) + "@20,20"}));
        ASSERT_EQ(below.size(), made.size());
        SCOPED_TRACE(c.name);
        for (std::size_t const number : {0U, 9U}) ExpectLogo(made[number], below[number], ROSE, c.meaning);
    }
}

/// The largest difference of two samples, in steps of 8 bits.
double Difference(DecodedPicture const& a, DecodedPicture const& b) {
    EXPECT_EQ(a.pixels.size(), b.pixels.size());
    EXPECT_EQ(DepthOf(a), DepthOf(b));
    int largest = 0;
    for (int plane = 0; plane < 3; ++plane)
        for (int y = 0; y < a.height; ++y)
            for (int x = 0; x < a.width; ++x)
                largest = std::max(largest, std::abs(SampleAt(a, plane, x, y) - SampleAt(b, plane, x, y)));
    return double(largest) / (1 << (DepthOf(a) - 8));
}

TEST_F(Overlay, PicturesAreThoseOfFFmpegsOverlay) {
    // Soft edges in colour and alpha, so that the two ways of halving chroma come near each other.
    std::string const logo = MakeClip(
        "overlay-soft.png", {"-f", "lavfi", "-i",
                             "color=s=64x48,format=gbrap,geq=r='3*X':g='5*Y':b='255-3*X':a='128+100*sin(X/9)*cos(Y/9)',"
                             "format=rgba",
                             "-frames:v", "1"});
    // Of 10 bits the two lie farther apart; what is drawn on those is held against a calculation above.
    for (auto const& [format, canvas] : std::vector<std::pair<std::string, std::string>>{
             {"yuv420p", "yuv420"}, {"yuv422p", "yuv422"}, {"yuv444p", "yuv444"}, {"yuv420p10le", "yuv420p10"}}) {
        std::string const main = MakeClip(
            "overlay-soft-" + format + ".mkv",
            {"-f", "lavfi", "-i", "testsrc2=s=128x96:r=25:d=0.4,format=yuv444p", "-pix_fmt", format, "-c:v", "ffv1"});
        std::string const theirs =
            MakeClip("overlay-theirs-" + format + ".mkv",
                     {"-i", main, "-i", logo, "-filter_complex",
                      "[0][1]overlay=20:-10:format=" + canvas + ",format=" + format, "-c:v", "ffv1"});
        auto const own = PicturesOf(Make(main, {logo + "@20,-10"}));
        auto const other = PicturesOf(theirs);
        ASSERT_EQ(other.size(), own.size());
        for (std::size_t i = 0; i < own.size(); ++i) {
            EXPECT_EQ(other[i].time, own[i].time);
            EXPECT_LE(Difference(own[i], other[i]), canvas == "yuv420p10" ? 3.5 : 3) << format << " " << i;
        }
    }
}

TEST_F(Overlay, FilmOverFilmIsWhatFFmpegsOverlayMakesOfIt) {
    std::string const main = MakeClip(
        "overlay-pip-main.mkv", {"-f", "lavfi", "-i", "testsrc2=s=128x96:r=25:d=2,format=yuv420p", "-c:v", "ffv1"});
    std::string const drawn = MakeClip(
        "overlay-pip-drawn.mkv", {"-f", "lavfi", "-i", "testsrc=s=48x36:r=25:d=1,format=yuv420p", "-c:v", "ffv1"});
    std::string const theirs = MakeClip(
        "overlay-pip-theirs.mkv", {"-i", main, "-i", drawn, "-filter_complex",
                                   "[1]setpts=PTS+0.4/TB[o];[0][o]overlay=60:40:eof_action=pass", "-c:v", "ffv1"});
    auto const own = PicturesOf(Make(main, {drawn + "@60,40,start=0.4"}));
    auto const other = PicturesOf(theirs);
    ASSERT_EQ(other.size(), own.size());
    for (std::size_t i = 0; i < own.size(); ++i) EXPECT_LE(Difference(own[i], other[i]), 0) << i;
}

// Shapes.

TEST_F(Overlay, PixelsOfAnotherShapeAreDrawnSoThatTheyLookRight) {
    std::string const wide = MakeClip("overlay-wide.mkv", {"-i", Ground(), "-vf", "setsar=16/15", "-c:v", "ffv1"});
    auto const onWide = PicturesOf(Make(wide, {Logo(OPAQUE_ROSE, "64x48") + "@0,0"})).at(0);
    EXPECT_LT(LumaAt(onWide, 59, 47), 120);
    EXPECT_EQ(GROUND, LumaAt(onWide, 60, 47));
    EXPECT_EQ(GROUND, LumaAt(onWide, 59, 48));
    std::string const twice = MakeClip("overlay-twice.mkv", {"-i", Counter(), "-vf", "setsar=2/1", "-c:v", "ffv1"});
    auto const onSquare = PicturesOf(Make(Ground(), {twice + "@0,0"})).at(0);
    EXPECT_EQ(20, LumaAt(onSquare, 63, 31));
    EXPECT_EQ(GROUND, LumaAt(onSquare, 64, 31));
    EXPECT_EQ(GROUND, LumaAt(onSquare, 63, 32));
}

TEST_F(Overlay, SizeIsThatOnTheMainPicture) {
    auto const edges = [&](std::string const& option, int width, int height) {
        auto const picture = PicturesOf(Make(Ground(), {Counter() + "@0,0,size=" + option})).at(0);
        EXPECT_EQ(20, LumaAt(picture, width - 1, height - 1)) << option;
        EXPECT_EQ(GROUND, LumaAt(picture, width, height - 1)) << option;
        EXPECT_EQ(GROUND, LumaAt(picture, width - 1, height)) << option;
    };
    edges("48x20", 48, 20);
    edges("64x", 64, 64);
    edges("-1x16", 16, 16);
}

TEST_F(Overlay, OddSizesAndLogosLargerThanThePicture) {
    std::string const odd = MakeClip(
        "overlay-odd.mkv",
        {"-f", "lavfi", "-i", "color=s=127x95:d=0.4,format=yuv444p,geq=lum=235:cb=128:cr=128", "-c:v", "ffv1"});
    auto const small = PicturesOf(Make(odd, {Logo(OPAQUE_ROSE, "31x17") + "@20,20"})).at(0);
    EXPECT_LT(LumaAt(small, 50, 36), 120);
    EXPECT_EQ(GROUND, LumaAt(small, 51, 36));
    EXPECT_EQ(GROUND, LumaAt(small, 50, 37));
    auto const large = PicturesOf(Make(odd, {Logo(OPAQUE_ROSE, "301x201") + "@-11,-11"})).at(0);
    for (auto const& [x, y] : {std::pair{0, 0}, {126, 94}}) EXPECT_LT(LumaAt(large, x, y), 120);
}

TEST_F(Overlay, InterlacedFilmStaysInterlacedAndIsDrawnOnAllItsRows) {
    std::string const tape =
        MakeClip("overlay-tape.mkv", {"-f", "lavfi", "-i", "testsrc2=s=128x96:r=50:d=1,format=yuv420p", "-vf",
                                      "tinterlace=interleave_top,setfield=tff", "-c:v", "mpeg2video", "-q:v", "2",
                                      "-flags", "+ilme+ildct", "-top", "1"});
    auto const below = PicturesOf(tape);
    auto const made = PicturesOf(Make(tape, {Logo() + "@20,20"}));
    ASSERT_EQ(below.size(), made.size());
    ExpectLogo(made.at(10), below.at(10), OPAQUE_ROSE, {});
    EXPECT_EQ(below.at(10).interlaced, made.at(10).interlaced);
}

/// A graph that makes pictures smaller, and draws a logo on what comes of it.
std::string SmallerWithLogo(std::string const& implementation, std::string const& out) {
    return R"({"sources": [{"id": 1, "file": ")" + Ground() + R"(", "stream": "video"},
                           {"id": 2, "file": ")" +
           Logo(ROSE) + R"(", "stream": "video"}],
               "filters": [{"id": 3, "class": "SettingsResizer", "inputs": [1],
                            "settings": {"Width": 96, "Height": 72, "Implementation": ")" +
           implementation + R"("}},
                           {"id": 4, "class": "SettingsFilterVideoMixer", "inputs": [3, 2],
                            "settings": {"Overlays": [{"X": 20, "Y": 20, "FirstFrame": true}]}}],
               "output": {"file": ")" +
           out + R"(", "streams": [{"input": 4, "quality": 0}]}})";
}

TEST_F(Overlay, MainFilmInGpuMemoryLooksAsInThatOfTheProcessor) {
    std::vector<DecodedPicture> seen;
    for (std::string const implementation : {"Tarsel", "OGL"}) {
        std::string const out = folder / implementation + ".mkv";
        auto const result = RunTarsel(
            {"run", MakeTextFile("overlay-" + implementation + ".json", SmallerWithLogo(implementation, out))});
        ASSERT_EQ(0, result.exitCode) << result.errors;
        auto const pictures = PicturesOf(out);
        ASSERT_EQ(50U, pictures.size());
        seen.push_back(pictures.at(30));
    }
    for (auto const& [x, y] : {std::pair{0, 0}, {24, 24}, {40, 30}, {90, 70}})
        EXPECT_NEAR(LumaAt(seen[0], x, y), LumaAt(seen[1], x, y), 2) << x << "," << y;
    EXPECT_LT(LumaAt(seen[1], 40, 30), 200);
}

TEST_F(Overlay, SheetOfWhatWasDrawn) {
    std::string const main = MakeClip(
        "overlay-sheet-main.mkv", {"-f", "lavfi", "-i", "testsrc2=s=320x180:r=25:d=2,format=yuv420p", "-c:v", "ffv1"});
    std::string const drawn =
        MakeClip("overlay-sheet-drawn.webm",
                 {"-f", "lavfi", "-i", "testsrc=s=96x72:r=25:d=1,format=rgba,colorchannelmixer=aa=0.6", "-c:v",
                  "libvpx-vp9", "-lossless", "1", "-pix_fmt", "yuva420p"});
    auto const pictures = PicturesOf(Make(main, {drawn + "@200,90,start=0.4,loop", drawn + "@-20,120,size=80x",
                                                 Logo(ROSE) + "@20,40", Logo() + "@20,80,blink=0.4/0.2"}));
    ContactSheet sheet("overlay-command", 3);
    sheet.Add(AsPicture(pictures.at(0)), "0.0: SMALL FILM LEFT BELOW, TWO LOGOS");
    sheet.Add(AsPicture(pictures.at(12)), "0.48: FILM AT RIGHT, LOWER LOGO HIDDEN");
    sheet.Add(AsPicture(pictures.at(20)), "0.8: LOWER LOGO BACK");
    sheet.Add(AsPicture(pictures.at(30)), "1.2: SMALL FILM GONE");
    sheet.Add(AsPicture(pictures.at(40)), "1.6: FILM AT RIGHT STARTED OVER");
    EXPECT_NE(pictures.at(12).pixels, pictures.at(20).pixels);
}

}  // namespace
}  // namespace Tarsel::Test
