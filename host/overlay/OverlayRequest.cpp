#include "host/overlay/OverlayRequest.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>
#include <vector>

#include "host/cut/RangeText.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJson.h"
#include "host/graph/SettingsCatalog.h"

namespace Tarsel::Host {

namespace {

template <class Number>
std::optional<Number> Parse(std::string const& text) {
    Number value{};
    auto const result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return {};
    return value;
}

std::vector<std::string> Split(std::string const& text) {
    std::vector<std::string> parts(1);
    for (char const letter : text)
        if (letter == ',')
            parts.emplace_back();
        else
            parts.back() += letter;
    return parts;
}

class OverlayReader {
  public:
    explicit OverlayReader(std::string const& text) { request.text = text; }

    OverlayRequest Read() {
        // Neither a number nor an option has an "@".
        std::size_t const at = request.text.rfind('@');
        if (at == std::string::npos) Fail("there is no \"@X,Y\" behind the file");
        request.file = request.text.substr(0, at);
        if (request.file.empty()) Fail("the file is missing in front of \"@\"");
        std::vector<std::string> const parts = Split(request.text.substr(at + 1));
        if (parts.size() < 2) Fail("behind \"@\" must stand X,Y, not " + Quoted(parts.front()));
        request.x = ReadPosition("X", parts[0]);
        request.y = ReadPosition("Y", parts[1]);
        for (std::size_t i = 2; i < parts.size(); ++i) ReadOption(parts[i]);
        return std::move(request);
    }

  private:
    [[noreturn]] void Fail(std::string const& what) const { FailAtPlace("", request.GetName() + ": " + what); }

    int ReadPosition(char const* name, std::string const& text) const {
        auto const value = Parse<int>(text);
        if (!value || *value < -MAX_OVERLAY_POSITION || *value > MAX_OVERLAY_POSITION)
            Fail(std::string(name) + " must be a whole number from " + std::to_string(-MAX_OVERLAY_POSITION) + " to " +
                 std::to_string(MAX_OVERLAY_POSITION) + ", not " + Quoted(text));
        return *value;
    }

    void ReadOption(std::string const& part) {
        static std::vector<std::string> const keys{"start", "alpha", "blink", "loop", "still", "size"};
        std::size_t const equals = part.find('=');
        std::string const key = part.substr(0, equals);
        if (std::find(keys.begin(), keys.end(), key) == keys.end())
            Fail(key.empty() ? "an option is missing behind a comma"
                             : "there is no option " + Quoted(key) + Suggest(key, keys));
        if (std::find(given.begin(), given.end(), key) != given.end()) Fail(Quoted(key) + " stands twice");
        given.push_back(key);
        bool const isFlag = key == "loop" || key == "still";
        if (isFlag != (equals == std::string::npos))
            Fail(isFlag ? Quoted(key) + " takes no value" : Quoted(key) + " needs a value: " + key + "=...");
        if (isFlag) {
            (key == "loop" ? request.loop : request.still) = true;
            return;
        }
        std::string const value = part.substr(equals + 1);
        if (key == "start") request.start = ReadTime("start", value, 0);
        if (key == "alpha") ReadAlpha(value);
        if (key == "blink") ReadBlink(value);
        if (key == "size") ReadSize(value);
    }

    int64 ReadTime(char const* name, std::string const& text, int64 lowest) const {
        auto const time = ParseTime(text);
        if (!time) Fail(std::string(name) + ": " + Quoted(text) + " is not a time (1:30, 2.5, 40ms)");
        if (*time < lowest) Fail(std::string(name) + ": " + Quoted(text) + " is not above 0");
        return *time;
    }

    void ReadAlpha(std::string const& text) {
        auto const value = Parse<double>(text);
        // No comparison holds for what is no number.
        if (!value || !(*value >= 0 && *value <= 1)) Fail("alpha: " + Quoted(text) + " is not a number from 0 to 1");
        request.alpha = static_cast<int>(std::lround(*value * 255));
    }

    void ReadBlink(std::string const& text) {
        std::size_t const slash = text.find('/');
        request.show = ReadTime("blink", text.substr(0, slash), 1);
        if (slash != std::string::npos) request.hide = ReadTime("blink", text.substr(slash + 1), 1);
    }

    std::optional<int> ReadSide(std::string const& side, std::string const& text) const {
        if (side.empty() || side == "-1") return {};
        auto const value = Parse<int>(side);
        if (!value || *value < 1 || *value > MAX_PICTURE_SIDE)
            Fail("size: " + Quoted(text) + " is not WxH, both from 1 to 16384, one of them -1 or left out");
        return value;
    }

    void ReadSize(std::string const& text) {
        std::size_t const cross = text.find_first_of("xX");
        if (cross == std::string::npos) Fail("size: " + Quoted(text) + " is not WxH (320x180, 320x, x180)");
        request.width = ReadSide(text.substr(0, cross), text);
        request.height = ReadSide(text.substr(cross + 1), text);
        if (!request.width && !request.height) Fail("size: " + Quoted(text) + " tells neither of the two sides");
    }

    OverlayRequest request;
    std::vector<std::string> given;
};

}  // namespace

std::string OverlayRequest::GetName() const {
    std::string name = text;
    for (char& letter : name)
        if (static_cast<unsigned char>(letter) < 0x20 || letter == 0x7F) letter = '?';
    return '"' + name + '"';
}

OverlayRequest ParseOverlay(std::string const& text) {
    return OverlayReader(text).Read();
}

}  // namespace Tarsel::Host
