#include "tests/differential/Clips.h"

#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "tests/support/MediaFamily.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

std::vector<std::string> Split(std::string const& text) {
    std::istringstream words(text);
    std::vector<std::string> result;
    for (std::string word; words >> word;) result.push_back(word);
    return result;
}

constexpr char PICTURES[] = "-f lavfi -i testsrc2=s=162x122:r=25:d=2 ";
constexpr char X264[] = "-c:v libx264 -preset veryfast -threads 1 -g 20 ";
constexpr char X265[] =
    "-c:v libx265 -preset ultrafast -threads 1 -x265-params log-level=error:pools=1:frame-threads=1:";

struct Recipe {
    char const* name;
    std::string arguments;
};

// Headers with what the family's clips don't have.
std::vector<Recipe> const& OwnClips(std::string const& codec) {
    static std::map<std::string, std::vector<Recipe>> const recipes{
        {"h264",
         {{"d-hrd-vbr.ts", std::string(PICTURES) + X264 +
                               "-pix_fmt yuv420p -b:v 400k -maxrate 600k -bufsize 600k -x264-params nal-hrd=vbr"},
          {"d-hrd-cbr.mkv", std::string(PICTURES) + X264 +
                                "-pix_fmt yuv420p -b:v 400k -maxrate 400k -minrate 400k -bufsize 400k "
                                "-x264-params nal-hrd=cbr:filler=1"},
          {"d-lists.mp4", std::string(PICTURES) + X264 + "-pix_fmt yuv420p -x264-params cqm=jvt:sps-id=3"},
          {"d-444.mkv", std::string(PICTURES) + X264 + "-pix_fmt yuv444p"},
          {"d-422-10-interlaced.ts", std::string(PICTURES) + X264 + "-pix_fmt yuv422p10le -flags +ilme+ildct"},
          {"d-delimiters.mkv", std::string(PICTURES) + X264 + "-pix_fmt yuv420p -x264-params aud=1:repeat-headers=1"},
          {"d-slices.mp4", std::string(PICTURES) + X264 + "-pix_fmt yuv420p -x264-params slices=4:bframes=2"},
          {"d-colours.mp4", std::string(PICTURES) + X264 +
                                "-pix_fmt yuv420p -vf setsar=12/11 -color_range tv -colorspace bt709 -color_primaries "
                                "bt470bg -color_trc smpte170m -chroma_sample_location topleft -x264-params "
                                "overscan=show:videoformat=pal:chromaloc=2"},
          {"d-lossless.mkv", std::string(PICTURES) + X264 + "-pix_fmt yuv420p -qp 0"},
          {"d-intra-10.mp4", std::string(PICTURES) + X264 + "-pix_fmt yuv420p10le -x264-params keyint=1"},
          {"d-plain.h264", std::string(PICTURES) + X264 + "-pix_fmt yuv420p -x264-params bframes=2"}}},
        {"hevc",
         {{"d-b.mp4", std::string(PICTURES) + X265 + "keyint=20:bframes=4:b-adapt=0 -pix_fmt yuv420p"},
          {"d-422-10.mkv", std::string(PICTURES) + X265 + "keyint=20 -pix_fmt yuv422p10le"},
          {"d-444-8.ts", std::string(PICTURES) + X265 + "keyint=20 -pix_fmt yuv444p"},
          {"d-layers.mp4", std::string(PICTURES) + X265 + "keyint=20:temporal-layers=1:bframes=3 -pix_fmt yuv420p"},
          {"d-hrd.ts", std::string(PICTURES) + X265 +
                           "keyint=20:hrd=1:vbv-maxrate=600:vbv-bufsize=600:bitrate=400:aud=1 -pix_fmt yuv420p"},
          {"d-repeated.mkv", std::string(PICTURES) + X265 + "keyint=20:repeat-headers=1:open-gop=1 -pix_fmt yuv420p"},
          {"d-12.mkv", std::string(PICTURES) + X265 + "keyint=20 -pix_fmt yuv420p12le"},
          {"d-plain.hevc", std::string(PICTURES) + X265 + "keyint=20:bframes=2 -pix_fmt yuv420p"}}},
        {"mpeg2video",
         {{"d-422.ts", "-f lavfi -i testsrc2=s=176x144:r=30000/1001:d=2 -c:v mpeg2video -pix_fmt yuv422p -q:v 3 -g 12"},
          {"d-interlaced.ts",
           "-f lavfi -i testsrc2=s=176x144:r=25:d=2 -c:v mpeg2video -flags +ilme+ildct -b:v 2M "
           "-maxrate 3M -bufsize 2M -g 12 -bf 2"},
          {"d-matrices.mpg",
           "-f lavfi -i testsrc2=s=176x144:r=24:d=2 -c:v mpeg2video -q:v 3 -g 12 -intra_matrix "
           "8,16,19,22,26,27,29,34,16,16,22,24,27,29,34,37,19,22,26,27,29,34,34,38,22,22,26,27,29,34,37,40,22,26,27,"
           "29,32,35,40,48,26,27,29,32,35,40,48,58,26,27,29,34,38,46,56,69,27,29,35,38,46,56,69,84 -inter_matrix "
           "16,17,18,19,20,21,22,23,17,18,19,20,21,22,23,24,18,19,20,21,22,23,24,25,19,20,21,22,23,24,26,27,20,21,22,"
           "23,25,26,27,28,21,22,23,24,26,27,28,30,22,23,24,26,27,28,30,31,23,24,25,27,28,30,31,33 -f vob"}}},
        {"mpeg4",
         {{"d-xvid.avi", "-f lavfi -i testsrc2=s=176x144:r=30000/1001:d=2 -c:v libxvid -q:v 3 -g 20"},
          {"d-ntsc.mp4", "-f lavfi -i testsrc2=s=162x122:r=30000/1001:d=2 -c:v mpeg4 -q:v 3 -g 20 -vf setsar=40/33"}}},
        {"aac",
         {{"d-mono.aac", "-f lavfi -i sine=f=440:r=22050:d=2 -c:a aac"},
          {"d-51.ts", "-f lavfi -i sine=f=440:r=48000:d=2 -ac 6 -c:a aac"},
          {"d-71.aac", "-f lavfi -i sine=f=440:r=44100:d=2 -af aformat=channel_layouts=7.1(wide) -c:a aac"},
          {"d-96.ts", "-f lavfi -i sine=f=440:r=96000:d=2 -c:a aac"},
          {"d-element.aac", "-f lavfi -i sine=f=440:r=48000:d=2 -af aformat=channel_layouts=2.1 -c:a aac"},
          {"d-ltp.aac", "-f lavfi -i sine=f=440:r=8000:d=2 -c:a aac -profile:a aac_main -strict -2"}}},
    };
    static std::vector<Recipe> const none;
    auto const found = recipes.find(codec);
    return found == recipes.end() ? none : found->second;
}

bool HasCodec(std::string const& path, std::string const& codec) {
    for (auto const& stream : InspectFile(path).streams)
        if (stream.codec == codec && stream.kind != StreamKind::Cover) return true;
    return false;
}

// Clips whose name tells that none of the codecs is in them need not be made.
bool MayHold(std::string const& name, std::string const& codec) {
    if (codec == "aac") return name.ends_with(".mp4") || name.ends_with(".ts") || name.starts_with("aac");
    std::string const stem = codec.ends_with("video") ? codec.substr(0, 5) : codec;
    return name.starts_with(stem);
}

}  // namespace

std::vector<std::string> const& ClipsOf(std::string const& codec) {
    static std::map<std::string, std::vector<std::string>> known;
    auto const [entry, fresh] = known.try_emplace(codec);
    std::vector<std::string>& paths = entry->second;
    if (!fresh) return paths;
    for (auto const& clip : MediaFamily()) {
        // Nine of ten seconds of a long clip tell nothing new.
        if (!MayHold(clip.name, codec) || clip.name == "h264-heavy.mp4") continue;
        std::string const path = FamilyClip(clip.name);
        if (HasCodec(path, codec)) paths.push_back(path);
    }
    for (Recipe const& own : OwnClips(codec)) paths.push_back(MakeClip(own.name, Split(own.arguments)));
    return paths;
}

StreamInspection const& StreamOf(std::string const& path, std::string const& codec) {
    static std::map<std::string, FileInspection> known;
    auto const [entry, fresh] = known.try_emplace(path);
    if (fresh) entry->second = InspectFile(path);
    for (auto const& stream : entry->second.streams)
        if (stream.codec == codec && stream.kind != StreamKind::Cover) return stream;
    TARSEL_THROW(std::runtime_error, "no stream of " + codec + " in " + path);
}

std::string NameOf(std::string const& path) {
    return std::filesystem::path(path).filename().string();
}

}  // namespace Tarsel::Test
