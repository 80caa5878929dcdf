#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"

namespace Tarsel::Host {

/// A file that appears under its name only once it is complete. Until then it stands beside the target, in the same
/// folder, as ".NAME.XXXXXX.tarsel-part"; the destructor takes it away. Failures are `Core::IOException` "PATH: what is
/// wrong".
class TARSEL_HOST_EXPORT OutputFile {
  public:
    /// Makes the temporary file, with the permissions of a plain new file. Refuses a target that is one of `inputs`
    /// under whatever name (path, symbolic or hard link), a target that exists unless `replace` is set, and one that is
    /// no regular file.
    OutputFile(std::string const& path, bool replace, std::vector<std::string> const& inputs);
    ~OutputFile();
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    /// The name that the user gave.
    std::string const& GetPath() const { return path; }
    /// Where to write to.
    std::string const& GetPartialPath() const { return partialPath; }
    /// Puts the file in its place, at once. A target that came up in the meantime is kept unless `replace` is set.
    void Commit();
    /// Removes the temporary file; does nothing after `Commit`.
    void Discard();
    /// Takes away what `Commit` put in its place, for a set of files of which another one fails. False when it stays:
    /// what stood there before is gone, and no file at all would be worse.
    bool TakeBack();

  private:
    void CheckTarget(std::vector<std::string> const& inputs);
    void MakePartial();

    std::string const path;
    bool const replace;
    std::string target;       // the real path, links resolved
    std::string partialPath;  // empty when there is none
    bool hasReplaced = false;
    int slot = -1;  // in the table of partial files
};

/// Removes all partial files of this process. Safe in a signal handler; the process must end after it.
TARSEL_HOST_EXPORT void RemovePartialFiles() noexcept;

}  // namespace Tarsel::Host
