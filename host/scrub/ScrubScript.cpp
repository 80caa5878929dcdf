#include "host/scrub/ScrubScript.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string_view>
#include <system_error>

#include "contracts/Core/Exception.h"
#include "host/cut/RangeText.h"

namespace Tarsel::Host {

namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr std::string_view SPACES = " \t\r";
constexpr std::size_t LONGEST_QUOTE = 80;

/// Bytes of the UTF-8 character at the front of `text`; 0 when it is none (RFC 3629, 4).
std::size_t CharacterLength(std::string_view text) {
    auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned const lead = byte(0);
    if (lead < 0x80) return 1;
    std::size_t const length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80) return 0;
    bool const overlong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xF0 && byte(1) < 0x90);
    bool const outside = (lead == 0xED && byte(1) > 0x9F) || (lead == 0xF4 && byte(1) > 0x8F);
    return overlong || outside ? 0 : length;
}

/// Where the first byte stands that is no UTF-8; the size of `text` when there is none.
std::size_t FindBroken(std::string_view text) {
    std::size_t place = 0;
    while (place < text.size()) {
        std::size_t const length = CharacterLength(text.substr(place));
        if (length == 0) break;
        place += length;
    }
    return place;
}

std::string QuotedWord(std::string_view text) {
    bool const cut = text.size() > LONGEST_QUOTE;
    if (cut) text = text.substr(0, LONGEST_QUOTE);
    // No half of a character.
    if (cut) text = text.substr(0, FindBroken(text));
    std::string quoted = "\"";
    for (char const letter : text) quoted += static_cast<unsigned char>(letter) < 0x20 || letter == 0x7F ? '?' : letter;
    return quoted + (cut ? "...\"" : "\"");
}

/// The word at the front of `line`, which loses it.
std::string_view TakeWord(std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(SPACES), line.size()));
    std::string_view const word = line.substr(0, line.find_first_of(SPACES));
    line.remove_prefix(word.size());
    return word;
}

class ScriptReader {
  public:
    explicit ScriptReader(std::string const& name) : name(name) {}

    ScrubScript Read(std::string_view text) {
        if (text.size() > MAX_SCRUB_BYTES)
            TARSEL_THROW(Core::IOException,
                         name + ": the script is larger than " + std::to_string(MAX_SCRUB_BYTES) + " bytes");
        if (text.starts_with(BYTE_ORDER_MARK)) text.remove_prefix(BYTE_ORDER_MARK.size());
        while (!text.empty()) {
            std::size_t const length = std::min(text.find('\n'), text.size());
            ++number;
            ReadLine(text.substr(0, length));
            text.remove_prefix(std::min(length + 1, text.size()));
        }
        return std::move(script);
    }

  private:
    [[noreturn]] void Fail(std::string const& what) const {
        TARSEL_THROW(Core::IOException, name + ": line " + std::to_string(number) + ": " + what);
    }

    void ReadLine(std::string_view line) {
        if (FindBroken(line) != line.size()) Fail("the text is not UTF-8");
        line = line.substr(0, line.find('#'));
        std::string_view const word = TakeWord(line);
        if (word.empty()) return;
        if (word != "seek" && word != "step") Fail(QuotedWord(word) + " is neither \"seek\" nor \"step\"");
        std::string_view const argument = TakeWord(line);
        if (argument.empty()) Fail(word == "seek" ? "seek needs a time" : "step needs a number of pictures");
        if (std::string_view const rest = TakeWord(line); !rest.empty())
            Fail("there is more than one value: " + QuotedWord(rest));
        if (script.size() >= MAX_SCRUB_OPERATIONS)
            Fail("the script has more than " + std::to_string(MAX_SCRUB_OPERATIONS) + " operations");
        script.push_back(word == "seek" ? ReadSeek(argument) : ReadStep(argument));
    }

    ScrubOperation ReadSeek(std::string_view text) const {
        auto const time = ParseTime(std::string(text));
        if (!time) Fail(QuotedWord(text) + " is not a time");
        return {ScrubOperation::Kind::Seek, *time};
    }

    ScrubOperation ReadStep(std::string_view text) const {
        std::string_view digits = text;
        if (digits.starts_with('+')) digits.remove_prefix(1);
        int64 value = 0;
        auto const result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        bool const signs = digits.size() != text.size() && digits.starts_with('-');
        if (result.ec == std::errc::invalid_argument || result.ptr != digits.data() + digits.size() || signs)
            Fail(QuotedWord(text) + " is not a whole number");
        if (result.ec != std::errc() || value > MAX_SCRUB_STEP || value < -MAX_SCRUB_STEP)
            Fail(QuotedWord(text) + " is beyond " + std::to_string(MAX_SCRUB_STEP) + " pictures");
        if (value == 0) Fail("a step of 0 pictures goes nowhere");
        return {ScrubOperation::Kind::Step, value};
    }

    std::string const& name;
    std::size_t number = 0;
    ScrubScript script;
};

/// The text of a stream, or as much of it as shows that it is too large.
std::string ReadAll(std::istream& stream, std::string const& name) {
    std::string text(MAX_SCRUB_BYTES + 1, '\0');
    errno = 0;
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    // A folder opens, and fails to be read; on the standard input that looks like its end.
    bool const failed = &stream == &std::cin ? std::ferror(stdin) != 0 : stream.gcount() == 0 && !stream.eof();
    if (stream.bad() || failed)
        TARSEL_THROW(Core::IOException, name + ": " + std::generic_category().message(errno == 0 ? EIO : errno));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    return text;
}

}  // namespace

std::string ScrubOperation::ToText() const {
    if (kind == Kind::Step) return "step " + std::to_string(value);
    std::string fraction = std::to_string(value % SECOND);
    fraction.insert(0, 6 - std::min<std::size_t>(fraction.size(), 6), '0');
    return "seek " + std::to_string(value / SECOND) + "." + fraction;
}

ScrubScript ParseScrubScript(std::string const& text, std::string const& name) {
    return ScriptReader(name).Read(text);
}

ScrubScript ReadScrubScript(std::string const& path) {
    if (path == "-") return ParseScrubScript(ReadAll(std::cin, "standard input"), "standard input");
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) TARSEL_THROW(Core::IOException, path + ": " + std::generic_category().message(errno == 0 ? EIO : errno));
    return ParseScrubScript(ReadAll(file, path), path);
}

std::string WriteScrubScript(ScrubScript const& script) {
    std::string text;
    for (ScrubOperation const& operation : script) text += operation.ToText() + "\n";
    return text;
}

}  // namespace Tarsel::Host
