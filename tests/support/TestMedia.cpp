#include "tests/support/TestMedia.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace Tarsel::Test {

namespace {

struct Clip {
    std::string_view name;
    std::string_view extension;
    /// Arguments of the ffmpeg command between its switches and the output, separated by spaces. "@name" stands for
    /// another clip of the table, "%name" for a text file of `TEXTS`.
    std::string_view arguments;
};

struct Text {
    std::string_view name;
    std::string_view contents;
};

constexpr Text TEXTS[] = {
    {"chapters.txt",
     ";FFMETADATA1\ntitle=Clip with "
     "chapters\nartist=Nobody\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=2000\ntitle=First\n"
     "[CHAPTER]\nTIMEBASE=1/1000\nSTART=2000\nEND=6000\ntitle=Second\n"},
    {"lines.srt",
     "1\n00:00:00,500 --> 00:00:01,500\nOne\n\n2\n00:00:02,000 --> 00:00:03,000\nTwo\n\n3\n"
     "00:00:04,250 --> 00:00:05,000\nThree\n"},
    {"font.ttf", "not really a font, but bytes to keep\n"},
};

#define VIDEO_6S "-f lavfi -i testsrc2=s=192x108:r=25:d=6"
#define SOUND_6S "-f lavfi -i sine=f=440:r=48000:d=6"
#define X264 "-c:v libx264 -threads 1 -preset veryfast -pix_fmt yuv420p"

constexpr Clip CLIPS[] = {
    {"h264", "mp4", VIDEO_6S " " SOUND_6S " " X264 " -g 50 -bf 3 -c:a aac"},
    {"h264", "mov", "-i @h264.mp4 -map 0 -c copy"},
    {"h264", "mkv", "-i @h264.mp4 -map 0 -c copy"},
    {"h264", "ts", "-i @h264.mp4 -map 0 -c copy"},
    {"h264", "avi", "-i @h264.mp4 -map 0 -c copy"},
    {"h264", "flv", "-i @h264.mp4 -map 0 -c copy"},
    {"h264", "h264", "-i @h264.mp4 -an -c copy"},
    {"h264-nob", "mp4", VIDEO_6S " " X264 " -g 50 -bf 0"},
    {"h264-open", "mp4", VIDEO_6S " " X264 " -x264-params keyint=27:open-gop=1:bframes=3:scenecut=0:b-adapt=0"},
    {"h264-open", "ts", "-i @h264-open.mp4 -map 0 -c copy"},
    {"h264-open", "mkv", "-i @h264-open.mp4 -map 0 -c copy"},
    {"h264-onekey", "mp4", VIDEO_6S " " X264 " -g 1000 -keyint_min 1000 -sc_threshold 0"},
    {"h264-allkey", "mp4", VIDEO_6S " " X264 " -g 1"},
    {"h264-late", "ts", "-i @h264.mp4 -map 0 -c copy -output_ts_offset 95443.1"},
    {"h264-late", "mkv", "-i @h264.mp4 -map 0 -c copy -output_ts_offset 7.5"},
    {"h264-edit", "mp4", "-ss 1.2 -i @h264.mp4 -map 0 -c copy"},
    {"h264-vfr", "mkv", VIDEO_6S " -vf select='not(eq(mod(n,7),3)+between(n,40,55))' -vsync vfr " X264 " -g 50 -bf 3"},
    {"h264-ntsc", "mp4", "-f lavfi -i testsrc2=s=192x108:r=30000/1001:d=6 " X264 " -g 60"},
    {"h264-rotated", "mp4", "-i @h264.mp4 -map 0 -c copy -metadata:s:v rotate=90"},
    {"hevc", "mp4", VIDEO_6S " -c:v libx265 -pix_fmt yuv420p -x265-params keyint=25:open-gop=0:pools=1:log-level=none"},
    {"hevc-open", "mkv",
     VIDEO_6S " -c:v libx265 -pix_fmt yuv420p -x265-params keyint=25:open-gop=1:pools=1:log-level=none"},
    {"hevc-open", "ts", "-i @hevc-open.mkv -map 0 -c copy"},
    {"mpeg2", "ts", VIDEO_6S " " SOUND_6S " -c:v mpeg2video -threads 1 -b:v 1M -g 15 -bf 2 -c:a mp2"},
    {"mpeg2", "mpg", VIDEO_6S " " SOUND_6S " -c:v mpeg2video -threads 1 -b:v 1M -g 15 -bf 2 -c:a mp2 -f vob"},
    {"mpeg4", "avi", VIDEO_6S " " SOUND_6S " -c:v mpeg4 -threads 1 -b:v 1M -g 50 -bf 2 -c:a mp2"},
    {"mpeg4-nob", "avi", VIDEO_6S " " SOUND_6S " -c:v mpeg4 -threads 1 -b:v 1M -g 50 -c:a libmp3lame"},
    {"mpeg4", "mp4", VIDEO_6S " " SOUND_6S " -c:v mpeg4 -threads 1 -b:v 1M -g 50 -bf 2 -c:a aac"},
    {"vp8", "webm", VIDEO_6S " " SOUND_6S " -c:v libvpx -threads 1 -b:v 500k -auto-alt-ref 0 -g 50 -c:a libopus"},
    {"aac", "m4a", SOUND_6S " -c:a aac"},
    {"aac", "aac", "-i @aac.m4a -c copy"},
    {"mp3", "mp3", SOUND_6S " -c:a libmp3lame"},
    {"pcm", "wav", SOUND_6S " -c:a pcm_s16le"},
    {"flac", "flac", SOUND_6S " -c:a flac"},
    {"vorbis", "ogg", SOUND_6S " -c:a libvorbis"},
    {"opus", "ogg", SOUND_6S " -c:a libopus"},
    {"theora", "ogv", VIDEO_6S " " SOUND_6S " -c:v libtheora -q:v 7 -g 32 -c:a libvorbis"},
    {"theora", "mkv", "-i @theora.ogv -map 0 -c copy"},
    {"wmv", "wmv", VIDEO_6S " " SOUND_6S " -c:v wmv2 -threads 1 -b:v 1M -g 50 -c:a wmav2"},
    {"h263", "3gp",
     "-f lavfi -i testsrc2=s=176x144:r=30000/1001:d=6 " SOUND_6S " -c:v h263 -threads 1 -b:v 500k -g 50 -c:a aac"},
    {"h264-sps1", "mp4", VIDEO_6S " " X264 " -x264opts sps-id=1 -g 50 -bf 0"},
    {"cover", "png", "-f lavfi -i testsrc2=s=64x64 -frames:v 1"},
    {"cover", "m4a", "-i @aac.m4a -i @cover.png -map 0 -map 1 -c copy -disposition:v:0 attached_pic"},
    {"rich", "mkv",
     "-i @h264.mp4 -f lavfi -i sine=f=880:r=44100:d=6 -i %lines.srt -i %chapters.txt -map 0:v -map 0:a -map 1 -map 2 "
     "-map_metadata 3 -c:v copy -c:a:0 copy -c:a:1 ac3 -c:s srt -metadata:s:a:0 language=eng -metadata:s:a:1 "
     "language=ger -metadata:s:a:1 title=Second -attach %font.ttf -metadata:s:t mimetype=application/x-truetype-font"},
    {"rich", "mp4",
     "-i @h264.mp4 -f lavfi -i sine=f=880:r=44100:d=6 -i %lines.srt -i %chapters.txt -map 0:v -map 0:a -map 1 -map 2 "
     "-map_metadata 3 -c:v copy -c:a:0 copy -c:a:1 aac -c:s mov_text -metadata:s:a:0 language=eng -metadata:s:a:1 "
     "language=ger"},
};

std::string Folder() {
    std::filesystem::create_directories(TARSEL_TEST_MEDIA_DIR);
    return TARSEL_TEST_MEDIA_DIR;
}

std::string HashOf(std::string_view text) {
    std::uint64_t hash = 14695981039346656037u;  // FNV-1a
    for (char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
    std::ostringstream out;
    out << std::hex << hash;
    return out.str();
}

/// Waits until no other process makes the same file.
class FileLock {
  public:
    explicit FileLock(std::string const& path) : file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
        if (file < 0 || flock(file, LOCK_EX) != 0) throw std::runtime_error("can't lock " + path);
    }
    ~FileLock() { close(file); }
    FileLock(FileLock const&) = delete;
    FileLock& operator=(FileLock const&) = delete;

  private:
    int file;
};

Clip const& FindClip(std::string const& name) {
    for (Clip const& clip : CLIPS)
        if (name == std::string(clip.name) + "." + std::string(clip.extension)) return clip;
    throw std::runtime_error("there is no test clip " + name);
}

std::string MakeText(std::string_view name) {
    for (Text const& text : TEXTS) {
        if (text.name != name) continue;
        return MakeTextFile(std::string(name), std::string(text.contents));
    }
    throw std::runtime_error("there is no test text " + std::string(name));
}

/// The arguments with other clips' paths in place. What they are made of becomes part of the hash.
std::vector<std::string> Expand(std::string_view arguments) {
    std::istringstream in{std::string(arguments)};
    std::vector<std::string> words;
    for (std::string word; in >> word;) {
        if (word[0] == '@')
            word = TestMedia(word.substr(1));
        else if (word[0] == '%')
            word = MakeText(word.substr(1));
        words.push_back(word);
    }
    return words;
}

}  // namespace

void RunFFmpeg(std::vector<std::string> const& arguments) {
    std::vector<std::string> all{"ffmpeg", "-v", "error", "-nostdin", "-y"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::vector<char*> raw;
    std::string line;
    for (std::string& word : all) {
        raw.push_back(word.data());
        line += word + " ";
    }
    raw.push_back(nullptr);
    pid_t const child = fork();
    if (child < 0) throw std::runtime_error("can't start a process");
    if (child == 0) {
        execvp("ffmpeg", raw.data());
        _exit(127);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error("failed: " + line);
}

std::string MakeTextFile(std::string const& name, std::string const& contents) {
    std::string const path = Folder() + "/" + HashOf(contents) + "-" + name;
    FileLock const lock(path + ".lock");
    if (!std::filesystem::exists(path)) {
        std::ofstream(path + ".part") << contents;
        std::filesystem::rename(path + ".part", path);
    }
    return path;
}

std::string MakeClip(std::string const& name, std::vector<std::string> arguments) {
    std::string key;
    for (std::string const& word : arguments) key += word + " ";
    std::string const extension = std::filesystem::path(name).extension();
    std::string const stem = Folder() + "/" + std::filesystem::path(name).stem().string() + "-" + HashOf(key);
    std::string const path = stem + extension;
    if (std::filesystem::exists(path)) return path;
    FileLock const lock(path + ".lock");
    if (std::filesystem::exists(path)) return path;
    // The format follows the extension, so the unfinished clip has it too.
    std::string const part = stem + ".part" + extension;
    arguments.push_back(part);
    RunFFmpeg(arguments);
    std::filesystem::rename(part, path);
    return path;
}

std::string TestMedia(std::string const& name) {
    std::vector<std::string> arguments = Expand(FindClip(name).arguments);
    for (char const* flag : {"-fflags", "+bitexact", "-flags:v", "+bitexact", "-flags:a", "+bitexact"})
        arguments.emplace_back(flag);
    return MakeClip(name, std::move(arguments));
}

ScratchFolder::ScratchFolder() {
    std::string pattern = Folder() + "/scratch-XXXXXX";
    if (!mkdtemp(pattern.data())) throw std::runtime_error("can't make a folder");
    path = pattern;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::vector<std::string> ScratchFolder::List() const {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(path)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace Tarsel::Test
