#pragma once

#include <string>
#include <vector>

namespace Tarsel::Test {

/// A clip of the table in TestMedia.cpp: its path. The ffmpeg command makes it when it is first asked for, into the
/// folder `TARSEL_TEST_MEDIA_DIR` that builds share; later runs find it by a hash of its arguments, so that a changed
/// line of the table makes a new clip. Tests that run side by side wait for each other. Throws `std::runtime_error` for
/// an unknown name or a clip that can't be made.
std::string TestMedia(std::string const& name);

/// The path of a clip that the ffmpeg command makes of exactly these arguments (all but the output), once as above;
/// `name` has the extension that chooses the container.
std::string MakeClip(std::string const& name, std::vector<std::string> arguments);

/// The path of a text file with these contents, kept beside the clips.
std::string MakeTextFile(std::string const& name, std::string const& contents);

/// Runs the ffmpeg command (quietly, overwriting) with these arguments. Throws `std::runtime_error` when it fails.
void RunFFmpeg(std::vector<std::string> const& arguments);

/// A new empty folder that is removed, with what is in it, at the end.
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(ScratchFolder const&) = delete;
    ScratchFolder& operator=(ScratchFolder const&) = delete;

    std::string const& GetPath() const { return path; }
    std::string operator/(std::string const& name) const { return path + "/" + name; }
    /// Names of all files in it, hidden ones as well, sorted.
    std::vector<std::string> List() const;

  private:
    std::string path;
};

}  // namespace Tarsel::Test
