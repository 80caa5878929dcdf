#include "host/media/TextFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "contracts/Core/Exception.h"
#include "host/media/OutputFile.h"

namespace Tarsel::Host {

void WriteTextFile(std::string const& path, std::string const& text, bool force) {
    OutputFile output(path, force, {});
    std::FILE* const file = std::fopen(output.GetPartialPath().c_str(), "wb");
    bool written = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    int error = errno;
    if (file && std::fclose(file) != 0) {
        written = false;
        error = errno;
    }
    if (!written) TARSEL_THROW(Core::IOException, path + ": can't be written: " + std::strerror(error));
    output.Commit();
}

}  // namespace Tarsel::Host
