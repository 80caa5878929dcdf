#include "tests/support/TestMedia.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "tests/support/MediaFamily.h"
#include "tests/support/RunProgram.h"

namespace Tarsel::Tests {
namespace {

namespace fs = std::filesystem;

class FileLock {
  public:
    explicit FileLock(std::string const& path) : descriptor(open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0644)) {
        if (descriptor < 0 || flock(descriptor, LOCK_EX) != 0) TARSEL_THROW(std::runtime_error, "can't lock " + path);
    }
    ~FileLock() { close(descriptor); }
    FileLock(FileLock const&) = delete;
    FileLock& operator=(FileLock const&) = delete;

  private:
    int descriptor;
};

ClipRecipe const& Find(std::string const& name) {
    for (auto const& clip : MediaFamily())
        if (clip.name == name) return clip;
    TARSEL_THROW(std::runtime_error, "no clip of the family is called " + name);
}

/// The text of a recipe with those of the clips that it refers to: what decides whether a clip is made again.
std::string Identity(ClipRecipe const& clip) {
    std::string text = clip.name + '\n';
    for (auto const& word : clip.arguments) {
        text += word + '\n';
        if (word.starts_with("{clip:")) text += Identity(Find(word.substr(6, word.size() - 7)));
    }
    for (auto const& [name, content] : clip.files) text += name + '\n' + content + '\n';
    return text;
}

std::vector<std::string> Command(ClipRecipe const& clip, fs::path const& folder, fs::path const& target) {
    std::vector<std::string> command{"ffmpeg", "-nostdin", "-v", "error", "-y"};
    for (auto const& word : clip.arguments) {
        if (word.starts_with("{clip:"))
            command.push_back(TestMedia(word.substr(6, word.size() - 7)));
        else if (word.starts_with("{file:"))
            command.push_back((folder / word.substr(6, word.size() - 7)).string());
        else
            command.push_back(word);
    }
    command.push_back(target.string());
    return command;
}

}  // namespace

std::string TestMedia(std::string const& name) {
    auto const& clip = Find(name);
    fs::path const folder = fs::path(TARSEL_TEST_MEDIA_DIR) / std::to_string(std::hash<std::string>()(Identity(clip)));
    fs::path const target = folder / name;
    if (fs::exists(target)) return target.string();
    fs::create_directories(folder);
    FileLock const lock((folder / "lock").string());
    if (fs::exists(target)) return target.string();
    for (auto const& [file, content] : clip.files) std::ofstream(folder / file, std::ios::binary) << content;
    // Made under another name: a clip that is there is whole.
    fs::path const partial = folder / ("partial-" + name);
    auto const command = Command(clip, folder, partial);
    auto const result = RunProgram(command);
    if (result.exitCode != 0)
        TARSEL_THROW(std::runtime_error, "ffmpeg can't make " + name + ": " + result.errors + CommandText(command));
    fs::rename(partial, target);
    return target.string();
}

}  // namespace Tarsel::Tests
