#pragma once

#include <string>
#include <utility>

namespace Tarsel {

/// The path of a file as UTF-8 text, exactly as it was given: nothing is resolved or made absolute.
class ioPath {
  public:
    ioPath() = default;
    ioPath(std::string utf8) : text(std::move(utf8)) {}
    ioPath(char const* utf8) : text(utf8) {}
    ioPath& operator=(std::string const& utf8) {
        text = utf8;
        return *this;
    }

    std::string const& utf8string() const { return text; }
    bool empty() const { return text.empty(); }
    void clear() { text.clear(); }

    bool operator==(ioPath const&) const = default;

  private:
    std::string text;
};

}  // namespace Tarsel
