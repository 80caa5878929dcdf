#include "tests/support/MediaFamily.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

constexpr char TEST_PATTERN[] = "testsrc2=s=160x120";
constexpr char MANDELBROT[] = "mandelbrot=s=160x120:start_scale=3:end_scale=0.3:end_pts=400";
constexpr char MOVING_BARS[] = "smptebars=s=160x120,scroll=horizontal=0.013:vertical=0.007";
constexpr char X264[] = " -c:v libx264 -preset veryfast -threads 1 -pix_fmt yuv420p";
constexpr char CLOSED_50[] = " -x264-params keyint=50:min-keyint=50:scenecut=0:bframes=3:b-adapt=0:open-gop=0";

constexpr char SRT[] =
    "1\n00:00:00,500 --> 00:00:01,700\nfirst line\n\n2\n00:00:02,100 --> 00:00:03,900\nsecond line\n\n"
    "3\n00:00:04,000 --> 00:00:05,250\nthird line\n\n4\n00:00:06,300 --> 00:00:07,000\nfourth line\n\n"
    "5\n00:00:07,500 --> 00:00:09,400\nfifth line\n";
constexpr char ASS[] =
    "[Script Info]\nScriptType: v4.00+\n\n[V4+ Styles]\nFormat: Name, Fontname, Fontsize\nStyle: Default,DejaVu "
    "Sans,20\n\n"
    "[Events]\nFormat: Layer, Start, End, Style, Text\nDialogue: 0,0:00:01.00,0:00:02.00,Default,styled one\n"
    "Dialogue: 0,0:00:03.00,0:00:04.50,Default,styled two\nDialogue: 0,0:00:05.00,0:00:09.00,Default,styled three\n";
constexpr char CHAPTERS[] =
    ";FFMETADATA1\ntitle=A clip with everything\nartist=The generator\n"
    "[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=3000\ntitle=Opening\n"
    "[CHAPTER]\nTIMEBASE=1/1000\nSTART=3000\nEND=6500\ntitle=Middle\n"
    "[CHAPTER]\nTIMEBASE=1/1000\nSTART=6500\nEND=10000\ntitle=Closing\n";

std::vector<std::string> Split(std::string const& text) {
    std::istringstream words(text);
    std::vector<std::string> result;
    for (std::string word; words >> word;) result.push_back(word);
    return result;
}

/// A generator of pictures and one of sound, for `seconds`. The first of `filters` may name a picture rate: "r=RATE".
std::string Inputs(std::string const& pictures, std::string const& rate, int seconds) {
    auto const comma = pictures.find(',');
    std::string source = pictures;
    source.insert(comma == std::string::npos ? source.size() : comma, ":r=" + rate);
    return "-f lavfi -i " + source + " -f lavfi -i sine=f=440:r=48000 -t " + std::to_string(seconds);
}

std::string Silent(std::string const& pictures, std::string const& rate, int seconds) {
    return Inputs(pictures, rate, seconds) + " -map 0:v";
}

class Table {
  public:
    void Add(std::string const& name, std::string const& arguments,
             std::vector<std::pair<std::string, std::string>> files = {}) {
        clips.push_back({name, Split("-fflags +bitexact " + arguments + " -bitexact"), std::move(files)});
    }
    std::vector<ClipRecipe> clips;
};

void AddH264(Table& table) {
    std::string const closed = std::string(X264) + CLOSED_50;
    std::string const aac = " -c:a aac -b:a 64k";
    table.Add("h264-closed.mp4", Inputs(TEST_PATTERN, "25", 12) + closed + aac);
    table.Add("h264-closed.mkv", Inputs(MANDELBROT, "25", 10) + closed + aac);
    table.Add("h264-closed.ts", Inputs(TEST_PATTERN, "25", 10) + closed + aac);
    table.Add("h264-moving-bars.mp4", Inputs(MOVING_BARS, "25", 10) + closed + aac);
    table.Add("h264-no-b.mp4", Inputs(TEST_PATTERN, "25", 10) + X264 + aac +
                                   " -x264-params keyint=50:min-keyint=50:scenecut=0:bframes=0");
    table.Add("h264-baseline.mp4", Inputs(TEST_PATTERN, "25", 9) + X264 + aac +
                                       " -profile:v baseline -x264-params keyint=30:min-keyint=30:scenecut=0");
    table.Add("h264-weighted.mkv",
              Inputs(std::string(TEST_PATTERN) + ",fade=in:0:40,fade=out:160:100", "25", 9) + X264 + aac +
                  " -profile:v high -x264-params keyint=50:min-keyint=50:scenecut=0:bframes=3:weightp=2:weightb=1");
    std::string const open = " -x264-params keyint=31:min-keyint=31:scenecut=0:bframes=3:b-adapt=0:open-gop=1";
    table.Add("h264-open.mp4", Inputs(TEST_PATTERN, "25", 10) + X264 + open + aac);
    table.Add("h264-open.ts", Inputs(TEST_PATTERN, "25", 10) + X264 + open + aac);
    table.Add("h264-interlaced.mp4",
              Inputs(std::string(TEST_PATTERN) + ",tinterlace=interleave_top", "50", 9) + X264 + aac +
                  " -flags +ilme+ildct -x264-params tff=1:keyint=50:min-keyint=50:scenecut=0:bframes=3");
    table.Add("h264-2997.mp4", Inputs(TEST_PATTERN, "30000/1001", 9) + closed + aac);
    table.Add("h264-2997.mkv", Inputs(TEST_PATTERN, "30000/1001", 9) + closed + aac);
    table.Add(
        "h264-vfr.mp4",
        Inputs(std::string(TEST_PATTERN) + ",select=not(eq(mod(n\\,7)\\,3))*not(between(n\\,90\\,97))", "30", 10) +
            closed + aac + " -vsync vfr");
    table.Add("h264-vfr.mkv",
              Inputs(std::string(TEST_PATTERN) + ",select=if(lt(n\\,120)\\,1\\,not(mod(n\\,3)))", "30", 12) + closed +
                  aac + " -vsync vfr");
    table.Add("h264-one-key.mp4",
              Inputs(TEST_PATTERN, "25", 6) + X264 + aac + " -x264-params keyint=infinite:scenecut=0");
    table.Add("h264-all-key.mp4", Inputs(TEST_PATTERN, "25", 6) + X264 + aac + " -x264-params keyint=1");
    table.Add("h264-offset.mkv", Inputs(TEST_PATTERN, "25", 9) + closed + aac + " -output_ts_offset 5.1");
    table.Add("h264-offset.mp4", Inputs(TEST_PATTERN, "25", 9) + closed + aac + " -output_ts_offset 2.3");
    table.Add("h264-sps-1.mp4", Inputs(TEST_PATTERN, "25", 9) + X264 + aac +
                                    " -x264-params keyint=50:min-keyint=50:scenecut=0:bframes=3:sps-id=1");
    table.Add("h264-high10.mkv", Inputs(TEST_PATTERN, "25", 8) + closed + " -pix_fmt yuv420p10le" + aac);
    table.Add("h264-422.mp4", Inputs(TEST_PATTERN, "25", 8) + closed + " -pix_fmt yuv422p" + aac);
    table.Add("h264-long.mp4", Inputs(TEST_PATTERN, "25", 30) + closed + aac);
    table.Add("h264-long-groups.mp4", Inputs(TEST_PATTERN, "25", 26) + X264 + aac +
                                          " -x264-params keyint=160:min-keyint=160:scenecut=0:bframes=3");
    table.Add("h264-silent.mp4", Silent(TEST_PATTERN, "25", 8) + closed);
    // One long group of noise, which is slow to encode again: for the tests that interrupt a cut.
    table.Add("h264-heavy.mp4",
              "-f lavfi -i testsrc2=s=480x360:r=25,noise=alls=40:allf=t -t 16 -c:v libx264 -preset ultrafast"
              " -pix_fmt yuv420p -qp 26 -x264-params keyint=400:min-keyint=400:scenecut=0");
}

void AddRichFiles(Table& table) {
    std::string const closed = std::string(X264) + CLOSED_50;
    std::string const aac = " -c:a aac -b:a 64k";
    table.Add("cover.png", "-f lavfi -i testsrc=s=64x64:r=1 -frames:v 1");
    table.Add("h264-two-audio.mkv",
              "-f lavfi -i testsrc2=s=160x120:r=25 -f lavfi -i sine=f=440:r=48000 -f lavfi -i sine=f=880:r=44100 -t 10"
              " -map 0 -map 1 -map 2" +
                  closed +
                  " -c:a:0 aac -c:a:1 libmp3lame -metadata:s:a:0 language=eng"
                  " -metadata:s:a:1 language=deu");
    table.Add("h264-two-audio.mp4",
              "-f lavfi -i testsrc2=s=160x120:r=25 -f lavfi -i sine=f=440:r=48000 -f lavfi -i sine=f=880:r=44100 -t 10"
              " -map 0 -map 1 -map 2" +
                  closed +
                  " -c:a:0 aac -c:a:1 ac3 -metadata:s:a:0 language=eng"
                  " -metadata:s:a:1 language=deu");
    std::string const rich =
        "-f lavfi -i testsrc2=s=160x120:r=25:d=10 -f lavfi -i sine=f=440:r=48000:d=10 -i {file:lines.srt}"
        " -i {file:chapters.txt}";
    table.Add("h264-rich-upright.mp4",
              rich + " -map 0 -map 1 -map 2 -map_metadata 3 -map_chapters 3" + closed + aac +
                  " -c:s mov_text -metadata:s:s:0 language=eng -metadata:s:a:0 language=fra",
              {{"lines.srt", SRT}, {"chapters.txt", CHAPTERS}});
    // The rotation is taken from a tag of the stream while copying, and becomes the track's matrix.
    table.Add("h264-rich.mp4",
              "-i {clip:h264-rich-upright.mp4} -i {clip:cover.png} -map 0:v -map 0:a -map 0:s -map 1"
              " -map_metadata 0 -map_chapters 0 -c copy -metadata:s:v:0 rotate=90"
              " -disposition:v:1 attached_pic");
    table.Add("h264-rich.mkv",
              rich + " -i {file:styled.ass} -map 0 -map 1 -map 2 -map 4 -map_metadata 3 -map_chapters 3" + closed +
                  aac +
                  " -c:s:0 srt -c:s:1 ass -metadata:s:s:0 language=eng -metadata:s:s:1 language=deu"
                  " -attach {file:notes.ttf} -metadata:s:t:0 mimetype=application/x-truetype-font -metadata:s:t:0 "
                  "filename=notes.ttf"
                  " -attach {clip:cover.png} -metadata:s:t:1 mimetype=image/png -metadata:s:t:1 filename=cover.png",
              {{"lines.srt", SRT}, {"chapters.txt", CHAPTERS}, {"styled.ass", ASS}, {"notes.ttf", "an attachment\n"}});
}

void AddOtherVideo(Table& table) {
    std::string const aac = " -c:a aac -b:a 64k";
    std::string const mp2 = " -c:a mp2 -b:a 128k";
    std::string const x265 =
        " -c:v libx265 -preset ultrafast -threads 1 -pix_fmt yuv420p -x265-params log-level=error:pools=1:"
        "frame-threads=1:keyint=31:min-keyint=31:scenecut=0:bframes=3:b-adapt=0:open-gop=";
    table.Add("hevc-closed.mp4", Inputs(TEST_PATTERN, "25", 8) + x265 + "0" + aac);
    table.Add("hevc-closed.ts", Inputs(TEST_PATTERN, "25", 8) + x265 + "0" + aac);
    table.Add("hevc-open.mkv", Inputs(TEST_PATTERN, "25", 8) + x265 + "1" + aac);

    std::string const mpeg2 = " -c:v mpeg2video -q:v 3 -g 15 -sc_threshold 1000000000 -bf 2";
    table.Add("mpeg2-open.ts", Inputs(TEST_PATTERN, "25", 8) + mpeg2 + mp2);
    table.Add("mpeg2-open.mpg", Inputs(TEST_PATTERN, "25", 8) + mpeg2 + mp2 + " -bufsize 2M -maxrate 8M -f vob");
    table.Add("mpeg2-closed.ts", Inputs(MOVING_BARS, "25", 8) + mpeg2 + " -flags +cgop" + mp2);
    table.Add("mpeg2-closed.mkv", Inputs(TEST_PATTERN, "25", 8) + mpeg2 + " -flags +cgop" + mp2);
    table.Add("mpeg1.mpg",
              Inputs(TEST_PATTERN, "25", 8) + " -c:v mpeg1video -q:v 3 -g 15 -bf 2 -bufsize 2M -maxrate 8M" + mp2);
    table.Add("mpeg1.mkv", Inputs(TEST_PATTERN, "25", 8) + " -c:v mpeg1video -q:v 3 -g 15" + mp2);

    std::string const mpeg4 = " -c:v mpeg4 -q:v 2 -g 40 -sc_threshold 1000000000";
    std::string const mp3 = " -c:a libmp3lame -b:a 96k";
    table.Add("mpeg4.avi", Inputs(TEST_PATTERN, "25", 8) + mpeg4 + mp3);
    table.Add("mpeg4-b.avi", Inputs(TEST_PATTERN, "25", 8) + mpeg4 + " -bf 2" + mp3);
    table.Add("mpeg4.mp4", Inputs(TEST_PATTERN, "25", 8) + mpeg4 + aac);
    table.Add("mpeg4-b.mp4", Inputs(TEST_PATTERN, "25", 8) + mpeg4 + " -bf 2" + aac);
    table.Add("mpeg4-closed-b.mp4", Inputs(TEST_PATTERN, "25", 8) + mpeg4 + " -bf 2 -flags +cgop" + aac);
    table.Add("h263.avi", Inputs("testsrc2=s=176x144", "25", 8) + " -c:v h263 -q:v 2 -g 40" + mp3);
    table.Add("wmv2.avi", Inputs(TEST_PATTERN, "25", 8) + " -c:v wmv2 -q:v 2 -g 40" + mp3);
    table.Add("wmv2.wmv", Inputs(TEST_PATTERN, "25", 8) + " -c:v wmv2 -q:v 2 -g 40 -c:a wmav2");

    std::string const opus = " -c:a libopus -b:a 64k";
    std::string const vp8 = " -c:v libvpx -b:v 900k -g 40 -deadline realtime -cpu-used 8 -threads 1";
    table.Add("vp8.webm", Inputs(TEST_PATTERN, "25", 8) + vp8 + " -auto-alt-ref 0 -c:a libvorbis");
    table.Add("vp8-hidden.webm",
              Inputs(TEST_PATTERN, "25", 8) +
                  " -c:v libvpx -b:v 900k -g 40 -deadline good -cpu-used 5 -threads 1 -auto-alt-ref 1"
                  " -lag-in-frames 16" +
                  opus);
    table.Add("vp9.webm", Inputs(TEST_PATTERN, "25", 8) +
                              " -c:v libvpx-vp9 -b:v 900k -g 40 -deadline realtime -cpu-used 8 -threads 1" + opus);
    std::string const theora = " -c:v libtheora -q:v 9 -g 32 -c:a libvorbis";
    table.Add("theora.ogv", Inputs(TEST_PATTERN, "25", 8) + theora);
    table.Add("theora.mkv", Inputs(TEST_PATTERN, "25", 8) + theora);
}

void AddAudio(Table& table) {
    std::string const tone = "-f lavfi -i aevalsrc=0.4*sin(440*2*PI*t*(1+t/20)):s=48000:d=12";
    table.Add("aac.m4a", tone + " -c:a aac -b:a 96k");
    table.Add("aac.aac", tone + " -c:a aac -b:a 96k");
    table.Add("mp3.mp3", tone + " -c:a libmp3lame -b:a 96k");
    table.Add("pcm.wav", tone + " -c:a pcm_s16le");
    table.Add("opus.ogg", tone + " -c:a libopus -b:a 64k");
    table.Add("flac.flac", tone + " -c:a flac -sample_fmt s16");
}

}  // namespace

std::vector<ClipRecipe> const& MediaFamily() {
    static std::vector<ClipRecipe> const clips = [] {
        Table table;
        AddH264(table);
        AddRichFiles(table);
        AddOtherVideo(table);
        AddAudio(table);
        return std::move(table.clips);
    }();
    return clips;
}

std::string FamilyClip(std::string const& name) {
    auto const& clips = MediaFamily();
    auto const clip = std::find_if(clips.begin(), clips.end(), [&](auto const& one) { return one.name == name; });
    if (clip == clips.end()) TARSEL_THROW(std::runtime_error, "no clip of the family is called " + name);
    std::vector<std::string> arguments;
    for (auto const& word : clip->arguments) {
        std::string const target = word.size() > 7 ? word.substr(6, word.size() - 7) : "";
        if (word.starts_with("{clip:")) {
            arguments.push_back(FamilyClip(target));
        } else if (word.starts_with("{file:")) {
            for (auto const& [file, content] : clip->files)
                if (file == target) arguments.push_back(MakeTextFile(file, content));
        } else {
            arguments.push_back(word);
        }
    }
    return MakeClip(name, std::move(arguments));
}

}  // namespace Tarsel::Test
