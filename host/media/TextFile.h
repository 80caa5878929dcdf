#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "host/media/OutputFile.h"

namespace Tarsel::Host {

/// A text file that appears at its place when all of it is written. Failures are `Core::IOException` "PATH: what is
/// wrong".
class TARSEL_HOST_EXPORT TextFile {
  public:
    /// Refuses at once a place that can't be written to, and one where a file stands unless `force` is set.
    TextFile(std::string const& path, bool force);
    /// Writes the whole text and puts the file in its place.
    void Write(std::string const& text);

  private:
    OutputFile output;
};

}  // namespace Tarsel::Host
