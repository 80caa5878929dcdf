#include "host/subtitles/TextEncoding.h"

#include <iconv.h>

#include <array>
#include <cerrno>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

namespace {

iconv_t OpenConverter(std::string const& name) {
    // A suffix behind a slash would have wrong bytes passed over in silence.
    bool const plain = name.find('/') == std::string::npos;
    return plain ? iconv_open("UTF-8", name.c_str()) : reinterpret_cast<iconv_t>(-1);
}

}  // namespace

struct TextEncoding::Converter {
    explicit Converter(iconv_t opened) : handle(opened) {}
    ~Converter() {
        if (IsOpen()) iconv_close(handle);
    }
    Converter(Converter const&) = delete;
    Converter& operator=(Converter const&) = delete;
    bool IsOpen() const { return handle != reinterpret_cast<iconv_t>(-1); }

    iconv_t const handle;
};

bool TextEncoding::IsKnown(std::string const& encoding) {
    return encoding.empty() || Converter(OpenConverter(encoding)).IsOpen();
}

TextEncoding::TextEncoding(std::string const& encoding)
    : name(encoding.empty() ? "UTF-8" : encoding), converter(std::make_unique<Converter>(OpenConverter(name))) {
    if (!converter->IsOpen()) TARSEL_THROW(Core::IOException, "the encoding '" + name + "' isn't known");
}

TextEncoding::~TextEncoding() = default;

std::optional<BadCharacter> TextEncoding::Convert(std::string_view text, std::string& result) {
    iconv(converter->handle, nullptr, nullptr, nullptr, nullptr);
    // iconv's old interface takes what it doesn't write to as writable.
    char* input = const_cast<char*>(text.data());
    std::size_t left = text.size();
    std::array<char, 4096> buffer;
    for (bool flush = false;;) {
        char* output = buffer.data();
        std::size_t room = buffer.size();
        std::size_t const code = flush ? iconv(converter->handle, nullptr, nullptr, &output, &room)
                                       : iconv(converter->handle, &input, &left, &output, &room);
        int const error = errno;
        result.append(buffer.data(), buffer.size() - room);
        if (code == static_cast<std::size_t>(-1) && error == E2BIG) continue;
        if (code == static_cast<std::size_t>(-1)) {
            std::size_t const position = text.size() - left;
            return BadCharacter{position, position < text.size() ? static_cast<u8>(text[position]) : u8{0}};
        }
        if (flush) return std::nullopt;
        flush = true;
    }
}

std::string NotInEncoding(std::string const& name) {
    if (name == "UTF-8")
        return "isn't UTF-8: tell the encoding with --charset, as --charset CP1252, ISO-8859-1 or CP1251";
    return "isn't " + name;
}

ByteOrderMark FindByteOrderMark(std::string_view text) {
    using namespace std::string_view_literals;
    if (text.starts_with("\xEF\xBB\xBF"sv)) return {"UTF-8", 3};
    if (text.starts_with("\xFF\xFE\0\0"sv)) return {"UTF-32LE", 4};
    if (text.starts_with("\0\0\xFE\xFF"sv)) return {"UTF-32BE", 4};
    if (text.starts_with("\xFF\xFE"sv)) return {"UTF-16LE", 2};
    if (text.starts_with("\xFE\xFF"sv)) return {"UTF-16BE", 2};
    return {};
}

}  // namespace Tarsel::Host
