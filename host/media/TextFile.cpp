#include "host/media/TextFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

TextFile::TextFile(std::string const& path, bool force, std::vector<std::string> const& inputs)
    : output(path, force, inputs) {}

void TextFile::Write(std::string_view text) {
    Fill(text);
    Commit();
}

void TextFile::Fill(std::string_view text) {
    std::FILE* const file = std::fopen(output.GetPartialPath().c_str(), "wb");
    bool written = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    int error = errno;
    if (file && std::fclose(file) != 0) {
        written = false;
        error = errno;
    }
    if (!written) TARSEL_THROW(Core::IOException, output.GetPath() + ": can't be written: " + std::strerror(error));
}

}  // namespace Tarsel::Host
