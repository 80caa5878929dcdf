#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "contracts/Core/Export.h"
#include "host/media/OutputFile.h"

namespace Tarsel::Host {

/// A text file, or another small one, that appears at its place when all of it is written. Failures are
/// `Core::IOException` "PATH: what is wrong".
class TARSEL_HOST_EXPORT TextFile {
  public:
    /// Refuses at once a place that can't be written to, one where a file stands unless `force` is set, and one of
    /// `inputs` under whatever name.
    TextFile(std::string const& path, bool force, std::vector<std::string> const& inputs = {});
    /// Writes the whole text, byte by byte as it is, and puts the file in its place.
    void Write(std::string_view text);
    /// Writes the whole text beside the place. Once, and `Commit` follows.
    void Fill(std::string_view text);
    /// Puts what was written in its place.
    void Commit() { output.Commit(); }

  private:
    OutputFile output;
};

}  // namespace Tarsel::Host
