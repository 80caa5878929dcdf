#include "host/timeline/MediaPath.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include "host/graph/GraphJson.h"

namespace Tarsel::Host {

namespace {

std::optional<int> HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return {};
}

std::string Unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            auto const high = HexValue(text[i + 1]);
            auto const low = HexValue(text[i + 2]);
            if (high && low) {
                plain += static_cast<char>(*high * 16 + *low);
                i += 2;
                continue;
            }
        }
        plain += text[i];
    }
    return plain;
}

bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool HasDriveLetter(std::string_view path) {
    return path.size() >= 2 && IsLetter(path[0]) && (path[1] == ':' || path[1] == '|') &&
           (path.size() == 2 || path[2] == '/' || path[2] == '\\');
}

/// "http" of "http://..."; empty where no scheme stands.
std::string SchemeOf(std::string_view url) {
    std::size_t const colon = url.find(':');
    if (colon == std::string_view::npos || colon == 0 || !IsLetter(url[0])) return {};
    std::string scheme(url.substr(0, colon));
    for (char& c : scheme) {
        if (!IsLetter(c) && !(c >= '0' && c <= '9') && c != '+' && c != '-' && c != '.') return {};
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    // A colon may stand in a file's name.
    return scheme == "file" || url.substr(colon).starts_with("://") ? scheme : std::string();
}

MediaPath Problem(std::string const& what) {
    return {{}, what};
}

MediaPath Checked(std::string path) {
    if (path.empty()) return Problem("it names no file");
    if (path.find('\0') != std::string::npos) return Problem("the name of its file has a byte 0 in it");
    if (HasDriveLetter(path)) return Problem("its file " + Quoted(path) + " is on a drive of another system");
    if (path.starts_with("\\\\")) return Problem("its file " + Quoted(path) + " is on a network share");
    return {std::move(path), {}};
}

}  // namespace

std::string PathIn(std::string const& folder, std::string const& path) {
    if (folder.empty() || path.starts_with('/')) return path;
    return folder.ends_with('/') ? folder + path : folder + "/" + path;
}

MediaPath PathOfUrl(std::string_view url) {
    if (HasDriveLetter(url)) return Checked(std::string(url));
    std::string const scheme = SchemeOf(url);
    if (scheme.empty()) return Checked(Unescaped(url));
    if (scheme != "file") return Problem("its media " + Quoted(url) + " is no file");
    std::string_view rest = url.substr(scheme.size() + 1);
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        std::size_t const slash = std::min(rest.find('/'), rest.size());
        std::string_view const host = rest.substr(0, slash);
        if (HasDriveLetter(host)) return Checked(Unescaped(rest));
        if (!host.empty() && host != "localhost")
            return Problem("its media " + Quoted(url) + " is on another computer, " + Quoted(host));
        rest.remove_prefix(slash);
    }
    std::string path = Unescaped(rest);
    // "/C:/clips" is how a drive stands in a URL.
    if (path.starts_with('/') && HasDriveLetter(std::string_view(path).substr(1))) path.erase(0, 1);
    return Checked(std::move(path));
}

}  // namespace Tarsel::Host
