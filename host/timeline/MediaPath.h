#pragma once

#include <string>
#include <string_view>

#include "contracts/Core/Export.h"

namespace Tarsel::Host {

/// The path behind the folder, which it stays without when it is absolute or the folder is empty.
TARSEL_HOST_EXPORT std::string PathIn(std::string const& folder, std::string const& path);

/// Where a URL of a timeline leads to.
struct MediaPath {
    /// Empty where no file of this system is meant; `problem` says what is, then.
    std::string path;
    std::string problem;
};

/// The file of a URL: "file:///a/b%20c.mp4", "file://localhost/...", or a reference without a scheme, which is taken as
/// a path, escaped or not: a "%" that no two hexadecimal digits follow stands for itself.
TARSEL_HOST_EXPORT MediaPath PathOfUrl(std::string_view url);

}  // namespace Tarsel::Host
