#include "tests/support/CropCorpus.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "tests/support/TestMedia.h"

namespace Tarsel::Test {

namespace {

using Proc::CropInfo;
using Aim = CropClip::Aim;

std::string Size(u32 width, u32 height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

// Sources of pictures that move, as filters of a size.

using Source = std::string (*)(u32 width, u32 height);

std::string Colours(u32 width, u32 height) {
    return "testsrc2=r=25:s=" + Size(width, height);
}

/// A rough texture that a camera pans over.
std::string Pan(u32 width, u32 height) {
    std::string const large = Size(width + 200, height + 120);
    return "color=gray:r=25:s=" + large +
           ",format=yuv420p,noise=alls=90:all_seed=7,gblur=sigma=4,"
           "eq=contrast=4,loop=-1:1,crop=" +
           std::to_string(width) + ":" + std::to_string(height) + ":x='100+90*sin(t)':y='60+50*sin(t*0.7)'";
}

std::string Fractal(u32 width, u32 height) {
    return "mandelbrot=r=25:s=" + Size(width, height);
}

std::string Life(u32 width, u32 height) {
    return "life=r=25:ratio=0.2:mold=20:seed=5:life_color=#C0E080:death_color=#803020:mold_color=#204060:s=" +
           Size(width, height);
}

std::string Automaton(u32 width, u32 height) {
    return "cellauto=r=25:rule=110:scroll=1:seed=5:s=" + Size(width, height);
}

/// A texture that stands still, with a head in the middle that nods a little.
std::string Talking(u32 width, u32 height) {
    std::string const half = Size(width / 4 / 2 * 2, height / 3 / 2 * 2);
    return "color=gray:r=25:s=" + Size(width, height) +
           ",format=yuv420p,noise=alls=60:all_seed=3,gblur=sigma=3,eq=contrast=3,loop=-1:1[room];testsrc2=r=25:s=" +
           half + ",format=yuv420p[head];[room][head]overlay=x='(W-w)/2+10*sin(2*t)':y='(H-h)/2+6*sin(3*t)'";
}

/// How a clip comes to be.
struct Recipe {
    Source source = Colours;
    std::string inside;   // filters of the picture
    std::string outside;  // filters of the frame
    std::string bars = "black";
    double seconds = 10;
    std::vector<std::string> encoding{"-c:v", "libx264", "-preset", "ultrafast", "-crf", "23"};
    std::string format = "yuv420p";
};

std::vector<std::string> With(Recipe const& recipe) {
    std::vector<std::string> words = recipe.encoding;
    words.insert(words.end(), {"-pix_fmt", recipe.format});
    return words;
}

CropClip Clip(std::string name, std::string content, int width, int height, CropInfo const& picture,
              Recipe const& recipe = {}) {
    CropClip clip;
    clip.name = std::move(name);
    clip.content = std::move(content);
    clip.width = width;
    clip.height = height;
    clip.picture = picture;
    std::string filter = recipe.source(picture.GetWidth(), picture.GetHeight());
    if (!recipe.inside.empty()) filter += "," + recipe.inside;
    filter += ",format=" + std::string(recipe.format == "yuv444p" ? "yuv444p" : "yuv420p") +
              ",pad=" + std::to_string(width) + ":" + std::to_string(height) + ":" + std::to_string(picture.left) +
              ":" + std::to_string(picture.top) + ":" + recipe.bars;
    if (!recipe.outside.empty()) filter += "," + recipe.outside;
    clip.arguments = {"-filter_complex", filter + "[v]", "-map", "[v]", "-t", std::to_string(recipe.seconds)};
    auto const encoding = With(recipe);
    clip.arguments.insert(clip.arguments.end(), encoding.begin(), encoding.end());
    return clip;
}

CropClip Small(CropClip clip) {
    clip.isSmall = true;
    return clip;
}

CropClip Aiming(Aim aim, CropClip clip) {
    clip.aim = aim;
    return clip;
}

Recipe Of(Source source) {
    Recipe recipe;
    recipe.source = source;
    return recipe;
}

Recipe Inside(Recipe recipe, std::string filters) {
    recipe.inside = std::move(filters);
    return recipe;
}

Recipe Outside(Recipe recipe, std::string filters) {
    recipe.outside = std::move(filters);
    return recipe;
}

Recipe Encoded(Recipe recipe, std::vector<std::string> encoding, std::string format = "yuv420p") {
    recipe.encoding = std::move(encoding);
    recipe.format = std::move(format);
    return recipe;
}

Recipe Lasting(Recipe recipe, double seconds) {
    recipe.seconds = seconds;
    return recipe;
}

constexpr CropInfo LETTER{0, 640, 46, 314};
constexpr CropInfo LETTER_SMALL{0, 320, 24, 156};

void AddShapes(std::vector<CropClip>& corpus) {
    corpus.push_back(
        Clip("letterbox-1080", "2.39:1 in 16:9, panned texture", 1920, 1080, {0, 1920, 138, 942}, Of(Pan)));
    corpus.push_back(Clip("letterbox-720", "2.35:1 in 16:9, test picture", 1280, 720, {0, 1280, 88, 632}));
    corpus.push_back(
        Clip("letterbox-flat", "1.85:1 in 16:9, panned texture", 1920, 1080, {0, 1920, 20, 1060}, Of(Pan)));
    corpus.push_back(
        Clip("letterbox-flat-720", "1.85:1 in 16:9, panned texture", 1280, 720, {0, 1280, 14, 706}, Of(Pan)));
    corpus.push_back(Clip("letterbox-360", "2.39:1 in 16:9, fractal", 640, 360, LETTER, Of(Fractal)));
    corpus.push_back(Small(Clip("letterbox-180", "2.42:1 in 16:9, panned texture", 320, 180, LETTER_SMALL, Of(Pan))));
    corpus.push_back(Clip("pillarbox-1080", "4:3 in 16:9, test picture", 1920, 1080, {240, 1680, 0, 1080}));
    corpus.push_back(Clip("pillarbox-720", "4:3 in 16:9, panned texture", 1280, 720, {160, 1120, 0, 720}, Of(Pan)));
    corpus.push_back(Small(Clip("pillarbox-180", "4:3 in 16:9, test picture", 320, 180, {40, 280, 0, 180})));
    corpus.push_back(Clip("windowbox-360", "both, game of life", 640, 360, {80, 560, 46, 314}, Of(Life)));
    corpus.push_back(
        Small(Clip("windowbox-180", "both, cellular automaton", 320, 180, {40, 280, 24, 156}, Of(Automaton))));
    corpus.push_back(Clip("none-720", "no bars, test picture", 1280, 720, {0, 1280, 0, 720}));
    corpus.push_back(Clip("none-360", "no bars, panned texture", 640, 360, {0, 640, 0, 360}, Of(Pan)));
    corpus.push_back(Small(Clip("none-180", "no bars, game of life", 320, 180, {0, 320, 0, 180}, Of(Life))));
    corpus.push_back(Small(Clip("uneven-180", "another bar on each side, test picture", 320, 180, {8, 280, 20, 160})));
    corpus.push_back(
        Clip("uneven-360", "another bar on each side, panned texture", 640, 360, {16, 600, 20, 300}, Of(Pan)));
    corpus.push_back(Clip("thin-1080", "8 black rows below, panned texture", 1920, 1080, {0, 1920, 0, 1072}, Of(Pan)));
    corpus.push_back(Clip("thin-360", "4 black rows above and below", 640, 360, {0, 640, 4, 356}, Of(Pan)));
    corpus.push_back(Small(Clip("odd-241", "odd sides, FFV1", 427, 241, {0, 427, 30, 211},
                                Encoded(Of(Colours), {"-c:v", "ffv1"}, "yuv444p"))));
    corpus.back().extension = ".mkv";
}

void AddDarkness(std::vector<CropClip>& corpus) {
    auto const opening = [](char const* seconds, double whole) {
        return Lasting(Inside(Of(Pan), std::string("tpad=color=black:start_duration=") + seconds), whole);
    };
    corpus.push_back(Clip("opening-3s", "3 s of black, then a film", 640, 360, LETTER, opening("3", 14)));
    corpus.push_back(Clip("opening-8s", "8 s of black, then a film", 320, 180, LETTER_SMALL, opening("8", 20)));
    corpus.push_back(
        Clip("opening-8s-long", "8 s of black, then a longer film", 320, 180, LETTER_SMALL, opening("8", 60)));
    corpus.push_back(Aiming(
        Aim::Beyond, Clip("opening-15s", "15 s of black, then a film", 320, 180, LETTER_SMALL, opening("15", 60))));
    corpus.push_back(Clip("fade-2s", "fade from black in 2 s", 640, 360, LETTER, Inside(Of(Pan), "fade=d=2")));
    corpus.push_back(Small(
        Clip("fade-6s", "fade from black in 6 s", 320, 180, LETTER_SMALL, Lasting(Inside(Of(Pan), "fade=d=6"), 16))));
    Recipe const night = Inside(Of(Pan), "eq=contrast=0.35:brightness=-0.38");
    corpus.push_back(Clip("night", "a night scene, mean luma about 27", 320, 180, LETTER_SMALL, Lasting(night, 16)));
    corpus.push_back(Clip("night-long", "the same for longer", 320, 180, LETTER_SMALL, Lasting(night, 60)));
    corpus.push_back(Clip("dusk", "little light, mean luma about 80", 640, 360, LETTER,
                          Inside(Of(Pan), "eq=contrast=0.6:brightness=-0.2")));
    Recipe const corners = Inside(Of(Pan), "vignette=a=PI/2.6");
    corpus.push_back(Clip("corners", "dark corners", 640, 360, LETTER, corners));
    corpus.push_back(Clip("corners-long", "the same for longer", 320, 180, LETTER_SMALL, Lasting(corners, 60)));
}

void AddNoise(std::vector<CropClip>& corpus) {
    for (char const* const quality : {"18", "30", "40"})
        corpus.push_back(Clip(std::string("x264-") + quality, std::string("H.264 at constant quality ") + quality, 640,
                              360, LETTER,
                              Encoded(Of(Pan), {"-c:v", "libx264", "-preset", "veryfast", "-crf", quality})));
    corpus.push_back(Clip("mpeg2-low", "MPEG-2 at 600 kbit/s", 640, 360, LETTER,
                          Encoded(Of(Pan), {"-c:v", "mpeg2video", "-b:v", "600k"})));
    corpus.back().extension = ".mpg";
    corpus.push_back(Clip("mpeg4-low", "MPEG-4 at quantiser 28", 640, 360, LETTER,
                          Encoded(Of(Pan), {"-c:v", "mpeg4", "-q:v", "28"})));
    corpus.push_back(
        Clip("vp8-low", "VP8 at 200 kbit/s", 640, 360, LETTER,
             Encoded(Of(Pan), {"-c:v", "libvpx", "-deadline", "realtime", "-cpu-used", "8", "-b:v", "200k"})));
    corpus.back().extension = ".webm";
    auto const grain = [](char const* strength, double seconds) {
        return Lasting(Outside(Of(Pan), "noise=allf=t:all_seed=5:alls=" + std::string(strength)), seconds);
    };
    corpus.push_back(Clip("grain-4", "grain of 4 all over the frame", 640, 360, LETTER, grain("4", 10)));
    corpus.push_back(Clip("grain-6", "grain of 6", 640, 360, LETTER, grain("6", 10)));
    corpus.push_back(Clip("grain-8", "grain of 8", 640, 360, LETTER, grain("8", 10)));
    corpus.push_back(Clip("grain-8-long", "grain of 8, for longer", 320, 180, LETTER_SMALL, grain("8", 60)));
    corpus.push_back(
        Aiming(Aim::Beyond, Small(Clip("grain-20", "grain of 20", 320, 180, LETTER_SMALL, grain("20", 10)))));
    corpus.push_back(Clip("logo-still", "a logo that stands in the upper bar", 640, 360, LETTER,
                          Outside(Of(Pan), "drawbox=x=560:y=12:w=60:h=20:c=white:t=fill")));
    corpus.push_back(
        Aiming(Aim::Beyond,
               Clip("logo-moving", "a logo that blinks in the upper bar", 640, 360, LETTER,
                    Outside(Of(Pan), "drawbox=x=560:y=12:w=60:h=20:c=white:t=fill:enable='lt(mod(t,1.7),0.8)'"))));
    corpus.push_back(
        Aiming(Aim::Beyond, Clip("titles-in-bar", "titles that come and go in the lower bar", 640, 360, LETTER,
                                 Outside(Of(Pan),
                                         "drawbox=x=200:y=325:w=240:h=8:c=white:t=fill:enable='lt(mod(t,2.3),1.4)',"
                                         "drawbox=x=230:y=338:w=180:h=8:c=white:t=fill:enable='lt(mod(t,2.3),1.4)'"))));
    Recipe grey = Of(Pan);
    grey.bars = "0x707070";
    corpus.push_back(Small(Clip("grey-bars", "grey bars", 320, 180, LETTER_SMALL, grey)));
}

void AddMotion(std::vector<CropClip>& corpus) {
    Recipe still = Of(Pan);
    still.inside = "loop=-1:1";
    corpus.push_back(Aiming(
        Aim::Beyond, Small(Clip("still", "a letterboxed picture that stands still", 320, 180, LETTER_SMALL, still))));
    corpus.push_back(Aiming(Aim::Beyond, Clip("talking", "a head that moves before a room that doesn't", 640, 360,
                                              {0, 640, 0, 360}, Of(Talking))));
    corpus.push_back(
        Aiming(Aim::Beyond, Clip("talking-grain", "the same with a camera's noise", 640, 360, {0, 640, 0, 360},
                                 Inside(Of(Talking), "noise=alls=8:allf=t:all_seed=5"))));
    corpus.push_back(Clip("slow", "a slow fractal, pillarboxed", 640, 360, {80, 560, 0, 360}, Of(Fractal)));
    corpus.push_back(
        Aiming(Aim::Beyond, Clip("mixed-whole-first", "3 s of whole frames, then letterbox", 640, 360, LETTER,
                                 Lasting(Outside(Of(Pan), "pad=640:360[a];" + Pan(640, 360) +
                                                              ",format=yuv420p[b];[a][b]overlay=enable='lt(t,3)'"),
                                         14))));
    corpus.push_back(Clip("mixed-bars-first", "3 s of letterbox, then whole frames", 640, 360, {0, 640, 0, 360},
                          Lasting(Of(Pan), 14)));
    corpus.back().arguments[1] = Pan(640, 268) + ",format=yuv420p,pad=640:360:0:46[a];" + Pan(640, 360) +
                                 ",format=yuv420p[b];[a][b]overlay=enable='gt(t,3)'[v]";
    corpus.push_back(Aiming(Aim::NotKnown, Small(Clip("short", "3 s", 320, 180, LETTER_SMALL, Lasting(Of(Pan), 3)))));
}

void AddKinds(std::vector<CropClip>& corpus) {
    corpus.push_back(Clip("interlaced", "PAL, interlaced, 16:9 by anamorphic pixels", 720, 576, {0, 720, 72, 504},
                          Encoded(Outside(Of(Pan), "tinterlace=interleave_top,fieldorder=tff,setsar=64/45"),
                                  {"-c:v", "mpeg2video", "-q:v", "4", "-flags", "+ildct+ilme", "-r", "25"})));
    corpus.back().extension = ".mpg";
    corpus.push_back(
        Small(Clip("ten-bit", "10 bits, 4:2:2", 320, 180, LETTER_SMALL,
                   Encoded(Of(Pan), {"-c:v", "libx264", "-preset", "ultrafast", "-crf", "20"}, "yuv422p10le"))));
    corpus.push_back(Clip("vp9", "VP9", 640, 360, LETTER,
                          Encoded(Of(Colours), {"-c:v", "libvpx-vp9", "-deadline", "realtime", "-cpu-used", "8", "-crf",
                                                "35", "-b:v", "0"})));
    corpus.back().extension = ".webm";
}

std::vector<CropClip> MakeCorpus() {
    std::vector<CropClip> corpus;
    AddShapes(corpus);
    AddDarkness(corpus);
    AddNoise(corpus);
    AddMotion(corpus);
    AddKinds(corpus);
    return corpus;
}

}  // namespace

std::string CropClip::Make() const {
    return MakeClip("crop-" + name + extension, arguments);
}

CropInfo CropClip::Tolerance() const {
    auto const cells = [](int side, int table) {
        return static_cast<u32>((3 * std::max(side, table) + table - 1) / table);
    };
    u32 const across = cells(width, 320), down = cells(height, 240);
    return {across, across, down, down};
}

bool CropClip::IsNear(CropInfo const& found) const {
    CropInfo const near = Tolerance();
    auto const within = [](u32 a, u32 b, u32 distance) { return std::max(a, b) - std::min(a, b) <= distance; };
    return within(found.left, picture.left, near.left) && within(found.right, picture.right, near.right) &&
           within(found.top, picture.top, near.top) && within(found.bottom, picture.bottom, near.bottom);
}

bool CropClip::CutsOff(CropInfo const& found) const {
    CropInfo const near = Tolerance();
    return !(found == CropInfo()) &&
           (found.left > picture.left + near.left || found.right + near.right < picture.right ||
            found.top > picture.top + near.top || found.bottom + near.bottom < picture.bottom);
}

std::vector<CropClip> const& CropCorpus() {
    static std::vector<CropClip> const corpus = MakeCorpus();
    return corpus;
}

CropClip const& FindCropClip(std::string const& name) {
    auto const& corpus = CropCorpus();
    auto const found =
        std::find_if(corpus.begin(), corpus.end(), [&](CropClip const& clip) { return clip.name == name; });
    if (found == corpus.end()) throw std::runtime_error("there is no clip " + name + " in the corpus");
    return *found;
}

}  // namespace Tarsel::Test
