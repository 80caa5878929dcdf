#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "contracts/Core/Types.h"

namespace Tarsel::Host {

/// Bytes that are no character of their encoding.
struct BadCharacter {
    /// From 0.
    std::size_t position = 0;
    u8 byte = 0;
};

/// Brings text from an encoding that iconv knows to UTF-8, from UTF-8 itself as well, which only checks it. One thread.
class TextEncoding {
  public:
    static bool IsKnown(std::string const& name);
    /// Throws `Core::IOException` for an encoding that isn't known. Empty: UTF-8.
    explicit TextEncoding(std::string const& name);
    ~TextEncoding();
    TextEncoding(TextEncoding const&) = delete;
    TextEncoding& operator=(TextEncoding const&) = delete;

    std::string const& GetName() const { return name; }
    /// The text as UTF-8, appended to `result`; where it breaks off, what is wrong.
    std::optional<BadCharacter> Convert(std::string_view text, std::string& result);

  private:
    struct Converter;

    std::string const name;
    std::unique_ptr<Converter> const converter;
};

/// "isn't UTF-8: tell its encoding..." or "isn't CP1251", for messages.
std::string NotInEncoding(std::string const& name);

/// What a byte-order mark says, and its length; an empty name without one.
struct ByteOrderMark {
    std::string_view encoding;
    std::size_t length = 0;
};
ByteOrderMark FindByteOrderMark(std::string_view text);

}  // namespace Tarsel::Host
